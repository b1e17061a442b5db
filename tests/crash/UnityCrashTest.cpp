#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include <pxalog/Diagnostics.h>
#include <pxalog/Host.h>
#include <pxalog/PXALog.h>

#include "api/handle/process_state.h"
#include "support/FakePlatform.h"
#include "support/delivery.h"
#include "support/handles.h"
#include "support/lock_probe.h"
#include "support/queued_events.h"
#include "support/values.h"

namespace pxa {
namespace {

using test::bytesOf;
using test::fieldOf;
using test::openHandle;
using test::takeEvents;
using test::text;
using test::textsOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

void tellCrash(const String& message, const String& exception = "at Player.Update ()") {
  PXALog::sendUnityCrash_withType_withMessage_withException("ERROR", "CRASH", message, exception);
}

/// The one event in the queue, which is empty afterwards; nullptr when there is none, or more.
VeskEventRef takeEvent() {
  const auto events = takeEvents();
  return events.size() == 1 ? events[0] : nullptr;
}

// Events.

/// A process with handle "0" and nothing in its queue.
class UnityCrash : public testing::Test {
 protected:
  UnityCrash() { handle_ = test::openWithoutSessionLog("0", {.userId = "user"}); }

  static VeskEventRef eventOf(const String& message, const String& exception = "at Player.Update ()") {
    tellCrash(message, exception);
    return takeEvent();
  }

