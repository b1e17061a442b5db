#include <gtest/gtest.h>
#include <string>

#include "platform/linux/LinuxNetworkInterfaces.h"

namespace pxa {
namespace {

/// A line of the kernel's route table.
std::string route(const std::string& interface, const std::string& destination, const std::string& flags,
                  const std::string& metric, const std::string& mask) {
  return interface + "\t" + destination + "\t0101A8C0\t" + flags + "\t0\t0\t" + metric + "\t" + mask +
         "\t0\t0\t0\n";
}

std::string defaultRoute(const std::string& interface, const std::string& metric) {
  return route(interface, "00000000", "0003", metric, "00000000");
}

std::string bestOf(const std::string& routes) {
  return defaultRouteInterface(
      "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n" + routes);
}

TEST(DefaultRoute, IsNoneInAnEmptyTable) {
  EXPECT_EQ(defaultRouteInterface(""), "");
  EXPECT_EQ(bestOf(""), "");
}

TEST(DefaultRoute, IsTheRouteToEverywhere) {
  EXPECT_EQ(bestOf(route("docker0", "000011AC", "0001", "0", "0000FFFF") + defaultRoute("eth0", "100") +
                   route("eth1", "0000A8C0", "0001", "0", "00FFFFFF")),
            "eth0");
}

TEST(DefaultRoute, IsNoneWithoutARouteToEverywhere) {
  EXPECT_EQ(bestOf(route("eth0", "0000A8C0", "0001", "0", "00FFFFFF")), "");
}

TEST(DefaultRoute, IsTheOneWithTheLowestMetric) {
  EXPECT_EQ(bestOf(defaultRoute("eth0", "200") + defaultRoute("wlan0", "100") + defaultRoute("eth1", "600")),
            "wlan0");
}

TEST(DefaultRoute, IsTheFirstOfSeveralWithTheSameMetric) {
  EXPECT_EQ(bestOf(defaultRoute("eth0", "100") + defaultRoute("eth1", "100")), "eth0");
}

TEST(DefaultRoute, ReadsMetricsAsDecimalNumbers) {
  EXPECT_EQ(bestOf(defaultRoute("eth0", "100") + defaultRoute("eth1", "20")), "eth1");
}

TEST(DefaultRoute, IsUp) {
  EXPECT_EQ(bestOf(route("eth0", "00000000", "0002", "0", "00000000") + defaultRoute("eth1", "100")), "eth1");
}

TEST(DefaultRoute, DoesNotRefuseItsTraffic) {
  EXPECT_EQ(bestOf(route("*", "00000000", "0201", "0", "00000000") + defaultRoute("eth0", "100")), "eth0");
}

TEST(DefaultRoute, IsNotARouteToHalfOfEverywhere) {
  EXPECT_EQ(bestOf(route("tun0", "00000000", "0003", "0", "00000080") + defaultRoute("eth0", "100")), "eth0");
}

TEST(DefaultRoute, PassesOverLinesThatAreNotRoutes) {
  EXPECT_EQ(bestOf("\n\neth9\neth8\t00000000\nnonsense all over the place\n" + defaultRoute("eth0", "100") +
                   "eth7\t0"),
            "eth0");
}

TEST(DefaultRoute, NeedsNoLineBreakAtTheEnd) {
  std::string routes = defaultRoute("eth0", "100");
  routes.pop_back();
  EXPECT_EQ(bestOf(routes), "eth0");
}

struct Naming {
  const char* name;
  const char* defaultRoute;
  const char* phoneName;
};

TEST(PhoneInterfaceName, IsThatOfAPhonesLinks) {
  for (const Naming& naming : {
           Naming{"eth0", "eth0", "en0"},
           {"enp0s3", "enp0s3", "en0"},
           {"wlan0", "wlan0", "en0"},
           {"tun0", "tun0", "en0"},
           {"eth1", "eth0", "en1"},
           {"enp0s3", "wlan0", "en1"},
           {"eno1", "", "en1"},
           {"wlp2s0", "eth0", "en1"},
           {"wlan0", "", "en1"},
           {"en0", "eth0", "en1"},
           {"wwan0", "eth0", "pdp_ip0"},
           {"wwan0", "wwan0", "pdp_ip0"},
           {"lo", "eth0", "lo"},
           {"docker0", "eth0", "docker0"},
           {"veth1234", "eth0", "veth1234"},
           {"tun0", "eth0", "tun0"},
       })
    EXPECT_EQ(phoneInterfaceName(naming.name, naming.defaultRoute), naming.phoneName)
        << naming.name << " beside " << naming.defaultRoute;
}

TEST(PhoneInterfaceName, IsThatOfCellularForAMobileLinkNamedAfterItsPlace) {
  EXPECT_EQ(phoneInterfaceName("wwp0s20f0u2i12", "eth0"), "pdp_ip0");
  EXPECT_EQ(phoneInterfaceName("wwp0s20f0u2i12", "wwp0s20f0u2i12"), "pdp_ip0");
}

}  // namespace
}  // namespace pxa
