#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <sys/types.h>

#include "platform/linux/crash/system_calls.h"

namespace pxa::crash {

/// A thread that waits for a crash, in order to do for the crashed one what no signal handler may do: it has
/// the work done on the host's main thread, or does it itself where the host gave none or that is the one
/// that crashed.
class CrashThread {
 public:
  using Operation = void (*)(void* object);

  /// Once. Throws std::system_error when the system has no thread to give.
  void start();

  // For signal handlers.

  /// Has the operation done; returns when it has come to an end or the time is over.
  void perform(Operation operation, void* object, const Deadline& deadline) noexcept;
  /// Counts the calling thread among those that the handling of a crash needs.
  void countCurrentThread() noexcept;
  /// Whether the thread works, or may work, for the handling of the crash.
  [[nodiscard]] bool counts(pid_t thread) const noexcept;
  /// A thread that counts has crashed itself: the operation will not come to its end.
  void giveUp() noexcept;
  /// The host's main thread has crashed too; if the work has not begun there, it is done here.
  void loseMainThread() noexcept;

 private:
  enum State : std::uint32_t { Idle, Wanted, WantedHere, UnderWay, Over };

  void run();
  /// False when the host has no main thread or does not take the work.
  bool giveToMainThread();
  /// Does the work unless another thread has taken it.
  void work() noexcept;
  /// Wakes everyone who waits for the state; false when it is not the expected one.
  bool moveOn(State from, State to) noexcept;

  Word state_ = Idle;
  std::atomic<bool> isMainThreadLost_ = false;
  Operation operation_ = nullptr;
  void* object_ = nullptr;
  static constexpr std::size_t kMostThreads = 4;
  std::array<std::atomic<pid_t>, kMostThreads> threads_{};
};

/// The one of this process.
CrashThread& crashThread() noexcept;

}  // namespace pxa::crash