  test::FakePlatform& p_ = test::FakePlatform::install();
  VeskHandleRef handle_;
};

TEST_F(UnityCrash, QueuesOneEventOfHandleZerosProject) {
  PXALog::setLogSource("engine");
  openHandle({.appKey = "another", .handleId = "another"});
  takeEvents();
  const VeskEventRef event = eventOf("message");
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(event->projectName(), Value(test::kAppKey));
  EXPECT_EQ(event->projectVersion(), Value(test::kVersion));
  EXPECT_EQ(event->logSource(), Value("engine"));
  EXPECT_EQ(event->handleId(), Value("0"));
}

TEST_F(UnityCrash, IsOfTypeCrashWhateverTheHandlesLogType) {
  PXALog::setLogType("mine");
  EXPECT_EQ(eventOf("message")->logType(), Value("CRASH"));
}

TEST_F(UnityCrash, IsACrashWhateverItsMessageReadsLike) {
  for (const char* message : {"SESSION", "NETWORKINSIGHTS LOG", ""})
    EXPECT_EQ(eventOf(message)->logType(), Value("CRASH")) << message;
}

TEST_F(UnityCrash, IsAFatalCrashWhateverLevelAndTypeItIsGiven) {
  const String texts[] = {"DEBUG", "WARN", "HANDLED", "SESSION", "", nullptr};
  for (const String& level : texts) {
    for (const String& type : texts) {
      PXALog::sendUnityCrash_withType_withMessage_withException(level, type, "message", "exception");
      const VeskEventRef event = takeEvent();
      ASSERT_NE(event, nullptr);
      EXPECT_EQ(fieldOf(event, "logLevel"), Value(bytesOf("FATAL"))) << text(level);
      EXPECT_EQ(event->logType(), Value("CRASH")) << text(type);
    }
  }
}

/// Texts as they are given, and as they are sent.
using Texts = std::vector<std::pair<String, std::string>>;

TEST_F(UnityCrash, SendsTheBytesOfTheMessageAndNoneForNil) {
  const std::string longOne(1U << 20U, 'm');
  for (const auto& [message, sent] :
       Texts{{"Grüße\n", "Grüße\n"}, {nullptr, ""}, {"", ""}, {longOne, longOne}, {"caf\xe9", "caf\uFFFD"}})
    EXPECT_TRUE(eventOf(message)->body() == Value(bytesOf(sent))) << sent.substr(0, 80);
}

TEST_F(UnityCrash, SendsTheBytesOfTheExceptionAsItsDumpAndUnknownForNil) {
  const std::string longOne(1U << 20U, 'e');
  for (const auto& [exception, sent] : Texts{{"at A ()\nat B ()", "at A ()\nat B ()"},
                                             {nullptr, "unknown"},
                                             {"", ""},
                                             {longOne, longOne},
                                             {"caf\xe9", "caf\uFFFD"}})
    EXPECT_TRUE(fieldOf(eventOf("message", exception), "DmpData") == Value(bytesOf(sent)))
        << sent.substr(0, 80);
}

TEST_F(UnityCrash, NamesMethodAndStyleOfItsDumpAsTexts) {
  const VeskEventRef event = eventOf("message");
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(fieldOf(event, "SymMethod"), Value("none"));
  EXPECT_EQ(fieldOf(event, "CrashStyle"), Value("unity-cs"));
}

TEST_F(UnityCrash, HasTheCommonFieldsOfHandleZeroBeforeItsOwn) {
  PXALog::setCustomField_forKey("blue", "colour");
  const VeskEventRef event = eventOf("message");
  ASSERT_NE(event, nullptr);
  EXPECT_THAT(test::keysOf(event->fields().dictionary()),
              ElementsAre("Platform", "DeviceModel", "Carrier", "CountryCode", "Locale", "NetworkType",
                          "UserID", "logVersion", "SymMethod", "CrashStyle", "SdkVersion", "SessionID",
                          "DeviceID", "colour", "DmpData", "logLevel"));
  EXPECT_EQ(fieldOf(event, "Platform"), Value(bytesOf("iOS 12.1")));
  EXPECT_EQ(fieldOf(event, "UserID"), Value(bytesOf("user")));
  EXPECT_EQ(fieldOf(event, "colour"), Value("blue"));
}

TEST_F(UnityCrash, HasTheFieldsOfTheMomentOfTheCall) {
  tellCrash("message");
  PXALog::setUserId("later");
  EXPECT_EQ(fieldOf(takeEvent(), "UserID"), Value(bytesOf("user")));
}

TEST_F(UnityCrash, HasFieldsOfItsOwn) {
  eventOf("first")->fields().dictionary().set("later", "field");
  EXPECT_FALSE(eventOf("second")->fields().dictionary().contains("later"));
}

TEST_F(UnityCrash, HasTheHostsAddress) {
  EXPECT_EQ(eventOf("message")->host(), Value("192.0.2.7"));
  p_.interfaces.interfaces.reset();
  EXPECT_EQ(eventOf("message")->host(), Value("localhost"));
  PXALog::enableHost(false);
  EXPECT_EQ(eventOf("message")->host(), Value("-"));
}

TEST_F(UnityCrash, IsStampedInWholeMilliseconds) {
  p_.clock.setSecondsSince1970(1'600'000'000.1239);
  EXPECT_EQ(eventOf("message")->sendTime(), 1'600'000'000'123);
}

TEST_F(UnityCrash, IsQueuedWhateverTheHandlesSwitches) {
  handle_->setIsCrash(false);
  handle_->setIsLog(false);
  EXPECT_NE(eventOf("message"), nullptr);
}

TEST_F(UnityCrash, IsQueuedBehindTheLogsBeforeIt) {
  PXALog::info_withMessage(nullptr, "log");
  tellCrash("crash");
  tellCrash("crash");
  EXPECT_THAT(test::bodiesOf(takeEvents()), ElementsAre("log", "crash", "crash"));
}

TEST_F(UnityCrash, IsCountedOnce) {
  const Diagnostics::Events before = Diagnostics::snapshot().events;
  tellCrash("message");
  const Diagnostics::Events after = Diagnostics::snapshot().events;
  EXPECT_EQ(after.entered, before.entered + 1);
  EXPECT_EQ(after.waiting, before.waiting + 1);
}

TEST_F(UnityCrash, BuildsItsEventUnderTheLock) {
  EXPECT_TRUE(test::waitsForGlobalLock([] { tellCrash("message"); }));
}

TEST_F(UnityCrash, MayComeFromAnyThread) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int turn = 0; turn < 50; ++turn) PXALog::handledError_withException("message", "exception");
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(takeEvents(), SizeIs(200));
}

TEST(UnityCrashWithoutHandleZero, DoesNothingBeforeInitialisation) {
  test::FakePlatform::install();
  tellCrash("message");
  tellCrash(nullptr, nullptr);
  EXPECT_EQ(gs_blockQueue(), nullptr);
  EXPECT_EQ(Diagnostics::snapshot().events.entered, 0U);
}

TEST(UnityCrashWithoutHandleZero, DoesNothingOnAnIncompleteHandleOfAProcessThatIsNotInitialised) {
  test::FakePlatform& p = test::FakePlatform::install();
  p.reachability.createsTargets = false;
  openHandle({.unityVersion = "2019.4", .handleId = "without a monitor"});
  p.reachability.createsTargets = true;
  EXPECT_THROW(openHandle({.handleId = "0"}), std::invalid_argument);
  ASSERT_NE(PXALog::rdm_getHandler("0"), nullptr);
  tellCrash("message");
  EXPECT_THAT(takeEvents(), IsEmpty());
}

TEST(UnityCrashWithoutHandleZero, DoesNothingWhereOtherHandlesAreOpen) {
  test::FakePlatform::install();
  openHandle({.handleId = "mine"});
  openHandle({.handleId = "Keepcell"});
  takeEvents();
  tellCrash("message");
  EXPECT_THAT(takeEvents(), IsEmpty());
}

// Handled exceptions.

struct HandledCase {
  const char* name;
  void (*tell)(const String& message, const String& exception);

