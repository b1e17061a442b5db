#include "platform/linux/LinuxNetworkInterfaces.h"

#include <algorithm>
#include <netinet/in.h>
#include <sys/socket.h>
#include <utility>

namespace pxa {

namespace {

constexpr int kNoLink = 0;

int indexOfDefaultRoute(Rtnetlink& kernel) {
  const auto routes = kernel.defaultRoutes(AF_INET);
  return !routes || routes->empty() ? kNoLink : routes->front().linkIndex;
}

NetworkInterface interfaceWith(const IpAddress& address) {
  NetworkInterface interface;
  interface.family =
      address.family == AF_INET ? NetworkInterface::Family::IPv4 : NetworkInterface::Family::IPv6;
  // Of an IPv6 address the word is its flow information, which an interface has none of.
  if (address.family == AF_INET)
    std::copy_n(address.bytes.begin(), interface.word.size(), interface.word.begin());
  return interface;
}

InterfaceList readInterfaces() {
  std::optional<Rtnetlink> kernel = Rtnetlink::open();
  if (!kernel) return nullptr;
  const auto links = kernel->links();
  const auto addresses = kernel->addresses();
  if (!links || !addresses) return nullptr;

  const int defaultRoute = indexOfDefaultRoute(*kernel);
  std::vector<NetworkInterface> interfaces;
  for (const LinkAddress& entry : *addresses) {
    const auto link = std::find_if(links->begin(), links->end(),
                                   [&](const Link& candidate) { return candidate.index == entry.linkIndex; });
    if (link == links->end() || !link->isUp) continue;
    interfaces.push_back(interfaceWith(entry.address));
    interfaces.back().name = phoneInterfaceName(*link, defaultRoute);
  }
  return std::make_shared<const std::vector<NetworkInterface>>(std::move(interfaces));
}

}  // namespace

InterfaceList LinuxNetworkInterfaces::list() {
  // Taken before the reading, so that what changes meanwhile is read next time.
  const std::optional<std::uint64_t> generation = watcher_.generation();
  const Guard guard(mutex_);
  if (known_ == nullptr || !generation || generation != knownGeneration_) {
    known_ = readInterfaces();
    knownGeneration_ = generation;
  }
  return known_;
}

std::string phoneInterfaceName(const Link& link, int defaultRouteIndex) {
  if (link.isCellular()) return "pdp_ip0";
  if (link.index == defaultRouteIndex) return "en0";
  for (const char* prefix : {"en", "eth", "wl"})
    if (link.name.starts_with(prefix)) return "en1";
  return link.name;
}

}  // namespace pxa
