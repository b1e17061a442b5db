#include "api/handle/GlobalLock.h"

#include "platform/Platform.h"
#include "platform/console.h"

namespace pxa {

void GlobalLock::lock() {
  if (!isMine()) {
    if (!mutex_.try_lock()) {
      ++waiting_;
      mutex_.lock();
      --waiting_;
      ++takeovers_;
    }
    owner_.store(std::this_thread::get_id(), std::memory_order_relaxed);
    console::lockTaken();
  }
  ++depth_;
}

void GlobalLock::unlock() {
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
