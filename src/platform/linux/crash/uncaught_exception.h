#pragma once

#include "platform/linux/crash/report_writer.h"

namespace pxa::crash {

/// Records each exception that nothing catches before the handler that was there ends the process. Once.
void installTerminateHandler() noexcept;

/// The exception for which the thread is being ended; nullptr when there is none. For signal handlers.
const UncaughtException* uncaughtExceptionOf(pid_t thread) noexcept;

}  // namespace pxa::crash