  friend std::ostream& operator<<(std::ostream& out, const HandledCase& one) { return out << one.name; }
};

class HandledException : public UnityCrash, public testing::WithParamInterface<HandledCase> {
 protected:
  static VeskEventRef eventOf(const String& message, const String& exception) {
    GetParam().tell(message, exception);
    return takeEvent();
  }
};

TEST_P(HandledException, BecomesTheEventOfACrash) {
  const VeskEventRef event = eventOf("message", "exception");
  const VeskEventRef crash = UnityCrash::eventOf("message", "exception");
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(event->logType(), Value("CRASH"));
  EXPECT_EQ(event->body(), Value(bytesOf("message")));
  EXPECT_EQ(fieldOf(event, "DmpData"), Value(bytesOf("exception")));
  EXPECT_EQ(fieldOf(event, "logLevel"), Value(bytesOf("FATAL")));
  EXPECT_EQ(event->fields(), crash->fields());
}

TEST_P(HandledException, NeedsNeitherMessageNorException) {
  const VeskEventRef event = eventOf(nullptr, nullptr);
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(event->body(), Value(bytesOf("")));
  EXPECT_EQ(fieldOf(event, "DmpData"), Value(bytesOf("unknown")));
}

INSTANTIATE_TEST_SUITE_P(Levels, HandledException,
                         testing::Values(HandledCase{"Debug", PXALog::handledDebug_withException},
                                         HandledCase{"Info", PXALog::handledInfo_withException},
                                         HandledCase{"Warn", PXALog::handledWarn_withException},
                                         HandledCase{"Error", PXALog::handledError_withException},
                                         HandledCase{"Fatal", PXALog::handledFatal_withException}),
                         [](const auto& param) { return std::string(param.param.name); });

TEST(HandledExceptionBeforeInitialisation, DoesNothing) {
  test::FakePlatform::install();
  PXALog::handledFatal_withException("message", "exception");
  EXPECT_EQ(Diagnostics::snapshot().events.entered, 0U);
}

// On their way to the collector.

/// A process with handle "0", a send thread that stops at its sleeps, and an engine that listens.
class UnityDelivery : public testing::Test {
 protected:
  void open(const String& unityVersion = "2019.4") {
    handle_ = test::openWithoutSessionLog("0", {.unityVersion = unityVersion});
    ASSERT_NE(handle_, nullptr);
    Host::setUnitySendMessage([this](const char* object, const char* method, const char* message) {
      notices_.push_back(std::string(object) + "." + method + "(" + message + ")");
    });
    test::startSendLoop(p_);
  }
  bool letOnePassHappen() { return test::letOnePassHappen(p_); }
  std::size_t requestCount() const { return p_.urlLoader.started().size(); }
  std::vector<std::string> typesOf(std::size_t request) { return textsOf(p_, request, "logType"); }

