#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include <pxalog/String.h>

#include "platform/Reachability.h"

namespace pxa {

/// Watches whether a host can be reached, and over which kind of link. The status is read afresh at each
/// question, by any thread.
class VeskReachability {
 public:
  /// nullptr when the platform can make no target of the host.
  static std::shared_ptr<VeskReachability> reachabilityWithHostname(const String& host);

  explicit VeskReachability(std::unique_ptr<ReachabilityTarget> target) : target_(std::move(target)) {}

  /// Starts watching for changes; false when that is not possible.
  bool startNotifier();

  [[nodiscard]] bool isReachable() const;
  /// 0 not reachable, 1 reachable over a cellular link, 2 reachable over another link.
  [[nodiscard]] int currentReachabilityStatus() const;

 private:
  static bool isReachableWithFlags(std::uint32_t flags);

  const std::unique_ptr<ReachabilityTarget> target_;
};

}  // namespace pxa
