#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <ucontext.h>

namespace pxa::crash {

/// Instruction pointers of a stack, the innermost first; the outermost of a deep one are left out.
class FrameList {
 public:
  static constexpr std::size_t kMost = 512;

  void clear() noexcept { count_ = 0; }
  [[nodiscard]] bool isFull() const noexcept { return count_ == kMost; }
  void push(std::uint64_t address) noexcept { addresses_[count_++] = address; }
  void removeFirst(std::size_t count) noexcept;
  [[nodiscard]] std::span<const std::uint64_t> addresses() const noexcept { return {addresses_, count_}; }

 private:
  std::uint64_t addresses_[kMost] = {};
  std::size_t count_ = 0;
};

/// Walks the stack of a thread that stands still, as a signal handler or a tracer found it. Reads memory that
/// may be damaged, and takes locks that another thread may hold: after a crash, only in a process that may die
/// or hang.
void unwind(ucontext_t& context, FrameList& frames) noexcept;
/// The same for a thread that has called, or jumped to, an address without code.
void unwindFromCallOfNothing(ucontext_t& context, FrameList& frames) noexcept;
/// The calling thread's own stack, from the function that calls this one on.
void unwindHere(FrameList& frames) noexcept;

/// Does what the first walk of a process does once.
void prepareUnwinding() noexcept;

}  // namespace pxa::crash
