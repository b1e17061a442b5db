#include <atomic>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <pxalog/Diagnostics.h>
#include <pxalog/PXALog.h>

#include "api/handle/GlobalLock.h"
#include "api/handle/handle_table.h"
#include "api/handle/host_address.h"
#include "api/handle/process_state.h"
#include "event/event_json.h"
#include "platform/BackgroundThread.h"
#include "support/BackgroundCall.h"
#include "support/FakePlatform.h"
#include "support/delivery.h"
#include "support/values.h"
#include "support/wait.h"
#include "transport/BulkEventLists.h"
#include "transport/send_loop.h"

namespace pxa {
namespace {

using test::BackgroundCall;
using test::bytesOf;
using test::enqueueEvent;
using test::fieldOf;
using test::letOnePassHappen;
using test::makeEvent;
using test::openWithoutSessionLog;
using test::startSendLoop;
using test::text;
using test::textsOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Texts = std::vector<std::string>;

constexpr std::size_t kMostBytesOfAPass = 2'097'152;

/// A process with one open handle, "h" of project "project", and a send thread that stops at its sleeps.
class SendLoop : public testing::Test {
 protected:
  void SetUp() override {
    handle_ = openWithoutSessionLog("h");
    ASSERT_NE(handle_, nullptr);
    handle_->setIsDeduplicate(false);
    before_ = Diagnostics::snapshot();
  }

  bool letOnePassHappen() { return test::letOnePassHappen(p_); }
  std::size_t requestCount() { return p_.urlLoader.started().size(); }
  Texts bodiesOf(std::size_t request) { return textsOf(p_, request, "body"); }
  /// How many events were dropped for the reason since the test began.
  std::uint64_t dropped(std::uint64_t Diagnostics::DroppedEvents::*reason) const {
    return Diagnostics::snapshot().events.dropped.*reason - before_.events.dropped.*reason;
  }
  bool letTheLoopSpin() { return test::letSendLoopSpin(p_); }
  void setSettingsPending(bool isPending) {
    const GlobalGuard guard;
    processFlags().isSettingsPending = isPending;
  }
  /// The event that takes that many bytes of a pass.
  VeskEventRef eventOfLength(std::size_t length, test::EventSpec spec = {}) {
    spec.body = bytesOf("");
    const std::size_t bodyLength = length - jsonLengthOf(*makeEvent(spec));
    spec.body = bytesOf(std::string(bodyLength, 'x'));
    VeskEventRef event = makeEvent(spec);
    EXPECT_EQ(jsonLengthOf(*event), length);
    return event;
  }
  void enqueue(const VeskEventRef& event) { gs_blockQueue()->enqueue(event); }
  /// Queues an event that does the work once, when the loop measures it: after the event's handle was looked
  /// up, before the event is completed.
  void enqueueThatDoes(std::function<void()> work, const char* body = "message") {
    const VeskEventRef event = makeEvent({.body = bytesOf(body)});
    event->fields().dictionary().set("probe",
                                     test::jsonProbe([work = std::move(work), isFirst = true]() mutable {
                                       if (std::exchange(isFirst, false)) work();
                                     }));
    enqueue(event);
  }

