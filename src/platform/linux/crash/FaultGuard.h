#pragma once

#include <csetjmp>

namespace pxa::crash {

/// Lets a process read memory that may be damaged: a step that faults is given up, and the next one begins.
/// For the process that writes the report; it has signal handlers of its own.
class FaultGuard {
 public:
  /// Once, before the first step.
  static void install() noexcept;

  /// Runs a step; whether it came to its end. A step that is given up leaves its objects undestroyed.
  template <class Step>
  static bool run(Step&& step) noexcept {
    if (sigsetjmp(gs_wayOut, 1) != 0) return false;  // NOLINT(cert-err52-cpp)
    step();
    return true;
  }

 private:
  static sigjmp_buf gs_wayOut;
};

}  // namespace pxa::crash
