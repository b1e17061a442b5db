#pragma once

#include <chrono>
#include <thread>

#include <pxalog/Diagnostics.h>

namespace pxa::test {

/// How long a test waits for an event that must come, before it fails.
inline constexpr std::chrono::seconds kPatience{30};

/// Waits until the condition holds and returns whether it did in time.
template <class Condition>
bool waitUntil(Condition condition, std::chrono::seconds patience = kPatience) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

/// The same for a condition on the diagnostics.
template <class Condition>
bool waitForSnapshot(Condition condition, std::chrono::seconds patience = kPatience) {
  return waitUntil([&] { return condition(Diagnostics::snapshot()); }, patience);
}

}  // namespace pxa::test
