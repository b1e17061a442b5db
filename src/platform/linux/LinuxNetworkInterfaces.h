#pragma once

#include <cstdint>
#include <optional>

#include "foundation/Mutex.h"
#include "platform/NetworkInterfaces.h"
#include "platform/linux/NetworkWatcher.h"
#include "platform/linux/Rtnetlink.h"

namespace pxa {

/// The link of the default route is "en0", a further wired or wireless one "en1", a cellular one "pdp_ip0";
/// others keep their own names. Read again only after the kernel told of a change.
class LinuxNetworkInterfaces final : public NetworkInterfaces {
 public:
  /// The watcher must live as long as this.
  explicit LinuxNetworkInterfaces(NetworkWatcher& watcher) : watcher_(watcher) {}

  InterfaceList list() override;

 private:
  NetworkWatcher& watcher_;
  Mutex mutex_;
  InterfaceList known_ GUARDED_BY(mutex_);
  std::optional<std::uint64_t> knownGeneration_ GUARDED_BY(mutex_);
};

/// The name that a phone would give the link.
std::string phoneInterfaceName(const Link& link, int defaultRouteIndex);

}  // namespace pxa
