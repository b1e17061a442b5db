#pragma once

#include <mutex>
#include <utility>

#include "api/handle/GlobalLock.h"
#include "support/BackgroundCall.h"

namespace pxa::test {

/// Whether another thread can take the global lock.
inline bool isGlobalLockFree() {
  return BackgroundCall([] { const GlobalGuard guard; }).returns();
}

/// Whether the work ends on another thread while this one holds the global lock.
template <class Work>
bool endsWhileLockIsHeld(Work work) {
  const GlobalGuard guard;
  return BackgroundCall(std::move(work)).returns();
}

/// Whether the work, on another thread, waits while this one holds the global lock, and ends after that.
template <class Work>
bool waitsForGlobalLock(Work work) {
  std::unique_lock lock(globalLock());
  const BackgroundCall call(std::move(work));
  const bool waits = call.blocks();
  lock.unlock();
  return call.returns() && waits;
}

}  // namespace pxa::test
