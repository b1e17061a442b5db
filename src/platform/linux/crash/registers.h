#pragma once

#include <cstddef>
#include <cstdint>
#include <sys/user.h>
#include <ucontext.h>

#include <pxalog/CrashReport.h>

// What differs between processors.

namespace pxa::crash {

inline constexpr CrashReport::CodeType kCodeType =
#if defined(__x86_64__)
    {CrashReport::kX86_64, 3};
#elif defined(__aarch64__)
    {CrashReport::kArm64, 0};
#else
#error "crash reports are written on x86-64 and AArch64"
#endif

/// How many registers a report shows.
inline constexpr std::size_t kRegisterCount =
#if defined(__x86_64__)
    18;
#else
    34;
#endif

const char* nameOfRegister(std::size_t index) noexcept;
std::uint64_t registerAt(const ucontext_t& context, std::size_t index) noexcept;

/// Lets the calling thread read misaligned memory again where the application has forbidden it: the compiler
/// and the C library count on it.
inline void allowMisalignedAccess() noexcept {
#if defined(__x86_64__)
  constexpr unsigned long long kAlignmentCheck = 1ULL << 18U;
  __builtin_ia32_writeeflags_u64(__builtin_ia32_readeflags_u64() & ~kAlignmentCheck);
#endif
}

std::uint64_t instructionPointer(const ucontext_t& context) noexcept;
/// Goes back to the caller of an address that was called and holds no code.
void returnFromCall(ucontext_t& context) noexcept;
/// The context of a thread that a tracer has stopped.
void setRegisters(ucontext_t& context, const user_regs_struct& registers) noexcept;

}  // namespace pxa::crash
