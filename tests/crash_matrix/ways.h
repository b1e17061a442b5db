#pragma once

#include <csignal>

/// The ways in which the subject crashes: known to the subject by name, and to those who run it by what is to
/// come of each.
namespace pxa::test {

/// What becomes of the report.
enum class Report {
  Arrives,
  MayArrive,  ///< measured: how far the library gets depends on what the crash has broken
  IsNotSent,
};

/// How the collector treats every post.
enum class Answer { Ok, Slow, Never, Error, Down };

enum class Speed { Fast, Slow };

/// Tools that the subject may be built with and that a way cannot do without, or with.
enum Tool : unsigned { kNoTool = 0, kAddressSanitizer = 1, kThreadSanitizer = 2, kSanitizers = 3 };

struct Way {
  const char* name;
  int signal;  ///< by which the process ends
  Report report = Report::Arrives;
  Answer answer = Answer::Ok;
  Speed speed = Speed::Fast;
  int reported = signal;   ///< what the report names
  const char* holds = "";  ///< a piece of the report's text
  const char* says = "";   ///< a piece of what the subject writes
  unsigned notUnder = kNoTool;
};

inline constexpr Way kWays[] = {
    // The signals, sent.
    {.name = "raised-segv", .signal = SIGSEGV},
    {.name = "raised-bus", .signal = SIGBUS},
    {.name = "raised-abrt", .signal = SIGABRT},
    {.name = "raised-fpe", .signal = SIGFPE},
    {.name = "raised-ill", .signal = SIGILL},
    {.name = "raised-trap", .signal = SIGTRAP},
    {.name = "raised-sys", .signal = SIGSYS},
    {.name = "sent-to-process", .signal = SIGSEGV},

    // Faults.
    {.name = "null-write", .signal = SIGSEGV, .holds = "SEGV_MAPERR at 0x0\n"},
    {.name = "wild-read", .signal = SIGSEGV, .holds = "SEGV_MAPERR at 0x123456789000\n"},
    {.name = "write-to-constant", .signal = SIGSEGV, .holds = "SEGV_ACCERR"},
    {.name = "truncated-mapping", .signal = SIGBUS, .holds = "BUS_ADRERR"},
    {.name = "call-of-null", .signal = SIGSEGV, .holds = "SEGV_MAPERR at 0x0\n"},
#if defined(__x86_64__)
    {.name = "address-beyond-all", .signal = SIGSEGV},
    {.name = "misaligned", .signal = SIGBUS, .holds = "BUS_ADRALN"},
    {.name = "division-by-zero", .signal = SIGFPE, .holds = "FPE_INTDIV"},
#endif
    {.name = "illegal-instruction", .signal = SIGILL, .holds = "ILL_ILLOPN"},
    {.name = "breakpoint", .signal = SIGTRAP},
    {.name = "forbidden-system-call", .signal = SIGSYS, .holds = "SYS_SECCOMP"},

    // Stacks.
    {.name = "overflow-on-main", .signal = SIGSEGV},
    {.name = "overflow-on-prepared-thread", .signal = SIGSEGV},
    {.name = "overflow-on-library-thread", .signal = SIGSEGV},
    {.name = "overflow-on-unprepared-thread", .signal = SIGSEGV, .report = Report::IsNotSent},
    {.name = "overflow-on-host-main", .signal = SIGSEGV},
    {.name = "small-stack", .signal = SIGSEGV, .notUnder = kSanitizers},
    {.name = "broken-stack-pointer", .signal = SIGSEGV},
    {.name = "overwritten-stack", .signal = SIGSEGV},
    // Whoever asks for a variable crashes too.
    {.name = "overwritten-environment", .signal = SIGSEGV, .report = Report::MayArrive},

    // Locks held.
    {.name = "corrupted-heap", .signal = SIGABRT, .report = Report::MayArrive, .notUnder = kSanitizers},
    {.name = "fault-in-malloc", .signal = SIGSEGV, .report = Report::MayArrive, .notUnder = kSanitizers},
    {.name = "signal-handler-in-malloc",
     .signal = SIGSEGV,
     .report = Report::MayArrive,
     .notUnder = kSanitizers},
    {.name = "fault-in-the-only-arena",
     .signal = SIGSEGV,
     .report = Report::MayArrive,
     .speed = Speed::Slow,
     .notUnder = kSanitizers},
    {.name = "global-lock-held", .signal = SIGSEGV},
    {.name = "global-lock-held-elsewhere", .signal = SIGSEGV},
    {.name = "queue-lock-held", .signal = SIGSEGV},
    {.name = "loader-lock-held", .signal = SIGSEGV},
    {.name = "loader-lock-held-elsewhere",
     .signal = SIGSEGV,
     .report = Report::MayArrive,
     .speed = Speed::Slow},

    // Signals blocked, handled, ignored.
    {.name = "abort-with-signals-blocked", .signal = SIGABRT},
    {.name = "fault-with-signals-blocked", .signal = SIGSEGV, .report = Report::IsNotSent},
    {.name = "in-signal-handler", .signal = SIGSEGV},
    {.name = "handler-before",
     .signal = SIGSEGV,
     .says = "the handler from before gets SIGSEGV, report there"},
    {.name = "handler-later", .signal = SIGSEGV, .says = "the later handler goes on"},
    {.name = "handler-later-that-returns", .signal = SIGSEGV},
    {.name = "ignored-before", .signal = SIGSEGV},
    {.name = "ignored-and-sent", .signal = SIGABRT, .says = "alive after what is ignored"},

    // The crash block.
    {.name = "block", .signal = SIGSEGV, .says = "block elsewhere"},
    {.name = "block-crashes", .signal = SIGABRT, .report = Report::IsNotSent},
    {.name = "block-throws", .signal = SIGSEGV},
    {.name = "block-logs", .signal = SIGSEGV},
    {.name = "block-whose-thread-crashes", .signal = SIGABRT},
    {.name = "block-waits-for-crashing-thread",
     .signal = SIGABRT,
     .report = Report::IsNotSent,
     .speed = Speed::Slow},

    // Several threads.
    {.name = "two-at-once", .signal = SIGSEGV},
    {.name = "two-at-once-with-host-main", .signal = SIGSEGV},
    {.name = "twenty-at-once", .signal = SIGSEGV},
    {.name = "two-hundred-threads", .signal = SIGSEGV, .holds = "\nThread 200"},
    {.name = "thread-in-vfork", .signal = SIGSEGV},
    {.name = "main-thread-gone", .signal = SIGSEGV},

    {.name = "exit-meanwhile", .signal = SIGSEGV},
    {.name = "cancelled-thread", .signal = SIGSEGV, .holds = "\nThread 1"},

    // C++.
    {.name = "two-exceptions-at-once", .signal = SIGABRT, .holds = "uncaught exception"},
    {.name = "exception-on-main",
     .signal = SIGABRT,
     .holds = "uncaught exception 'std::runtime_error', reason: 'out of main'"},
    {.name = "exception-on-thread",
     .signal = SIGABRT,
     .holds = "uncaught exception 'std::runtime_error', reason: 'out of a thread'"},
    {.name = "exception-out-of-noexcept",
     .signal = SIGABRT,
     .holds = "uncaught exception 'std::runtime_error', reason: 'out of noexcept'"},
    {.name = "exception-of-own-type", .signal = SIGABRT, .holds = "OwnException', reason: "},
    {.name = "exception-rethrown",
     .signal = SIGABRT,
     .holds = "uncaught exception 'std::runtime_error', reason: 'thrown again'"},
    {.name = "terminate", .signal = SIGABRT, .holds = "Exception Type:  SIGABRT"},

    // The host's main thread.
    {.name = "host-main-crash-elsewhere", .signal = SIGSEGV, .says = "block on main"},
    {.name = "host-main-crash-on-main", .signal = SIGSEGV, .says = "block elsewhere"},
    {.name = "host-main-executor-throws", .signal = SIGSEGV, .says = "block elsewhere"},
    {.name = "host-main-never-runs", .signal = SIGSEGV, .report = Report::IsNotSent, .speed = Speed::Slow},

    // Processes.
    {.name = "fork-child", .signal = SIGABRT, .says = "the child ended by SIGSEGV"},
    {.name = "process-one", .signal = SIGSEGV},
    // To process 1 the system sends no SIGABRT that would end it; abort() then ends it by a fault.
    {.name = "process-one-abort", .signal = SIGSEGV, .reported = SIGABRT},
    {.name = "process-one-without-proc", .signal = SIGSEGV},
    {.name = "streams-closed", .signal = SIGSEGV},
    {.name = "no-descriptors-left", .signal = SIGSEGV, .notUnder = kAddressSanitizer},
    {.name = "no-memory-left", .signal = SIGSEGV, .report = Report::MayArrive, .notUnder = kSanitizers},
    {.name = "no-processes-left", .signal = SIGSEGV},
    {.name = "full-disk", .signal = SIGSEGV, .report = Report::IsNotSent},
    {.name = "full-disk-with-older-report", .signal = SIGSEGV, .report = Report::MayArrive},
    {.name = "read-only-disk-with-older-report", .signal = SIGSEGV, .report = Report::IsNotSent},

    // Collectors.
    {.name = "collector-down", .signal = SIGSEGV, .report = Report::IsNotSent, .answer = Answer::Down},
    {.name = "collector-error", .signal = SIGSEGV, .answer = Answer::Error},
    {.name = "collector-slow", .signal = SIGSEGV, .answer = Answer::Slow, .speed = Speed::Slow},
    {.name = "collector-silent", .signal = SIGSEGV, .answer = Answer::Never, .speed = Speed::Slow},
};

// Exit statuses of a subject that has not crashed.
inline constexpr int kSurvived = 1;
inline constexpr int kUnknownWay = 2;
inline constexpr int kNotPermitted = 77;

/// Seconds that a crash may take.
inline constexpr double kLongestHandling = 15;

}  // namespace pxa::test
