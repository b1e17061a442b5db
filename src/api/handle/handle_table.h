#pragma once

#include <pxalog/String.h>

#include "api/handle/VeskHandle.h"

namespace pxa {

/// Ids with fixed meanings: what the plain operations act on, and what the Keepcell forms act on.
String defaultHandleId();
String keepcellHandleId();

namespace PXALog {

/// Puts a fresh record under the id, in place of an earlier one. A nil id, or no table yet, does nothing.
/// The caller holds the global lock. Selector: rdm_setHandler:
void rdm_setHandler(const String& handleId);

/// The record under the id, or nullptr. Selector: rdm_getHandler:
/// The lookup takes the global lock itself; what the caller then reads of the record, it reads under that
/// lock.
VeskHandleRef rdm_getHandler(const String& handleId);

}  // namespace PXALog

/// The same for a caller that holds the global lock; valid until it leaves the lock.
VeskHandle* findHandle(const String& handleId);

/// Makes a new, empty handle table. The caller holds the global lock.
void resetHandleTable();

/// The record that carries reachability and network type for all handles; nullptr before the first
/// initialisation. The caller holds the global lock.
const VeskHandleRef& networkRecord();
void resetNetworkRecord();

}  // namespace pxa
