#include "crash/crash_capture.h"

#include "platform/Platform.h"

namespace pxa {

void PXALog::enableSendCrashReport() {
  try {
    static_cast<void>(Platform::current().crashReporter.enable());
  } catch (...) {
    // An application whose crashes cannot be caught still sends its logs.
  }
}

}  // namespace pxa
