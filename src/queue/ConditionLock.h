#pragma once

#include <condition_variable>
#include <mutex>

#include "foundation/thread_annotations.h"

namespace pxa {

/// A lock with waiting and waking, not re-entrant. It can also be held for good: from then on every thread
/// that wants it, the one that holds it included, waits for ever.
class CAPABILITY("mutex") ConditionLock {
 public:
  void lock() ACQUIRE();
  void unlock() RELEASE();
  /// Leaves the scope without giving the lock to anyone, ever.
  void keepForGood() RELEASE();

  /// Leaves the lock, waits to be woken, takes the lock again. Wakes without cause: look at what you wait
  /// for.
  void wait() REQUIRES(this);
  /// Wakes one waiting thread, or all.
  void signal() { condition_.notify_one(); }
  void broadcast() { condition_.notify_all(); }

 private:
  std::mutex mutex_;
  std::condition_variable condition_;
  std::condition_variable never_;
  bool isHeldForGood_ = false;
};

}  // namespace pxa
