#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

#include <pxalog/ReachabilityFlags.h>

#include "platform/linux/LinuxNetworkInterfaces.h"
#include "platform/linux/Rtnetlink.h"
#include "platform/linux/reachability_flags.h"
#include "support/OwnNetwork.h"
#include "support/network_watcher.h"
#include "support/reachability.h"
#include "support/wait.h"

/// Tests of what looks at the kernel's network, each in a network of its own.
namespace pxa {
namespace {

using test::ip;
using test::newWatcher;
using test::waitUntil;

using namespace test::flags;

IpAddress address(const char* text) {
  IpAddress result{AF_INET, {}};
  if (::inet_pton(AF_INET, text, result.bytes.data()) == 1) return result;
  sockaddr_in6 internet{};
  internet.sin6_family = AF_INET6;
  EXPECT_EQ(::inet_pton(AF_INET6, text, &internet.sin6_addr), 1) << text;
  return IpAddress::of(reinterpret_cast<const sockaddr&>(internet)).value_or(result);
}

std::optional<std::uint32_t> flagsOf(const char* text) {
  return reachabilityFlagsOf({address(text)});
}

/// Name and address of every IPv4 interface, in the kernel's order.
std::vector<std::string> listOf(LinuxNetworkInterfaces& interfaces) {
  std::vector<std::string> texts;
  const auto list = interfaces.list();
  EXPECT_TRUE(list);
  if (!list) return texts;
  for (const NetworkInterface& interface : *list) {
    if (interface.family != NetworkInterface::Family::IPv4) continue;
    char text[INET_ADDRSTRLEN] = "";
    ::inet_ntop(AF_INET, interface.word.data(), text, sizeof(text));
    texts.push_back(interface.name + " " + text);
  }
  return texts;
}

using Texts = std::vector<std::string>;

TEST(NetworkInterfaces, AreNoneWhileAllLinksAreDown) {
  PXA_NEEDS_OWN_NETWORK();
  LinuxNetworkInterfaces interfaces(newWatcher());
  EXPECT_EQ(listOf(interfaces), Texts());
}

TEST(NetworkInterfaces, LeaveOutALinkThatIsDown) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(ip("link set lo up") && test::makeLinkPair("eth5") && ip("addr add 10.1.0.1/24 dev eth5"));
  ASSERT_TRUE(ip("link set eth5 down"));
  LinuxNetworkInterfaces interfaces(newWatcher());
  EXPECT_EQ(listOf(interfaces), Texts{"lo 127.0.0.1"});
}

TEST(NetworkInterfaces, HaveTheNamesOfAPhonesLinks) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(ip("link set lo up") && test::makeLinkPair("eth5") && test::makeLinkPair("wlan7") &&
              test::makeLinkPair("wwan0") && test::makeLinkPair("tun3"));
  ASSERT_TRUE(ip("addr add 10.1.0.1/24 dev eth5") && ip("addr add 10.2.0.1/24 dev wlan7") &&
              ip("addr add 10.3.0.1/24 dev wwan0") && ip("addr add 10.4.0.1/24 dev tun3") &&
              ip("route add default via 10.2.0.2 metric 100") &&
              ip("route add default via 10.1.0.2 metric 200"));
  LinuxNetworkInterfaces interfaces(newWatcher());
  EXPECT_EQ(listOf(interfaces),
            (Texts{"lo 127.0.0.1", "en1 10.1.0.1", "en0 10.2.0.1", "pdp_ip0 10.3.0.1", "tun3 10.4.0.1"}));
}

TEST(NetworkInterfaces, TakeTheLocalEndOfAPointToPointLink) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(test::makeLinkPair("ppp0") && ip("addr add 10.1.0.1 peer 10.1.0.9 dev ppp0"));
  LinuxNetworkInterfaces interfaces(newWatcher());
  EXPECT_EQ(listOf(interfaces), Texts{"pdp_ip0 10.1.0.1"});
}

TEST(NetworkInterfaces, GiveAnIPv6AddressNoWord) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(test::makeLinkPair("eth5") && ip("addr add 2001:db8::1/64 dev eth5 nodad"));
  LinuxNetworkInterfaces interfaces(newWatcher());
  const auto list = interfaces.list();
  ASSERT_TRUE(list && list->size() == 1);
  EXPECT_EQ(list->front().family, NetworkInterface::Family::IPv6);
  EXPECT_EQ(list->front().word, (std::array<std::uint8_t, 4>{}));
}

