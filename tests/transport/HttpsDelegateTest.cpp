#include <atomic>
#include <cstdint>
#include <deque>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <pxalog/Diagnostics.h>
#include <pxalog/Host.h>
#include <pxalog/PXALog.h>

#include "api/handle/GlobalLock.h"
#include "api/handle/process_state.h"
#include "support/FakePlatform.h"
#include "support/delivery.h"
#include "support/lock_probe.h"
#include "support/queued_events.h"
#include "support/values.h"
#include "support/wait.h"
#include "transport/VeskHttpsDelegate.h"

namespace pxa {
namespace {

using test::bytesOf;
using test::fieldOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Texts = std::vector<std::string>;

class Connection final : public UrlConnection {
 public:
  void stopRunLoop() override { ++stops; }
  int stops = 0;
};

class Challenge final : public AuthenticationChallenge {
 public:
  explicit Challenge(const char* method) : space_{method, "collector.example"} {}
  [[nodiscard]] const ProtectionSpace& protectionSpace() const override { return space_; }
  void useCredentialForServerTrust() override { ++answers; }
  int answers = 0;

 private:
  const ProtectionSpace space_;
};

constexpr const char* kTwoEvents =
    R"([{"projectName":"project","projectVersion":"1.0.3","logType":"type","logSource":"source","host":"192.0.2.1",)"
    R"("body":"first","sendTime":"1500000000123","logLevel":"INFO","errorRate":"2","rdmBulkIndex":"0"},)"
    R"({"projectName":"project","body":"second","sendTime":"-5","mine":"custom"}])";
constexpr const char* kTwoCrashes = R"([{"body":"a","DmpData":"x"},{"body":"b","DmpData":""},{"body":"c"}])";

/// A delegate with a request of handle "sender" in flight, in a process with a queue.
class HttpsDelegate : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(test::openWithoutSessionLog("h"), nullptr);
    delegate_.setHandleId("sender");
    delegate_.setShouldStopRunloop(true);
    delegate_.setLog(kTwoEvents);
    before_ = Diagnostics::snapshot();
  }

  void answer(int status) { delegate_.connection_didReceiveResponse(connection_, {status}); }
  void fail(const Error& error = Error::withDescription("test", 1, "no route")) {
    delegate_.connection_didFailWithError(connection_, error);
  }
  Texts failedBodies() {
    Texts bodies;
    for (const VeskEventRef& event : test::takeFailedEvents(p_)) bodies.emplace_back(event->body().bytes());
    return bodies;
  }
  void setUnityMode() {
    const GlobalGuard guard;
    processFlags().isUnityMode = true;
  }
  /// Makes the host listen for notices.
  void listenForNotices() {
    Host::setUnitySendMessage([this](const char* object, const char* method, const char* message) {
      notices_.push_back(std::string(object) + "." + method + "(" + message + ")");
    });
  }

  test::FakePlatform& p_ = test::FakePlatform::install();
  VeskHttpsDelegate delegate_;
  Connection connection_;
  Diagnostics::Snapshot before_;
  Texts notices_;
};

const char* const kNotice = "QuillmarkManager.PluginCallback(isCrash)";

TEST(HttpsDelegateAtFirst, ShowsNoRequest) {
  const VeskHttpsDelegate delegate;
  EXPECT_TRUE(delegate.log().isNil());
  EXPECT_TRUE(delegate.handleId().isNil());
  EXPECT_FALSE(delegate.shouldStopRunloop());
}

TEST(HttpsDelegateAtFirst, IsNotThereBeforeTheFirstInitialisation) {
  const GlobalGuard guard;
  EXPECT_EQ(gs_httpsDelegate(), nullptr);
}

// Trust.

TEST_F(HttpsDelegate, AuthenticatesByServerTrustAlone) {
  EXPECT_TRUE(delegate_.connection_canAuthenticateAgainstProtectionSpace(
      connection_, {kAuthenticationMethodServerTrust, "collector.example"}));
  for (const char* method : {"NSURLAuthenticationMethodHTTPBasic", "nsurlauthenticationmethodservertrust", "",
                             static_cast<const char*>(nullptr)})
    EXPECT_FALSE(delegate_.connection_canAuthenticateAgainstProtectionSpace(connection_, {method, "c"}));
}

TEST_F(HttpsDelegate, AnswersAChallengeWithTheServersTrust) {
  Challenge challenge(kAuthenticationMethodServerTrust);
  delegate_.connection_didReceiveAuthenticationChallenge(connection_, challenge);
  EXPECT_EQ(challenge.answers, 1);
}

