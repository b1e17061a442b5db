#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <net/if.h>
#include <optional>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <thread>
#include <vector>

#include "platform/linux/FileDescriptor.h"
#include "platform/linux/LinuxNetworkInterfaces.h"
#include "platform/linux/LinuxReachability.h"
#include "platform/linux/NetworkChanges.h"
#include "support/wait.h"

/// Tests of what looks at the system's network, each in a network of its own that has nothing but a loopback
/// interface, which is down at first.
namespace pxa {
namespace {

/// Runs the body on a thread with a network of its own; skips the test where that is not permitted.
template <class Body>
void inOwnNetwork(Body body) {
  bool isPermitted = false;
  std::thread([&] {
    isPermitted = ::unshare(CLONE_NEWNET) == 0;
    if (isPermitted) body();
  }).join();
  if (!isPermitted) GTEST_SKIP() << "no permission for a network of its own";
}

void setLoopback(bool isUp) {
  const FileDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifreq request{};
  std::memcpy(request.ifr_name, "lo", 3);
  ASSERT_EQ(::ioctl(socket.get(), SIOCGIFFLAGS, &request), 0);
  const int flags = request.ifr_flags;
  request.ifr_flags = static_cast<short>(isUp ? flags | IFF_UP : flags & ~IFF_UP);
  ASSERT_EQ(::ioctl(socket.get(), SIOCSIFFLAGS, &request), 0);
}

bool hasLoopback(LinuxNetworkInterfaces& interfaces) {
  const auto list = interfaces.list();
  EXPECT_TRUE(list);
  return list && std::any_of(list->begin(), list->end(), [](const NetworkInterface& interface) {
           return interface.name == "lo" && interface.family == NetworkInterface::Family::IPv4 &&
                  interface.word == std::array<std::uint8_t, 4>{127, 0, 0, 1};
         });
}

TEST(NetworkInterfaces, LeaveOutWhatIsDown) {
  inOwnNetwork([] {
    LinuxNetworkInterfaces interfaces;
    EXPECT_FALSE(hasLoopback(interfaces));
  });
}

TEST(NetworkInterfaces, ListTheAddressOfTheLoopback) {
  inOwnNetwork([] {
    setLoopback(true);
    LinuxNetworkInterfaces interfaces;
    EXPECT_TRUE(hasLoopback(interfaces));
  });
}

TEST(NetworkInterfaces, AreAsFreshAsIfListedNow) {
  inOwnNetwork([] {
    LinuxNetworkInterfaces interfaces;
    for (const bool isUp : {false, true, false, true}) {
      setLoopback(isUp);
      EXPECT_EQ(hasLoopback(interfaces), isUp);
      EXPECT_EQ(hasLoopback(interfaces), isUp) << "at the second question";
    }
  });
}

TEST(NetworkChanges, HaveNotHappenedAtFirst) {
  inOwnNetwork([] { EXPECT_FALSE(NetworkChanges().happened()); });
}

TEST(NetworkChanges, HappenWhenALinkGoesUpOrDown) {
  inOwnNetwork([] {
    NetworkChanges changes;
    setLoopback(true);
    EXPECT_TRUE(changes.happened());
    setLoopback(false);
    EXPECT_TRUE(changes.happened());
  });
}

TEST(NetworkChanges, AreToldOnce) {
  inOwnNetwork([] {
    NetworkChanges changes;
    setLoopback(true);
    // The kernel tells of one change in several messages, some of them a little later.
    EXPECT_TRUE(test::waitUntil([&] { return !changes.happened(); }));
  });
}

std::optional<std::uint32_t> flagsOf(const String& host) {
  const std::unique_ptr<ReachabilityTarget> target = LinuxReachabilityTargets().createWithName(host);
  return target == nullptr ? std::nullopt : target->flags();
}

TEST(Reachability, HasNoTargetWithoutAHost) {
  EXPECT_EQ(LinuxReachabilityTargets().createWithName(nullptr), nullptr);
  EXPECT_EQ(LinuxReachabilityTargets().createWithName(""), nullptr);
}

TEST(Reachability, ReachesThisMachineWithoutANetwork) {
  inOwnNetwork([] {
    for (const char* host :
         {"localhost", "localhost:8080", "127.0.0.1", "127.0.0.1:8080", "127.8.9.1", "[::1]:8080"})
      EXPECT_EQ(flagsOf(host), kReachabilityReachable) << host;
  });
}

TEST(Reachability, ReachesNoOtherHostWithoutANetwork) {
  inOwnNetwork([] {
    setLoopback(true);
    for (const char* host : {"example.com", "example.com:8080", "10.0.0.1", "[2001:db8::1]:80"})
      EXPECT_EQ(flagsOf(host), 0U) << host;
  });
}

TEST(Reachability, DoesNotTakeAHostForThisMachineThatOnlyBeginsLikeIt) {
  inOwnNetwork([] {
    for (const char* host : {"localhost.example.com", "localhosting.example", "127.example.com"})
      EXPECT_EQ(flagsOf(host), 0U) << host;
  });
}

}  // namespace
}  // namespace pxa