TEST(NetworkInterfaces, FollowWhatChanges) {
  PXA_NEEDS_OWN_NETWORK();
  LinuxNetworkInterfaces interfaces(newWatcher());
  EXPECT_EQ(listOf(interfaces), Texts());
  struct Step {
    const char* change;
    Texts list;
  };
  for (const Step& step : {Step{"link set lo up", {"lo 127.0.0.1"}},
                           {"addr add 10.1.0.1/24 dev lo", {"lo 127.0.0.1", "lo 10.1.0.1"}},
                           {"addr del 10.1.0.1/24 dev lo", {"lo 127.0.0.1"}},
                           {"link set lo down", {}},
                           {"link set lo up", {"lo 127.0.0.1"}}}) {
    ASSERT_TRUE(ip(step.change));
    EXPECT_TRUE(waitUntil([&] { return listOf(interfaces) == step.list; })) << step.change;
  }
}

TEST(NetworkInterfaces, AreUnknownWhereTheKernelDoesNotTalk) {
  ASSERT_TRUE(test::forbidNetlink());
  LinuxNetworkInterfaces interfaces(newWatcher());
  EXPECT_FALSE(interfaces.list());
  EXPECT_FALSE(interfaces.list()) << "at the second question";
}

TEST(ReachabilityFlags, AreUnknownWhereTheKernelDoesNotTalk) {
  ASSERT_TRUE(test::forbidNetlink());
  EXPECT_FALSE(flagsOf("10.1.0.1"));
}

TEST(ReachabilityFlags, AreNoneWithoutANetwork) {
  PXA_NEEDS_OWN_NETWORK();
  for (const char* text : {"10.1.0.1", "2001:db8::1", "0.0.0.0", "::", "127.0.0.1"})
    EXPECT_EQ(flagsOf(text), 0U) << text;
  EXPECT_EQ(reachabilityFlagsOf({}), 0U);
}

TEST(ReachabilityFlags, SayHowARouteLeads) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(ip("link set lo up") && test::makeLinkPair("eth5") && test::makeLinkPair("wwan0") &&
              test::makeLinkPair("ppp0"));
  ASSERT_TRUE(ip("addr add 10.1.0.1/24 dev eth5") && ip("addr add 2001:db8:1::1/64 dev eth5 nodad") &&
              ip("addr add 10.2.0.1/24 dev wwan0") && ip("addr add 2001:db8:2::1/64 dev wwan0 nodad") &&
              ip("addr add 10.3.0.1/24 dev ppp0"));
  ASSERT_TRUE(ip("route add 10.8.0.0/16 via 10.1.0.9") && ip("route add 10.9.0.0/16 via 10.2.0.9") &&
              ip("route add 2001:db8:8::/48 via 2001:db8:1::9") &&
              ip("route add 10.10.0.0/16 nexthop via 10.2.0.8 nexthop via 10.2.0.9"));
  ASSERT_TRUE(ip("route add unreachable 10.20.0.0/16") && ip("route add prohibit 10.21.0.0/16") &&
              ip("route add blackhole 10.22.0.0/16") && ip("-6 route add unreachable 2001:db8:20::/48"));
  struct Row {
    const char* destination;
    std::uint32_t flags;
  };
  for (const Row& row : {Row{"127.0.0.1", kReachable | kLocal | kDirect},
                         {"10.1.0.1", kReachable | kLocal | kDirect},
                         {"::1", kReachable | kLocal | kDirect},
                         {"2001:db8:1::1", kReachable | kLocal | kDirect},
                         {"10.1.0.2", kReachable | kDirect},
                         {"2001:db8:1::2", kReachable | kDirect},
                         {"10.8.0.1", kReachable},
                         {"2001:db8:8::1", kReachable},
                         {"10.2.0.2", kReachable | kDirect | kWWAN},
                         {"10.3.0.2", kReachable | kDirect | kWWAN},
                         {"2001:db8:2::2", kReachable | kDirect | kWWAN},
                         {"10.9.0.1", kReachable | kWWAN},
                         {"::ffff:10.9.0.1", kReachable | kWWAN},
                         {"10.10.0.1", kReachable | kWWAN},
                         {"10.20.0.1", 0},
                         {"10.21.0.1", 0},
                         {"10.22.0.1", 0},
                         {"2001:db8:20::1", 0},
                         {"10.99.0.1", 0},
                         {"2001:db8:99::1", 0}})
    EXPECT_EQ(flagsOf(row.destination), row.flags) << row.destination;
}

