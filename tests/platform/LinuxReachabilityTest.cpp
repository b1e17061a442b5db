#include <arpa/inet.h>
#include <atomic>
#include <fstream>
#include <gtest/gtest.h>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <netdb.h>
#include <netinet/in.h>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/SerialQueue.h"
#include "platform/linux/HostAddresses.h"
#include "platform/linux/LinuxReachability.h"
#include "support/OwnNetwork.h"
#include "support/TemporaryDirectory.h"
#include "support/network_watcher.h"
#include "support/reachability.h"
#include "support/wait.h"

/// Tests of targets against the kernel, each in a network of its own.
namespace pxa {
namespace {

using test::ip;
using test::waitUntil;

using namespace test::flags;

LinuxReachabilityTargets newTargets() {
  return LinuxReachabilityTargets(test::newWatcher());
}

/// Hears what a target tells.
struct Listener {
  std::mutex mutex;
  std::vector<std::uint32_t> told;

  ReachabilityTarget::Callback callback() {
    return [this](std::uint32_t flags) {
      const std::lock_guard lock(mutex);
      told.push_back(flags);
    };
  }
  std::vector<std::uint32_t> heard() {
    const std::lock_guard lock(mutex);
    return told;
  }
};

using Flags = std::vector<std::uint32_t>;

std::shared_ptr<SerialQueue> newQueue() {
  return std::make_shared<SerialQueue>("test");
}

TEST(HostPart, LeavesOutPortPathAndBrackets) {
  struct Row {
    const char* text;
    const char* host;
  };
  for (const Row& row : {Row{"logs.example.com", "logs.example.com"},
                         {"logs.example.com:8080", "logs.example.com"},
                         {"logs.example.com/path", "logs.example.com"},
                         {"logs.example.com:8080/path:80", "logs.example.com"},
                         {"logs.example.com?query", "logs.example.com"},
                         {"logs.example.com#part", "logs.example.com"},
                         {"192.0.2.1:80/", "192.0.2.1"},
                         {"[2001:db8::1]", "2001:db8::1"},
                         {"[2001:db8::1]:8080", "2001:db8::1"},
                         {"[2001:db8::1]/path", "2001:db8::1"},
                         {"[fe80::1%eth0]:80", "fe80::1%eth0"},
                         {"[2001:db8::1", "2001:db8::1"},
                         {"2001:db8::1", "2001:db8::1"},
                         {"2001:db8::1/path", "2001:db8::1"},
                         {"::1", "::1"},
                         {"", ""},
                         {"/", ""},
                         {":80", ""},
                         {"[]", ""},
                         {"[", ""}})
    EXPECT_EQ(hostPart(row.text), row.host) << row.text;
}

TEST(AddressWrittenAs, IsTheAddressOfANumberAndOfThisMachine) {
  for (const char* host : {"127.0.0.1", "localhost", "192.0.2.1", "2001:db8::1", "::"})
    EXPECT_TRUE(addressWrittenAs(host)) << host;
  EXPECT_EQ(addressWrittenAs("localhost"), addressWrittenAs("127.0.0.1"));
}

TEST(AddressWrittenAs, IsNoneForAName) {
  for (const char* host : {"logs.example.com", "localhost.example.com", "", " ", "127.0.0.1.example", "[::1]",
                           "2001:db8::1/64", "256.0.0.1"})
    EXPECT_FALSE(addressWrittenAs(host)) << host;
  EXPECT_FALSE(addressWrittenAs(std::string(70000, 'a')));
}

/// What the system's own look-up makes of a text that it takes for a number.
std::optional<IpAddress> addressLookedUp(const std::string& text) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICHOST;
  addrinfo* first = nullptr;
  if (::getaddrinfo(text.c_str(), nullptr, &hints, &first) != 0) return std::nullopt;
  const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(first, ::freeaddrinfo);
  return IpAddress::of(*first->ai_addr);
}

void expectWhatALookUpFinds(std::initializer_list<const char*> texts) {
  for (const char* text : texts) EXPECT_EQ(addressWrittenAs(text), addressLookedUp(text)) << text;
}

TEST(AddressWrittenAs, IsTheIPv4NumberThatALookUpFinds) {
  expectWhatALookUpFinds({"127.0.0.1", "127.1", "127.0.1", "1.2.3", "1.2.65535", "1.2.65536", "1.16777215",
                          "1.16777216", "2130706433", "4294967295", "4294967296", "0", "0x7f.1", "0X7F000001",
                          "0177.1", "08"});
  expectWhatALookUpFinds({"0x", "0x.1", "1.2.3.4.5", "1.2.3.256", "256.1", "1..2", ".1", "1.", "1.2.3.4.",
                          "+1", "-1", "1a", "1e1", "", " ", "*"});
  expectWhatALookUpFinds({"1.2.3.4 ", " 1.2.3.4", "1.2.3.4 x", "1.2.3.4\t", "1.2.3.4\n", "1.2.3.4\v",
                          "1.2.3.4\f", "1.2.3.4\r", "1. 2.3.4", "1.2.3.4\xa0", "1.2.3.4\x85",
                          "logs.example.com", "1.example"});
}

TEST(AddressWrittenAs, IsTheIPv6NumberThatALookUpFinds) {
  expectWhatALookUpFinds({"::", "::1", "2001:db8::1", "2001:DB8::1", "1::2::3", ":::", ":", "1:2:3:4:5:6:7:8",
                          "1:2:3:4:5:6:7:8:9", "1:2:3:4:5:6:7", "12345::", "::1.2.3.4", "::1.2",
                          "::ffff:1.2.3.4", "[::1]", "::1 "});
  expectWhatALookUpFinds({" ::1", "::1/64", "fe80::1"});
}

TEST(AddressWrittenAs, HasTheScopeThatALookUpFinds) {
  expectWhatALookUpFinds({"127.0.0.1%lo", "127.0.0.1%1", "::%0", "::ffff:1.2.3.4%3", "::ffff:1.2.3.4%lo",
                          "fe80::1%lo", "fe80::1%1", "fe80::1%01", "fe80::1%0", "fe80::1%99", "fe80::1%",
                          "fe80::1% 1", "fe80::1%1 ", "fe80::1%+1", "fe80::1%-1", "fe80::1%0x1"});
  expectWhatALookUpFinds({"fe80::1%1x", "fe80::1%nolink", "fe80::1%a-name-too-long-for-any-link",
                          "fe80::1%4294967295", "fe80::1%4294967296", "fe80::1%18446744073709551617",
                          "fe80::1%lo%1", "fe80::1%%lo", "febf::1%lo", "fec0::1%lo", "ff02::1%lo",
                          "ff01::1%lo", "ff05::1%lo", "2001:db8::1%lo", "2001:db8::1%1", "2001:db8::1%7"});
  expectWhatALookUpFinds({"%lo", "%", "%1", "a%lo"});
}

TEST(AddressWrittenAs, EndsAtAZeroByteAsForALookUp) {
  using namespace std::string_literals;
  for (const std::string& text : {"1.2.3.4\0 x"s, "::1\0x"s, "fe80::1%1\0x"s, "\0001"s, "localhost\0x"s})
    EXPECT_EQ(addressWrittenAs(text), addressLookedUp(text)) << text;
}

TEST(LinuxReachability, HasNoTargetWithoutAHost) {
  LinuxReachabilityTargets targets = newTargets();
  EXPECT_EQ(targets.createWithName(nullptr), nullptr);
  EXPECT_EQ(targets.createWithName(""), nullptr);
  EXPECT_EQ(targets.createWithAddress(nullptr), nullptr);
}

TEST(LinuxReachability, HasATargetForAnyText) {
  LinuxReachabilityTargets targets = newTargets();
  for (const char* host : {"/", ":", "[", "]", "%", "a b", "\x01", "..", "[::1]]:x", "256.256.256.256"})
    EXPECT_NE(targets.createWithName(host), nullptr) << host;
  EXPECT_NE(targets.createWithName(std::string(100000, 'x')), nullptr);
}

TEST(LinuxReachability, ReachesThisMachine) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(ip("link set lo up"));
  LinuxReachabilityTargets targets = newTargets();
  for (const char* host :
       {"localhost", "localhost:8080", "127.0.0.1", "127.0.0.1:8080/path", "127.8.9.1", "[::1]:8080", "::1"})
    EXPECT_EQ(targets.createWithName(host)->flags(), kReachable | kLocal | kDirect) << host;
}

