#pragma once

#include <cstdint>

#include <pxalog/ReachabilityFlags.h>

/// Short names of the flags, for tables.
namespace pxa::test::flags {

inline constexpr std::uint32_t kTransient = kReachabilityTransientConnection;
inline constexpr std::uint32_t kReachable = kReachabilityReachable;
inline constexpr std::uint32_t kRequired = kReachabilityConnectionRequired;
inline constexpr std::uint32_t kOnTraffic = kReachabilityConnectionOnTraffic;
inline constexpr std::uint32_t kIntervention = kReachabilityInterventionRequired;
inline constexpr std::uint32_t kOnDemand = kReachabilityConnectionOnDemand;
inline constexpr std::uint32_t kLocal = kReachabilityIsLocalAddress;
inline constexpr std::uint32_t kDirect = kReachabilityIsDirect;
inline constexpr std::uint32_t kWWAN = kReachabilityIsWWAN;

}  // namespace pxa::test::flags