TEST(ReachabilityFlags, AskForAConnectionWhereTheLinkOfARouteIsWithoutCarrier) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(test::makeLinkPair("eth5") && test::makeLinkPair("wwan0") &&
              ip("addr add 10.1.0.1/24 dev eth5") && ip("addr add 10.2.0.1/24 dev wwan0") &&
              ip("route add default via 10.2.0.2"));
  ASSERT_TRUE(ip("link set eth5-far down") && ip("link set wwan0-far down"));
  EXPECT_EQ(flagsOf("10.1.0.2"), kRequired);
  EXPECT_EQ(flagsOf("10.2.0.2"), kRequired | kWWAN);
  EXPECT_EQ(flagsOf("192.0.2.1"), kRequired | kWWAN);
  EXPECT_EQ(flagsOf("0.0.0.0"), kRequired | kWWAN);
}

TEST(ReachabilityFlags, AskForAConnectionWhereTheLinkOfARouteIsDormant) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(test::makeLinkPair("eth5") && ip("addr add 10.1.0.1/24 dev eth5"));
  ASSERT_TRUE(ip("link set eth5 mode dormant") && ip("link set eth5-far down") && ip("link set eth5-far up"));
  EXPECT_TRUE(waitUntil([] { return flagsOf("10.1.0.2") == kRequired; }));
}

TEST(ReachabilityFlags, OfAddressZeroAreThoseOfTheDefaultRouteOfItsFamily) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(test::makeLinkPair("eth5") && test::makeLinkPair("wwan0") &&
              ip("addr add 10.1.0.1/24 dev eth5") && ip("addr add 2001:db8:2::1/64 dev wwan0 nodad"));
  ASSERT_TRUE(ip("route add default via 10.1.0.2"));
  EXPECT_EQ(flagsOf("0.0.0.0"), kReachable);
  EXPECT_EQ(flagsOf("::"), 0U);
  ASSERT_TRUE(ip("-6 route add default via 2001:db8:2::2") && ip("route del default"));
  EXPECT_EQ(flagsOf("0.0.0.0"), 0U);
  EXPECT_EQ(flagsOf("::"), kReachable | kWWAN);
}

TEST(ReachabilityFlags, WithoutAnAddressAreThoseOfEitherFamilysDefaultRoute) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(test::makeLinkPair("eth5") && ip("addr add 2001:db8:1::1/64 dev eth5 nodad"));
  EXPECT_EQ(reachabilityFlagsOf({}), 0U);
  ASSERT_TRUE(ip("-6 route add default via 2001:db8:1::2"));
  EXPECT_EQ(reachabilityFlagsOf({}), kReachable);
}

TEST(ReachabilityFlags, OfADefaultRouteAreThoseOfTheOneWithTheLowestMetric) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(test::makeLinkPair("eth5") && test::makeLinkPair("wwan0") &&
              ip("addr add 10.1.0.1/24 dev eth5") && ip("addr add 10.2.0.1/24 dev wwan0"));
  ASSERT_TRUE(ip("route add default via 10.1.0.2 metric 200") &&
              ip("route add default via 10.2.0.2 metric 100"));
  EXPECT_EQ(flagsOf("0.0.0.0"), kReachable | kWWAN);
  ASSERT_TRUE(ip("route del default metric 100"));
  EXPECT_EQ(flagsOf("0.0.0.0"), kReachable);
}

TEST(ReachabilityFlags, OfADefaultRouteAreThoseOfTheKernelsChoiceEvenWhenItHasNoCarrier) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(test::makeLinkPair("eth5") && test::makeLinkPair("eth6") &&
              ip("addr add 10.1.0.1/24 dev eth5") && ip("addr add 10.2.0.1/24 dev eth6"));
  ASSERT_TRUE(ip("route add default via 10.1.0.2 metric 100") &&
              ip("route add default via 10.2.0.2 metric 200") && ip("link set eth5-far down"));
  EXPECT_EQ(flagsOf("0.0.0.0"), kRequired);
  EXPECT_EQ(flagsOf("192.0.2.1"), kRequired);
}

