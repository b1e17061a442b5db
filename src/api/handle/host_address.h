#pragma once

#include <pxalog/String.h>

namespace pxa::PXALog {

/// The device's IPv4 address: of Wi-Fi, else of the mobile link, else "0.0.0.0". Takes no lock that is held
/// for long.
/// Selector: getIPAddress
String getIPAddress();

/// The host text of events: "-" while the host switch is off, the address, or "localhost" without one.
/// Selector: getHost
String getHost();

/// Sets the host switch, which is on at first. Selector: enableHost:
void storeHostSwitch(bool isEnabled);

}  // namespace pxa::PXALog
