#pragma once

#include <csignal>

namespace pxa::crash {

/// The signals by which a thread learns of a fault of its own.
inline constexpr int kFatalSignals[] = {SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL, SIGTRAP, SIGSYS};

/// "SIGSEGV"; nullptr for a signal that is not caught.
const char* nameOfSignal(int signal) noexcept;
/// "SEGV_MAPERR"; nullptr for a code that is not known.
const char* nameOfCode(int signal, int code) noexcept;

}  // namespace pxa::crash