TEST(ReachabilityFlags, OfADefaultRouteOverSeveralLinksAreThoseOfOneThatCarries) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(test::makeLinkPair("eth5") && test::makeLinkPair("wwan0") &&
              ip("addr add 10.1.0.1/24 dev eth5") && ip("addr add 10.2.0.1/24 dev wwan0") &&
              ip("route add default nexthop via 10.1.0.2 nexthop dev wwan0"));
  EXPECT_EQ(flagsOf("0.0.0.0"), kReachable);
  ASSERT_TRUE(ip("link set eth5-far down"));
  EXPECT_EQ(flagsOf("0.0.0.0"), kReachable | kDirect | kWWAN);
  ASSERT_TRUE(ip("link set eth5 down"));
  EXPECT_EQ(flagsOf("0.0.0.0"), kReachable | kDirect | kWWAN);
}

TEST(ReachabilityFlags, OfADefaultRouteAreNoneWhereItRefusesItsTraffic) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(ip("route add unreachable default"));
  EXPECT_EQ(flagsOf("0.0.0.0"), 0U);
}

TEST(ReachabilityFlags, OfADefaultRouteWithoutGatewaySayThatItIsDirect) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(test::makeLinkPair("eth5") && ip("route add default dev eth5"));
  EXPECT_EQ(flagsOf("0.0.0.0"), kReachable | kDirect);
}

TEST(ReachabilityFlags, OfSeveralAddressesAreThoseOfTheFirstThatIsReached) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(test::makeLinkPair("eth5") && test::makeLinkPair("eth6") &&
              ip("addr add 10.1.0.1/24 dev eth5") && ip("addr add 10.2.0.1/24 dev eth6") &&
              ip("link set eth6-far down"));
  EXPECT_EQ(reachabilityFlagsOf({address("192.0.2.1"), address("10.1.0.2")}), kReachable | kDirect);
  EXPECT_EQ(reachabilityFlagsOf({address("10.2.0.2"), address("10.1.0.2")}), kReachable | kDirect);
  EXPECT_EQ(reachabilityFlagsOf({address("192.0.2.1"), address("10.2.0.2")}), kRequired);
  EXPECT_EQ(reachabilityFlagsOf({address("192.0.2.1"), address("2001:db8::1")}), 0U);
}

TEST(ReachabilityFlags, OfALinkLocalAddressAreThoseOfItsLink) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(test::makeLinkPair("eth5") && test::makeLinkPair("wwan0") &&
              ip("addr add fe80::1/64 dev eth5 nodad") && ip("addr add fe80::2/64 dev wwan0 nodad"));
  std::optional<Rtnetlink> kernel = Rtnetlink::open();
  ASSERT_TRUE(kernel);
  const auto links = kernel->links();
  ASSERT_TRUE(links);
  for (const Link& link : *links) {
    if (link.name != "eth5" && link.name != "wwan0") continue;
    IpAddress neighbour = address("fe80::99");
    neighbour.scope = static_cast<std::uint32_t>(link.index);
    EXPECT_EQ(reachabilityFlagsOf({neighbour}), kReachable | kDirect | (link.isCellular() ? kWWAN : 0));
  }
}

TEST(Rtnetlink, ReadsMoreThanOneMessageHolds) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(ip("link set lo up"));
  constexpr int kCount = 700;
  std::string commands;
  for (int i = 0; i < kCount; ++i)
    commands += "addr add 10." + std::to_string(i / 250) + "." + std::to_string(i % 250) + ".1/32 dev lo\n";
  ASSERT_TRUE(ip("-batch - <<'END'\n" + commands + "END\n"));
  std::optional<Rtnetlink> kernel = Rtnetlink::open();
  ASSERT_TRUE(kernel);
  const auto addresses = kernel->addresses();
  ASSERT_TRUE(addresses);
  EXPECT_GE(addresses->size(), static_cast<std::size_t>(kCount));
}

TEST(Rtnetlink, KnowsNoLinkThatIsNotThere) {
  PXA_NEEDS_OWN_NETWORK();
  std::optional<Rtnetlink> kernel = Rtnetlink::open();
  ASSERT_TRUE(kernel);
  const auto link = kernel->link(4711);
  ASSERT_TRUE(link);
  EXPECT_TRUE(link->empty());
}

class CountingListener final : public NetworkListener {
 public:
  void networkChanged(NetworkChange change) noexcept override {
    if (change.isOfRoutes) ++changesOfRoutes;
    ++changes;
  }
  std::atomic<int> changesOfRoutes = 0;
  std::atomic<int> changes = 0;
};

TEST(NetworkWatcher, HasNothingToTellAtFirst) {
  PXA_NEEDS_OWN_NETWORK();
  NetworkWatcher& watcher = newWatcher();
  const auto listener = std::make_shared<CountingListener>();
  watcher.addListener(listener);
  const auto first = watcher.generation();
  ASSERT_TRUE(first);
  EXPECT_EQ(watcher.generation(), first);
  EXPECT_EQ(listener->changes, 0);
}

