#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "api/handle/process_state.h"
#include "support/handles.h"
#include "support/lock_probe.h"
#include "support/queued_events.h"
#include "support/values.h"

namespace pxa {
namespace {

using test::customField;
using test::FakePlatform;
using test::isGlobalLockFree;
using test::kAppKey;
using test::kUrl;
using test::kVersion;
using test::openHandle;
using test::text;

TEST(UnityMode, IsSetByAVersionThatIsNotEmpty) {
  FakePlatform::install();
  openHandle({.unityVersion = "2019.4"});
  EXPECT_TRUE(processFlags().isUnityMode);
}

TEST(UnityMode, IsNotSetByANilOrEmptyVersion) {
  FakePlatform::install();
  openHandle();
  openHandle({.unityVersion = ""});
  EXPECT_FALSE(processFlags().isUnityMode);
}

TEST(UnityMode, GivesEveryLaterHandleItsOwnUnityVersion) {
  FakePlatform::install();
  openHandle({.unityVersion = "2019.4"});
  openHandle({.unityVersion = "2020.1"});
  EXPECT_EQ(text(customField("0", "Unity")), "2019.4");
  EXPECT_EQ(text(customField("1", "Unity")), "2020.1");
}

TEST(UnityMode, IsNeverLeft) {
  FakePlatform::install();
  openHandle({.unityVersion = "2019.4"});
  EXPECT_TRUE(openHandle({.unityVersion = ""}));
  EXPECT_TRUE(processFlags().isUnityMode);
  EXPECT_TRUE(customField("1", "Unity") == test::bytesOf(""));
}

TEST(UnityMode, StaysSetByAnInitialisationThatIsRefusedForItsId) {
  test::installWithHandle();
  EXPECT_FALSE(openHandle({.unityVersion = "2019.4", .handleId = "0"}));
  EXPECT_TRUE(processFlags().isUnityMode);
}

TEST(UnityMode, StaysSetByAnInitialisationWithoutAMonitor) {
  FakePlatform::install().reachability.createsTargets = false;
  EXPECT_FALSE(openHandle({.unityVersion = "2019.4"}));
  EXPECT_TRUE(processFlags().isUnityMode);
}

TEST(UnityMode, LeavesAHandleThatIsRefusedWithoutAUnityVersion) {
  test::installWithHandle();
  openHandle({.unityVersion = "2019.4", .handleId = "0"});
  EXPECT_FALSE(PXALog::rdm_getHandler("0")->customFields().contains("Unity"));
}

TEST(MissingUnityVersion, LeavesTheInitialisationAsAnInvalidArgument) {
  FakePlatform::install();
  openHandle({.unityVersion = "2019.4"});
  EXPECT_THROW(openHandle(), std::invalid_argument);
  EXPECT_THROW(PXALog::init_ofAppKey_withVersion(kUrl, kAppKey, kVersion), std::invalid_argument);
  EXPECT_THROW(openHandle({.handleId = "Keepcell"}), std::invalid_argument);
}

TEST(MissingUnityVersion, LeavesNoLockHeld) {
  FakePlatform::install();
  openHandle({.unityVersion = "2019.4"});
  EXPECT_THROW(openHandle(), std::invalid_argument);
  EXPECT_TRUE(isGlobalLockFree());
}

TEST(MissingUnityVersion, LeavesARecordWithTheFieldsWrittenSoFar) {
  FakePlatform::install();
  openHandle({.unityVersion = "2019.4"});
  EXPECT_THROW(openHandle({.appKey = "second", .userId = "user"}), std::invalid_argument);
  const VeskHandleRef handle = PXALog::rdm_getHandler("1");
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(text(handle->projectName()), "second");
  EXPECT_EQ(text(handle->userId()), "user");
  EXPECT_EQ(test::keysOf(handle->customFields()),
            (std::vector<std::string>{"logVersion", "SymMethod", "CrashStyle", "SdkVersion", "SessionID"}));
}

TEST(MissingUnityVersion, LeavesAHandleThatNothingWasStartedFor) {
  FakePlatform& p = FakePlatform::install();
  openHandle({.unityVersion = "2019.4", .handleId = "Keepcell"});
  const auto threadsBefore = p.threads.startedNames();
  EXPECT_THROW(openHandle(), std::invalid_argument);
  EXPECT_EQ(gs_blockQueue()->queueSize_handler(), 0);
  EXPECT_TRUE(test::takeEvents().empty());
  EXPECT_EQ(p.crashReporter.enabledCount, 0);
  EXPECT_EQ(p.threads.startedNames(), threadsBefore);
}

TEST(MissingUnityVersion, LeavesTheProcessUninitialisedWhenItIsTheFirstHandle) {
  FakePlatform& p = FakePlatform::install();
  p.reachability.createsTargets = false;
  openHandle({.unityVersion = "2019.4"});
  p.reachability.createsTargets = true;
  EXPECT_THROW(openHandle(), std::invalid_argument);
  EXPECT_FALSE(processFlags().isInitialised);
}

TEST(MissingUnityVersion, LeavesKeepcellWithoutSettingsAndWithoutASendThread) {
  FakePlatform& p = FakePlatform::install();
  p.reachability.createsTargets = false;
  openHandle({.unityVersion = "2019.4"});
  p.reachability.createsTargets = true;
  EXPECT_THROW(openHandle({.handleId = "Keepcell"}), std::invalid_argument);
  EXPECT_FALSE(PXALog::rdm_getHandler("Keepcell")->isSettings());
  EXPECT_TRUE(p.threads.startedNames().empty());
}

TEST(MissingUnityVersion, LeavesTheIdTaken) {
  FakePlatform::install();
  openHandle({.unityVersion = "2019.4"});
  EXPECT_THROW(openHandle(), std::invalid_argument);
  EXPECT_FALSE(openHandle({.unityVersion = "2019.4", .handleId = "1"}));
}

TEST(MissingUnityVersion, DoesNotMatterForAHandleThatIsRefused) {
  FakePlatform::install();
  openHandle({.unityVersion = "2019.4"});
  EXPECT_FALSE(openHandle({.handleId = "0"}));
}

}  // namespace
}  // namespace pxa
