#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>
#include <utility>

#include "api/handle/GlobalLock.h"
#include "support/wait.h"

namespace pxa::test {

/// How long a test looks for something that must not happen.
inline constexpr std::chrono::milliseconds kGlance{100};

/// Starts the work on a thread of its own, which outlives the test if the work never ends. The flag says
/// whether it has ended.
inline std::shared_ptr<const std::atomic<bool>> startOnOwnThread(std::function<void()> work) {
  auto hasEnded = std::make_shared<std::atomic<bool>>(false);
  std::thread([work = std::move(work), hasEnded] {
    work();
    *hasEnded = true;
  }).detach();
  return hasEnded;
}

/// Whether the work ends in time on a thread of its own.
inline bool endsOnAnotherThread(std::function<void()> work) {
  const auto hasEnded = startOnOwnThread(std::move(work));
  return waitUntil([&] { return hasEnded->load(); });
}

/// Whether the condition stays false for a short while.
template <class Condition>
bool staysFalse(Condition condition, std::chrono::milliseconds glance = kGlance) {
  const auto end = std::chrono::steady_clock::now() + glance;
  while (std::chrono::steady_clock::now() < end) {
    if (condition()) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

/// Whether another thread can take the global lock.
inline bool isGlobalLockFree() {
  return endsOnAnotherThread([] { const GlobalGuard guard; });
}

/// Whether the work ends on another thread while this one holds the global lock.
inline bool endsWhileLockIsHeld(std::function<void()> work) {
  const GlobalGuard guard;
  return endsOnAnotherThread(std::move(work));
}

/// Whether the work, on another thread, waits while this one holds the global lock, and ends after that.
inline bool waitsForGlobalLock(std::function<void()> work) {
  std::shared_ptr<const std::atomic<bool>> hasEnded;
  bool hasWaited = false;
  {
    const GlobalGuard guard;
    hasEnded = startOnOwnThread(std::move(work));
    hasWaited = staysFalse([&] { return hasEnded->load(); });
  }
  return waitUntil([&] { return hasEnded->load(); }) && hasWaited;
}

}  // namespace pxa::test
