#include "api/network_type.h"

namespace pxa {

String PXALog::getNetworkString(const VeskReachability* monitor) {
  return networkStringOf(monitor == nullptr ? VeskReachability::NotReachable
                                            : monitor->currentReachabilityStatus());
}

String PXALog::networkStringOf(VeskReachability::Status status) {
  using namespace literals;
  switch (status) {
    case VeskReachability::ReachableViaWWAN:
      return "Cellular"_text;
    case VeskReachability::ReachableViaWiFi:
      return "Wi-Fi"_text;
    default:
      return "NONE"_text;
  }
}

}  // namespace pxa