  test::FakePlatform& p_ = test::FakePlatform::install();
  VeskHandleRef handle_;
  Diagnostics::Snapshot before_;
};

TEST_F(SendLoop, SleepsOneSecondBeforeEachPass) {
  startSendLoop(p_);
  for (int pass = 0; pass < 2; ++pass) {
    enqueueEvent();
    ASSERT_TRUE(letOnePassHappen());
  }
  EXPECT_THAT(p_.clock.sleeps(), ElementsAre(1.0, 1.0, 1.0));
}

TEST_F(SendLoop, SendsNothingBeforeItsFirstSleepEnds) {
  startSendLoop(p_);
  enqueueEvent();
  ASSERT_TRUE(p_.clock.waitForSleeper());
  EXPECT_EQ(requestCount(), 0U);
}

TEST_F(SendLoop, SendsWhatWasQueuedInOneRequestInOrder) {
  startSendLoop(p_);
  for (const char* body : {"first", "second", "third"}) enqueueEvent({.body = bytesOf(body)});
  ASSERT_TRUE(letOnePassHappen());
  ASSERT_EQ(requestCount(), 1U);
  EXPECT_THAT(bodiesOf(0), ElementsAre("first", "second", "third"));
}

TEST_F(SendLoop, SendsALogCall) {
  startSendLoop(p_);
  PXALog::error_withMessage_atLocation_forHandleId("17", "a log line", "here", "h");
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(bodiesOf(0), ElementsAre("a log line"));
}

TEST_F(SendLoop, SendsOneRequestForEachProject) {
  openWithoutSessionLog("other", {.appKey = "otherApp"})->setIsDeduplicate(false);
  startSendLoop(p_);
  enqueueEvent({.body = bytesOf("a")});
  enqueueEvent({.body = bytesOf("b"), .handleId = "other", .projectName = "otherApp"});
  enqueueEvent({.body = bytesOf("c")});
  ASSERT_TRUE(letOnePassHappen());
  ASSERT_EQ(requestCount(), 2U);
  EXPECT_THAT((std::vector{bodiesOf(0), bodiesOf(1)}),
              testing::UnorderedElementsAre(Texts{"a", "c"}, Texts{"b"}));
}

TEST_F(SendLoop, LeavesEventsThatComeDuringAPassForTheNext) {
  startSendLoop(p_);
  enqueueThatDoes([] { enqueueEvent({.body = bytesOf("late")}); }, "first");
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(bodiesOf(0), ElementsAre("first"));
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(bodiesOf(1), ElementsAre("late"));
}

TEST_F(SendLoop, SendsNothingWhileTheQueueIsEmpty) {
  startSendLoop(p_);
  ASSERT_TRUE(p_.clock.waitForSleeper());
  p_.clock.letOneSleepEnd();
  enqueueEvent({.handleId = "unknown"});
  ASSERT_TRUE(p_.clock.waitForSleeper());
  EXPECT_EQ(requestCount(), 0U);
}

// Holding.

TEST_F(SendLoop, SpinsWithoutSleepingWhileASynchronousStartHoldsSending) {
  openWithoutSessionLog("held", {.isSyncStart = true});
  startSendLoop(p_);
  enqueueEvent();
  ASSERT_TRUE(letTheLoopSpin());
  EXPECT_THAT(p_.clock.sleeps(), IsEmpty());
  EXPECT_EQ(Diagnostics::snapshot().events.waiting, 1U);
}

TEST_F(SendLoop, SendsOnceStartSendThreadIsCalled) {
  openWithoutSessionLog("held", {.isSyncStart = true});
  startSendLoop(p_);
  enqueueEvent();
  ASSERT_TRUE(letTheLoopSpin());
  PXALog::startSendThread();
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_EQ(requestCount(), 1U);
}

TEST_F(SendLoop, SpinsWithoutSleepingWhileSettingsArePending) {
  setSettingsPending(true);
  startSendLoop(p_);
  enqueueEvent();
  ASSERT_TRUE(letTheLoopSpin());
  EXPECT_THAT(p_.clock.sleeps(), IsEmpty());
  EXPECT_EQ(Diagnostics::snapshot().events.waiting, 1U);
}

TEST_F(SendLoop, SendsOnceSettingsArePendingNoMore) {
  setSettingsPending(true);
  startSendLoop(p_);
  enqueueEvent();
  ASSERT_TRUE(letTheLoopSpin());
  setSettingsPending(false);
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_EQ(requestCount(), 1U);
}

TEST_F(SendLoop, StaysHeldByEitherFlagAlone) {
  openWithoutSessionLog("held", {.isSyncStart = true});
  setSettingsPending(true);
  startSendLoop(p_);
  PXALog::startSendThread();
  ASSERT_TRUE(letTheLoopSpin());
  EXPECT_THAT(p_.clock.sleeps(), IsEmpty());
}

TEST_F(SendLoop, KeepsEventsQueuedWhenSettingsBecamePendingWhileItWaitedForWork) {
  startSendLoop(p_);
  ASSERT_TRUE(p_.clock.waitForSleeper());
  p_.clock.letOneSleepEnd();
  setSettingsPending(true);
  enqueueEvent();
  ASSERT_TRUE(letTheLoopSpin());
  EXPECT_EQ(requestCount(), 0U);
  EXPECT_EQ(Diagnostics::snapshot().events.waiting, 1U);
  setSettingsPending(false);
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_EQ(requestCount(), 1U);
}

TEST_F(SendLoop, KeepsEventsQueuedWhenASynchronousStartBeganWhileItWaitedForWork) {
  startSendLoop(p_);
  ASSERT_TRUE(p_.clock.waitForSleeper());
  p_.clock.letOneSleepEnd();
  openWithoutSessionLog("held", {.appKey = "heldApp", .isSyncStart = true});
  enqueueEvent();
  ASSERT_TRUE(letTheLoopSpin());
  EXPECT_EQ(requestCount(), 0U);
  PXALog::startSendThread();
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_EQ(requestCount(), 1U);
}

TEST_F(SendLoop, LetsOthersTakeTheGlobalLockWhileItSpins) {
  setSettingsPending(true);
  startSendLoop(p_);
  ASSERT_TRUE(letTheLoopSpin());
  const BackgroundCall taking([] {
    for (int turn = 0; turn < 1000; ++turn) const GlobalGuard guard;
  });
  EXPECT_TRUE(taking.returns());
}

// What happens to one event.

TEST_F(SendLoop, DropsAnEventWithoutHandleIdAndGoesOn) {
  startSendLoop(p_);
  enqueueEvent({.body = bytesOf("lost"), .handleId = {}});
  enqueueEvent({.body = bytesOf("sent")});
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(bodiesOf(0), ElementsAre("sent"));
  EXPECT_EQ(dropped(&Diagnostics::DroppedEvents::noHandleId), 1U);
}

TEST_F(SendLoop, DropsAnEventOfAnUnknownHandleAndGoesOn) {
  startSendLoop(p_);
  enqueueEvent({.body = bytesOf("lost"), .handleId = "unknown"});
  enqueueEvent({.body = bytesOf("sent")});
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(bodiesOf(0), ElementsAre("sent"));
  EXPECT_EQ(dropped(&Diagnostics::DroppedEvents::unknownHandle), 1U);
}

TEST_F(SendLoop, DropsAnEventOfAnUnknownProjectAndGoesOn) {
  startSendLoop(p_);
  enqueueEvent({.body = bytesOf("lost"), .projectName = "unknown"});
  enqueueEvent({.body = bytesOf("sent")});
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(bodiesOf(0), ElementsAre("sent"));
  EXPECT_EQ(dropped(&Diagnostics::DroppedEvents::noProjectList), 1U);
}

TEST_F(SendLoop, NeverAddsAProject) {
  startSendLoop(p_);
  enqueueEvent({.projectName = "unknown"});
  ASSERT_TRUE(letOnePassHappen());
  const GlobalGuard guard;
  EXPECT_EQ(bulkEventLists().projectCount(), 1U);
}

TEST_F(SendLoop, StampsTheHostAtSendTime) {
  startSendLoop(p_);
  const VeskEventRef event = enqueueEvent();
  PXALog::enableHost(false);
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_EQ(event->host(), Value("-"));
  EXPECT_THAT(textsOf(p_, 0, "host"), ElementsAre("-"));
}

TEST_F(SendLoop, CompletesAnEventWithTheCommonFieldsAsTheyAreAtSendTime) {
  startSendLoop(p_);
  PXALog::info_withMessage_atLocation_forHandleId(nullptr, "message", nullptr, "h");
  PXALog::setCustomField_forKey_forHandleId("later", "mine", "h");
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(textsOf(p_, 0, "mine"), ElementsAre("later"));
  EXPECT_THAT(textsOf(p_, 0, "Platform"), ElementsAre("iOS 12.1"));
}

TEST_F(SendLoop, SendsOfALogLineWhatItSendsOfAnEventWithTheSameFields) {
  startSendLoop(p_);
  PXALog::setUserId_forHandlerId("ada", "h");
  PXALog::setCustomField_forKey_forHandleId("a \"quoted\" value", "mine", "h");
  PXALog::info_withMessage_atLocation_forHandleId("E1", "message", nullptr, "h");
  const VeskEventRef event = makeEvent();
  Dictionary fields = event->fields().dictionary();
  fields.set("errorCode", bytesOf("E1"));
  enqueue(event);
  ASSERT_TRUE(letOnePassHappen());
  const std::vector<Dictionary> sent = test::elementsOf(p_.urlLoader.bodies().at(0));
  ASSERT_THAT(sent, SizeIs(2));
  Dictionary ofLine = sent[0];
  Dictionary ofEvent = sent[1];
  for (const char* different : {"projectVersion", "logType", "logSource", "sendTime", "rdmBulkIndex"}) {
    EXPECT_TRUE(ofLine.contains(different)) << different;
    ofLine.remove(different);
    ofEvent.remove(different);
  }
  EXPECT_EQ(text(ofLine.value("mine")), "a \"quoted\" value");
  EXPECT_EQ(Value(ofLine), Value(ofEvent));
}

/// Two log lines of one pass, between which something changes.
class SendLoopBetweenLines : public SendLoop {
 protected:
  /// What both sent under the key.
  Texts sentAround(const std::function<void()>& change, std::string_view key) {
    p_.device.generationOfFacts = 1;
    startSendLoop(p_);
    PXALog::info_withMessage_atLocation_forHandleId(nullptr, "before", nullptr, "h");
    enqueueThatDoes(change);
    PXALog::info_withMessage_atLocation_forHandleId(nullptr, "after", nullptr, "h");
    EXPECT_TRUE(letOnePassHappen());
    Texts sent = textsOf(p_, 0, key);
    if (sent.size() == 3) sent.erase(sent.begin() + 1);
    return sent;
  }
};

TEST_F(SendLoopBetweenLines, CompletesEachWithTheUserOfItsMoment) {
  PXALog::setUserId_forHandlerId("ada", "h");
  EXPECT_THAT(sentAround([] { PXALog::setUserId_forHandlerId("grace", "h"); }, "UserID"),
              ElementsAre("ada", "grace"));
}

TEST_F(SendLoopBetweenLines, CompletesOneWithoutAUserAndOneWithAnEmptyUser) {
  PXALog::setUserId_forHandlerId(nullptr, "h");
  EXPECT_THAT(sentAround([] { PXALog::setUserId_forHandlerId("", "h"); }, "UserID"),
              ElementsAre("(none)", ""));
}

TEST_F(SendLoopBetweenLines, CompletesOneWithoutTheCustomFieldThatIsRemoved) {
  PXALog::setCustomField_forKey_forHandleId("old", "mine", "h");
  EXPECT_THAT(sentAround([] { PXALog::removeCustomFieldForKey_forHandleId("mine", "h"); }, "mine"),
              ElementsAre("old", "(none)"));
}

TEST_F(SendLoopBetweenLines, CompletesEachWithTheCustomFieldsOfItsMoment) {
  PXALog::setCustomField_forKey_forHandleId("old", "mine", "h");
  EXPECT_THAT(sentAround([] { PXALog::setCustomField_forKey_forHandleId("new", "mine", "h"); }, "mine"),
              ElementsAre("old", "new"));
}

TEST_F(SendLoopBetweenLines, CompletesEachWithTheNetworkOfItsMoment) {
  const auto setNetwork = [](const char* type) {
    const GlobalGuard guard;
    networkRecord()->setNetworkType(type);
  };
  setNetwork("Cellular");
  EXPECT_THAT(sentAround([&] { setNetwork("Wi-Fi"); }, "NetworkType"), ElementsAre("Cellular", "Wi-Fi"));
}

TEST_F(SendLoopBetweenLines, CompletesEachWithTheDeviceFactsOfItsMoment) {
  EXPECT_THAT(sentAround(
                  [&] {
                    p_.device.version = "13.0";
                    p_.device.generationOfFacts = 2;
                  },
                  "Platform"),
              ElementsAre("iOS 12.1", "iOS 13.0"));
}

TEST_F(SendLoopBetweenLines, CompletesEachWithTheHostOfItsMoment) {
  EXPECT_THAT(sentAround([] { PXALog::enableHost(false); }, "host"), ElementsAre("192.0.2.7", "-"));
}

TEST_F(SendLoop, CompletesTheLinesOfEachHandleWithItsOwnFields) {
  openWithoutSessionLog("other")->setIsDeduplicate(false);
  p_.device.generationOfFacts = 1;
  PXALog::setCustomField_forKey_forHandleId("of h", "mine", "h");
  PXALog::setCustomField_forKey_forHandleId("of other", "mine", "other");
  startSendLoop(p_);
  for (const char* handle : {"h", "other", "h", "other"})
    PXALog::info_withMessage_atLocation_forHandleId(nullptr, "message", nullptr, handle);
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(textsOf(p_, 0, "mine"), ElementsAre("of h", "of other", "of h", "of other"));
}

TEST_F(SendLoop, SendsALogLineWithoutTheDumpsFields) {
  startSendLoop(p_);
  PXALog::info_withMessage_atLocation_forHandleId(nullptr, "message", nullptr, "h");
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(textsOf(p_, 0, "SymMethod"), ElementsAre("(none)"));
  EXPECT_THAT(textsOf(p_, 0, "CrashStyle"), ElementsAre("(none)"));
  EXPECT_THAT(textsOf(p_, 0, "logVersion"), ElementsAre("v2"));
}

TEST_F(SendLoop, SendsTheIndexInTheBulkOfALogLineInsteadOfACustomFieldOfThatName) {
  startSendLoop(p_);
  PXALog::setCustomField_forKey_forHandleId("mine", "rdmBulkIndex", "h");
  PXALog::info_withMessage_atLocation_forHandleId(nullptr, "message", nullptr, "h");
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(textsOf(p_, 0, "rdmBulkIndex"), ElementsAre("0"));
  EXPECT_EQ(p_.urlLoader.bodies().at(0).find("mine"), std::string::npos);
}

TEST_F(SendLoop, TakesACustomErrorRateOfALogLineForItsOwn) {
  startSendLoop(p_);
  PXALog::setCustomField_forKey_forHandleId("4", "errorRate", "h");
  PXALog::info_withMessage_atLocation_forHandleId(nullptr, "message", nullptr, "h");
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(bodiesOf(0), IsEmpty());
  EXPECT_EQ(dropped(&Diagnostics::DroppedEvents::tooManyFailures), 1U);
}

TEST_F(SendLoop, StoresTheHandlesUserIdAsTextInAnEventWhoseUserIdIsEmpty) {
  startSendLoop(p_);
  PXALog::setUserId_forHandlerId("", "h");
  const VeskEventRef event = enqueueEvent();
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_EQ(fieldOf(event, "UserID"), Value(""));
}

TEST_F(SendLoop, LeavesAUserIdAsBytes) {
  startSendLoop(p_);
  PXALog::setUserId_forHandlerId("somebody", "h");
  const VeskEventRef event = enqueueEvent();
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_EQ(fieldOf(event, "UserID"), Value(bytesOf("somebody")));
}

TEST_F(SendLoop, AddsNoUserIdForAHandleWithoutOne) {
  startSendLoop(p_);
  const VeskEventRef event = enqueueEvent();
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_FALSE(event->fields().dictionary().contains("UserID"));
}

TEST_F(SendLoop, KeepsTheEventsOwnUserIdForAHandleWithoutOne) {
  startSendLoop(p_);
  const VeskEventRef event = makeEvent();
  event->fields().dictionary().set("UserID", bytesOf("earlier"));
  enqueue(event);
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(textsOf(p_, 0, "UserID"), ElementsAre("earlier"));
}

TEST_F(SendLoop, TakesTheDumpsFieldsFromAnEventWithoutADump) {
  startSendLoop(p_);
  enqueueEvent();
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(textsOf(p_, 0, "SymMethod"), ElementsAre("(none)"));
  EXPECT_THAT(textsOf(p_, 0, "CrashStyle"), ElementsAre("(none)"));
}

TEST_F(SendLoop, LeavesTheDumpsFieldsWithADump) {
  startSendLoop(p_);
  enqueueEvent({.dump = "dump"});
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(textsOf(p_, 0, "SymMethod"), ElementsAre("none"));
  EXPECT_THAT(textsOf(p_, 0, "CrashStyle"), ElementsAre("unity-cs"));
}

TEST_F(SendLoop, LeavesTheHandlesOwnDumpFieldsAlone) {
  startSendLoop(p_);
  enqueueEvent();
  enqueueEvent({.dump = "dump"});
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(textsOf(p_, 0, "SymMethod"), ElementsAre("(none)", "none"));
}

TEST_F(SendLoop, SendsAnEventWithoutFields) {
  startSendLoop(p_);
  const VeskEventRef event = makeEvent({.body = bytesOf("bare")});
  event->setFields(nullptr);
  enqueue(event);
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(bodiesOf(0), ElementsAre("bare"));
}

TEST_F(SendLoop, GoesOnAfterEventsThatHoldValuesOfOddKinds) {
  handle_->setIsDeduplicate(true);
  startSendLoop(p_);
  enqueueEvent({.handleId = 5});
  enqueueEvent({.handleId = bytesOf("h")});
  enqueueEvent({.projectName = 5});
  enqueueEvent({.projectName = {}});
  enqueueEvent({.body = 5, .level = true, .dump = 7, .logType = bytesOf("type")});
  enqueueEvent({.body = {}, .level = {}, .logType = {}});
  enqueueEvent({.body = bytesOf("sent")});
  ASSERT_TRUE(letOnePassHappen());
  ASSERT_EQ(requestCount(), 1U);
  EXPECT_EQ(bodiesOf(0).back(), "sent");
}

struct GateCase {
  const char* name;
  test::EventSpec event;
  void (VeskHandle::*switchOff)(bool);
  std::uint64_t Diagnostics::DroppedEvents::*reason;

