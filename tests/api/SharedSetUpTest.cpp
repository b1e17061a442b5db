#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include <pxalog/Diagnostics.h>
#include <pxalog/VeskReachability.h>

#include "api/handle/process_state.h"
#include "support/handles.h"
#include "support/lock_probe.h"
#include "support/queued_events.h"
#include "support/shared_state.h"
#include "support/values.h"
#include "transport/VeskHttpsDelegate.h"
#include "transport/deduplication.h"

namespace pxa {
namespace {

using test::FakePlatform;
using test::gatherEvent;
using test::isGlobalLockFree;
using test::kAppKey;
using test::kVersion;
using test::listOf;
using test::network;
using test::openHandle;
using test::projectCount;
using test::text;

TEST(SharedSetUp, WatchesTheCollectorOfTheFirstHandle) {
  FakePlatform& p = test::installWithHandle();
  ASSERT_EQ(p.reachability.hosts.size(), 1U);
  EXPECT_EQ(text(p.reachability.hosts[0]), "logs.example.com");
}

TEST(SharedSetUp, IsDoneOnce) {
  FakePlatform& p = test::installWithHandle();
  const auto queue = gs_blockQueue();
  const VeskHandleRef record = network();
  openHandle({.url = "https://other.example", .appKey = "other"});
  EXPECT_EQ(p.reachability.hosts.size(), 1U);
  EXPECT_EQ(gs_blockQueue(), queue);
  EXPECT_EQ(network(), record);
  EXPECT_NE(listOf(kAppKey), nullptr);
}

TEST(SharedSetUp, KeepsTheMonitorInTheNetworkRecord) {
  test::installWithHandle();
  EXPECT_NE(network()->reachability(), nullptr);
  EXPECT_EQ(PXALog::rdm_getHandler("0")->reachability(), nullptr);
}

TEST(SharedSetUp, StartsTheMonitor) {
  test::installWithHandle();
  EXPECT_EQ(network()->reachability()->reachabilityObject(), network()->reachability());
}

TEST(SharedSetUp, ReadsSavedEventsBack) {
  FakePlatform& p = FakePlatform::install();
  VeskBlockQueue earlier;
  earlier.enqueue(
      VeskEvent::initWithProjectName_projectVersion_logType_logSource_body_sendTime_host_fields_handleId(
          kAppKey, kVersion, "vesk2-log", "ios-log", test::bytesOf("saved"), 1, "", Dictionary(), "0"));
  earlier.saveToFile();
  openHandle();
  const auto logs = test::takeLogs();
  ASSERT_EQ(logs.size(), 1U);
  EXPECT_EQ(text(logs[0]->body()), "saved");
  EXPECT_EQ(p.files.contentOf("Vesk2SavedLog"), std::nullopt);
}

TEST(SharedSetUp, ReadsSavedEventsBackOnlyOnce) {
  FakePlatform& p = test::installWithHandle();
  p.files.put("Vesk2SavedLog", "of a later time");
  openHandle();
  EXPECT_EQ(p.files.contentOf("Vesk2SavedLog"), "of a later time");
}

TEST(SharedSetUp, FailsWithoutAMonitorForTheHost) {
  FakePlatform::install().reachability.createsTargets = false;
  EXPECT_FALSE(openHandle());
  EXPECT_FALSE(processFlags().isSharedSetUpDone);
  EXPECT_FALSE(processFlags().isInitialised);
  EXPECT_EQ(PXALog::rdm_getHandler("0"), nullptr);
}

TEST(SharedSetUp, FailsWithAMonitorThatDoesNotStart) {
  const struct {
    void (*arrange)(FakePlatform&);
    std::vector<std::string> lines;
  } rows[] = {
      {[](FakePlatform& p) { p.queues.createsQueues = false; }, {}},
      {[](FakePlatform& p) { p.reachability.startsNotifiers = false; },
       {"SCNetworkReachabilitySetCallback() failed: the system's words"}},
      {[](FakePlatform& p) { p.reachability.attachesQueues = false; },
       {"SCNetworkReachabilitySetDispatchQueue() failed: the system's words"}},
  };
  for (const auto& row : rows) {
    FakePlatform& p = FakePlatform::install();
    row.arrange(p);
    EXPECT_FALSE(openHandle());
    EXPECT_FALSE(processFlags().isSharedSetUpDone);
    EXPECT_FALSE(processFlags().isInitialised);
    EXPECT_EQ(PXALog::rdm_getHandler("0"), nullptr);
    EXPECT_EQ(p.log.lines(), row.lines);
  }
}

TEST(SharedSetUp, HoldsNoLockWhileTheConsoleIsToldThatTheMonitorDoesNotStart) {
  FakePlatform& p = FakePlatform::install();
  p.reachability.startsNotifiers = false;
  bool wasFree = false;
  p.log.setListener([&wasFree](const std::string&) { wasFree = isGlobalLockFree(); });
  EXPECT_FALSE(openHandle());
  EXPECT_TRUE(wasFree);
}

TEST(SharedSetUp, LeavesNoLockHeldWhenItFails) {
  FakePlatform::install().reachability.createsTargets = false;
  EXPECT_FALSE(openHandle());
  EXPECT_TRUE(isGlobalLockFree());
}

TEST(SharedSetUp, GivesTheProjectNoListWhenItFails) {
  FakePlatform::install().reachability.createsTargets = false;
  EXPECT_FALSE(openHandle());
  EXPECT_EQ(listOf(kAppKey), nullptr);
}

TEST(SharedSetUp, LeavesSavedEventsWhereTheyAreWhenItFails) {
  FakePlatform& p = FakePlatform::install();
  p.files.put("Vesk2SavedLog", "saved");
  p.reachability.startsNotifiers = false;
  EXPECT_FALSE(openHandle());
  EXPECT_EQ(p.files.contentOf("Vesk2SavedLog"), "saved");
}

TEST(SharedSetUp, IsDoneAgainAfterItFailed) {
  FakePlatform& p = FakePlatform::install();
  p.reachability.startsNotifiers = false;
  EXPECT_FALSE(openHandle());
  p.reachability.startsNotifiers = true;
  EXPECT_TRUE(openHandle({.url = "https://second.example"}));
  ASSERT_EQ(p.reachability.hosts.size(), 2U);
  EXPECT_EQ(text(p.reachability.hosts[1]), "second.example");
  EXPECT_TRUE(processFlags().isSharedSetUpDone);
}

/// A platform on which the shared set-up has failed once and will succeed the next time.
FakePlatform& installAfterFailedSetUp() {
  FakePlatform& p = FakePlatform::install();
  p.reachability.startsNotifiers = false;
  openHandle();
  p.reachability.startsNotifiers = true;
  return p;
}

TEST(SharedSetUp, MakesANewHandleTableAfterItFailed) {
  installAfterFailedSetUp();
  {
    const GlobalGuard guard;
    PXALog::rdm_setHandler("ghost");
  }
  ASSERT_NE(PXALog::rdm_getHandler("ghost"), nullptr);
  openHandle();
  EXPECT_EQ(PXALog::rdm_getHandler("ghost"), nullptr);
}

TEST(SharedSetUp, MakesNewDeduplicationTablesAfterItFailed) {
  installAfterFailedSetUp();
  PXALog::InsertQueue_value("log", 1);
  PXALog::InsertCrashQueue_value("crash", 1);
  ASSERT_EQ(dedupeLogTable()->size(), 1U);
  openHandle();
  EXPECT_EQ(dedupeLogTable()->size(), 0U);
  EXPECT_EQ(dedupeCrashTable()->size(), 0U);
}

TEST(SharedSetUp, ForgetsAllProjectsAfterItFailed) {
  installAfterFailedSetUp();
  {
    const GlobalGuard guard;
    bulkEventLists().replaceList("ghost");
  }
  openHandle();
  EXPECT_EQ(listOf("ghost"), nullptr);
}

TEST(SharedSetUp, MakesANewBlockQueueAfterItFailed) {
  installAfterFailedSetUp();
  const auto before = gs_blockQueue();
  ASSERT_NE(before, nullptr);
  openHandle();
  EXPECT_NE(gs_blockQueue(), before);
}

TEST(SharedSetUp, LetsGoOfTheMonitorThatDidNotStart) {
  FakePlatform& p = installAfterFailedSetUp();
  openHandle();
  ASSERT_EQ(p.reachability.targets.size(), 2U);
  EXPECT_TRUE(p.reachability.targets[0].expired());
}

TEST(SharedSetUp, MakesANewNetworkRecordAfterItFailed) {
  installAfterFailedSetUp();
  const VeskHandleRef before = network();
  openHandle();
  EXPECT_NE(network(), before);
}

TEST(SharedSetUp, MakesANewResponseDelegateAfterItFailed) {
  installAfterFailedSetUp();
  const auto delegate = [] {
    const GlobalGuard guard;
    return gs_httpsDelegate();
  };
  const auto before = delegate();
  ASSERT_NE(before, nullptr);
  openHandle();
  EXPECT_NE(delegate(), before);
}

TEST(SharedSetUp, MayRunWhileOtherThreadsUseTheLibrary) {
  FakePlatform::install();
  std::atomic<bool> isDone = false;
  std::vector<std::thread> users;
  for (int i = 0; i < 3; ++i) {
    users.emplace_back([&] {
      while (!isDone) {
        PXALog::info_withMessage(nullptr, "message");
        PXALog::applicationDidEnterBackground(nullptr);
        std::this_thread::yield();
      }
    });
  }
  EXPECT_TRUE(openHandle());
  isDone = true;
  for (std::thread& user : users) user.join();
}

TEST(NetworkRecord, TakesDownTheKindOfNetworkAtEveryInitialisation) {
  const struct {
    std::uint32_t flags;
    const char* type;
    bool isReachable;
  } rows[] = {{kReachabilityReachable, "Wi-Fi", true},
              {kReachabilityReachable | kReachabilityIsWWAN, "Cellular", true},
              {0, "NONE", false}};
  FakePlatform& p = FakePlatform::install();
  for (const auto& row : rows) {
    p.reachability.flags = row.flags;
    openHandle();
    EXPECT_EQ(text(network()->networkType()), row.type);
    EXPECT_EQ(network()->isReachable(), row.isReachable) << row.type;
  }
}

TEST(BulkEventLists, AreEmptiedByEveryInitialisationOfTheirProject) {
  test::installWithHandle();
  gatherEvent(kAppKey);
  openHandle();
  EXPECT_TRUE(listOf(kAppKey)->empty());
  EXPECT_EQ(projectCount(), 1U);
  EXPECT_EQ(Diagnostics::snapshot().events.dropped.listReplaced, 1U);
}

TEST(BulkEventLists, KeepOtherProjectsThroughAnInitialisation) {
  test::installWithHandle();
  gatherEvent(kAppKey);
  openHandle({.appKey = "other"});
  EXPECT_EQ(listOf(kAppKey)->size(), 1U);
  EXPECT_EQ(projectCount(), 2U);
}

}  // namespace
}  // namespace pxa
