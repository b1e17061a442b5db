#include "queue/ConditionLock.h"

#include "platform/console.h"

namespace pxa {

void ConditionLock::lock() {
  std::unique_lock lock(mutex_);
  while (isHeldForGood_) never_.wait(lock);
  lock.release();
  console::lockTaken();
}

void ConditionLock::unlock() {
  mutex_.unlock();
  console::lockLeft();
}

void ConditionLock::keepForGood() {
  isHeldForGood_ = true;
  // Whoever waits to be woken must not find the lock free when it wakes: it goes on waiting in lock's own
  // way.
  unlock();
}

void ConditionLock::wait() {
  std::unique_lock lock(mutex_, std::adopt_lock);
  do {
    condition_.wait(lock);
  } while (isHeldForGood_);
  lock.release();
}

}  // namespace pxa
