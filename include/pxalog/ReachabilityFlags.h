#pragma once

#include <cstdint>

namespace pxa {

/// Bits that say how a host can be reached.
inline constexpr std::uint32_t kReachabilityTransientConnection = 0x1;
inline constexpr std::uint32_t kReachabilityReachable = 0x2;
inline constexpr std::uint32_t kReachabilityConnectionRequired = 0x4;
inline constexpr std::uint32_t kReachabilityConnectionOnTraffic = 0x8;
inline constexpr std::uint32_t kReachabilityInterventionRequired = 0x10;
inline constexpr std::uint32_t kReachabilityConnectionOnDemand = 0x20;
inline constexpr std::uint32_t kReachabilityIsLocalAddress = 0x10000;
inline constexpr std::uint32_t kReachabilityIsDirect = 0x20000;
inline constexpr std::uint32_t kReachabilityIsWWAN = 0x40000;

}  // namespace pxa