TEST(LinuxReachability, AsksTheDefaultRouteForANameThatIsNotResolved) {
  PXA_NEEDS_OWN_NETWORK();
  LinuxReachabilityTargets targets = newTargets();
  for (const char* host : {"host.invalid", "host.invalid:80", "/path", "[]"})
    EXPECT_EQ(targets.createWithName(host)->flags(), 0U) << host;
  ASSERT_TRUE(test::makeLinkPair("eth5") && ip("addr add 10.1.0.1/24 dev eth5") &&
              ip("route add default via 10.1.0.2"));
  for (const char* host : {"host.invalid", "host.invalid:80", "/path", "[]"})
    EXPECT_EQ(targets.createWithName(host)->flags(), kReachable) << host;
}

/// Names that the files of the system resolve, shown to this process alone.
class Hosts {
 public:
  bool say(const std::string& lines) {
    std::ofstream(path()) << lines;
    std::ofstream(services()) << "hosts: files\n";
    return test::showInstead("/etc/nsswitch.conf", services()) && test::showInstead("/etc/hosts", path());
  }
  void sayInstead(const std::string& lines) { std::ofstream(path()) << lines; }

 private:
  std::string path() const { return directory_.path() / "hosts"; }
  std::string services() const { return directory_.path() / "nsswitch.conf"; }
  test::TemporaryDirectory directory_;
};

