#pragma once

#include <cstddef>
#include <span>
#include <sys/types.h>
#include <ucontext.h>

#include "platform/linux/crash/system_calls.h"

namespace pxa::crash {

/// Every thread of another process, all but one of them stopped for as long as this object lives. A system
/// that does not let this process trace the other one leaves them running, known by their ids alone.
class StoppedThreads {
 public:
  static constexpr std::size_t kMost = 1024;

  struct Thread {
    pid_t id = 0;
    bool isSeized = false;
    bool isStopped = false;
    int heldSignal = 0;  // that was on its way to the thread
  };

  StoppedThreads(pid_t process, pid_t exception) noexcept;
  ~StoppedThreads();
  StoppedThreads(const StoppedThreads&) = delete;
  StoppedThreads& operator=(const StoppedThreads&) = delete;

  /// In the order in which they were made.
  [[nodiscard]] std::span<const Thread> all() const noexcept { return {threads_, count_}; }
  /// Where a stopped thread stands; false when the system does not tell.
  static bool readContext(const Thread& thread, ucontext_t& context) noexcept;

 private:
  void list(pid_t process) noexcept;
  void add(pid_t id) noexcept;
  static void seize(Thread& thread) noexcept;
  static void awaitStop(Thread& thread, const Deadline& deadline) noexcept;

  Thread threads_[kMost];
  std::size_t count_ = 0;
};

}  // namespace pxa::crash
