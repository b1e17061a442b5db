#include "api/network_type.h"

namespace pxa {

String PXALog::getNetworkString(const VeskReachability* monitor) {
  using namespace literals;
  switch (monitor == nullptr ? 0 : monitor->currentReachabilityStatus()) {
    case 1:
      return "Cellular"_text;
    case 2:
      return "Wi-Fi"_text;
    default:
      return "NONE"_text;
  }
}

}  // namespace pxa
