#include <arpa/inet.h>
#include <atomic>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <netinet/in.h>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <vector>

#include <pxalog/Diagnostics.h>
#include <pxalog/Host.h>
#include <pxalog/NotificationCenter.h>
#include <pxalog/PXALog.h>
#include <pxalog/VeskReachability.h>

#include "api/handle/common_fields.h"
#include "api/handle/host_address.h"
#include "collector/Collector.h"
#include "platform/linux/FileDescriptor.h"
#include "support/OwnDocuments.h"
#include "support/OwnNetwork.h"
#include "support/TemporaryDirectory.h"
#include "support/wait.h"

namespace pxa {
namespace {

using test::ip;
using test::waitUntil;

/// The library on the kernel's network, in a network of the test's own. A collector in it answers for the
/// settings service too.
class Network : public testing::Test {
 protected:
  void SetUp() override {
    PXA_NEEDS_OWN_NETWORK();
    ASSERT_TRUE(ip("link set lo up"));
    collector_.emplace();
    Host::setLogSink([console = console_](const String& line) {
      const std::lock_guard lock(console->mutex);
      console->lines.emplace_back(line.view());
    });
    Host::setSettingsService({"127.0.0.1:" + std::to_string(collector_->httpPort()), nullptr, nullptr});
  }

  bool open(const String& url, const String& appKey) {
    return PXALog::init_onPort_byProtocol_ofAppKey_withVersion_forUserId(url, collector_->httpPort(), 1,
                                                                         appKey, "1.0", nullptr);
  }

  /// The member of the next session log that the project sends; "" when none comes.
  std::string memberOfSession(const std::string& project, const std::string& member) {
    std::string value;
    waitUntil([&] {
      for (const tools::ReceivedRequest& request : collector_->requests())
        for (const tools::Element& element : request.elements)
          if (element.members.at("projectName") == project) {
            const auto found = element.members.find(member);
            value = found == element.members.end() ? "(none)" : found->second;
            return true;
          }
      return false;
    });
    return value;
  }

  std::vector<std::string> consoleLines() {
    const std::lock_guard lock(console_->mutex);
    return console_->lines;
  }

  std::optional<tools::Collector> collector_;

 private:
  /// Threads of the library may write a line after the test.
  struct Console {
    std::mutex mutex;
    std::vector<std::string> lines;
  };
  const std::shared_ptr<Console> console_ = std::make_shared<Console>();
  test::OwnDocuments documents_;
};

/// What a monitor tells, by either way.
struct Told {
  std::mutex mutex;
  std::vector<std::string> callbacks;
  std::vector<std::string> notifications;

  explicit Told(VeskReachability& monitor) {
    monitor.setReachableBlock([this](VeskReachability&) { add(callbacks, "reachable"); });
    monitor.setUnreachableBlock([this](VeskReachability&) { add(callbacks, "unreachable"); });
    NotificationCenter::defaultCenter().addObserver(
        this, vesk_kReachabilityChangedNotification, [this, &monitor](const Notification& notification) {
          if (notification.object.get() == &monitor)
            add(notifications, monitor.isReachable() ? "reachable" : "unreachable");
        });
  }
  ~Told() { NotificationCenter::defaultCenter().removeObserver(this); }
  Told(const Told&) = delete;
  Told& operator=(const Told&) = delete;

