#include "platform/linux/reachability_flags.h"

#include <sys/socket.h>

#include <pxalog/ReachabilityFlags.h>

namespace pxa {

namespace {

using Routes = std::optional<std::vector<Route>>;

bool isReachable(std::uint32_t flags) {
  return (flags & kReachabilityReachable) != 0;
}

/// The flags of the routes that the kernel takes, which are those with the lowest metric: of the first that
/// leads anywhere now, else of the first; 0 without a route.
std::optional<std::uint32_t> bestFlagsOf(const Routes& routes, Rtnetlink& kernel) {
  if (!routes) return std::nullopt;
  std::uint32_t best = 0;
  for (const Route& route : *routes) {
    if (route.metric != routes->front().metric) break;
    const auto links = kernel.link(route.linkIndex);
    if (!links) return std::nullopt;
    const std::uint32_t flags = links->empty() ? 0 : flagsOfRoute(route, links->front());
    if (isReachable(flags)) return flags;
    if (best == 0) best = flags;
  }
  return best;
}

Routes routesOf(const IpAddress& address, Rtnetlink& kernel) {
  return address.isAny() ? kernel.defaultRoutes(address.family) : kernel.routeTo(address);
}

}  // namespace

std::optional<std::uint32_t> reachabilityFlagsOf(const std::vector<IpAddress>& addresses) {
  static const auto& anywhere = *new std::vector<IpAddress>{{AF_INET, {}}, {AF_INET6, {}}};
  std::optional<Rtnetlink> kernel = Rtnetlink::open();
  if (!kernel) return std::nullopt;
  std::uint32_t best = 0;
  for (const IpAddress& address : addresses.empty() ? anywhere : addresses) {
    const auto flags = bestFlagsOf(routesOf(address, *kernel), *kernel);
    if (!flags) return std::nullopt;
    if (isReachable(*flags)) return flags;
    if (best == 0) best = *flags;
  }
  return best;
}

std::uint32_t flagsOfRoute(const Route& route, const Link& link) {
  std::uint32_t flags = link.isCellular() ? kReachabilityIsWWAN : 0;
  if (!link.carriesTraffic) return flags | kReachabilityConnectionRequired;
  if (route.isLocal) flags |= kReachabilityIsLocalAddress;
  if (route.isDirect) flags |= kReachabilityIsDirect;
  return flags | kReachabilityReachable;
}

}  // namespace pxa
