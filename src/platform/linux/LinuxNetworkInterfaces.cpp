#include "platform/linux/LinuxNetworkInterfaces.h"

#include <cstring>
#include <fstream>
#include <ifaddrs.h>
#include <iterator>
#include <limits>
#include <memory>
#include <net/if.h>
#include <net/route.h>
#include <sstream>
#include <sys/socket.h>

namespace pxa {

namespace {

std::string readRouteTable() {
  std::ifstream file("/proc/net/route");
  return {std::istreambuf_iterator<char>(file), {}};
}

NetworkInterface::Family familyOf(const sockaddr& address) {
  switch (address.sa_family) {
    case AF_INET:
      return NetworkInterface::Family::IPv4;
    case AF_INET6:
      return NetworkInterface::Family::IPv6;
    default:
      return NetworkInterface::Family::Other;
  }
}

std::optional<std::vector<NetworkInterface>> readInterfaces() {
  ifaddrs* first = nullptr;
  if (::getifaddrs(&first) != 0) return std::nullopt;
  const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owner(first, ::freeifaddrs);

  const std::string defaultRoute = defaultRouteInterface(readRouteTable());
  std::vector<NetworkInterface> interfaces;
  for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || (entry->ifa_flags & IFF_UP) == 0) continue;
    NetworkInterface& interface = interfaces.emplace_back();
    interface.name = phoneInterfaceName(entry->ifa_name, defaultRoute);
    interface.family = familyOf(*entry->ifa_addr);
    constexpr std::size_t kBehindThePort = sizeof(sa_family_t) + sizeof(in_port_t);
    std::memcpy(interface.word.data(), reinterpret_cast<const char*>(entry->ifa_addr) + kBehindThePort,
                interface.word.size());
  }
  return interfaces;
}

bool startsWithAny(const std::string& name, std::initializer_list<const char*> prefixes) {
  for (const char* prefix : prefixes)
    if (name.starts_with(prefix)) return true;
  return false;
}

}  // namespace

std::optional<std::vector<NetworkInterface>> LinuxNetworkInterfaces::list() {
  const Guard guard(mutex_);
  if (changes_.happened() || !known_) known_ = readInterfaces();
  return known_;
}

std::string defaultRouteInterface(const std::string& routeTable) {
  std::istringstream lines(routeTable);
  std::string line;
  std::string best;
  unsigned long bestMetric = std::numeric_limits<unsigned long>::max();
  std::getline(lines, line);  // the heading
  while (std::getline(lines, line)) {
    std::istringstream fields(line);
    std::string interface;
    unsigned long destination = 0, gateway = 0, flags = 0, references = 0, uses = 0, metric = 0, mask = 0;
    fields >> interface >> std::hex >> destination >> gateway >> flags;
    fields >> std::dec >> references >> uses >> metric >> std::hex >> mask;
    const bool leadsAnywhere = destination == 0 && mask == 0 && (flags & (RTF_UP | RTF_REJECT)) == RTF_UP;
    if (fields && leadsAnywhere && metric < bestMetric) {
      best = interface;
      bestMetric = metric;
    }
  }
  return best;
}

std::string phoneInterfaceName(const std::string& name, const std::string& defaultRouteInterface) {
  if (startsWithAny(name, {"ww"})) return "pdp_ip0";
  if (name == defaultRouteInterface) return "en0";
  if (startsWithAny(name, {"en", "eth", "wl"})) return "en1";
  return name;
}

}  // namespace pxa
