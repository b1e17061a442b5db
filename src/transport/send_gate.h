#pragma once

#include "api/handle/VeskHandle.h"
#include "event/VeskEvent.h"

namespace pxa {

/// What the gate decides of an event, and by which rule.
enum class GateVerdict { Send, SessionSwitchedOff, CrashSwitchedOff, LogSwitchedOff, Repeated, OutOfMemory };

/// Whether the event may go out, by the switches of its handle and by what was sent before. Counts what it
/// lets pass and what it holds back. Runs on the send thread; takes the global lock for crashes alone.
GateVerdict judge(const VeskEvent& event, const VeskHandle& handle);

namespace PXALog {

/// Whether judge() says Send. Selector: checkSendStatus:Handler:
bool checkSendStatus_Handler(const VeskEvent& event, const VeskHandle& handle);

/// Whether a Unity crash is none that was sent before; true for every crash while the handle does not
/// deduplicate. False before the first initialisation. The caller holds the global lock. Selector:
/// checkUnityCrash:Handler:
bool checkUnityCrash_Handler(const VeskEvent& event, const VeskHandle& handle);

}  // namespace PXALog

}  // namespace pxa
