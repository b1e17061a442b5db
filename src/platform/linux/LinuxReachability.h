#pragma once

#include "platform/Reachability.h"

namespace pxa {

/// A host counts as reachable while an interface other than the loopback has an address, or when the host is
/// this machine itself. Flags are read afresh at each question; changes are not told.
class LinuxReachabilityTargets final : public ReachabilityTargets {
 public:
  std::unique_ptr<ReachabilityTarget> createWithName(const String& host) override;
};

}  // namespace pxa