TEST(LinuxReachability, AsksTheRouteOfANamesAddressOnceItIsResolved) {
  PXA_NEEDS_OWN_NETWORK();
  Hosts hosts;
  ASSERT_TRUE(hosts.say("10.1.0.9 logs.example\n"));
  ASSERT_TRUE(test::makeLinkPair("eth5") && ip("addr add 10.1.0.1/24 dev eth5"));
  const auto target = newTargets().createWithName("logs.example:8080/path");
  EXPECT_TRUE(waitUntil([&] { return target->flags() == (kReachable | kDirect); }));
}

TEST(LinuxReachability, ResolvesANameAgainWhenRoutesChange) {
  PXA_NEEDS_OWN_NETWORK();
  Hosts hosts;
  ASSERT_TRUE(hosts.say("10.1.0.9 logs.example\n"));
  ASSERT_TRUE(test::makeLinkPair("eth5") && ip("addr add 10.1.0.1/24 dev eth5"));
  const auto target = newTargets().createWithName("logs.example");
  ASSERT_TRUE(waitUntil([&] { return target->flags() == (kReachable | kDirect); }));
  hosts.sayInstead("10.7.0.9 logs.example\n");
  ASSERT_TRUE(ip("route add 10.7.0.0/16 via 10.1.0.2"));
  EXPECT_TRUE(waitUntil([&] { return target->flags() == kReachable; }));
}

TEST(LinuxReachability, KeepsTheAddressesOfANameThatIsNoLongerResolved) {
  PXA_NEEDS_OWN_NETWORK();
  Hosts hosts;
  ASSERT_TRUE(hosts.say("10.1.0.9 logs.example\n"));
  ASSERT_TRUE(test::makeLinkPair("eth5") && ip("addr add 10.1.0.1/24 dev eth5"));
  const auto addresses = std::make_shared<HostAddresses>("logs.example", [] {});
  addresses->resolve();
  ASSERT_TRUE(waitUntil([&] { return !addresses->known().empty(); }));
  hosts.sayInstead("10.8.0.9 other.example\n10.9.0.9 logs.example.other\n");
  addresses->resolve();
  EXPECT_EQ(addresses->known().size(), 1U);
}

