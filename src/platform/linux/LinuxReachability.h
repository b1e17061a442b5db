#pragma once

#include "platform/Reachability.h"
#include "platform/linux/NetworkWatcher.h"

namespace pxa {

/// Targets whose flags come from the kernel's routes and links. A host name is resolved in the background,
/// when the target is made and whenever routes change; until then the default route answers for it.
class LinuxReachabilityTargets final : public ReachabilityTargets {
 public:
  /// The watcher must live as long as the process.
  explicit LinuxReachabilityTargets(NetworkWatcher& watcher) : watcher_(watcher) {}

  std::shared_ptr<ReachabilityTarget> createWithName(const String& host) override;
  std::shared_ptr<ReachabilityTarget> createWithAddress(const sockaddr* address) override;
  std::shared_ptr<ReachabilityTarget> createWithIPv4Address(std::uint32_t address) override;

 private:
  NetworkWatcher& watcher_;
};

}  // namespace pxa
