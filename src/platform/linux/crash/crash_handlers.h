#pragma once

#include "platform/CrashReporter.h"
#include "platform/linux/crash/report_writer.h"

namespace pxa::crash {

/// Whether the report of the crash that is being handled is there.
enum class CrashState { None, Reported, NotReported };

/// Catches the signals that end a process, once per process. Of several crashes the first is handled: its
/// report is written, the callback called, and then the signal goes on its way to whoever would have had it.
/// The facts must live as long as the process.
void installCrashHandlers(const KnownFacts& facts, const CrashCallbacks& callbacks) noexcept;

/// For the callback: does the operation elsewhere and waits, for as long as the crash may still take.
void performElsewhereAndWait(void (*operation)(void*), void* object) noexcept;

CrashState crashState() noexcept;

/// For the end of the process by exit: waits until a crash that is being handled has ended it by its signal.
void letHandlingEnd() noexcept;

}  // namespace pxa::crash
