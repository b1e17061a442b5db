#include <gtest/gtest.h>

#include <pxalog/Diagnostics.h>

#include "support/delivery.h"
#include "support/handles.h"
#include "support/lock_probe.h"

namespace pxa {
namespace {

using test::FakePlatform;
using test::openHandle;

bool isHeld() {
  return Diagnostics::snapshot().isHeldBySynchronousStart;
}

TEST(SynchronousStart, HoldsSendingUntilItIsStarted) {
  FakePlatform::install();
  openHandle({.isSyncStart = true});
  EXPECT_TRUE(isHeld());
  PXALog::startSendThread();
  EXPECT_FALSE(isHeld());
}

TEST(SynchronousStart, DoesNotHoldSendingWithoutBeingAskedFor) {
  test::installWithHandle();
  EXPECT_FALSE(isHeld());
}

TEST(SynchronousStart, IsSetAnewByEveryInitialisation) {
  FakePlatform::install();
  openHandle({.isSyncStart = true});
  openHandle({.isSyncStart = false});
  EXPECT_FALSE(isHeld());
  openHandle({.isSyncStart = true});
  EXPECT_TRUE(isHeld());
}

TEST(SynchronousStart, HoldsSendingAgainAfterItWasStarted) {
  FakePlatform::install();
  openHandle({.isSyncStart = true});
  PXALog::startSendThread();
  openHandle({.isSyncStart = true});
  EXPECT_TRUE(isHeld());
}

TEST(SynchronousStart, HoldsSendingWithoutAMonitorToo) {
  FakePlatform::install().reachability.createsTargets = false;
  EXPECT_FALSE(openHandle({.isSyncStart = true}));
  EXPECT_TRUE(isHeld());
}

TEST(SynchronousStart, TakesTheLockToStartSending) {
  EXPECT_TRUE(test::waitsForGlobalLock([] { PXALog::startSendThread(); }));
}

TEST(SynchronousStart, MayBeStartedBeforeAnyInitialisation) {
  PXALog::startSendThread();
  EXPECT_FALSE(isHeld());
}

TEST(SynchronousStart, SendsNothingUntilItIsStarted) {
  FakePlatform& p = FakePlatform::install();
  p.threads.runs = true;
  openHandle({.isSyncStart = true, .handleId = "Keepcell"});
  PXALog::info_Keepcell_withMessage(nullptr, "held");
  ASSERT_TRUE(test::letSendLoopSpin(p));
  EXPECT_TRUE(p.urlLoader.started().empty());
  PXALog::startSendThread();
  EXPECT_TRUE(p.urlLoader.waitForRequests(1));
}

}  // namespace
}  // namespace pxa
