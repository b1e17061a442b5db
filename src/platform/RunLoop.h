#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

namespace pxa {

/// Lets a thread wait for the outcome of a connection that it started. Thread-safe.
class RunLoop {
 public:
  /// Waits until the loop is stopped, or was already, but not longer than that; whether it was stopped.
  bool run(std::chrono::milliseconds longest);
  void stop();

  /// The calling thread's; nullptr when it has none.
  static const std::shared_ptr<RunLoop>& current() noexcept;

 private:
  std::mutex mutex_;
  std::condition_variable condition_;
  bool isStopped_ = false;
};

/// Gives the calling thread a run loop for a scope.
class CurrentRunLoop {
 public:
  CurrentRunLoop();
  ~CurrentRunLoop();
  CurrentRunLoop(const CurrentRunLoop&) = delete;
  CurrentRunLoop& operator=(const CurrentRunLoop&) = delete;

  bool run(std::chrono::milliseconds longest) { return runLoop_->run(longest); }

 private:
  const std::shared_ptr<RunLoop> runLoop_;
};

}  // namespace pxa