TEST(NetworkWatcher, TellsOnceOfABurstOfMessages) {
  PXA_NEEDS_OWN_NETWORK();
  NetworkWatcher& watcher = newWatcher();
  const auto listener = std::make_shared<CountingListener>();
  watcher.addListener(listener);
  const auto first = watcher.generation();
  for (const int burst : {1, 2, 3}) {
    // One run of the program: its messages come within moments of each other.
    ASSERT_TRUE(
        ip("-batch - <<'END'\n"
           "link set lo up\naddr add 10.1.0.1/24 dev lo\naddr del 10.1.0.1/24 dev lo\n"
           "END\n"));
    EXPECT_TRUE(waitUntil([&] { return listener->changes >= burst; }));
    EXPECT_EQ(listener->changes, burst);
  }
  EXPECT_NE(watcher.generation(), first);
}

TEST(NetworkWatcher, TellsChangesOfRoutesFromThoseOfLinks) {
  PXA_NEEDS_OWN_NETWORK();
  // Of a link that is up the kernel would tell some time later that it has given it a route.
  ASSERT_TRUE(ip("link add eth5 type veth peer name peer5"));
  NetworkWatcher& watcher = newWatcher();
  const auto listener = std::make_shared<CountingListener>();
  watcher.addListener(listener);
  ASSERT_EQ(watcher.start(), 0);
  ASSERT_TRUE(ip("link set eth5 txqueuelen 77"));
  EXPECT_TRUE(waitUntil([&] { return listener->changes == 1; }));
  EXPECT_EQ(listener->changesOfRoutes, 0);
  ASSERT_TRUE(ip("addr add 10.1.0.1/24 dev eth5"));
  EXPECT_TRUE(waitUntil([&] { return listener->changesOfRoutes == 1; }));
}

/// The socket that hears of changes: the only one of its kind in this process.
int watchersSocket() {
  for (int descriptor = 3; descriptor < 100; ++descriptor) {
    sockaddr_nl address{};
    socklen_t size = sizeof(address);
    if (::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0 &&
        address.nl_family == AF_NETLINK && address.nl_groups != 0)
      return descriptor;
  }
  return -1;
}

TEST(NetworkWatcher, WatchesAgainWhenItsSocketFails) {
  PXA_NEEDS_OWN_NETWORK();
  NetworkWatcher& watcher = newWatcher();
  const auto listener = std::make_shared<CountingListener>();
  watcher.addListener(listener);
  ASSERT_EQ(watcher.start(), 0);
  // Another kind of socket in its place makes the next reading fail.
  const int socket = watchersSocket();
  ASSERT_GE(socket, 0);
  const auto first = watcher.generation();
  ASSERT_TRUE(ip("link set lo up"));
  ASSERT_TRUE(waitUntil([&] { return listener->changes == 1; }));
  int pair[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, pair), 0);
  // Past the thread sanitizer, for the race between this and the watcher is what the test is about.
  ASSERT_GE(::syscall(SYS_dup3, pair[0], socket, O_CLOEXEC), 0);
  ASSERT_TRUE(ip("addr add 10.1.0.1/24 dev lo"));
  EXPECT_TRUE(
      waitUntil([&] { return ip("link set lo down") && ip("link set lo up") && listener->changes >= 3; }));
  EXPECT_NE(watcher.generation(), first);
}

TEST(NetworkWatcher, ForgetsAListenerThatIsGone) {
  PXA_NEEDS_OWN_NETWORK();
  NetworkWatcher& watcher = newWatcher();
  auto gone = std::make_shared<CountingListener>();
  const auto staying = std::make_shared<CountingListener>();
  watcher.addListener(gone);
  watcher.addListener(staying);
  ASSERT_EQ(watcher.start(), 0);
  gone.reset();
  ASSERT_TRUE(ip("link set lo up"));
  EXPECT_TRUE(waitUntil([&] { return staying->changes > 0; }));
}

TEST(NetworkWatcher, SaysWhyItCannotWatch) {
  ASSERT_TRUE(test::forbidNetlink());
  NetworkWatcher& watcher = newWatcher();
  EXPECT_EQ(watcher.start(), EPERM);
  EXPECT_FALSE(watcher.generation());
}

}  // namespace
}  // namespace pxa
