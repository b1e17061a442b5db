#include <cstdlib>
#include <gtest/gtest.h>
#include <string_view>
#include <sys/utsname.h>

#include "platform/HostSettings.h"
#include "platform/linux/LinuxDeviceFacts.h"

namespace pxa {
namespace {

struct Fact {
  const char* name;
  String (DeviceFacts::*get)();
  String Host::DeviceFacts::*said;
};

constexpr Fact kFacts[] = {
    {"systemVersion", &DeviceFacts::systemVersion, &Host::DeviceFacts::systemVersion},
    {"machineModel", &DeviceFacts::machineModel, &Host::DeviceFacts::machineModel},
    {"vendorIdentifier", &DeviceFacts::vendorIdentifier, &Host::DeviceFacts::vendorIdentifier},
    {"carrierName", &DeviceFacts::carrierName, &Host::DeviceFacts::carrierName},
    {"carrierCountryCode", &DeviceFacts::carrierCountryCode, &Host::DeviceFacts::carrierCountryCode},
    {"localeDisplayName", &DeviceFacts::localeDisplayName, &Host::DeviceFacts::localeDisplayName},
};

class DeviceFactsTest : public testing::Test {
 protected:
  ~DeviceFactsTest() override { HostSettings::setDeviceFacts({}); }
  LinuxDeviceFacts facts_;
};

TEST_F(DeviceFactsTest, AreReplacedByWhatTheHostSays) {
  for (const Fact& fact : kFacts) {
    Host::DeviceFacts said;
    said.*fact.said = "said by the host";
    HostSettings::setDeviceFacts(said);
    for (const Fact& other : kFacts)
      EXPECT_EQ((facts_.*other.get)() == "said by the host", &other == &fact) << other.name;
  }
}

TEST_F(DeviceFactsTest, AreTheSystemsWhereTheHostSaysNothing) {
  for (const Fact& fact : kFacts) {
    HostSettings::setDeviceFacts({});
    const String systems = (facts_.*fact.get)();
    Host::DeviceFacts said;
    said.*fact.said = "";
    HostSettings::setDeviceFacts(said);
    EXPECT_TRUE((facts_.*fact.get)() == systems) << fact.name;
  }
}

TEST_F(DeviceFactsTest, AreReplacedAtAnyTime) {
  for (const Fact& fact : kFacts) {
    for (const char* answer : {"first", "second"}) {
      Host::DeviceFacts said;
      said.*fact.said = answer;
      HostSettings::setDeviceFacts(said);
      EXPECT_EQ((facts_.*fact.get)(), answer) << fact.name;
    }
  }
}

TEST_F(DeviceFactsTest, NameTheKernelAndTheMachine) {
  utsname kernel{};
  ASSERT_EQ(::uname(&kernel), 0);
  EXPECT_EQ(facts_.systemVersion(), kernel.release);
  EXPECT_EQ(facts_.machineModel(), kernel.machine);
}

TEST_F(DeviceFactsTest, AreNilForWhatTheSystemDoesNotKnow) {
  EXPECT_TRUE(facts_.vendorIdentifier().isNil());
  EXPECT_TRUE(facts_.carrierName().isNil());
  EXPECT_TRUE(facts_.carrierCountryCode().isNil());
}

TEST_F(DeviceFactsTest, NameTheLocaleWithoutItsEncoding) {
  ::setenv("LC_ALL", "fr_FR.UTF-8", 1);
  const String locale = facts_.localeDisplayName();
  EXPECT_FALSE(locale.isEmpty());
  EXPECT_EQ(locale.view().find("UTF"), std::string_view::npos);
}

}  // namespace
}  // namespace pxa
