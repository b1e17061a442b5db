#pragma once

#include <pxalog/Value.h>

namespace pxa::PXALog {

/// The body of the settings thread: takes the ids of new handles one by one, asks the settings service for
/// each handle's settings, holding the send loop meanwhile, and sees that the send thread runs. Ends at an id
/// without a handle, and then leaves the send loop held. Selector: performanceThread:
void performanceThread(const Value& argument);

/// Starts the settings thread and the network-insight thread; false when they were started before. The caller
/// holds the global lock. Selector: createPerformanceThread
bool createPerformanceThread();

}  // namespace pxa::PXALog
