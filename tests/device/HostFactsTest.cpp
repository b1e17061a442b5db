#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <pxalog/Host.h>
#include <pxalog/VeskDeviceInfo.h>
#include <pxalog/VeskPhoneInfo.h>

#include "support/TemporaryDirectory.h"
#include "support/values.h"

/// Tests of what an application gets to hear on the system's own platform.
namespace pxa {
namespace {

using test::text;

class HostFacts : public testing::Test {
 protected:
  HostFacts() { Host::setDocumentsDirectory(directory_.path("documents")); }
  ~HostFacts() override {
    Host::setDeviceFacts({});
    Host::setDocumentsDirectory(nullptr);
  }

  VeskDeviceInfo& device_ = VeskDeviceInfo::getInstance();
  VeskPhoneInfo& phone_ = VeskPhoneInfo::sharedInstance();

 private:
  const test::TemporaryDirectory directory_;
};

TEST_F(HostFacts, DescribeTheDevice) {
  Host::DeviceFacts facts;
  facts.machineModel = "iPad3,4";
  Host::setDeviceFacts(facts);
  EXPECT_EQ(device_.platform(), "iPad3,4");
  EXPECT_EQ(device_.platformType(), 34U);
  EXPECT_EQ(device_.platformString(), "iPad 4st Gen");
}

TEST_F(HostFacts, DescribeASimulatorsScreen) {
  Host::DeviceFacts facts;
  facts.machineModel = "x86_64";
  Host::setDeviceFacts(facts);
  EXPECT_EQ(device_.platformString(), "iPhone Simulator") << "without a screen";
  facts.screenWidth = 768;
  Host::setDeviceFacts(facts);
  EXPECT_EQ(device_.platformString(), "iPad Simulator");
}

TEST_F(HostFacts, DescribeThePhone) {
  Host::DeviceFacts facts;
  facts.preferredLanguages = {"ko-KR", "en-US"};
  facts.localeDisplayName = "Elvish";
  facts.freePages = 1000;
  facts.pageSize = 16384;
  facts.freeBytes = 5 * 1024;
  facts.canStartShell = false;
  Host::setDeviceFacts(facts);
  EXPECT_EQ(phone_.preferedLanguage(), "ko-KR");
  EXPECT_EQ(phone_.locale(), "Elvish");
  EXPECT_EQ(phone_.freeMemory(), "16000 kB");
  EXPECT_EQ(phone_.freeSpace(), "5 kB");
  EXPECT_FALSE(phone_.isJailbroken());
}

TEST_F(HostFacts, ThatAreNotGivenAreTheSystems) {
  EXPECT_EQ(device_.getSysInfoByName("kernel.ostype"), "Linux");
  EXPECT_EQ(device_.getSysInfoByName("no.such.control"), "");
  EXPECT_FALSE(device_.platform().isEmpty());
  EXPECT_THAT(text(phone_.freeMemory()), testing::MatchesRegex("[0-9]+ kB"));
  EXPECT_THAT(text(phone_.freeSpace()), testing::MatchesRegex("[0-9]+ kB"));
  EXPECT_TRUE(phone_.isJailbroken());
}

}  // namespace
}  // namespace pxa