  void add(std::vector<std::string>& list, const char* text) {
    const std::lock_guard lock(mutex);
    list.emplace_back(text);
  }
  bool isAll(const std::vector<std::string>& expected) {
    return waitUntil([&] {
      const std::lock_guard lock(mutex);
      return callbacks == expected && notifications == expected;
    });
  }
};

TEST_F(Network, TellsOnceThatALinkWentDownAndOnceThatItCameUp) {
  ASSERT_TRUE(test::makeLinkPair("eth5") && ip("addr add 10.1.0.1/24 dev eth5"));
  const VeskReachabilityRef monitor = VeskReachability::reachabilityWithHostname("10.1.0.2");
  ASSERT_NE(monitor, nullptr);
  Told told(*monitor);
  ASSERT_TRUE(monitor->startNotifier());
  ASSERT_TRUE(ip("link set eth5 down"));
  EXPECT_TRUE(told.isAll({"unreachable"}));
  ASSERT_TRUE(ip("link set eth5 up"));
  EXPECT_TRUE(told.isAll({"unreachable", "reachable"}));
  // A third change would be told after any that came too much.
  ASSERT_TRUE(ip("link set eth5 down"));
  EXPECT_TRUE(told.isAll({"unreachable", "reachable", "unreachable"}));
  monitor->stopNotifier();
}

TEST_F(Network, TellsOnceThatACableWasPulledAndOnceThatItWasPutBack) {
  ASSERT_TRUE(test::makeLinkPair("eth5") && ip("addr add 10.1.0.1/24 dev eth5") &&
              ip("route add default via 10.1.0.2"));
  const VeskReachabilityRef monitor = VeskReachability::reachabilityForInternetConnection();
  ASSERT_NE(monitor, nullptr);
  Told told(*monitor);
  ASSERT_TRUE(monitor->startNotifier());
  ASSERT_TRUE(ip("link set eth5-far down"));
  EXPECT_TRUE(told.isAll({"unreachable"}));
  EXPECT_TRUE(monitor->isConnectionRequired());
  ASSERT_TRUE(ip("link set eth5-far up"));
  EXPECT_TRUE(told.isAll({"unreachable", "reachable"}));
  monitor->stopNotifier();
}

TEST_F(Network, TellsNothingOnceStopped) {
  ASSERT_TRUE(test::makeLinkPair("eth5") && ip("addr add 10.1.0.1/24 dev eth5"));
  const VeskReachabilityRef stopped = VeskReachability::reachabilityWithHostname("10.1.0.2");
  const VeskReachabilityRef witness = VeskReachability::reachabilityWithHostname("10.1.0.2");
  Told nothing(*stopped);
  Told told(*witness);
  ASSERT_TRUE(stopped->startNotifier() && witness->startNotifier());
  stopped->stopNotifier();
  ASSERT_TRUE(ip("link set eth5 down"));
  EXPECT_TRUE(told.isAll({"unreachable"}));
  EXPECT_TRUE(nothing.isAll({}));
  witness->stopNotifier();
}

TEST_F(Network, EndsAMonitorThatStopsItselfWhenItHearsOfAChange) {
  ASSERT_TRUE(test::makeLinkPair("eth5") && ip("addr add 10.1.0.1/24 dev eth5"));
  VeskReachabilityRef monitor = VeskReachability::reachabilityWithHostname("10.1.0.2");
  const std::weak_ptr<VeskReachability> observed = monitor;
  monitor->setUnreachableBlock([](VeskReachability& self) { self.stopNotifier(); });
  ASSERT_TRUE(monitor->startNotifier());
  monitor.reset();
  EXPECT_FALSE(observed.expired());
  ASSERT_TRUE(ip("link set eth5 down"));
  EXPECT_TRUE(waitUntil([&] { return observed.expired(); }));
}

TEST_F(Network, CountsAMobileDefaultRouteAsCellular) {
  ASSERT_TRUE(test::makeLinkPair("wwan0") && ip("addr add 10.1.0.1/24 dev wwan0") &&
              ip("route add default via 10.1.0.2"));
  const VeskReachabilityRef monitor = VeskReachability::reachabilityForInternetConnection();
  EXPECT_EQ(monitor->currentReachabilityStatus(), 1);
  EXPECT_EQ(monitor->currentReachabilityString(), "Cellular");
  EXPECT_TRUE(monitor->isReachableViaWWAN());
}

TEST_F(Network, GivesEveryInitialisationTheNetworkAsItIsThen) {
  ASSERT_TRUE(test::makeLinkPair("eth5") && test::makeLinkPair("wwan0") &&
              ip("addr add 10.1.0.1/24 dev eth5") && ip("addr add 10.2.0.1/24 dev wwan0"));
  // A name that nobody resolves: the default route answers for it.
  const std::string url = "http://collector.invalid";
  const auto networkTypeOf = [&](const std::string& project) {
    EXPECT_TRUE(open(url, project));
    Dictionary fields;
    EXPECT_TRUE(PXALog::copyCommonFields(fields));
    return std::string(fields.value("NetworkType").data().view());
  };
  EXPECT_EQ(networkTypeOf("none"), "No Connection");
  ASSERT_TRUE(ip("route add default via 10.2.0.2"));
  EXPECT_EQ(networkTypeOf("mobile"), "Cellular");
  ASSERT_TRUE(ip("route replace default via 10.1.0.2"));
  EXPECT_EQ(networkTypeOf("wired"), "Wi-Fi");
  ASSERT_TRUE(ip("route del default"));
  EXPECT_EQ(networkTypeOf("gone"), "No Connection");
}

TEST_F(Network, SendsTheTypeOfTheNetworkAndTheAddressWithTheEvents) {
  ASSERT_TRUE(test::makeLinkPair("wwan0") && ip("addr add 10.1.0.1/24 dev wwan0") &&
              ip("route add default via 10.1.0.2"));
  ASSERT_TRUE(open("http://127.0.0.1", "project"));
  EXPECT_EQ(memberOfSession("project", "NetworkType"), "Wi-Fi") << "this machine itself is no cellular link";
  EXPECT_EQ(memberOfSession("project", "host"), "10.1.0.1");
}

TEST_F(Network, HasNoStatusWithoutARoute) {
  const VeskReachabilityRef monitor = VeskReachability::reachabilityForInternetConnection();
  EXPECT_EQ(monitor->currentReachabilityStatus(), 0);
  EXPECT_EQ(monitor->currentReachabilityString(), "No Connection");
  EXPECT_EQ(monitor->currentReachabilityFlags(), "-- -------");
}

TEST_F(Network, FollowsTheAddressOfTheHost) {
  ASSERT_TRUE(test::makeLinkPair("eth5"));
  EXPECT_EQ(PXALog::getIPAddress(), "0.0.0.0");
  EXPECT_EQ(PXALog::getHost(), "localhost");
  struct Step {
    const char* change;
    const char* address;
  };
  for (const Step& step : {Step{"addr add 10.1.0.1/24 dev eth5", "10.1.0.1"},
                           {"addr replace 10.1.0.7/24 dev eth5", "10.1.0.7"},
                           {"addr flush dev eth5", "0.0.0.0"},
                           {"addr add 10.3.0.1/24 dev eth5", "10.3.0.1"},
                           {"link set eth5 down", "0.0.0.0"}}) {
    ASSERT_TRUE(ip(step.change));
    EXPECT_TRUE(waitUntil([&] { return PXALog::getIPAddress() == step.address; })) << step.change;
  }
}

/// A name server that hears questions and never answers them, the only one that this process knows.
class SilentNameServer {
 public:
  bool start() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(53);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::ofstream(directory_.path() / "resolv.conf")
        << "nameserver 127.0.0.1\noptions timeout:30 attempts:5\n";
    std::ofstream(directory_.path() / "nsswitch.conf") << "hosts: dns\n";
    return ::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 &&
           test::showInstead("/etc/resolv.conf", directory_.path() / "resolv.conf") &&
           test::showInstead("/etc/nsswitch.conf", directory_.path() / "nsswitch.conf");
  }

