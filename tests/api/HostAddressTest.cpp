#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

#include <pxalog/PXALog.h>

#include "api/handle/host_address.h"
#include "api/network_type.h"
#include "support/FakePlatform.h"
#include "support/lock_probe.h"
#include "support/values.h"

namespace pxa {
namespace {

using test::FakePlatform;
using test::text;
using Family = NetworkInterface::Family;
using Interfaces = std::vector<NetworkInterface>;

constexpr auto kIPv4 = Family::IPv4;
constexpr auto kIPv6 = Family::IPv6;

TEST(GetIPAddress, ChoosesAmongTheInterfaces) {
  const struct {
    const char* what;
    Interfaces interfaces;
    const char* address;
  } rows[] = {
      {"none", {}, "0.0.0.0"},
      {"en0", {{"en0", kIPv4, {192, 0, 2, 1}}}, "192.0.2.1"},
      {"en1", {{"en1", kIPv4, {192, 0, 2, 1}}}, "192.0.2.1"},
      {"pdp_ip0", {{"pdp_ip0", kIPv4, {10, 255, 0, 1}}}, "10.255.0.1"},
      {"en0 before pdp_ip0",
       {{"en0", kIPv4, {192, 0, 2, 1}}, {"pdp_ip0", kIPv4, {10, 0, 0, 1}}},
       "192.0.2.1"},
      {"en0 behind pdp_ip0",
       {{"pdp_ip0", kIPv4, {10, 0, 0, 1}}, {"en0", kIPv4, {192, 0, 2, 1}}},
       "192.0.2.1"},
      {"en1 and pdp_ip0", {{"pdp_ip0", kIPv4, {10, 0, 0, 1}}, {"en1", kIPv4, {192, 0, 2, 1}}}, "192.0.2.1"},
      {"a later en1", {{"en0", kIPv4, {192, 0, 2, 1}}, {"en1", kIPv4, {192, 0, 2, 2}}}, "192.0.2.2"},
      {"a later en0", {{"en1", kIPv4, {192, 0, 2, 1}}, {"en0", kIPv4, {192, 0, 2, 2}}}, "192.0.2.2"},
      {"a later pdp_ip0", {{"pdp_ip0", kIPv4, {10, 0, 0, 1}}, {"pdp_ip0", kIPv4, {10, 0, 0, 2}}}, "10.0.0.2"},
      {"an en0 without address", {{"en0", kIPv4, {0, 0, 0, 0}}}, "0.0.0.0"},
      {"a later en0 without address",
       {{"en0", kIPv4, {192, 0, 2, 1}}, {"en0", kIPv4, {0, 0, 0, 0}}},
       "192.0.2.1"},
      {"a later pdp_ip0 without address",
       {{"pdp_ip0", kIPv4, {10, 0, 0, 1}}, {"pdp_ip0", kIPv4, {0, 0, 0, 0}}},
       "10.0.0.1"},
      {"an en0 without address, and pdp_ip0",
       {{"en0", kIPv4, {0, 0, 0, 0}}, {"pdp_ip0", kIPv4, {10, 0, 0, 1}}},
       "10.0.0.1"},
      {"IPv6 with flow information", {{"en0", kIPv6, {1, 2, 3, 255}}}, "1.2.3.255"},
      {"a later IPv6 without flow information",
       {{"en0", kIPv4, {192, 0, 2, 1}}, {"en0", kIPv6, {0, 0, 0, 0}}},
       "192.0.2.1"},
      {"a later IPv6 with flow information",
       {{"en0", kIPv4, {192, 0, 2, 1}}, {"en0", kIPv6, {0, 0, 0, 9}}},
       "0.0.0.9"},
      {"another family", {{"en0", Family::Other, {192, 0, 2, 1}}}, "0.0.0.0"},
      {"other names",
       {{"lo0", kIPv4, {127, 0, 0, 1}},
        {"en2", kIPv4, {192, 0, 2, 1}},
        {"en", kIPv4, {192, 0, 2, 1}},
        {"en00", kIPv4, {192, 0, 2, 1}},
        {"EN0", kIPv4, {192, 0, 2, 1}},
        {"pdp_ip1", kIPv4, {192, 0, 2, 1}},
        {"", kIPv4, {192, 0, 2, 1}}},
       "0.0.0.0"},
      {"the highest address", {{"en0", kIPv4, {255, 255, 255, 255}}}, "255.255.255.255"},
  };
  FakePlatform& p = FakePlatform::install();
  for (const auto& row : rows) {
    p.interfaces.interfaces = row.interfaces;
    EXPECT_EQ(text(PXALog::getIPAddress()), row.address) << row.what;
  }
}

TEST(GetIPAddress, IsThatOfTheListOfTheMoment) {
  FakePlatform& p = FakePlatform::install();
  for (const std::uint8_t last : std::vector<std::uint8_t>{1, 2, 1}) {
    p.interfaces.interfaces = Interfaces{{"en0", kIPv4, {192, 0, 2, last}}};
    EXPECT_EQ(text(PXALog::getIPAddress()), "192.0.2." + std::to_string(last));
    EXPECT_EQ(text(PXALog::getIPAddress()), "192.0.2." + std::to_string(last));
  }
}

TEST(GetIPAddress, IsZeroWhereInterfacesCannotBeListed) {
  FakePlatform::install().interfaces.interfaces = std::nullopt;
  EXPECT_EQ(text(PXALog::getIPAddress()), "0.0.0.0");
}

TEST(GetHost, IsTheAddress) {
  FakePlatform::install();
  EXPECT_EQ(text(PXALog::getHost()), "192.0.2.7");
}

TEST(GetHost, IsLocalhostWithoutAnInterface) {
  FakePlatform::install().interfaces.interfaces = Interfaces();
  EXPECT_EQ(text(PXALog::getHost()), "localhost");
}

TEST(GetHost, IsLocalhostWhereInterfacesCannotBeListed) {
  FakePlatform::install().interfaces.interfaces = std::nullopt;
  EXPECT_EQ(text(PXALog::getHost()), "localhost");
}

TEST(GetHost, IsTheWiFiAddressWhereThereAreTwo) {
  FakePlatform::install().interfaces.interfaces =
      Interfaces{{"pdp_ip0", kIPv4, {10, 0, 0, 1}}, {"en0", kIPv4, {192, 0, 2, 1}}};
  EXPECT_EQ(text(PXALog::getHost()), "192.0.2.1");
}

TEST(GetHost, IsADashWhileTheHostSwitchIsOff) {
  FakePlatform::install().interfaces.interfaces = Interfaces();
  PXALog::enableHost(false);
  EXPECT_EQ(text(PXALog::getHost()), "-");
}

TEST(GetHost, TakesNoLock) {
  FakePlatform::install();
  EXPECT_TRUE(test::endsWhileLockIsHeld([] {
    static_cast<void>(PXALog::getHost());
    static_cast<void>(PXALog::getIPAddress());
  }));
}

TEST(GetNetworkString, IsNoneWithoutAMonitor) {
  EXPECT_EQ(text(PXALog::getNetworkString(nullptr)), "NONE");
}

TEST(GetNetworkString, NamesTheLinkThatTheHostIsReachedOver) {
  FakePlatform& p = FakePlatform::install();
  const auto monitor = VeskReachability::reachabilityWithHostname("logs.example.com");
  const struct {
    std::uint32_t flags;
    const char* type;
  } rows[] = {{0, "NONE"},
              {kReachabilityReachable, "Wi-Fi"},
              {kReachabilityReachable | kReachabilityIsWWAN, "Cellular"},
              {kReachabilityIsWWAN, "NONE"}};
  for (const auto& row : rows) {
    p.reachability.flags = row.flags;
    EXPECT_EQ(text(PXALog::getNetworkString(monitor.get())), row.type) << row.flags;
  }
}

TEST(GetNetworkString, TakesNoLock) {
  FakePlatform::install();
  const auto monitor = VeskReachability::reachabilityWithHostname("logs.example.com");
  EXPECT_TRUE(
      test::endsWhileLockIsHeld([monitor] { static_cast<void>(PXALog::getNetworkString(monitor.get())); }));
}

}  // namespace
}  // namespace pxa