TEST(LinuxReachability, WatchesASocketAddress) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(test::makeLinkPair("eth5") && ip("addr add 10.1.0.1/24 dev eth5") &&
              ip("addr add 2001:db8:1::1/64 dev eth5 nodad"));
  LinuxReachabilityTargets targets = newTargets();
  sockaddr_in internet{};
  internet.sin_family = AF_INET;
  internet.sin_port = htons(80);
  ASSERT_EQ(::inet_pton(AF_INET, "10.1.0.2", &internet.sin_addr), 1);
  EXPECT_EQ(targets.createWithAddress(reinterpret_cast<const sockaddr*>(&internet))->flags(),
            kReachable | kDirect);
  sockaddr_in6 internet6{};
  internet6.sin6_family = AF_INET6;
  ASSERT_EQ(::inet_pton(AF_INET6, "2001:db8:1::2", &internet6.sin6_addr), 1);
  EXPECT_EQ(targets.createWithAddress(reinterpret_cast<const sockaddr*>(&internet6))->flags(),
            kReachable | kDirect);
}

TEST(LinuxReachability, HasNoTargetForAnAddressOfAnotherFamily) {
  sockaddr_storage local{};
  local.ss_family = AF_UNIX;
  EXPECT_EQ(newTargets().createWithAddress(reinterpret_cast<const sockaddr*>(&local)), nullptr);
}

TEST(LinuxReachability, WatchesAnIPv4AddressAsANumber) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(test::makeLinkPair("eth5") && ip("addr add 10.1.0.1/24 dev eth5") &&
              ip("addr add 169.254.0.1/16 dev eth5"));
  LinuxReachabilityTargets targets = newTargets();
  EXPECT_EQ(targets.createWithIPv4Address(0x0A010002)->flags(), kReachable | kDirect);
  EXPECT_EQ(targets.createWithIPv4Address(0xA9FE0203)->flags(), kReachable | kDirect);
  EXPECT_EQ(targets.createWithIPv4Address(0)->flags(), 0U);
  ASSERT_TRUE(ip("route add default via 10.1.0.2"));
  EXPECT_EQ(targets.createWithIPv4Address(0)->flags(), kReachable);
}

TEST(LinuxReachability, TellsEachChangeOfTheFlagsOnce) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(test::makeLinkPair("eth5") && ip("addr add 10.1.0.1/24 dev eth5"));
  const auto target = newTargets().createWithName("10.1.0.2");
  Listener listener;
  ASSERT_TRUE(target->setCallback(listener.callback()) && target->setDispatchQueue(newQueue()));
  ASSERT_TRUE(ip("link set eth5 down"));
  EXPECT_TRUE(waitUntil([&] { return listener.heard() == Flags{0}; }));
  ASSERT_TRUE(ip("link set eth5 up"));
  EXPECT_TRUE(waitUntil([&] { return listener.heard() == (Flags{0, kReachable | kDirect}); }));
  ASSERT_TRUE(ip("link set eth5-far down"));
  const Flags all{0, kReachable | kDirect, kReachabilityConnectionRequired};
  EXPECT_TRUE(waitUntil([&] { return listener.heard() == all; }));
  EXPECT_EQ(listener.heard(), all);
}

TEST(LinuxReachability, DoesNotTellWhatLeavesTheFlagsAsTheyAre) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(test::makeLinkPair("eth5") && ip("addr add 10.1.0.1/24 dev eth5"));
  LinuxReachabilityTargets targets = newTargets();
  const auto target = targets.createWithName("10.1.0.2");
  const auto witness = targets.createWithName("10.5.0.1");
  Listener listener;
  Listener witnesses;
  ASSERT_TRUE(target->setCallback(listener.callback()) && target->setDispatchQueue(newQueue()));
  ASSERT_TRUE(witness->setCallback(witnesses.callback()) && witness->setDispatchQueue(newQueue()));
  ASSERT_TRUE(ip("addr add 10.5.0.1/32 dev eth5"));
  ASSERT_TRUE(waitUntil([&] { return witnesses.heard().size() == 1; }));
  ASSERT_TRUE(ip("link set eth5 down"));
  EXPECT_TRUE(waitUntil([&] { return !listener.heard().empty(); }));
  EXPECT_EQ(listener.heard(), Flags{0});
}

