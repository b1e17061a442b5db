#include "platform/linux/LinuxReachability.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <utility>

namespace pxa {

namespace {

/// Whether the host, behind which a port or a path may stand, names this machine itself.
bool isThisMachine(std::string_view host) {
  if (host.starts_with("[::1]")) return true;
  const std::string name(host.substr(0, host.find_first_of(":/")));
  in_addr address{};
  return name == "localhost" ||
         (name.starts_with("127.") && ::inet_pton(AF_INET, name.c_str(), &address) == 1);
}

bool isUsable(const ifaddrs& entry) {
  constexpr unsigned kUp = IFF_UP | IFF_RUNNING;
  return entry.ifa_addr != nullptr && (entry.ifa_flags & kUp) == kUp &&
         (entry.ifa_flags & IFF_LOOPBACK) == 0 &&
         (entry.ifa_addr->sa_family == AF_INET || entry.ifa_addr->sa_family == AF_INET6);
}

class Target final : public ReachabilityTarget {
 public:
  explicit Target(bool isThisMachine) : isThisMachine_(isThisMachine) {}

  std::optional<std::uint32_t> flags() override {
    if (isThisMachine_) return kReachabilityReachable;
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0) return std::nullopt;
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owner(first, ::freeifaddrs);

    bool hasMobile = false;
    for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
      if (!isUsable(*entry)) continue;
      if (!std::string_view(entry->ifa_name).starts_with("ww")) return kReachabilityReachable;
      hasMobile = true;
    }
    return hasMobile ? kReachabilityReachable | kReachabilityIsWWAN : 0;
  }

  bool setCallback(std::function<void(std::uint32_t)>) override { return true; }

 private:
  const bool isThisMachine_;
};

}  // namespace

std::unique_ptr<ReachabilityTarget> LinuxReachabilityTargets::createWithName(const String& host) {
  if (host.isEmpty()) return nullptr;
  return std::make_unique<Target>(isThisMachine(host.view()));
}

}  // namespace pxa
