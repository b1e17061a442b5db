#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "api/handle/process_state.h"
#include "api/identifiers.h"
#include "api/initialisation.h"
#include "settings/settings_thread.h"
#include "support/BackgroundCall.h"
#include "support/handles.h"
#include "support/lock_probe.h"
#include "support/queued_events.h"
#include "support/values.h"
#include "support/wait.h"
#include "transport/send_loop.h"

namespace pxa {
namespace {

using test::BackgroundCall;
using test::FakePlatform;
using test::openHandle;
using test::text;
using Names = std::vector<std::string>;

const std::string kSendThread = "pxa-send";
const std::string kSettingsThread = "pxa-settings";
const std::string kInsightThread = "pxa-insight";

bool startSender() {
  const GlobalGuard guard;
  return PXALog::createLogSendThread();
}

bool startSettingsThreads() {
  const GlobalGuard guard;
  return PXALog::createPerformanceThread();
}

// Threads.

TEST(CreateLogSendThread, StartsTheThreadOnce) {
  FakePlatform& p = FakePlatform::install();
  EXPECT_TRUE(startSender());
  EXPECT_FALSE(startSender());
  EXPECT_EQ(p.threads.startedNames(), (Names{kSendThread}));
}

TEST(CreateLogSendThread, StartsTheThreadAtMostOnceForManyStarters) {
  FakePlatform& p = FakePlatform::install();
  std::atomic<int> startedCount = 0;
  std::vector<std::thread> starters;
  for (int i = 0; i < 4; ++i) starters.emplace_back([&] { startedCount += startSender() ? 1 : 0; });
  for (std::thread& starter : starters) starter.join();
  EXPECT_EQ(startedCount, 1);
  EXPECT_EQ(p.threads.startedNames().size(), 1U);
}

TEST(CreateLogSendThread, SaysThatNothingWasStartedWhereThereIsNoThread) {
  FakePlatform& p = FakePlatform::install();
  p.threads.hasThreads = false;
  EXPECT_FALSE(startSender());
  EXPECT_TRUE(p.threads.startedNames().empty());
}

TEST(CreatePerformanceThread, StartsTheInsightThreadAndThenTheSettingsThread) {
  FakePlatform& p = FakePlatform::install();
  EXPECT_TRUE(startSettingsThreads());
  EXPECT_EQ(p.threads.startedNames(), (Names{kInsightThread, kSettingsThread}));
}

TEST(CreatePerformanceThread, StartsBothThreadsOnce) {
  FakePlatform& p = FakePlatform::install();
  EXPECT_TRUE(startSettingsThreads());
  EXPECT_FALSE(startSettingsThreads());
  EXPECT_EQ(p.threads.startedNames().size(), 2U);
}

TEST(OrdinaryHandle, StartsTheSettingsThreadsAndNoSendThread) {
  FakePlatform& p = test::installWithHandle();
  EXPECT_EQ(p.threads.startedNames(), (Names{kInsightThread, kSettingsThread}));
}

TEST(OrdinaryHandle, StartsNoThreadTwice) {
  FakePlatform& p = test::installWithHandle();
  openHandle();
  openHandle();
  EXPECT_EQ(p.threads.startedNames().size(), 2U);
}

TEST(OrdinaryHandle, IsOpenedEvenWhereThereIsNoThread) {
  FakePlatform& p = FakePlatform::install();
  p.threads.hasThreads = false;
  EXPECT_TRUE(openHandle());
  EXPECT_TRUE(test::isGlobalLockFree());
}

TEST(OrdinaryHandle, IsQueuedForItsSettings) {
  FakePlatform::install();
  openHandle();
  openHandle({.handleId = "mine"});
  const auto queue = gs_blockQueue();
  ASSERT_EQ(queue->queueSize_handler(), 2);
  EXPECT_EQ(text(queue->dequeue_handler()), "0");
  EXPECT_EQ(text(queue->dequeue_handler()), "mine");
}

TEST(OrdinaryHandle, HasNoSettingsYet) {
  test::installWithHandle();
  EXPECT_FALSE(PXALog::rdm_getHandler("0")->isSettings());
}

TEST(OrdinaryHandle, IsAskedForItsSettingsAndThenHasThem) {
  FakePlatform& p = FakePlatform::install();
  p.threads.runs = true;
  openHandle();
  ASSERT_TRUE(p.urlLoader.waitForSynchronousRequests(1));
  EXPECT_TRUE(test::waitUntil([] { return PXALog::rdm_getHandler("0")->isSettings(); }));
}

// The session log.

TEST(SessionLog, IsQueuedForAnOrdinaryHandle) {
  test::installWithHandle();
  const auto events = test::takeEvents();
  ASSERT_EQ(events.size(), 1U);
  EXPECT_EQ(text(events[0]->logType()), "SESSION");
  EXPECT_EQ(text(events[0]->body()), "SESSION");
  EXPECT_EQ(text(events[0]->handleId()), "0");
  const Dictionary fields = events[0]->fields().dictionary();
  EXPECT_EQ(test::keysOf(fields), (std::vector<std::string>{"logLevel"}));
  EXPECT_TRUE(fields.value("logLevel") == test::bytesOf("INFO"));
}

TEST(SessionLog, IsQueuedForEachOrdinaryHandle) {
  test::installWithHandle();
  openHandle({.appKey = "other"});
  const auto events = test::takeEvents();
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(text(events[1]->handleId()), "1");
  EXPECT_EQ(text(events[1]->projectName()), "other");
}

TEST(SessionLog, ComesBehindSavedEvents) {
  FakePlatform::install();
  VeskBlockQueue earlier;
  earlier.enqueue(
      VeskEvent::initWithProjectName_projectVersion_logType_logSource_body_sendTime_host_fields_handleId(
          test::kAppKey, test::kVersion, "vesk2-log", "ios-log", test::bytesOf("saved"), 1, "", Dictionary(),
          "0"));
  earlier.saveToFile();
  openHandle();
  const auto events = test::takeEvents();
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(text(events[0]->body()), "saved");
  EXPECT_EQ(text(events[1]->body()), "SESSION");
}

TEST(CreateSession, QueuesASessionLogOfTheHandle) {
  test::installWithHandle();
  static_cast<void>(test::takeEvents());
  PXALog::createSession("0");
  const auto events = test::takeEvents();
  ASSERT_EQ(events.size(), 1U);
  EXPECT_EQ(text(events[0]->logType()), "SESSION");
}

TEST(CreateSession, DoesNothingForANilId) {
  test::installWithHandle();
  static_cast<void>(test::takeEvents());
  PXALog::createSession(nullptr);
  EXPECT_TRUE(test::takeEvents().empty());
}

TEST(CreateSession, DoesNothingForAnUnknownId) {
  test::installWithHandle();
  static_cast<void>(test::takeEvents());
  PXALog::createSession("unknown");
  EXPECT_TRUE(test::takeEvents().empty());
}

// The crash reporter.

TEST(CrashReporting, IsSwitchedOnByTheFirstOrdinaryHandle) {
  FakePlatform& p = test::installWithHandle();
  EXPECT_EQ(p.crashReporter.enabledCount, 1);
}

TEST(CrashReporting, IsSwitchedOnOnce) {
  FakePlatform& p = test::installWithHandle();
  openHandle();
  EXPECT_EQ(p.crashReporter.enabledCount, 1);
}

TEST(CrashReporting, StaysOffWhenTheFirstOrdinaryHandleDoesNotWantIt) {
  FakePlatform& p = FakePlatform::install();
  openHandle({.reportsCrashes = false});
  openHandle({.reportsCrashes = true});
  EXPECT_EQ(p.crashReporter.enabledCount, 0);
}

TEST(CrashReporting, IsNotDecidedByKeepcell) {
  FakePlatform& p = FakePlatform::install();
  openHandle({.reportsCrashes = true, .handleId = "Keepcell"});
  EXPECT_EQ(p.crashReporter.enabledCount, 0);
  EXPECT_FALSE(processFlags().isCrashReportingSetUp);
  openHandle({.reportsCrashes = true});
  EXPECT_EQ(p.crashReporter.enabledCount, 1);
}

TEST(CrashReporting, IsNotDecidedByAHandleThatIsRefused) {
  FakePlatform& p = FakePlatform::install();
  openHandle({.handleId = "Keepcell"});
  openHandle({.reportsCrashes = false, .handleId = "Keepcell"});
  openHandle({.reportsCrashes = true});
  EXPECT_EQ(p.crashReporter.enabledCount, 1);
}

TEST(CrashReporting, DoesNotKeepAHandleFromBeingOpenedWhenItFails) {
  FakePlatform& p = FakePlatform::install();
  p.crashReporter.throws = true;
  EXPECT_TRUE(openHandle());
  EXPECT_EQ(gs_blockQueue()->queueSize_handler(), 1);
}

// Keepcell.

TEST(Keepcell, HasItsSettingsAtOnce) {
  FakePlatform::install();
  EXPECT_TRUE(openHandle({.handleId = "Keepcell"}));
  EXPECT_TRUE(PXALog::rdm_getHandler("Keepcell")->isSettings());
}

TEST(Keepcell, QueuesNoSessionLog) {
  FakePlatform::install();
  openHandle({.handleId = "Keepcell"});
  EXPECT_TRUE(test::takeEvents().empty());
}

TEST(Keepcell, IsNotQueuedForItsSettings) {
  FakePlatform::install();
  openHandle({.handleId = "Keepcell"});
  EXPECT_EQ(gs_blockQueue()->queueSize_handler(), 0);
}

TEST(Keepcell, StartsTheSendThreadAlone) {
  FakePlatform& p = FakePlatform::install();
  openHandle({.handleId = "Keepcell"});
  EXPECT_EQ(p.threads.startedNames(), (Names{kSendThread}));
}

TEST(Keepcell, StartsNoThreadAfterAnOrdinaryHandle) {
  FakePlatform& p = test::installWithHandle();
  openHandle({.handleId = "Keepcell"});
  EXPECT_EQ(p.threads.startedNames(), (Names{kInsightThread, kSettingsThread}));
}

TEST(Keepcell, StartsNoSecondSendThread) {
  FakePlatform& p = FakePlatform::install();
  startSender();
  EXPECT_TRUE(openHandle({.handleId = "Keepcell"}));
  EXPECT_EQ(p.threads.startedNames(), (Names{kSendThread}));
}

TEST(Keepcell, InitialisesTheLibrary) {
  FakePlatform::install();
  openHandle({.handleId = "Keepcell"});
  EXPECT_TRUE(processFlags().isInitialised);
}

TEST(Keepcell, HasTheReservedCustomFields) {
  FakePlatform::install();
  openHandle({.handleId = "Keepcell"});
  EXPECT_EQ(text(test::customField("Keepcell", "logVersion")), "v2");
}

TEST(Keepcell, IsAnOrdinaryHandleInAnyOtherSpelling) {
  FakePlatform::install();
  openHandle({.handleId = "keepcell"});
  EXPECT_FALSE(PXALog::rdm_getHandler("keepcell")->isSettings());
  EXPECT_EQ(gs_blockQueue()->queueSize_handler(), 1);
}

// More handles than the settings thread takes.

/// Opens that many handles while nobody asks for their settings.
FakePlatform& openHandles(int count) {
  FakePlatform& p = FakePlatform::install();
  for (int i = 0; i < count; ++i) EXPECT_TRUE(openHandle()) << i;
  return p;
}

TEST(WaitingHandles, MayBeTen) {
  openHandles(10);
  EXPECT_EQ(BackgroundCall([] { return gs_blockQueue()->queueSize_handler(); }).result(), 10);
}

TEST(WaitingHandles, LeaveTheEleventhOpenAndWithItsSessionLog) {
  openHandles(11);
  EXPECT_NE(PXALog::rdm_getHandler("10"), nullptr);
  EXPECT_EQ(test::takeEvents().size(), 11U);
}

TEST(WaitingHandles, AreNeverTakenAfterTheEleventh) {
  openHandles(11);
  EXPECT_TRUE(BackgroundCall([] { return gs_blockQueue()->dequeue_handler(); }).blocks());
}

TEST(WaitingHandles, AreNeverCountedAfterTheEleventh) {
  openHandles(11);
  EXPECT_TRUE(BackgroundCall([] { return gs_blockQueue()->queueSize_handler(); }).blocks());
}

TEST(WaitingHandles, LetLogsBeWrittenAfterTheEleventh) {
  openHandles(11);
  static_cast<void>(test::takeEvents());
  EXPECT_TRUE(BackgroundCall([] { PXALog::info_withMessage(nullptr, "log"); }).returns());
  EXPECT_EQ(test::takeLogs().size(), 1U);
}

TEST(WaitingHandles, MakeTheTwelfthInitialisationAndEveryLogCallWaitForEver) {
  FakePlatform& p = openHandles(11);
  p.files.removeFile(PXALog::dataFilePath());
  const BackgroundCall opening([] { return openHandle(); });
  // The device id is written under the global lock, which the initialisation then never leaves.
  ASSERT_TRUE(test::waitUntil([&] { return p.files.contentOf("RDM_iOS_DEVICE_ID").has_value(); }));
  const BackgroundCall logging([] { PXALog::info_withMessage(nullptr, "log"); });
  EXPECT_TRUE(opening.blocks());
  EXPECT_TRUE(logging.blocks());
}

}  // namespace
}  // namespace pxa
