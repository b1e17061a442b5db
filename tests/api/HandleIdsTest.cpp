#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include <pxalog/Diagnostics.h>

#include "api/handle/process_state.h"
#include "support/handles.h"
#include "support/lock_probe.h"
#include "support/queued_events.h"
#include "support/shared_state.h"
#include "support/values.h"

namespace pxa {
namespace {

using test::customField;
using test::FakePlatform;
using test::gatherEvent;
using test::isGlobalLockFree;
using test::kAppKey;
using test::kVersion;
using test::listOf;
using test::network;
using test::openHandle;
using test::text;

bool isHeld() {
  return Diagnostics::snapshot().isHeldBySynchronousStart;
}

TEST(HandleIds, AreNumbersWhereNoneIsGiven) {
  FakePlatform::install();
  EXPECT_TRUE(openHandle());
  EXPECT_TRUE(openHandle());
  EXPECT_NE(PXALog::rdm_getHandler("0"), nullptr);
  EXPECT_NE(PXALog::rdm_getHandler("1"), nullptr);
  EXPECT_EQ(PXALog::rdm_getHandler("2"), nullptr);
}

TEST(HandleIds, ThatAreGivenDoNotAdvanceTheNumber) {
  FakePlatform::install();
  openHandle({.handleId = "mine"});
  openHandle({.handleId = "Keepcell"});
  openHandle();
  EXPECT_NE(PXALog::rdm_getHandler("0"), nullptr);
}

TEST(HandleIds, ThatAreEmptyAreIds) {
  FakePlatform::install();
  openHandle({.handleId = ""});
  EXPECT_NE(PXALog::rdm_getHandler(""), nullptr);
  EXPECT_EQ(PXALog::rdm_getHandler("0"), nullptr);
}

TEST(HandleIds, ThatAreOpenAreRefused) {
  test::installWithHandle();
  openHandle({.handleId = "mine"});
  EXPECT_FALSE(openHandle({.handleId = "0"}));
  EXPECT_FALSE(openHandle({.handleId = "mine"}));
}

TEST(HandleIds, AdvanceEvenWhereTheNumberIsTaken) {
  FakePlatform::install();
  openHandle({.appKey = "explicit", .handleId = "0"});
  EXPECT_FALSE(openHandle());
  EXPECT_TRUE(openHandle({.appKey = "next"}));
  EXPECT_EQ(text(PXALog::rdm_getHandler("0")->projectName()), "explicit");
  EXPECT_EQ(text(PXALog::rdm_getHandler("1")->projectName()), "next");
}

TEST(HandleIds, DoNotAdvanceWithoutAMonitor) {
  FakePlatform& p = FakePlatform::install();
  p.reachability.createsTargets = false;
  EXPECT_FALSE(openHandle());
  p.reachability.createsTargets = true;
  openHandle();
  EXPECT_NE(PXALog::rdm_getHandler("0"), nullptr);
}

TEST(HandleIds, StayUniqueWhenManyThreadsOpenHandles) {
  FakePlatform& p = FakePlatform::install();
  std::atomic<int> openedCount = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) threads.emplace_back([&] { openedCount += openHandle() ? 1 : 0; });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(openedCount, 8);
  for (int i = 0; i < 8; ++i) EXPECT_NE(PXALog::rdm_getHandler(std::to_string(i)), nullptr) << i;
  EXPECT_EQ(p.reachability.hosts.size(), 1U);
  EXPECT_EQ(p.threads.startedNames().size(), 2U);
}

TEST(RefusedId, LeavesTheHandleUntouched) {
  FakePlatform::install();
  openHandle({.userId = "user"});
  const VeskHandleRef before = PXALog::rdm_getHandler("0");
  const std::string session = text(customField("0", "SessionID"));
  EXPECT_FALSE(openHandle({.url = "http://other.example",
                           .port = 80,
                           .protocol = 1,
                           .appKey = "other",
                           .version = "9",
                           .userId = "other",
                           .handleId = "0"}));
  const VeskHandleRef after = PXALog::rdm_getHandler("0");
  EXPECT_EQ(after, before);
  EXPECT_EQ(text(after->collectorUrl()), "logs.example.com");
  EXPECT_EQ(after->collectorPort(), 443);
  EXPECT_EQ(after->protocol(), 0);
  EXPECT_EQ(text(after->projectName()), kAppKey);
  EXPECT_EQ(text(after->projectVersion()), kVersion);
  EXPECT_EQ(text(after->userId()), "user");
  EXPECT_EQ(text(customField("0", "SessionID")), session);
}

TEST(RefusedId, HoldsSendingAsItsArgumentSays) {
  test::installWithHandle();
  openHandle({.isSyncStart = true, .handleId = "0"});
  EXPECT_TRUE(isHeld());
}

TEST(RefusedId, LetsSendingGoOnAsItsArgumentSays) {
  FakePlatform::install();
  openHandle({.isSyncStart = true});
  openHandle({.isSyncStart = false, .handleId = "0"});
  EXPECT_FALSE(isHeld());
}

TEST(RefusedId, ReplacesTheListOfTheProjectThatItNames) {
  test::installWithHandle();
  gatherEvent(kAppKey);
  EXPECT_FALSE(openHandle({.handleId = "0"}));
  EXPECT_TRUE(listOf(kAppKey)->empty());
  EXPECT_EQ(Diagnostics::snapshot().events.dropped.listReplaced, 1U);
}

TEST(RefusedId, GivesAListToAProjectThatHasNone) {
  test::installWithHandle();
  EXPECT_FALSE(openHandle({.appKey = "other", .handleId = "0"}));
  EXPECT_NE(listOf("other"), nullptr);
}

TEST(RefusedId, StillTakesDownTheKindOfNetwork) {
  FakePlatform& p = test::installWithHandle();
  p.reachability.flags = kReachabilityReachable | kReachabilityIsWWAN;
  EXPECT_FALSE(openHandle({.handleId = "0"}));
  EXPECT_EQ(text(network()->networkType()), "Cellular");
}

TEST(RefusedId, StillTakesDownWhetherTheNetworkIsReachable) {
  FakePlatform& p = test::installWithHandle();
  ASSERT_TRUE(network()->isReachable());
  p.reachability.flags = 0;
  EXPECT_FALSE(openHandle({.handleId = "0"}));
  EXPECT_FALSE(network()->isReachable());
}

TEST(RefusedId, StartsNothing) {
  FakePlatform& p = test::installWithHandle();
  static_cast<void>(test::takeEvents());
  const auto threadsBefore = p.threads.startedNames();
  EXPECT_FALSE(openHandle({.handleId = "0"}));
  EXPECT_EQ(p.threads.startedNames(), threadsBefore);
  EXPECT_TRUE(test::takeEvents().empty());
  EXPECT_EQ(gs_blockQueue()->queueSize_handler(), 1);
}

TEST(RefusedId, LeavesNoLockHeld) {
  test::installWithHandle();
  EXPECT_FALSE(openHandle({.handleId = "0"}));
  EXPECT_TRUE(isGlobalLockFree());
}

}  // namespace
}  // namespace pxa
