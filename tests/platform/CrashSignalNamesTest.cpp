#include <csignal>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <sys/user.h>
#include <ucontext.h>

#include "platform/linux/crash/registers.h"
#include "platform/linux/crash/signal_names.h"

namespace pxa::crash {
namespace {

std::string orNone(const char* text) {
  return text == nullptr ? "(none)" : text;
}

TEST(SignalNames, NameEverySignalThatIsCaught) {
  EXPECT_EQ(orNone(nameOfSignal(SIGSEGV)), "SIGSEGV");
  EXPECT_EQ(orNone(nameOfSignal(SIGBUS)), "SIGBUS");
  EXPECT_EQ(orNone(nameOfSignal(SIGABRT)), "SIGABRT");
  EXPECT_EQ(orNone(nameOfSignal(SIGFPE)), "SIGFPE");
  EXPECT_EQ(orNone(nameOfSignal(SIGILL)), "SIGILL");
  EXPECT_EQ(orNone(nameOfSignal(SIGTRAP)), "SIGTRAP");
  EXPECT_EQ(orNone(nameOfSignal(SIGSYS)), "SIGSYS");
}

TEST(SignalNames, NameNoOther) {
  for (const int signal : {0, -1, SIGTERM, SIGINT, SIGKILL, SIGCHLD, SIGRTMIN, 1000})
    EXPECT_EQ(orNone(nameOfSignal(signal)), "(none)") << signal;
}

TEST(SignalNames, NameTheCodesOfASignal) {
  constexpr int kSeccomp = 1;
  const struct {
    int signal;
    int code;
    const char* name;
  } codes[] = {
      {SIGSEGV, SEGV_MAPERR, "SEGV_MAPERR"}, {SIGSEGV, SEGV_ACCERR, "SEGV_ACCERR"},
      {SIGBUS, BUS_ADRALN, "BUS_ADRALN"},    {SIGBUS, BUS_ADRERR, "BUS_ADRERR"},
      {SIGBUS, BUS_OBJERR, "BUS_OBJERR"},    {SIGFPE, FPE_INTDIV, "FPE_INTDIV"},
      {SIGFPE, FPE_FLTDIV, "FPE_FLTDIV"},    {SIGFPE, FPE_FLTINV, "FPE_FLTINV"},
      {SIGILL, ILL_ILLOPC, "ILL_ILLOPC"},    {SIGILL, ILL_ILLOPN, "ILL_ILLOPN"},
      {SIGILL, ILL_PRVOPC, "ILL_PRVOPC"},    {SIGTRAP, TRAP_BRKPT, "TRAP_BRKPT"},
      {SIGTRAP, TRAP_TRACE, "TRAP_TRACE"},   {SIGSYS, kSeccomp, "SYS_SECCOMP"},
  };
  for (const auto& [signal, code, name] : codes) EXPECT_EQ(orNone(nameOfCode(signal, code)), name);
}

TEST(SignalNames, NameTheCodesThatEverySignalMayHave) {
  for (const int signal : {SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL, SIGTRAP, SIGSYS}) {
    EXPECT_EQ(orNone(nameOfCode(signal, SI_USER)), "SI_USER");
    EXPECT_EQ(orNone(nameOfCode(signal, SI_TKILL)), "SI_TKILL");
    EXPECT_EQ(orNone(nameOfCode(signal, SI_QUEUE)), "SI_QUEUE");
    EXPECT_EQ(orNone(nameOfCode(signal, SI_KERNEL)), "SI_KERNEL");
  }
}

TEST(SignalNames, NameNoCodeThatIsNotKnown) {
  for (const int code : {9999, -9999}) EXPECT_EQ(orNone(nameOfCode(SIGSEGV, code)), "(none)") << code;
  EXPECT_EQ(orNone(nameOfCode(SIGABRT, SEGV_MAPERR)), "(none)") << "a code of another signal";
}

// Registers.

TEST(RegisterNames, AreEachGivenOnce) {
  std::set<std::string> names;
  for (std::size_t i = 0; i < kRegisterCount; ++i) names.insert(orNone(nameOfRegister(i)));
  EXPECT_EQ(names.size(), kRegisterCount);
  EXPECT_FALSE(names.contains("(none)"));
}

#if defined(__x86_64__)

/// A context in which each register holds its own number.
ucontext_t numberedContext() {
  ucontext_t context{};
  for (std::size_t i = 0; i < std::size(context.uc_mcontext.gregs); ++i)
    context.uc_mcontext.gregs[i] = static_cast<greg_t>(i) + 1000;
  return context;
}

TEST(Registers, AreReadByTheirNames) {
  const ucontext_t context = numberedContext();
  const struct {
    const char* name;
    int place;
  } registers[] = {
      {"rax", REG_RAX}, {"rbx", REG_RBX}, {"rcx", REG_RCX},    {"rdx", REG_RDX}, {"rdi", REG_RDI},
      {"rsi", REG_RSI}, {"rbp", REG_RBP}, {"rsp", REG_RSP},    {"r8", REG_R8},   {"r9", REG_R9},
      {"r10", REG_R10}, {"r11", REG_R11}, {"r12", REG_R12},    {"r13", REG_R13}, {"r14", REG_R14},
      {"r15", REG_R15}, {"rip", REG_RIP}, {"rflags", REG_EFL},
  };
  ASSERT_EQ(std::size(registers), kRegisterCount);
  for (std::size_t i = 0; i < kRegisterCount; ++i) {
    EXPECT_EQ(orNone(nameOfRegister(i)), registers[i].name);
    EXPECT_EQ(registerAt(context, i), static_cast<std::uint64_t>(registers[i].place) + 1000)
        << registers[i].name;
  }
  EXPECT_EQ(instructionPointer(context), static_cast<std::uint64_t>(REG_RIP) + 1000);
}

TEST(Registers, OfAStoppedThreadAreThoseThatItsTracerReads) {
  user_regs_struct traced{};
  traced.rax = 1;
  traced.rdi = 2;
  traced.r15 = 3;
  traced.rsp = 4;
  traced.rbp = 5;
  traced.rip = 6;
  traced.eflags = 7;
  ucontext_t context{};
  setRegisters(context, traced);
  const auto named = [&](std::string_view name) {
    for (std::size_t i = 0; i < kRegisterCount; ++i)
      if (name == nameOfRegister(i)) return registerAt(context, i);
    return std::uint64_t{0};
  };
  EXPECT_EQ(named("rax"), 1U);
  EXPECT_EQ(named("rdi"), 2U);
  EXPECT_EQ(named("r15"), 3U);
  EXPECT_EQ(named("rsp"), 4U);
  EXPECT_EQ(named("rbp"), 5U);
  EXPECT_EQ(named("rip"), 6U);
  EXPECT_EQ(named("rflags"), 7U);
}

TEST(Registers, GoBackToTheCallerOfAnAddressWithoutCode) {
  std::uint64_t stack[] = {0x1234, 0x5678};
  ucontext_t context{};
  context.uc_mcontext.gregs[REG_RSP] = reinterpret_cast<greg_t>(stack);
  returnFromCall(context);
  EXPECT_EQ(instructionPointer(context), 0x1234U);
  EXPECT_EQ(context.uc_mcontext.gregs[REG_RSP], reinterpret_cast<greg_t>(stack + 1));
}

#endif

}  // namespace
}  // namespace pxa::crash
