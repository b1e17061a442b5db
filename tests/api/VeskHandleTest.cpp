#include <gtest/gtest.h>
#include <limits>
#include <memory>

#include <pxalog/VeskReachability.h>

#include "api/handle/VeskHandle.h"
#include "support/FakePlatform.h"
#include "support/values.h"

namespace pxa {
namespace {

using test::FakePlatform;
using test::text;

struct TextProperty {
  const char* name;
  const String& (VeskHandle::*get)() const;
  void (VeskHandle::*set)(String);
  const char* atFirst;
};
const TextProperty kTexts[] = {
    {"projectName", &VeskHandle::projectName, &VeskHandle::setProjectName, "(nil)"},
    {"projectVersion", &VeskHandle::projectVersion, &VeskHandle::setProjectVersion, "(nil)"},
    {"collectorUrl", &VeskHandle::collectorUrl, &VeskHandle::setCollectorUrl, "(nil)"},
    {"userId", &VeskHandle::userId, &VeskHandle::setUserId, "(nil)"},
    {"logType", &VeskHandle::logType, &VeskHandle::setLogType, "vesk2-log"},
    {"logSource", &VeskHandle::logSource, &VeskHandle::setLogSource, "ios-log"},
    {"networkType", &VeskHandle::networkType, &VeskHandle::setNetworkType, "Wi-Fi"},
};

struct Switch {
  const char* name;
  bool (VeskHandle::*isOn)() const;
  void (VeskHandle::*set)(bool);
  bool atFirst;
};
const Switch kSwitches[] = {
    {"isReachable", &VeskHandle::isReachable, &VeskHandle::setIsReachable, false},
    {"isLog", &VeskHandle::isLog, &VeskHandle::setIsLog, true},
    {"isSession", &VeskHandle::isSession, &VeskHandle::setIsSession, true},
    {"isCrash", &VeskHandle::isCrash, &VeskHandle::setIsCrash, true},
    {"isNetworkInsight", &VeskHandle::isNetworkInsight, &VeskHandle::setIsNetworkInsight, false},
    {"isDeduplicate", &VeskHandle::isDeduplicate, &VeskHandle::setIsDeduplicate, true},
    {"isSettings", &VeskHandle::isSettings, &VeskHandle::setIsSettings, false},
};

TEST(VeskHandle, HasTheLibrarysTextsAtFirst) {
  const VeskHandle handle;
  for (const TextProperty& one : kTexts) EXPECT_EQ(text((handle.*one.get)()), one.atFirst) << one.name;
}

TEST(VeskHandle, HasTheLibrarysSwitchesAtFirst) {
  const VeskHandle handle;
  for (const Switch& one : kSwitches) EXPECT_EQ((handle.*one.isOn)(), one.atFirst) << one.name;
}

TEST(VeskHandle, HasNoPortAndGoesByHttpsAtFirst) {
  const VeskHandle handle;
  EXPECT_EQ(handle.collectorPort(), 0);
  EXPECT_EQ(handle.protocol(), kHttpsProtocol);
}

TEST(VeskHandle, HasNoMonitorAtFirst) {
  EXPECT_EQ(VeskHandle().reachability(), nullptr);
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

TEST(VeskHandle, KeepsItsTextsApart) {
  VeskHandle handle;
  for (const TextProperty& one : kTexts) (handle.*one.set)(one.name);
  for (const TextProperty& one : kTexts) EXPECT_EQ(text((handle.*one.get)()), one.name);
}

TEST(VeskHandle, KeepsNilTexts) {
  VeskHandle handle;
  for (const TextProperty& one : kTexts) {
    (handle.*one.set)(one.name);
    (handle.*one.set)(nullptr);
    EXPECT_TRUE((handle.*one.get)().isNil()) << one.name;
  }
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
  for (const Switch& changed : kSwitches) {
    VeskHandle handle;
    (handle.*changed.set)(!changed.atFirst);
    for (const Switch& other : kSwitches) {
      const bool differs = (handle.*other.isOn)() != other.atFirst;
      EXPECT_EQ(differs, &other == &changed) << changed.name << " and " << other.name;
    }
  }
}

}  // namespace
}  // namespace pxa
