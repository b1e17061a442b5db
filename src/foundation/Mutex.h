#pragma once

#include <mutex>

#include "foundation/thread_annotations.h"

namespace pxa {

/// A mutex that the thread-safety analysis knows. For short accesses of one room: whoever holds one calls
/// nothing outside that room.
class CAPABILITY("mutex") Mutex {
 public:
  void lock() ACQUIRE() { mutex_.lock(); }
  void unlock() RELEASE() { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

/// Holds a lock for a scope.
template <class Lock>
class SCOPED_CAPABILITY Guard {
 public:
  explicit Guard(Lock& lock) ACQUIRE(lock) : lock_(lock) { lock_.lock(); }
  ~Guard() RELEASE() { lock_.unlock(); }
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;

 private:
  Lock& lock_;
};

}  // namespace pxa