  friend std::ostream& operator<<(std::ostream& out, const GateCase& one) { return out << one.name; }
};

class SendLoopGate : public SendLoop, public testing::WithParamInterface<GateCase> {};

TEST_P(SendLoopGate, DropsWhatTheGateRefusesAndCountsTheReason) {
  handle_->setIsDeduplicate(true);
  ((*handle_).*(GetParam().switchOff))(false);
  openWithoutSessionLog("open", {.appKey = "openApp"});
  startSendLoop(p_);
  enqueueEvent(GetParam().event);
  enqueueEvent({.handleId = "open", .projectName = "openApp"});
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_EQ(requestCount(), 1U);
  EXPECT_EQ(dropped(GetParam().reason), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    Switches, SendLoopGate,
    testing::Values(GateCase{"Session",
                             {.logType = "SESSION"},
                             &VeskHandle::setIsSession,
                             &Diagnostics::DroppedEvents::sessionSwitch},
                    GateCase{"Crash",
                             {.dump = "dump"},
                             &VeskHandle::setIsCrash,
                             &Diagnostics::DroppedEvents::crashSwitch},
                    GateCase{"Log", {}, &VeskHandle::setIsLog, &Diagnostics::DroppedEvents::logSwitch}),
    [](const auto& param) { return std::string(param.param.name); });

TEST_F(SendLoop, DropsARepeatAndCountsIt) {
  handle_->setIsDeduplicate(true);
  startSendLoop(p_);
  enqueueEvent();
  enqueueEvent();
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(bodiesOf(0), SizeIs(1));
  EXPECT_EQ(dropped(&Diagnostics::DroppedEvents::duplicate), 1U);
}

TEST_F(SendLoop, HonoursASwitchThatChangesBetweenTwoPasses) {
  startSendLoop(p_);
  enqueueEvent({.logType = "SESSION"});
  ASSERT_TRUE(letOnePassHappen());
  handle_->setIsSession(false);
  enqueueEvent({.logType = "SESSION"});
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_EQ(requestCount(), 1U);
}

// Unity crashes.

TEST_F(SendLoop, LetsANewSessionTravelWithAUnityCrash) {
  openWithoutSessionLog("unity", {.appKey = "unityApp", .unityVersion = "2019.1"});
  startSendLoop(p_);
  enqueueEvent({.body = bytesOf("crash"),
                .dump = bytesOf("dump"),
                .logType = "CRASH",
                .handleId = "unity",
                .projectName = "unityApp"});
  ASSERT_TRUE(letOnePassHappen());
  ASSERT_EQ(requestCount(), 1U);
  EXPECT_THAT(textsOf(p_, 0, "logType"), ElementsAre("CRASH", "SESSION"));
  EXPECT_THAT(textsOf(p_, 0, "rdmBulkIndex"), ElementsAre("0", "1"));
}

TEST_F(SendLoop, SendsLogLinesBehindAUnityCrashInItsNewSession) {
  openWithoutSessionLog("unity", {.appKey = "unityApp", .unityVersion = "2019.1"});
  p_.device.generationOfFacts = 1;
  startSendLoop(p_);
  PXALog::info_withMessage_atLocation_forHandleId(nullptr, "before", nullptr, "unity");
  enqueueEvent({.dump = bytesOf("dump"), .handleId = "unity", .projectName = "unityApp"});
  PXALog::info_withMessage_atLocation_forHandleId(nullptr, "after", nullptr, "unity");
  ASSERT_TRUE(letOnePassHappen());
  const Texts sessions = textsOf(p_, 0, "SessionID");
  ASSERT_THAT(sessions, SizeIs(4));
  EXPECT_EQ(sessions[0], sessions[1]);
  EXPECT_NE(sessions[1], sessions[2]);
  EXPECT_EQ(sessions[2], sessions[3]);
}

TEST_F(SendLoop, StartsNoNewSessionForACrashWithoutUnity) {
  startSendLoop(p_);
  enqueueEvent({.dump = bytesOf("dump"), .logType = "CRASH"});
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(textsOf(p_, 0, "logType"), ElementsAre("CRASH"));
}

TEST_F(SendLoop, StartsNoNewSessionForAUnityLog) {
  openWithoutSessionLog("unity", {.appKey = "unityApp", .unityVersion = "2019.1"});
  startSendLoop(p_);
  enqueueEvent({.handleId = "unity", .projectName = "unityApp"});
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(textsOf(p_, 0, "logType"), ElementsAre("type"));
}

TEST_F(SendLoop, StartsNoNewSessionForARefusedUnityCrash) {
  const VeskHandleRef unity =
      openWithoutSessionLog("unity", {.appKey = "unityApp", .unityVersion = "2019.1"});
  unity->setIsCrash(false);
  startSendLoop(p_);
  enqueueEvent({.dump = bytesOf("dump"), .handleId = "unity", .projectName = "unityApp"});
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_EQ(requestCount(), 0U);
}

// The size of a pass.

TEST_F(SendLoop, GoesOnWhenAPassReachesExactlyTwoMebibytes) {
  startSendLoop(p_);
  enqueue(eventOfLength(kMostBytesOfAPass - 1000));
  enqueue(eventOfLength(1000));
  enqueueEvent({.body = bytesOf("one more")});
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(bodiesOf(0), SizeIs(3));
}

TEST_F(SendLoop, StopsAfterTheEventThatCrossesTwoMebibytesAndSendsIt) {
  startSendLoop(p_);
  enqueue(eventOfLength(kMostBytesOfAPass - 1000));
  enqueue(eventOfLength(1001));
  enqueueEvent({.body = bytesOf("next pass")});
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(bodiesOf(0), SizeIs(2));
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(bodiesOf(1), ElementsAre("next pass"));
}

TEST_F(SendLoop, SendsOneEventOfAnySizeInAPassOfItsOwn) {
  startSendLoop(p_);
  enqueue(eventOfLength(2 * kMostBytesOfAPass));
  enqueueEvent({.body = bytesOf("next pass")});
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(bodiesOf(0), SizeIs(1));
}

TEST_F(SendLoop, BeginsToCountAnewInEachPass) {
  startSendLoop(p_);
  for (int pass = 0; pass < 2; ++pass) {
    enqueue(eventOfLength(kMostBytesOfAPass - 1000));
    enqueue(eventOfLength(1000));
    enqueueEvent();
    ASSERT_TRUE(letOnePassHappen());
  }
  EXPECT_THAT(bodiesOf(1), SizeIs(3));
}

TEST_F(SendLoop, SendsThreeMebibytesInTwoPasses) {
  startSendLoop(p_);
  for (int event = 0; event < 3; ++event) enqueue(eventOfLength(1 << 20));
  enqueueEvent({.body = bytesOf("last")});
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(bodiesOf(0), SizeIs(3));
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(bodiesOf(1), ElementsAre("last"));
}

TEST_F(SendLoop, MeasuresAnEventBeforeItIsCompleted) {
  PXALog::setCustomField_forKey_forHandleId(std::string(5000, 'c'), "mine", "h");
  startSendLoop(p_);
  enqueue(eventOfLength(kMostBytesOfAPass - 1000));
  enqueue(eventOfLength(1000));
  enqueueEvent({.body = bytesOf("one more")});
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(bodiesOf(0), SizeIs(3));
}

TEST_F(SendLoop, CountsTheLengthOfAnEventThatTheGateRefuses) {
  handle_->setIsSession(false);
  startSendLoop(p_);
  enqueue(eventOfLength(kMostBytesOfAPass + 1, {.logType = "SESSION"}));
  enqueueEvent();
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_EQ(requestCount(), 0U);
  EXPECT_EQ(Diagnostics::snapshot().events.waiting, 1U);
}

struct UncountedCase {
  const char* name;
  test::EventSpec event;

  friend std::ostream& operator<<(std::ostream& out, const UncountedCase& one) { return out << one.name; }
};

class SendLoopUncounted : public SendLoop, public testing::WithParamInterface<UncountedCase> {};

TEST_P(SendLoopUncounted, DoesNotCountTheLengthOfAnEventThatNeverReachesTheGate) {
  startSendLoop(p_);
  enqueue(eventOfLength(kMostBytesOfAPass + 1, GetParam().event));
  enqueueEvent({.body = bytesOf("sent")});
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(bodiesOf(0), ElementsAre("sent"));
}

INSTANTIATE_TEST_SUITE_P(Events, SendLoopUncounted,
                         testing::Values(UncountedCase{"NoHandleId", {.handleId = {}}},
                                         UncountedCase{"UnknownHandle", {.handleId = "unknown"}},
                                         UncountedCase{"UnknownProject", {.projectName = "unknown"}}),
                         [](const auto& param) { return std::string(param.param.name); });

TEST_F(SendLoop, SendsAFullQueueInOnePass) {
  startSendLoop(p_);
  for (int event = 0; event < 2000; ++event) enqueueEvent();
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(bodiesOf(0), SizeIs(2000));
}

// What others do meanwhile.

TEST_F(SendLoop, StopsTakingWhenASaveEmptiesTheQueueDuringAPass) {
  startSendLoop(p_);
  enqueueThatDoes([] { gs_blockQueue()->saveToFile(); }, "taken");
  enqueueEvent({.body = bytesOf("saved")});
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(bodiesOf(0), ElementsAre("taken"));
}

TEST_F(SendLoop, HangsNoLogCallWhenASaveEmptiesTheQueueDuringAPass) {
  startSendLoop(p_);
  enqueueThatDoes([] { gs_blockQueue()->saveToFile(); }, "taken");
  enqueueEvent({.body = bytesOf("saved")});
  ASSERT_TRUE(letOnePassHappen());
  const BackgroundCall logging(
      [] { PXALog::info_withMessage_atLocation_forHandleId(nullptr, "later", nullptr, "h"); });
  ASSERT_TRUE(logging.returns());
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(bodiesOf(1), ElementsAre("later"));
}

TEST_F(SendLoop, LosesNothingWhenEventsAreSavedAndReadBackAllTheTime) {
  constexpr std::uint64_t kEvents = 500;
  p_.urlLoader.answerAllWith(200);
  p_.threads.runs = true;  // and no sleep is held
  {
    const GlobalGuard guard;
    PXALog::createLogSendThread();
  }
  std::atomic<bool> isDone = false;
  std::thread saver([&isDone] {
    while (!isDone) {
      PXALog::applicationDidEnterBackground(nullptr);
      PXALog::applicationWillEnterForeground(nullptr);
    }
  });
  for (std::uint64_t event = 0; event < kEvents; ++event)
    PXALog::info_withMessage_atLocation_forHandleId(nullptr, std::to_string(event), nullptr, "h");
  isDone = true;
  saver.join();
  EXPECT_TRUE(test::waitForSnapshot([&](const Diagnostics::Snapshot& snapshot) {
    return snapshot.events.delivered - before_.events.delivered == kEvents;
  }));
}

TEST_F(SendLoop, GivesUpAndCountsWhatItGatheredWhenARefusedInitialisationReplacesTheList) {
  startSendLoop(p_);
  enqueueEvent({.body = bytesOf("gathered")});
  bool isOpen = true;
  enqueueThatDoes([&] { isOpen = test::openHandle({.handleId = "h"}); }, "after");
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_FALSE(isOpen);
  EXPECT_THAT(bodiesOf(0), ElementsAre("after"));
  EXPECT_EQ(dropped(&Diagnostics::DroppedEvents::listReplaced), 1U);
}

TEST_F(SendLoop, GivesUpAndCountsWhatItGatheredWhenAnotherHandleOfTheProjectIsOpened) {
  startSendLoop(p_);
  enqueueEvent({.body = bytesOf("gathered")});
  enqueueEvent({.body = bytesOf("gathered too")});
  enqueueThatDoes([] { openWithoutSessionLog("second"); }, "after");
  ASSERT_TRUE(letOnePassHappen());
  EXPECT_THAT(bodiesOf(0), ElementsAre("after"));
  EXPECT_EQ(dropped(&Diagnostics::DroppedEvents::listReplaced), 2U);
}

// How it ends.

TEST_F(SendLoop, EndsForGoodWhenAnEventsCommonFieldsCannotBeFilled) {
  const BackgroundCall loop([] { PXALog::logSendThread(nullptr); });
  enqueueThatDoes([] {
    const GlobalGuard guard;
    resetHandleTable();
  });
  ASSERT_TRUE(loop.returns());
  enqueueEvent();
  EXPECT_EQ(gs_blockQueue()->queueSize(), 1);
  EXPECT_EQ(requestCount(), 0U);
}

TEST_F(SendLoop, EndsAfterThePassUnderWayWhenItIsCancelled) {
  p_.clock.holdSleepers();
  p_.threads.runs = true;
  auto thread = std::make_shared<BackgroundThread>("test", [] { PXALog::logSendThread(nullptr); });
  const std::weak_ptr<BackgroundThread> watched = thread;
  ASSERT_TRUE(thread->start());
  ASSERT_TRUE(p_.clock.waitForSleeper());
  thread->cancel();
  thread.reset();
  enqueueEvent();
  p_.clock.letOneSleepEnd();
  EXPECT_TRUE(test::waitUntil([&] { return watched.expired(); }));
  EXPECT_EQ(requestCount(), 1U);
  EXPECT_THAT(p_.clock.sleeps(), SizeIs(1));
}

TEST_F(SendLoop, EndsWhenItIsCancelledWhileSendingIsHeld) {
  setSettingsPending(true);
  p_.threads.runs = true;
  auto thread = std::make_shared<BackgroundThread>("test", [] { PXALog::logSendThread(nullptr); });
  const std::weak_ptr<BackgroundThread> watched = thread;
  ASSERT_TRUE(thread->start());
  ASSERT_TRUE(letTheLoopSpin());
  thread->cancel();
  thread.reset();
  EXPECT_TRUE(test::waitUntil([&] { return watched.expired(); }));
}

// How it begins.

TEST_F(SendLoop, IsStartedOnce) {
  const GlobalGuard guard;
  const std::size_t threads = p_.threads.startedNames().size();
  EXPECT_TRUE(PXALog::createLogSendThread());
  EXPECT_FALSE(PXALog::createLogSendThread());
  EXPECT_EQ(p_.threads.startedNames().size(), threads + 1);
}

TEST_F(SendLoop, CanBeStartedLaterWhenTheSystemHadNoThreadToGive) {
  const GlobalGuard guard;
  p_.threads.hasThreads = false;
  EXPECT_FALSE(PXALog::createLogSendThread());
  p_.threads.hasThreads = true;
  EXPECT_TRUE(PXALog::createLogSendThread());
}

}  // namespace
}  // namespace pxa
