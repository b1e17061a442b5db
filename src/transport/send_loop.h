#pragma once

#include <pxalog/Value.h>

namespace pxa::PXALog {

/// The body of the send thread. Once a second it takes the events that are queued, completes each with the
/// facts of the moment, asks the gate, gathers what may go by project, and posts each project's list. While
/// sending is held it does nothing, without sleeping. Runs until its thread is cancelled or an event's common
/// fields cannot be filled. Selector: logSendThread:
void logSendThread(const Value& argument);

/// Starts the send thread; false when it was started before, or when the system has no thread to give. The
/// caller holds the global lock. Selector: createLogSendThread
bool createLogSendThread();

}  // namespace pxa::PXALog