TEST_F(HttpsDelegate, AnswersEveryChallengeAlike) {
  Challenge challenge("NSURLAuthenticationMethodHTTPBasic");
  delegate_.connection_didReceiveAuthenticationChallenge(connection_, challenge);
  EXPECT_EQ(challenge.answers, 1);
}

// Answers.

TEST_F(HttpsDelegate, RequeuesNothingAfterStatus200) {
  answer(200);
  EXPECT_THAT(failedBodies(), IsEmpty());
}

TEST_F(HttpsDelegate, TellsTheConsoleOfStatus200) {
  answer(200);
  EXPECT_THAT(p_.log.lines(), ElementsAre("didReceiveResponse 200"));
}

class HttpsDelegateStatus : public HttpsDelegate, public testing::WithParamInterface<int> {};

TEST_P(HttpsDelegateStatus, RequeuesEveryEvent) {
  answer(GetParam());
  EXPECT_THAT(failedBodies(), ElementsAre("first", "second"));
}

TEST_P(HttpsDelegateStatus, IsNotToldToTheConsole) {
  answer(GetParam());
  EXPECT_THAT(p_.log.lines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(OtherThan200, HttpsDelegateStatus,
                         testing::Values(0, 101, 201, 202, 204, 206, 299, 301, 302, 304, 307, 400, 401, 404,
                                         413, 429, 500, 502, 503, 599, 999));

TEST_F(HttpsDelegate, RequeuesEveryEventAfterAnError) {
  fail();
  EXPECT_THAT(failedBodies(), ElementsAre("first", "second"));
}

TEST_F(HttpsDelegate, RequeuesEveryEventAfterAnErrorWithoutADescription) {
  fail(Error("test", 1, nullptr));
  EXPECT_THAT(failedBodies(), ElementsAre("first", "second"));
}

TEST_F(HttpsDelegate, RequeuesEveryEventAfterNoErrorAtAll) {
  fail(Error());
  EXPECT_THAT(failedBodies(), ElementsAre("first", "second"));
}

TEST_F(HttpsDelegate, TreatsAHostThatIsNotFoundLikeAnyOtherError) {
  fail(Error::withDescription("test", 1, "A server with the specified hostname could not be found."));
  EXPECT_THAT(failedBodies(), ElementsAre("first", "second"));
}

TEST_F(HttpsDelegate, ForgetsItsBodyAfterAnAnswer) {
  answer(200);
  EXPECT_TRUE(delegate_.log().isNil());
  delegate_.setLog("[]");
  answer(500);
  EXPECT_TRUE(delegate_.log().isNil());
}

TEST_F(HttpsDelegate, KeepsItsBodyAfterAnError) {
  fail();
  EXPECT_EQ(delegate_.log(), kTwoEvents);
}

TEST_F(HttpsDelegate, WakesWhoeverWaitsForTheOutcome) {
  answer(200);
  EXPECT_EQ(connection_.stops, 1);
  answer(500);
  EXPECT_EQ(connection_.stops, 2);
  fail();
  EXPECT_EQ(connection_.stops, 3);
}

TEST_F(HttpsDelegate, WakesNobodyUnlessToldTo) {
  delegate_.setShouldStopRunloop(false);
  answer(200);
  answer(500);
  fail();
  EXPECT_EQ(connection_.stops, 0);
}

TEST_F(HttpsDelegate, IgnoresTheBodyOfAnAnswerAndItsEnd) {
  delegate_.connection_didReceiveData(connection_, "{\"error\":\"whatever\"}");
  delegate_.connectionDidFinishLoading(connection_);
  EXPECT_EQ(delegate_.log(), kTwoEvents);
  EXPECT_EQ(connection_.stops, 0);
  EXPECT_THAT(failedBodies(), IsEmpty());
}

TEST_F(HttpsDelegate, CountsWhatBecameOfARequest) {
  answer(200);
  answer(204);
  delegate_.setUrl("http://c:80/v2/log");
  fail();
  const Diagnostics::Requests requests = Diagnostics::snapshot().requests;
  EXPECT_EQ(requests.delivered, 1U);
  EXPECT_EQ(requests.refused, 1U);
  EXPECT_EQ(requests.failed, 1U);
  EXPECT_EQ(requests.lastHttpStatus, 204);
}

TEST_F(HttpsDelegate, ShowsTextAndAddressOfAnErrorInTheDiagnostics) {
  delegate_.setUrl("http://c:80/v2/log");
  fail();
  const String error = Diagnostics::snapshot().requests.lastTransportError;
  EXPECT_THAT(std::string(error.view()),
              testing::AllOf(testing::HasSubstr("no route"), testing::HasSubstr("http://c:80/v2/log")));
}

TEST_F(HttpsDelegate, ShowsAnErrorWithoutADescriptionAsUnknown) {
  fail(Error());
  EXPECT_THAT(std::string(Diagnostics::snapshot().requests.lastTransportError.view()),
              testing::HasSubstr("unknown"));
}

// Events rebuilt from a body.

TEST_F(HttpsDelegate, RebuildsTheRecordOfAnEvent) {
  answer(500);
  const EventQueue events = test::takeFailedEvents(p_);
  ASSERT_THAT(events, SizeIs(2));
  EXPECT_EQ(events[0]->projectName(), Value(test::kAppKey));
  EXPECT_EQ(events[0]->projectVersion(), Value(test::kVersion));
  EXPECT_EQ(events[0]->logType(), Value("type"));
  EXPECT_EQ(events[0]->logSource(), Value("source"));
  EXPECT_EQ(events[0]->host(), Value("192.0.2.1"));
  EXPECT_EQ(events[0]->body(), Value(bytesOf("first")));
  EXPECT_EQ(events[0]->sendTime(), 1'500'000'000'123);
  EXPECT_EQ(events[1]->sendTime(), -5);
}

TEST_F(HttpsDelegate, GivesEveryRebuiltEventItsHandleId) {
  answer(500);
  for (const VeskEventRef& event : test::takeFailedEvents(p_)) EXPECT_EQ(event->handleId(), Value("sender"));
}

TEST_F(HttpsDelegate, PutsAllOtherEntriesBackIntoTheFields) {
  answer(500);
  const EventQueue events = test::takeFailedEvents(p_);
  ASSERT_THAT(events, SizeIs(2));
  EXPECT_EQ(events[0]->fields(),
            Value(Dictionary{{"logLevel", "INFO"}, {"errorRate", "2"}, {"rdmBulkIndex", "0"}}));
  EXPECT_EQ(events[1]->fields(), Value(Dictionary{{"mine", "custom"}}));
}

TEST_F(HttpsDelegate, LeavesMissingMembersOut) {
  delegate_.setLog("[{}]");
  answer(500);
  const EventQueue events = test::takeFailedEvents(p_);
  ASSERT_THAT(events, SizeIs(1));
  EXPECT_TRUE(events[0]->projectName().isNull());
  EXPECT_TRUE(events[0]->body().isNull());
  EXPECT_EQ(events[0]->sendTime(), 0);
}

TEST_F(HttpsDelegate, KeepsTheOrderOfTheBody) {
  std::string body = "[";
  Texts expected;
  for (int event = 0; event < 50; ++event) {
    body += (event == 0 ? R"({"body":")" : R"(,{"body":")") + std::to_string(event) + R"("})";
    expected.push_back(std::to_string(event));
  }
  delegate_.setLog(body + "]");
  answer(500);
  EXPECT_EQ(failedBodies(), expected);
}

TEST_F(HttpsDelegate, RebuildsWhatTheCollectorRequestSent) {
  const VeskHandleRef handle = test::openWithoutSessionLog("full", {.appKey = "fullApp"});
  PXALog::setCustomField_forKey_forHandleId("grüße \"quoted\"\n", "mine", "full");
  PXALog::warn_withMessage_atLocation_forHandleId("17", "line\twith ünïcode", nullptr, "full");
  test::startSendLoop(p_);
  ASSERT_TRUE(test::letOnePassHappen(p_));
  p_.urlLoader.answer(0, 503);
  const EventQueue events = test::takeFailedEvents(p_);
  ASSERT_THAT(events, SizeIs(1));
  EXPECT_EQ(events[0]->body(), Value(bytesOf("line\twith ünïcode")));
  EXPECT_EQ(events[0]->sendTime(), 1'700'000'000'250);
  EXPECT_EQ(events[0]->handleId(), Value("full"));
  EXPECT_EQ(fieldOf(events[0], "mine"), Value("grüße \"quoted\"\n"));
  EXPECT_EQ(fieldOf(events[0], "logLevel"), Value("WARN"));
  EXPECT_EQ(fieldOf(events[0], "errorCode"), Value("17"));
}

TEST_F(HttpsDelegate, PutsNothingIntoTheLogQueue) {
  answer(500);
  EXPECT_THAT(test::bodiesOf(test::takeEvents()), IsEmpty());
}

// Bodies that cannot be read.

class HttpsDelegateBody : public HttpsDelegate, public testing::WithParamInterface<const char*> {};

TEST_P(HttpsDelegateBody, IsGivenUpWhenItCannotBeRead) {
  delegate_.setLog(GetParam());
  EXPECT_NO_THROW(answer(500));
  EXPECT_THAT(failedBodies(), IsEmpty());
}

TEST_P(HttpsDelegateBody, IsGivenUpAfterAnErrorToo) {
  delegate_.setLog(GetParam());
  EXPECT_NO_THROW(fail());
  EXPECT_THAT(failedBodies(), IsEmpty());
}

TEST_P(HttpsDelegateBody, DisturbsNoDelivery) {
  setUnityMode();
  delegate_.setLog(GetParam());
  EXPECT_NO_THROW(answer(200));
  EXPECT_EQ(connection_.stops, 1);
}

INSTANTIATE_TEST_SUITE_P(Unreadable, HttpsDelegateBody,
                         testing::Values(nullptr, "", "[", "no json", "5", "{}", R"({"body":"a"})", "[]",
                                         "[5]", R"(["text"])", "[null]", "[[]]", "[true]"));

TEST_F(HttpsDelegate, GivesABodyUpFromItsFirstUnreadableElementOn) {
  delegate_.setLog(R"([{"body":"a"},5,{"body":"b"}])");
  answer(500);
  EXPECT_THAT(failedBodies(), ElementsAre("a"));
}

TEST_F(HttpsDelegate, CountsTheEventsOfABodyThatItGivesUp) {
  PXALog::info_withMessage_atLocation_forHandleId(nullptr, "message", nullptr, "h");
  test::startSendLoop(p_);
  ASSERT_TRUE(test::letOnePassHappen(p_));
  delegate_.setEventCount(1);
  delegate_.setLog("no json");
  answer(500);
  const Diagnostics::Events events = Diagnostics::snapshot().events;
  EXPECT_EQ(events.dropped.unreadableBody, 1U);
  EXPECT_EQ(events.inFlight, 0U);
}

TEST_F(HttpsDelegate, CountsTheEventsThatComeBack) {
  PXALog::info_withMessage_atLocation_forHandleId(nullptr, "message", nullptr, "h");
  test::startSendLoop(p_);
  ASSERT_TRUE(test::letOnePassHappen(p_));
  p_.urlLoader.answer(0, 500);
  const Diagnostics::Events events = Diagnostics::snapshot().events;
  EXPECT_EQ(events.failed, 1U);
  EXPECT_EQ(events.inFlight, 0U);
  EXPECT_EQ(events.total(), events.entered);
}

// The notice to Unity.

TEST_F(HttpsDelegate, TellsUnityOnceOfAllCrashesThatWereDelivered) {
  setUnityMode();
  listenForNotices();
  delegate_.setLog(kTwoCrashes);
  answer(200);
  EXPECT_THAT(notices_, ElementsAre(kNotice));
  EXPECT_THAT(failedBodies(), IsEmpty());
}

TEST_F(HttpsDelegate, TellsUnityOnceOfAllCrashesThatWereRefused) {
  setUnityMode();
  listenForNotices();
  delegate_.setLog(kTwoCrashes);
  answer(500);
  EXPECT_THAT(notices_, ElementsAre(kNotice));
  EXPECT_THAT(failedBodies(), ElementsAre("a", "b", "c"));
}

TEST_F(HttpsDelegate, TellsUnityOnceOfAllCrashesThatFailed) {
  setUnityMode();
  listenForNotices();
  delegate_.setLog(kTwoCrashes);
  fail();
  EXPECT_THAT(notices_, ElementsAre(kNotice));
}

TEST_F(HttpsDelegate, TellsUnityOfACrashBesideOtherEvents) {
  setUnityMode();
  listenForNotices();
  delegate_.setLog(R"([{"body":"a"},{"body":"b"},{"body":"c","DmpData":"x"},{"body":"d"}])");
  answer(200);
  EXPECT_THAT(notices_, ElementsAre(kNotice));
}

TEST_F(HttpsDelegate, TellsUnityNothingWithoutACrash) {
  setUnityMode();
  listenForNotices();
  answer(200);
  EXPECT_THAT(notices_, IsEmpty());
}

TEST_F(HttpsDelegate, TellsNothingWithoutUnity) {
  listenForNotices();
  delegate_.setLog(kTwoCrashes);
  answer(200);
  EXPECT_THAT(notices_, IsEmpty());
}

TEST_F(HttpsDelegate, TellsUnityNothingWhenTheBodyBreaksOff) {
  setUnityMode();
  listenForNotices();
  delegate_.setLog(R"([{"body":"a","DmpData":"x"},5])");
  answer(500);
  EXPECT_THAT(notices_, IsEmpty());
}

TEST_F(HttpsDelegate, NeedsNoUnityHost) {
  setUnityMode();
  delegate_.setLog(kTwoCrashes);
  EXPECT_NO_THROW(answer(200));
}

TEST_F(HttpsDelegate, TellsUnityUnderTheGlobalLock) {
  setUnityMode();
  static std::atomic<bool> isAboutToTake = false;
  static std::atomic<bool> isTelling = false;
  static std::atomic<bool> hasTaken = false;
  static std::atomic<bool> wasTelling = false;
  Host::setUnitySendMessage([](const char*, const char*, const char*) {
    isTelling = true;
    std::thread([] {
      isAboutToTake = true;
      const GlobalGuard guard;
      wasTelling = isTelling.load();
      hasTaken = true;
    }).detach();
    EXPECT_TRUE(test::waitUntil([] { return isAboutToTake.load(); }));
    for (int turn = 0; turn < 1000 && !hasTaken; ++turn) std::this_thread::yield();
    isTelling = false;
  });
  delegate_.setLog(kTwoCrashes);
  answer(200);
  ASSERT_TRUE(test::waitUntil([] { return hasTaken.load(); }));
  EXPECT_FALSE(wasTelling);
}

TEST_F(HttpsDelegate, SurvivesAUnityHostThatThrows) {
  setUnityMode();
  Host::setUnitySendMessage(
      [](const char*, const char*, const char*) { throw std::runtime_error("no engine"); });
  delegate_.setLog(kTwoCrashes);
  EXPECT_NO_THROW(answer(500));
  EXPECT_TRUE(test::isGlobalLockFree());
  EXPECT_EQ(connection_.stops, 1);
  EXPECT_THAT(failedBodies(), ElementsAre("a", "b", "c"));
}

TEST_F(HttpsDelegate, LetsTheUnityHostLog) {
  setUnityMode();
  Host::setUnitySendMessage([](const char*, const char*, const char*) {
    PXALog::info_withMessage_atLocation_forHandleId(nullptr, "from the engine", nullptr, "h");
  });
  delegate_.setLog(kTwoCrashes);
  answer(200);
  EXPECT_THAT(test::bodiesOf(test::takeEvents()), ElementsAre("from the engine"));
}

TEST_F(HttpsDelegate, WritesItsConsoleLineAfterTheLocksAreLeft) {
  bool wasFree = false;
  p_.log.setListener([&wasFree](const std::string&) { wasFree = test::isGlobalLockFree(); });
  {
    const GlobalGuard guard;
    answer(200);
    EXPECT_THAT(p_.log.lines(), IsEmpty());
  }
  EXPECT_TRUE(wasFree);
}

TEST_F(HttpsDelegate, WritesItsConsoleLineToASinkThatMayLog) {
  p_.log.setListener([](const std::string&) {
    PXALog::info_withMessage_atLocation_forHandleId(nullptr, "from the sink", nullptr, "h");
  });
  answer(200);
  EXPECT_THAT(test::bodiesOf(test::takeEvents()), ElementsAre("from the sink"));
}

// saveToFile alone.

TEST_F(HttpsDelegate, SavesOnlyWhenAskedTo) {
  delegate_.saveToFile_withSaveFlag(kTwoEvents, false);
  EXPECT_THAT(failedBodies(), IsEmpty());
  delegate_.saveToFile_withSaveFlag(kTwoEvents, true);
  EXPECT_THAT(failedBodies(), ElementsAre("first", "second"));
}

TEST(HttpsDelegateWithoutAQueue, LosesTheBodyQuietly) {
  test::FakePlatform::install();
  VeskHttpsDelegate delegate;
  EXPECT_NO_THROW(delegate.saveToFile_withSaveFlag(kTwoEvents, true));
}

}  // namespace
}  // namespace pxa
