#include "platform/linux/crash/registers.h"

namespace pxa::crash {

#if defined(__x86_64__)

namespace {

struct Register {
  const char* name;
  int index;  // in the machine context
};

constexpr Register kRegisters[kRegisterCount] = {
    {"rax", REG_RAX}, {"rbx", REG_RBX}, {"rcx", REG_RCX},   {"rdx", REG_RDX}, {"rdi", REG_RDI},
    {"rsi", REG_RSI}, {"rbp", REG_RBP}, {"rsp", REG_RSP},   {"r8", REG_R8},   {"r9", REG_R9},
    {"r10", REG_R10}, {"r11", REG_R11}, {"r12", REG_R12},   {"r13", REG_R13}, {"r14", REG_R14},
    {"r15", REG_R15}, {"rip", REG_RIP}, {"rflags", REG_EFL}};

}  // namespace

const char* nameOfRegister(std::size_t index) noexcept {
  return kRegisters[index].name;
}

std::uint64_t registerAt(const ucontext_t& context, std::size_t index) noexcept {
  return static_cast<std::uint64_t>(context.uc_mcontext.gregs[kRegisters[index].index]);
}

std::uint64_t instructionPointer(const ucontext_t& context) noexcept {
  return static_cast<std::uint64_t>(context.uc_mcontext.gregs[REG_RIP]);
}

void returnFromCall(ucontext_t& context) noexcept {
  greg_t* registers = context.uc_mcontext.gregs;
  registers[REG_RIP] = *reinterpret_cast<const greg_t*>(registers[REG_RSP]);
  registers[REG_RSP] += static_cast<greg_t>(sizeof(greg_t));
}

void setRegisters(ucontext_t& context, const user_regs_struct& registers) noexcept {
  greg_t* to = context.uc_mcontext.gregs;
  const auto set = [to](int index, unsigned long long value) { to[index] = static_cast<greg_t>(value); };
  set(REG_RAX, registers.rax);
  set(REG_RBX, registers.rbx);
  set(REG_RCX, registers.rcx);
  set(REG_RDX, registers.rdx);
  set(REG_RDI, registers.rdi);
  set(REG_RSI, registers.rsi);
  set(REG_RBP, registers.rbp);
  set(REG_RSP, registers.rsp);
  set(REG_R8, registers.r8);
  set(REG_R9, registers.r9);
  set(REG_R10, registers.r10);
  set(REG_R11, registers.r11);
  set(REG_R12, registers.r12);
  set(REG_R13, registers.r13);
  set(REG_R14, registers.r14);
  set(REG_R15, registers.r15);
  set(REG_RIP, registers.rip);
  set(REG_EFL, registers.eflags);
}

#elif defined(__aarch64__)

namespace {

constexpr const char* kNames[kRegisterCount] = {"x0",  "x1",  "x2",  "x3",  "x4",  "x5",  "x6",  "x7",  "x8",
                                                "x9",  "x10", "x11", "x12", "x13", "x14", "x15", "x16", "x17",
                                                "x18", "x19", "x20", "x21", "x22", "x23", "x24", "x25", "x26",
                                                "x27", "x28", "fp",  "lr",  "sp",  "pc",  "cpsr"};
constexpr std::size_t kLinkRegister = 30;
constexpr std::size_t kGeneralCount = 31;

}  // namespace

const char* nameOfRegister(std::size_t index) noexcept {
  return kNames[index];
}

std::uint64_t registerAt(const ucontext_t& context, std::size_t index) noexcept {
  const mcontext_t& machine = context.uc_mcontext;
  if (index < kGeneralCount) return machine.regs[index];
  const std::uint64_t others[] = {machine.sp, machine.pc, machine.pstate};
  return others[index - kGeneralCount];
}

std::uint64_t instructionPointer(const ucontext_t& context) noexcept {
  return context.uc_mcontext.pc;
}

void returnFromCall(ucontext_t& context) noexcept {
  context.uc_mcontext.pc = context.uc_mcontext.regs[kLinkRegister];
}

void setRegisters(ucontext_t& context, const user_regs_struct& registers) noexcept {
  mcontext_t& machine = context.uc_mcontext;
  for (std::size_t i = 0; i < kGeneralCount; ++i) machine.regs[i] = registers.regs[i];
  machine.sp = registers.sp;
  machine.pc = registers.pc;
  machine.pstate = registers.pstate;
}

#endif

}  // namespace pxa::crash
