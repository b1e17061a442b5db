#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <thread>

#include "foundation/Mutex.h"

namespace pxa {

/// The one process-wide lock, re-entrant. Guards the handle table, every handle record, the network record
/// and the shared flags and lists. Taken before any lock of a queue, never after one. Re-entrance is more
/// than the thread-safety analysis can follow: what it cannot check is said in comments.
class CAPABILITY("mutex") GlobalLock {
 public:
  void lock() ACQUIRE();
  void unlock() RELEASE();

  /// For the handling of a crash, whose thread may hold the lock and never give it back: waits that long for
  /// the lock and, if it stays held, opens it for good. From then on whoever finds it held goes on without it.
  /// Whether it was opened.
  bool openUnlessFreeWithin(std::chrono::milliseconds longest);

  /// For a thread that takes the lock again and again without sleeping: lets another thread run and, if
  /// others wait for the lock, returns only after one of them had it.
  void letOthersIn();

 private:
  [[nodiscard]] bool isMine() const {
    return owner_.load(std::memory_order_relaxed) == std::this_thread::get_id();
  }

  bool takenWithinAFewTries();
  /// False when the lock was opened meanwhile.
  [[nodiscard]] bool waitForMutex();

  std::timed_mutex mutex_;
  std::atomic<bool> isOpen_ = false;
  std::atomic<std::thread::id> owner_{};
  int depth_ = 0;  // of the owner
  std::atomic<int> waiting_ = 0;
  std::atomic<std::uint64_t> takeovers_ = 0;  // by threads that had to wait
};

/// The global lock of this process.
GlobalLock& globalLock();

/// Holds the global lock for a scope.
class SCOPED_CAPABILITY GlobalGuard {
 public:
  GlobalGuard() ACQUIRE(globalLock()) { globalLock().lock(); }
  ~GlobalGuard() RELEASE() { globalLock().unlock(); }
  GlobalGuard(const GlobalGuard&) = delete;
  GlobalGuard& operator=(const GlobalGuard&) = delete;
};

}  // namespace pxa
