#pragma once

#include <atomic>
#include <memory>

#include "queue/VeskBlockQueue.h"

namespace pxa {

/// Flags of the whole process. Written under the global lock; the diagnostics read single ones without it.
struct ProcessFlags {
  std::atomic<bool> isSharedSetUpDone = false;
  std::atomic<bool> isInitialised = false;      ///< a handle was initialised; never cleared
  std::atomic<bool> isUnityMode = false;        ///< never cleared
  std::atomic<bool> isSendingHeld = false;      ///< by a synchronous start, until startSendThread
  std::atomic<bool> isSettingsPending = false;  ///< the settings thread works on a handle
  std::atomic<bool> isCrashReportingSetUp = false;
  std::atomic<bool> isCrashEventMade = false;  ///< a crash is being turned into an event; never cleared
};

ProcessFlags& processFlags();

/// The queue that all threads share; nullptr before the first initialisation. Takes the global lock.
std::shared_ptr<VeskBlockQueue> gs_blockQueue();
/// The same for a caller that holds the global lock; valid until it leaves the lock.
VeskBlockQueue* blockQueue();
/// Makes a new queue. The caller holds the global lock.
void resetBlockQueue();

}  // namespace pxa
