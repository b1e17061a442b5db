#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/linux/Rtnetlink.h"

namespace pxa {

/// The flags of a host with these addresses, as the kernel's routes and links are now: those of the first
/// address that can be reached. Without an address, or with address 0, those of the default route. Nothing
/// when the kernel does not answer.
std::optional<std::uint32_t> reachabilityFlagsOf(const std::vector<IpAddress>& addresses);

/// The flags of what is reached by the route, over the link.
std::uint32_t flagsOfRoute(const Route& route, const Link& link);

}  // namespace pxa
