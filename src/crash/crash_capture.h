#pragma once

namespace pxa::PXALog {

/// Switches the platform's crash reporter on; a platform without one is not an error. Selector:
/// enableSendCrashReport
void enableSendCrashReport();

}  // namespace pxa::PXALog
