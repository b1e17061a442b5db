#pragma once

#include <climits>
#include <cstdint>
#include <sys/types.h>
#include <ucontext.h>

#include "platform/linux/crash/system_calls.h"
#include "platform/linux/crash/unwinding.h"

namespace pxa::crash {

/// What every report of this process says, found out before any crash.
struct KnownFacts {
  FixedText<PATH_MAX> reportPath;
  FixedText<PATH_MAX> temporaryPath;
  FixedText<256> systemVersion;
  FixedText<256> systemBuild;
  FixedText<256> machineModel;
  FixedText<256> applicationIdentifier;
  FixedText<256> applicationVersion;
  FixedText<256> processName;
  FixedText<PATH_MAX> processPath;
};

/// An exception that nothing catches.
struct UncaughtException {
  FixedText<512> name;
  FixedText<4096> reason;
  FrameList frames;
};

/// One crash, as its signal handler found it.
struct Crash {
  int signal = 0;
  int code = 0;
  std::uint64_t address = 0;
  const ucontext_t* context = nullptr;
  pid_t process = 0;
  pid_t thread = 0;
  std::int64_t time = 0;  // seconds since 1970
  const UncaughtException* exception = nullptr;
};

enum class Depth {
  Whole,
  /// Of the other threads nothing: none is stopped, and so none keeps a lock for good.
  CrashedThread,
  /// Of the crashed thread the innermost frame alone: no step that can hang.
  WithoutStacks,
};

/// Writes the report file; whether it is there. By plain system calls and in memory prepared in advance; one
/// call at a time. Needs a FaultGuard. To see other threads than the crashed one it must run in a process
/// that may trace that of the crash.
bool writeReport(const KnownFacts& facts, const Crash& crash, Depth depth) noexcept;

}  // namespace pxa::crash