  bool wasAsked() {
    return waitUntil([&] {
      char question[512];
      return ::recv(socket_.get(), question, sizeof(question), MSG_DONTWAIT) > 0;
    });
  }

 private:
  test::TemporaryDirectory directory_;
  const FileDescriptor socket_{::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
};

// An initialisation that waited for the answer would outlast this test.
TEST_F(Network, DoesNotWaitForANameServerThatNeverAnswers) {
  SilentNameServer server;
  ASSERT_TRUE(server.start());
  ASSERT_TRUE(test::makeLinkPair("eth5") && ip("addr add 10.1.0.1/24 dev eth5") &&
              ip("route add default via 10.1.0.2"));
  EXPECT_TRUE(open("http://collector.example.com", "project"));
  EXPECT_TRUE(server.wasAsked());
  const VeskReachabilityRef monitor = VeskReachability::reachabilityWithHostname("other.example.com");
  EXPECT_EQ(monitor->currentReachabilityStatus(), 2);
  EXPECT_TRUE(monitor->startNotifier());
  EXPECT_TRUE(server.wasAsked());
  monitor->stopNotifier();
}

TEST_F(Network, FailsQuietlyInASandboxWithoutNetlink) {
  ASSERT_TRUE(test::forbidNetlink());
  EXPECT_FALSE(open("http://127.0.0.1", "project"));
  EXPECT_EQ(consoleLines(),
            std::vector<std::string>{"SCNetworkReachabilitySetCallback() failed: Operation not permitted"});
  EXPECT_EQ(PXALog::getIPAddress(), "0.0.0.0");
  EXPECT_EQ(PXALog::getHost(), "localhost");
  EXPECT_EQ(VeskReachability::reachabilityForInternetConnection()->currentReachabilityStatus(), 0);
}

}  // namespace
}  // namespace pxa
