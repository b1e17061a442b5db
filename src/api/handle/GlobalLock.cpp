#include "api/handle/GlobalLock.h"

#include "platform/Platform.h"
#include "platform/console.h"

namespace pxa {

namespace {

/// How soon those who wait for the lock notice that it was opened.
constexpr std::chrono::milliseconds kLongestWaitUntilOpen{100};

constexpr int kTriesBeforeSleeping = 40;

/// Leaves the memory to the holder of the lock for a moment.
void pauseBriefly() {
  for (int i = 0; i < 8; ++i) {
#if defined(__x86_64__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    __asm__ volatile("yield");
#endif
  }
}

/// By the clock of the day: the thread sanitizer does not know a lock that waits by another one.
std::chrono::system_clock::time_point fromNow(std::chrono::milliseconds time) {
  return std::chrono::system_clock::now() + time;
}

}  // namespace

void GlobalLock::lock() {
  if (!isMine()) {
    if (!mutex_.try_lock() && !waitForMutex()) return;
    owner_.store(std::this_thread::get_id(), std::memory_order_relaxed);
    console::lockTaken();
  }
  ++depth_;
}

bool GlobalLock::waitForMutex() {
  ++waiting_;
  bool isTaken = takenWithinAFewTries();
  while (!isTaken && !isOpen_) isTaken = mutex_.try_lock_until(fromNow(kLongestWaitUntilOpen));
  --waiting_;
  if (isTaken) ++takeovers_;
  return isTaken;
}

/// Most holders leave the lock sooner than a thread is put to sleep and woken.
bool GlobalLock::takenWithinAFewTries() {
  for (int tries = 0; tries < kTriesBeforeSleeping; ++tries) {
    pauseBriefly();
    if (mutex_.try_lock()) return true;
  }
  return false;
}

bool GlobalLock::openUnlessFreeWithin(std::chrono::milliseconds longest) {
  if (isMine()) return false;
  if (mutex_.try_lock_until(fromNow(longest))) {
    mutex_.unlock();
    return false;
  }
  isOpen_ = true;
  return true;
}

void GlobalLock::unlock() {
  if (!isMine()) return;  // it went in while the lock was open
  if (--depth_ > 0) return;
  owner_.store(std::thread::id(), std::memory_order_relaxed);
  mutex_.unlock();
  console::lockLeft();
}

void GlobalLock::letOthersIn() {
  const std::uint64_t before = takeovers_;
  do {
    Platform::current().threads.yield();
  } while (waiting_ > 0 && takeovers_ == before);
}

GlobalLock& globalLock() {
  static auto& lock = *new GlobalLock;
  return lock;
}

}  // namespace pxa
