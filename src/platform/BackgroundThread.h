#pragma once

#include <atomic>
#include <memory>

namespace pxa {

/// A thread of the library that runs one loop until it is cancelled. Kept alive by whoever started it and by
/// its own run. Nothing that its body throws leaves the thread.
class BackgroundThread : public std::enable_shared_from_this<BackgroundThread> {
 public:
  using Body = void (*)();

  BackgroundThread(const char* name, Body body) noexcept : name_(name), body_(body) {}

  /// False when the system has no thread to give.
  [[nodiscard]] bool start();
  /// Asks the body to end; it looks at the top of its loop.
  void cancel() noexcept { isCancelled_ = true; }

  /// Whether the calling thread was cancelled; false for a thread that is not one of these.
  static bool currentIsCancelled() noexcept;

 private:
  void run() noexcept;

  const char* const name_;
  const Body body_;
  std::atomic<bool> isCancelled_ = false;
};

}  // namespace pxa
