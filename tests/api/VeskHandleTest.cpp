#include <gtest/gtest.h>
#include <limits>
#include <memory>

#include "api/handle/VeskHandle.h"
#include "support/handles.h"
#include "transport/VeskReachability.h"

namespace pxa {
namespace {

using test::FakePlatform;
using test::text;

TEST(VeskHandle, HasNoProjectAtFirst) {
  const VeskHandle handle;
  EXPECT_TRUE(handle.projectName().isNil());
  EXPECT_TRUE(handle.projectVersion().isNil());
}

TEST(VeskHandle, HasNoCollectorAtFirst) {
  const VeskHandle handle;
  EXPECT_TRUE(handle.collectorUrl().isNil());
  EXPECT_EQ(handle.collectorPort(), 0);
  EXPECT_EQ(handle.protocol(), 0);
}

TEST(VeskHandle, HasNoUserAtFirst) {
  EXPECT_TRUE(VeskHandle().userId().isNil());
}

TEST(VeskHandle, HasTheLibrarysLogTypeAndLogSourceAtFirst) {
  const VeskHandle handle;
  EXPECT_EQ(text(handle.logType()), "vesk2-log");
  EXPECT_EQ(text(handle.logSource()), "ios-log");
}

TEST(VeskHandle, HasAnEmptyDictionaryOfCustomFieldsAtFirst) {
  const VeskHandle handle;
  EXPECT_FALSE(handle.customFields().isNil());
  EXPECT_EQ(handle.customFields().size(), 0U);
}

TEST(VeskHandle, HasCustomFieldsOfItsOwn) {
  VeskHandle handle;
  handle.customFields().set("key", "value");
  EXPECT_EQ(VeskHandle().customFields().size(), 0U);
}

TEST(VeskHandle, HasNoMonitorAndIsNotReachableAtFirst) {
  const VeskHandle handle;
  EXPECT_EQ(handle.reachability(), nullptr);
  EXPECT_FALSE(handle.isReachable());
}

TEST(VeskHandle, IsOnWiFiAtFirst) {
  EXPECT_EQ(text(VeskHandle().networkType()), "Wi-Fi");
}

TEST(VeskHandle, SendsLogsSessionsAndCrashesAtFirst) {
  const VeskHandle handle;
  EXPECT_TRUE(handle.isLog());
  EXPECT_TRUE(handle.isSession());
  EXPECT_TRUE(handle.isCrash());
}

TEST(VeskHandle, FoldsRepeatedLogsAtFirst) {
  EXPECT_TRUE(VeskHandle().isDeduplicate());
}

TEST(VeskHandle, ProbesNothingAndHasNoSettingsAtFirst) {
  const VeskHandle handle;
  EXPECT_FALSE(handle.isNetworkInsight());
  EXPECT_FALSE(handle.isSettings());
}

TEST(VeskHandle, KeepsTheTextsThatItIsGiven) {
  VeskHandle handle;
  handle.setProjectName("name");
  handle.setProjectVersion("version");
  handle.setCollectorUrl("collector");
  handle.setUserId("user");
  handle.setLogType("type");
  handle.setLogSource("source");
  handle.setNetworkType("Cellular");
  EXPECT_EQ(text(handle.projectName()), "name");
  EXPECT_EQ(text(handle.projectVersion()), "version");
  EXPECT_EQ(text(handle.collectorUrl()), "collector");
  EXPECT_EQ(text(handle.userId()), "user");
  EXPECT_EQ(text(handle.logType()), "type");
  EXPECT_EQ(text(handle.logSource()), "source");
  EXPECT_EQ(text(handle.networkType()), "Cellular");
}

TEST(VeskHandle, KeepsNilTexts) {
  VeskHandle handle;
  handle.setLogType(nullptr);
  handle.setLogSource(nullptr);
  handle.setNetworkType(nullptr);
  EXPECT_TRUE(handle.logType().isNil());
  EXPECT_TRUE(handle.logSource().isNil());
  EXPECT_TRUE(handle.networkType().isNil());
}

TEST(VeskHandle, KeepsNumbersOfSixtyFourBits) {
  VeskHandle handle;
  handle.setCollectorPort(std::numeric_limits<std::int64_t>::min());
  handle.setProtocol(std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(handle.collectorPort(), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(handle.protocol(), std::numeric_limits<std::int64_t>::max());
}

TEST(VeskHandle, SharesTheDictionaryOfCustomFieldsThatItIsGiven) {
  Dictionary fields{{"key", "value"}};
  VeskHandle handle;
  handle.setCustomFields(fields);
  fields.set("later", "seen");
  EXPECT_EQ(text(handle.customFields().value("later")), "seen");
}

TEST(VeskHandle, OwnsTheMonitorThatItIsGiven) {
  FakePlatform::install();
  auto monitor = VeskReachability::reachabilityWithHostname("logs.example.com");
  const std::weak_ptr<VeskReachability> watched = monitor;
  auto handle = std::make_unique<VeskHandle>();
  handle->setReachability(std::move(monitor));
  EXPECT_EQ(handle->reachability(), watched.lock());
  handle.reset();
  EXPECT_TRUE(watched.expired());
}

TEST(VeskHandle, KeepsItsSwitchesApart) {
  struct Switch {
    const char* name;
    bool (VeskHandle::*isOn)() const;
    void (VeskHandle::*set)(bool);
  };
  const Switch switches[] = {
      {"isReachable", &VeskHandle::isReachable, &VeskHandle::setIsReachable},
      {"isLog", &VeskHandle::isLog, &VeskHandle::setIsLog},
      {"isSession", &VeskHandle::isSession, &VeskHandle::setIsSession},
      {"isCrash", &VeskHandle::isCrash, &VeskHandle::setIsCrash},
      {"isNetworkInsight", &VeskHandle::isNetworkInsight, &VeskHandle::setIsNetworkInsight},
      {"isDeduplicate", &VeskHandle::isDeduplicate, &VeskHandle::setIsDeduplicate},
      {"isSettings", &VeskHandle::isSettings, &VeskHandle::setIsSettings},
  };
  for (const Switch& changed : switches) {
    VeskHandle handle;
    (handle.*changed.set)(!(handle.*changed.isOn)());
    for (const Switch& other : switches) {
      const bool differs = (handle.*other.isOn)() != (VeskHandle().*other.isOn)();
      EXPECT_EQ(differs, &other == &changed) << changed.name << " and " << other.name;
    }
  }
}

}  // namespace
}  // namespace pxa
