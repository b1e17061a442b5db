#pragma once

#include <cstdint>

#include <pxalog/PXALog.h>

namespace pxa {

namespace PXALog {

/// Whether a handle may be opened with these; the port is not looked at.
/// Selector: check_params:onPort:byProtocol:ofAppKey:withVersion:
bool check_params_onPort_byProtocol_ofAppKey_withVersion(const String& url, std::int32_t port,
                                                         std::int32_t protocol, const String& appKey,
                                                         const String& version);

/// Sends the handle's session log; a nil id does nothing. Selector: createSession:
void createSession(const String& handleId);

}  // namespace PXALog

}  // namespace pxa
