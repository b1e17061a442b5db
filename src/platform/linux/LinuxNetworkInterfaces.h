#pragma once

#include "foundation/Mutex.h"
#include "platform/NetworkInterfaces.h"
#include "platform/linux/NetworkChanges.h"

namespace pxa {

/// The interface of the default route is "en0", a further wired or wireless one "en1", a mobile one
/// "pdp_ip0"; others keep their own names. Read again only after the kernel told of a change.
class LinuxNetworkInterfaces final : public NetworkInterfaces {
 public:
  std::optional<std::vector<NetworkInterface>> list() override;

 private:
  Mutex mutex_;
  NetworkChanges changes_ GUARDED_BY(mutex_);
  std::optional<std::vector<NetworkInterface>> known_ GUARDED_BY(mutex_);
};

/// The interface of the best IPv4 default route in a table of the form of /proc/net/route; "" without one.
std::string defaultRouteInterface(const std::string& routeTable);

/// The name that a phone would give the interface.
std::string phoneInterfaceName(const std::string& name, const std::string& defaultRouteInterface);

}  // namespace pxa
