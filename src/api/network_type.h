#pragma once

#include <pxalog/String.h>
#include <pxalog/VeskReachability.h>

namespace pxa::PXALog {

/// "Wi-Fi", "Cellular", or "NONE" without a link or without a monitor. Selector: getNetworkString:
String getNetworkString(const VeskReachability* monitor);
/// The same of what a monitor has said.
String networkStringOf(VeskReachability::Status status);

}  // namespace pxa::PXALog