  test::FakePlatform& p_ = test::FakePlatform::install();
  VeskHandleRef handle_;
  std::vector<std::string> notices_;
};

const char* const kNotice = "QuillmarkManager.PluginCallback(isCrash)";

TEST_F(UnityDelivery, SendsTheFirstOfEqualExceptionsWithANewSessionAndHoldsTheSecondBack) {
  open();
  PXALog::handledError_withException("message", "exception");
  PXALog::handledError_withException("message", "exception");
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(typesOf(0), ElementsAre("CRASH", "SESSION"));
  EXPECT_EQ(Diagnostics::snapshot().events.dropped.duplicate, 1U);
}

TEST_F(UnityDelivery, HoldsARepeatBackInALaterPass) {
  open();
  PXALog::handledError_withException("message", "exception");
  ASSERT_TRUE(letOnePassHappen());
  PXALog::handledError_withException("message", "exception");
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_EQ(requestCount(), 1U);
  EXPECT_EQ(Diagnostics::snapshot().events.dropped.duplicate, 1U);
}

TEST_F(UnityDelivery, DoesNotTellExceptionsApartByTheirLevel) {
  open();
  PXALog::handledDebug_withException("message", "exception");
  PXALog::handledFatal_withException("message", "exception");
  tellCrash("message", "exception");
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(typesOf(0), ElementsAre("CRASH", "SESSION"));
}

TEST_F(UnityDelivery, TellsExceptionsApartByMessageAndText) {
  open();
  PXALog::handledError_withException("message", "exception");
  PXALog::handledError_withException("another", "exception");
  PXALog::handledError_withException("message", "another");
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(typesOf(0), ElementsAre("CRASH", "SESSION", "CRASH", "SESSION", "CRASH", "SESSION"));
}

TEST_F(UnityDelivery, SendsEqualExceptionsEachWithANewSessionWhileRepeatsMayPass) {
  open();
  PXALog::setLogDeduplicate(false);
  PXALog::handledError_withException("message", "exception");
  PXALog::handledError_withException("message", "exception");
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(typesOf(0), ElementsAre("CRASH", "SESSION", "CRASH", "SESSION"));
}

TEST_F(UnityDelivery, SendsEqualExceptionsWithoutANewSessionOutsideOfUnity) {
  open(nullptr);
  PXALog::handledError_withException("message", "exception");
  PXALog::handledError_withException("message", "exception");
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(typesOf(0), ElementsAre("CRASH", "CRASH"));
}

TEST_F(UnityDelivery, SendsNoExceptionWhileCrashesAreSwitchedOff) {
  open();
  handle_->setIsCrash(false);
  PXALog::handledError_withException("message", "exception");
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_EQ(requestCount(), 0U);
  EXPECT_EQ(Diagnostics::snapshot().events.dropped.crashSwitch, 1U);
}

TEST_F(UnityDelivery, BringsTheDumpWithItsMethodAndStyle) {
  open();
  PXALog::handledWarn_withException("message", "at A ()\nat \"B\" ()");
  ASSERT_TRUE(letOnePassHappen());
  for (const auto& [key, crash, session] : {std::tuple{"body", "message", "SESSION"},
                                            {"logLevel", "FATAL", "INFO"},
                                            {"DmpData", "at A ()\nat \"B\" ()", "(none)"},
                                            {"SymMethod", "none", "(none)"},
                                            {"CrashStyle", "unity-cs", "(none)"},
                                            {"Unity", "2019.4", "2019.4"},
                                            {"host", "192.0.2.7", "192.0.2.7"},
                                            {"rdmBulkIndex", "0", "1"}})
    EXPECT_THAT(textsOf(p_, 0, key), ElementsAre(crash, session)) << key;
}

TEST_F(UnityDelivery, EndsTheSessionOfTheCrash) {
  open();
  const std::string old = text(test::customField("0", "SessionID"));
  PXALog::handledError_withException("message", "exception");
  ASSERT_TRUE(letOnePassHappen());
  PXALog::info_withMessage(nullptr, "later");
  ASSERT_TRUE(letOnePassHappen());
  const std::vector<std::string> sessions = textsOf(p_, 0, "SessionID");
  ASSERT_THAT(sessions, SizeIs(2));
  EXPECT_EQ(sessions[0], old);
  EXPECT_NE(sessions[1], old);
  EXPECT_THAT(textsOf(p_, 1, "SessionID"), ElementsAre(sessions[1]));
}

TEST_F(UnityDelivery, TellsTheEngineOnceTheRequestIsAnswered) {
  open();
  PXALog::handledError_withException("message", "exception");
  PXALog::handledError_withException("another", "exception");
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(notices_, IsEmpty());
  p_.urlLoader.answer(0, 200);
  EXPECT_THAT(notices_, ElementsAre(kNotice));
}

TEST_F(UnityDelivery, TellsTheEngineOfARequestThatIsRefused) {
  open();
  PXALog::handledError_withException("message", "exception");
  ASSERT_TRUE(letOnePassHappen());
  p_.urlLoader.answer(0, 500);
  EXPECT_THAT(notices_, ElementsAre(kNotice));
  EXPECT_EQ(Diagnostics::snapshot().events.failed, 2U);
}

TEST_F(UnityDelivery, TellsTheEngineNothingOfARepeat) {
  open();
  PXALog::handledError_withException("message", "exception");
  ASSERT_TRUE(letOnePassHappen());
  p_.urlLoader.answer(0, 200);
  PXALog::handledError_withException("message", "exception");
  PXALog::info_withMessage(nullptr, "beside it");
  ASSERT_TRUE(letOnePassHappen());
  p_.urlLoader.answer(1, 200);
  EXPECT_THAT(notices_, SizeIs(1));
}

TEST_F(UnityDelivery, TellsNobodyOutsideOfUnity) {
  open(nullptr);
  PXALog::handledError_withException("message", "exception");
  ASSERT_TRUE(letOnePassHappen());
  p_.urlLoader.answer(0, 200);
  EXPECT_THAT(notices_, IsEmpty());
}

TEST_F(UnityDelivery, CountsEveryEventInOnePlace) {
  open();
  PXALog::handledError_withException("message", "exception");
  PXALog::handledError_withException("message", "exception");
  ASSERT_TRUE(letOnePassHappen());
  p_.urlLoader.answer(0, 200);
  const Diagnostics::Events events = Diagnostics::snapshot().events;
  EXPECT_EQ(events.delivered, 2U);
  EXPECT_EQ(events.total(), events.entered);
}

}  // namespace
}  // namespace pxa
