#pragma once

#include <pxalog/String.h>

#include "api/handle/VeskHandle.h"

namespace pxa {

/// Where a handle's project asks for its settings. The caller holds the global lock.
String settingsAddress(const VeskHandle& handle);

namespace PXALog {

/// Sets the handle's switches as an answer of the settings service says, starts the send thread, and queues
/// the addresses to probe. A text that is not JSON switches everything off; an answer of the wrong shape
/// switches logs, crashes and sessions on. Returns the handle. The caller holds the global lock. Selector:
/// Fill_Handler_by_SettingsAPI:loadData:HanderID:
VeskHandleRef Fill_Handler_by_SettingsAPI_loadData_HanderID(const VeskHandleRef& handle, const String& text,
                                                            const String& handleId);

}  // namespace PXALog

/// The "status" of an answer, 0 when it has none. Throws std::invalid_argument for an answer of the wrong
/// shape.
std::int32_t statusOfSettings(const String& text);

/// Lets logs, crashes and sessions be sent.
void switchOnAllKinds(VeskHandle& handle);

}  // namespace pxa
