#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include <pxalog/String.h>

namespace pxa {

/// A host whose reachability is watched.
class ReachabilityTarget {
 public:
  virtual ~ReachabilityTarget() = default;
  /// The flags now; nothing when they cannot be read. Thread-safe.
  virtual std::optional<std::uint32_t> flags() = 0;
  /// Calls back with the flags after each change; false when changes cannot be watched.
  virtual bool setCallback(std::function<void(std::uint32_t flags)> callback) = 0;
};

class ReachabilityTargets {
 public:
  virtual ~ReachabilityTargets() = default;
  /// A target for a host name or address; nullptr when none can be made of it.
  virtual std::unique_ptr<ReachabilityTarget> createWithName(const String& host) = 0;
};

/// Bits of the flags.
inline constexpr std::uint32_t kReachabilityTransientConnection = 0x1;
inline constexpr std::uint32_t kReachabilityReachable = 0x2;
inline constexpr std::uint32_t kReachabilityConnectionRequired = 0x4;
inline constexpr std::uint32_t kReachabilityIsWWAN = 0x40000;

}  // namespace pxa
