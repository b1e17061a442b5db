#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <pxalog/Diagnostics.h>
#include <pxalog/PXALog.h>

#include "api/handle/process_state.h"
#include "support/handles.h"
#include "support/lock_probe.h"
#include "support/queued_events.h"
#include "support/values.h"

namespace pxa {
namespace {

using test::bytesOf;
using test::FakePlatform;
using test::openHandle;
using test::text;

/// Sends the log to handle "0" and takes the event that it became.
VeskEventRef eventOf(const String& level, const String& errorCode, const String& message,
                     const String& location = nullptr) {
  static_cast<void>(test::takeEvents());
  PXALog::sendLog_errorCode_withMessage_atLocation(level, errorCode, message, location);
  const auto events = test::takeEvents();
  return events.size() == 1 ? events[0] : nullptr;
}

Dictionary fieldsOf(const VeskEventRef& event) {
  return event->fields().dictionary();
}

TEST(LogCall, QueuesOneEventOfTheHandlesProject) {
  test::installWithHandle();
  const VeskEventRef event = eventOf("INFO", nullptr, "message");
  ASSERT_NE(event, nullptr);
  EXPECT_TRUE(event->projectName() == Value("project"));
  EXPECT_TRUE(event->projectVersion() == Value("1.0.3"));
  EXPECT_TRUE(event->logType() == Value("vesk2-log"));
  EXPECT_TRUE(event->logSource() == Value("ios-log"));
  EXPECT_TRUE(event->handleId() == Value("0"));
}

/// Texts as they are given to a log call, and as they are sent.
using Texts = std::vector<std::pair<String, std::string>>;

TEST(LogCall, SendsTheBytesOfTheMessageAndNoneForNil) {
  test::installWithHandle();
  const std::string withNul("a\0b", 3);
  const std::string longOne(8U << 20U, 'm');
  const Texts messages = {
      {"Grüße", "Grüße"}, {nullptr, ""}, {"", ""}, {withNul, withNul}, {longOne, longOne}};
  for (const auto& [message, sent] : messages)
    EXPECT_TRUE(eventOf("INFO", nullptr, message)->body() == bytesOf(sent)) << sent.substr(0, 80);
}

TEST(LogCall, SendsTheBytesOfTheLevelAndNoneForNil) {
  test::installWithHandle();
  for (const auto& [level, sent] : Texts{{"any level", "any level"}, {nullptr, ""}})
    EXPECT_TRUE(fieldsOf(eventOf(level, nullptr, "message")).value("logLevel") == bytesOf(sent)) << sent;
}

TEST(LogCall, SendsTheBytesOfTheErrorCode) {
  test::installWithHandle();
  EXPECT_TRUE(fieldsOf(eventOf("INFO", "E42", "message")).value("errorCode") == bytesOf("E42"));
}

TEST(LogCall, RepairsTextsThatAreNotUtf8) {
  test::installWithHandle();
  const VeskEventRef event = eventOf("\xff", "\xfe", "caf\xe9 \xf0\x9f\x98");
  EXPECT_TRUE(fieldsOf(event).value("logLevel") == bytesOf("\uFFFD"));
  EXPECT_TRUE(fieldsOf(event).value("errorCode") == bytesOf("\uFFFD"));
  EXPECT_TRUE(event->body() == bytesOf("caf\uFFFD \uFFFD"));
}

TEST(LogCall, HasAnEmptyHostUntilItIsSent) {
  test::installWithHandle();
  EXPECT_TRUE(eventOf("INFO", nullptr, "message")->host() == Value(""));
}

TEST(LogCall, SendsNoErrorCodeWhereItIsNilOrEmpty) {
  test::installWithHandle();
  EXPECT_FALSE(fieldsOf(eventOf("INFO", nullptr, "message")).contains("errorCode"));
  EXPECT_FALSE(fieldsOf(eventOf("INFO", "", "message")).contains("errorCode"));
}

TEST(LogCall, DoesNotSendTheLocation) {
  test::installWithHandle();
  const VeskEventRef event = eventOf("INFO", "E42", "message", "file.cpp:1");
  EXPECT_EQ(fieldsOf(event).size(), 2U);
  EXPECT_EQ(text(event->body()), "message");
}

TEST(LogCall, AddsNoCommonFields) {
  FakePlatform::install();
  openHandle({.userId = "user"});
  PXALog::setCustomField_forKey("value", "key");
  EXPECT_EQ(test::keysOf(fieldsOf(eventOf("INFO", nullptr, "message"))),
            (std::vector<std::string>{"logLevel"}));
}

TEST(LogCall, GivesEachEventFieldsOfItsOwn) {
  test::installWithHandle();
  Dictionary first = fieldsOf(eventOf("INFO", nullptr, "message"));
  first.set("later", "field");
  EXPECT_FALSE(fieldsOf(eventOf("INFO", nullptr, "message")).contains("later"));
}

TEST(LogCall, SendsTheTimeInMilliseconds) {
  FakePlatform& p = test::installWithHandle();
  const struct {
    double seconds;
    std::int64_t milliseconds;
  } rows[] = {
      {1'700'000'000.25, 1'700'000'000'250}, {1.0019, 1001}, {0, 0}, {-0.0019, -1}, {-2.5, -2500},
  };
  for (const auto& row : rows) {
    p.clock.setSecondsSince1970(row.seconds);
    EXPECT_EQ(eventOf("INFO", nullptr, "message")->sendTime(), row.milliseconds) << row.seconds;
  }
}

TEST(LogCall, BecomesASessionLogByItsMessage) {
  test::installWithHandle();
  PXALog::setLogType("mine");
  EXPECT_EQ(text(eventOf("FATAL", nullptr, "SESSION")->logType()), "SESSION");
}

TEST(LogCall, BecomesASessionLogByItsWholeMessageAlone) {
  test::installWithHandle();
  for (const char* message : {"session", "SESSION ", " SESSION", "SESSIONS", "SESSIO", ""}) {
    EXPECT_EQ(text(eventOf("INFO", nullptr, message)->logType()), "vesk2-log") << message;
  }
}

TEST(LogCall, SendsTheHandlesLogType) {
  test::installWithHandle();
  PXALog::setLogType("mine");
  EXPECT_EQ(text(eventOf("INFO", nullptr, "message")->logType()), "mine");
}

TEST(LogCall, SendsAnEmptyLogTypeAsItIs) {
  test::installWithHandle();
  PXALog::setLogType("");
  EXPECT_TRUE(eventOf("INFO", nullptr, "message")->logType() == Value(""));
}

TEST(LogCall, IsNotFilteredByTheHandlesSwitches) {
  test::installWithHandle();
  PXALog::rdm_getHandler("0")->setIsLog(false);
  EXPECT_NE(eventOf("DEBUG", nullptr, "message"), nullptr);
}

TEST(LogCall, QueuesRepeatsToo) {
  test::installWithHandle();
  PXALog::info_withMessage(nullptr, "same");
  PXALog::info_withMessage(nullptr, "same");
  EXPECT_EQ(test::takeLogs().size(), 2U);
}

TEST(LogCall, QueuesEventsInOrder) {
  test::installWithHandle();
  for (int i = 0; i < 10; ++i) PXALog::info_withMessage(nullptr, std::to_string(i));
  const auto logs = test::takeLogs();
  ASSERT_EQ(logs.size(), 10U);
  for (std::size_t i = 0; i < logs.size(); ++i) EXPECT_EQ(text(logs[i]->body()), std::to_string(i));
}

TEST(LogCall, DoesNothingBeforeInitialisation) {
  FakePlatform::install();
  PXALog::info_withMessage("E42", "message");
  PXALog::sendLog_errorCode_withMessage_atLocation(nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(gs_blockQueue(), nullptr);
  EXPECT_EQ(Diagnostics::snapshot().events.entered, 0U);
}

TEST(LogCall, DoesNothingForAnUnknownHandle) {
  test::installWithHandle();
  static_cast<void>(test::takeEvents());
  for (const char* id : {"unknown", "", "Keepcell", static_cast<const char*>(nullptr)}) {
    PXALog::info_withMessage_atLocation_forHandleId("E42", "message", nullptr, id);
  }
  EXPECT_TRUE(test::takeEvents().empty());
}

TEST(LogCall, DoesNothingOnThePlainHandleWhereOnlyANamedOneIsOpen) {
  FakePlatform::install();
  openHandle({.handleId = "mine"});
  static_cast<void>(test::takeEvents());
  PXALog::info_withMessage(nullptr, "message");
  EXPECT_TRUE(test::takeEvents().empty());
}

TEST(LogCall, IsCountedOnce) {
  test::installWithHandle();
  const auto before = Diagnostics::snapshot().events;
  PXALog::info_withMessage(nullptr, "message");
  const auto after = Diagnostics::snapshot().events;
  EXPECT_EQ(after.entered, before.entered + 1);
  EXPECT_EQ(after.waiting, before.waiting + 1);
}

TEST(LogCall, WorksAfterAnInitialisationThatThrew) {
  FakePlatform::install();
  openHandle({.unityVersion = "2019.4"});
  EXPECT_ANY_THROW(openHandle());
  PXALog::info_withMessage_atLocation_forHandleId(nullptr, "message", nullptr, "1");
  EXPECT_EQ(test::takeLogs().size(), 1U);
}

TEST(LogCall, BuildsItsEventUnderTheLock) {
  test::installWithHandle();
  EXPECT_TRUE(test::waitsForGlobalLock([] { PXALog::info_withMessage(nullptr, "message"); }));
}

TEST(LogCall, MayComeFromAnyThread) {
  test::installWithHandle();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int turn = 0; turn < 100; ++turn) PXALog::warn_withMessage("E42", "message");
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(test::takeLogs().size(), 400U);
}

}  // namespace
}  // namespace pxa
