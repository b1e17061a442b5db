#include "platform/linux/crash/signal_names.h"

#include <csignal>

namespace pxa::crash {

namespace {

struct Name {
  int signal;  // 0: of every signal
  int code;
  const char* text;
};

constexpr Name kSignals[] = {
    {SIGSEGV, 0, "SIGSEGV"}, {SIGBUS, 0, "SIGBUS"},   {SIGABRT, 0, "SIGABRT"}, {SIGFPE, 0, "SIGFPE"},
    {SIGILL, 0, "SIGILL"},   {SIGTRAP, 0, "SIGTRAP"}, {SIGSYS, 0, "SIGSYS"},
};

#define PXA_CODE(signal, code) \
  { signal, code, #code }
constexpr Name kCodes[] = {
    PXA_CODE(SIGSEGV, SEGV_MAPERR),
    PXA_CODE(SIGSEGV, SEGV_ACCERR),
    PXA_CODE(SIGSEGV, SEGV_BNDERR),
    PXA_CODE(SIGSEGV, SEGV_PKUERR),
    PXA_CODE(SIGBUS, BUS_ADRALN),
    PXA_CODE(SIGBUS, BUS_ADRERR),
    PXA_CODE(SIGBUS, BUS_OBJERR),
    PXA_CODE(SIGBUS, BUS_MCEERR_AR),
    PXA_CODE(SIGBUS, BUS_MCEERR_AO),
    PXA_CODE(SIGFPE, FPE_INTDIV),
    PXA_CODE(SIGFPE, FPE_INTOVF),
    PXA_CODE(SIGFPE, FPE_FLTDIV),
    PXA_CODE(SIGFPE, FPE_FLTOVF),
    PXA_CODE(SIGFPE, FPE_FLTUND),
    PXA_CODE(SIGFPE, FPE_FLTRES),
    PXA_CODE(SIGFPE, FPE_FLTINV),
    PXA_CODE(SIGFPE, FPE_FLTSUB),
    PXA_CODE(SIGILL, ILL_ILLOPC),
    PXA_CODE(SIGILL, ILL_ILLOPN),
    PXA_CODE(SIGILL, ILL_ILLADR),
    PXA_CODE(SIGILL, ILL_ILLTRP),
    PXA_CODE(SIGILL, ILL_PRVOPC),
    PXA_CODE(SIGILL, ILL_PRVREG),
    PXA_CODE(SIGILL, ILL_COPROC),
    PXA_CODE(SIGILL, ILL_BADSTK),
    PXA_CODE(SIGTRAP, TRAP_BRKPT),
    PXA_CODE(SIGTRAP, TRAP_TRACE),
    PXA_CODE(SIGTRAP, TRAP_BRANCH),
    PXA_CODE(SIGTRAP, TRAP_HWBKPT),
    {SIGSYS, 1, "SYS_SECCOMP"},  // the C library has no name for it
    PXA_CODE(0, SI_USER),
    PXA_CODE(0, SI_KERNEL),
    PXA_CODE(0, SI_QUEUE),
    PXA_CODE(0, SI_TIMER),
    PXA_CODE(0, SI_MESGQ),
    PXA_CODE(0, SI_ASYNCIO),
    PXA_CODE(0, SI_SIGIO),
    PXA_CODE(0, SI_TKILL),
};
#undef PXA_CODE

}  // namespace

const char* nameOfSignal(int signal) noexcept {
  for (const Name& name : kSignals)
    if (name.signal == signal) return name.text;
  return nullptr;
}

const char* nameOfCode(int signal, int code) noexcept {
  for (const Name& name : kCodes)
    if ((name.signal == signal || name.signal == 0) && name.code == code) return name.text;
  return nullptr;
}

}  // namespace pxa::crash
