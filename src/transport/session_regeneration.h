#pragma once

#include "api/handle/VeskHandle.h"
#include "event/VeskEvent.h"
#include "transport/BulkEventLists.h"

namespace pxa::PXALog {

/// After a Unity crash that is no repeat: starts a new session for the handle and appends its "SESSION" event
/// to the project's list, so that crash and new session travel together. A crash that is itself delivered
/// again starts no session event. The caller holds the global lock. Selector:
/// regenerateSession:BulkEventQueue:Handler:
void regenerateSession_BulkEventQueue_Handler(const VeskEventRef& crash, BulkEventLists::EventList& bulk,
                                              const VeskHandleRef& handle);

}  // namespace pxa::PXALog