TEST(LinuxReachability, TellsNothingMoreOnceItIsAskedTo) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(ip("link set lo up"));
  LinuxReachabilityTargets targets = newTargets();
  const auto withoutCallback = targets.createWithName("127.0.0.1");
  const auto withoutQueue = targets.createWithName("127.0.0.1");
  auto dropped = targets.createWithName("127.0.0.1");
  const auto witness = targets.createWithName("127.0.0.1");
  Listener silent;
  Listener witnesses;
  for (const auto& target : {withoutCallback, withoutQueue, dropped})
    ASSERT_TRUE(target->setCallback(silent.callback()) && target->setDispatchQueue(newQueue()));
  ASSERT_TRUE(witness->setCallback(witnesses.callback()) && witness->setDispatchQueue(newQueue()));
  EXPECT_TRUE(withoutCallback->setCallback({}));
  EXPECT_TRUE(withoutQueue->setDispatchQueue(nullptr));
  dropped.reset();
  ASSERT_TRUE(ip("link set lo down"));
  ASSERT_TRUE(waitUntil([&] { return witnesses.heard().size() == 1; }));
  ASSERT_TRUE(ip("link set lo up"));
  ASSERT_TRUE(waitUntil([&] { return witnesses.heard().size() == 2; }));
  EXPECT_EQ(silent.heard(), Flags());
}

TEST(LinuxReachability, TellsOfANameWhoseResolutionChangesTheFlags) {
  PXA_NEEDS_OWN_NETWORK();
  Hosts hosts;
  ASSERT_TRUE(hosts.say("10.1.0.9 other.example\n"));
  ASSERT_TRUE(test::makeLinkPair("eth5") && ip("addr add 10.1.0.1/24 dev eth5"));
  const auto target = newTargets().createWithName("logs.example");
  Listener listener;
  ASSERT_TRUE(target->setCallback(listener.callback()) && target->setDispatchQueue(newQueue()));
  hosts.sayInstead("10.1.0.9 logs.example\n");
  ASSERT_TRUE(ip("addr add 10.5.0.1/32 dev eth5"));
  EXPECT_TRUE(waitUntil([&] { return listener.heard() == Flags{kReachable | kDirect}; }));
}

TEST(LinuxReachability, MayBeDroppedByItsOwnCallback) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(ip("link set lo up"));
  auto target = newTargets().createWithName("127.0.0.1");
  std::atomic<bool> isDropped = false;
  ASSERT_TRUE(target->setCallback([&](std::uint32_t) {
    target.reset();
    isDropped = true;
  }));
  ASSERT_TRUE(target->setDispatchQueue(newQueue()));
  ASSERT_TRUE(ip("link set lo down"));
  EXPECT_TRUE(waitUntil([&] { return isDropped.load(); }));
}

TEST(LinuxReachability, MayBeDroppedWhileChangesAreOnTheirWay) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(ip("link set lo up"));
  LinuxReachabilityTargets targets = newTargets();
  std::atomic<bool> isDone = false;
  std::thread links([&isDone] {
    while (!isDone)
      for (const char* state : {"down", "up"}) ip(std::string("link set lo ") + state);
  });
  Listener listener;
  for (int i = 0; i < 20; ++i) {
    const auto target = targets.createWithName(i % 2 == 0 ? "127.0.0.1" : "host.invalid");
    EXPECT_TRUE(target->setCallback(listener.callback()) && target->setDispatchQueue(newQueue()));
    waitUntil([&] { return target->flags() != (kReachable | kLocal | kDirect); });
  }
  isDone = true;
  links.join();
}

TEST(LinuxReachability, SaysWhyItCannotWatch) {
  ASSERT_TRUE(test::forbidNetlink());
  for (const char* host : {"127.0.0.1", "host.invalid"}) {
    const auto target = newTargets().createWithName(host);
    ASSERT_NE(target, nullptr) << host;
    EXPECT_FALSE(target->flags()) << host;
    EXPECT_FALSE(target->setCallback([](std::uint32_t) {})) << host;
    EXPECT_EQ(target->lastError(), "Operation not permitted") << host;
    EXPECT_FALSE(target->setDispatchQueue(newQueue())) << host;
    EXPECT_TRUE(target->setCallback({}) && target->setDispatchQueue(nullptr)) << host;
  }
}

}  // namespace
}  // namespace pxa
