#include "platform/linux/crash/AlternateStack.h"

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <sys/auxv.h>
#include <sys/mman.h>
#include <unistd.h>

namespace pxa::crash {

namespace {

constexpr std::size_t kStackSize = std::size_t{64} * 1024;

/// What the system needs for the registers of one signal grows with the processor. Asked once: the answer lies
/// on the main thread's stack, where a later thread may not find it any more.
std::size_t stackSize() noexcept {
  static const std::size_t size =
      kStackSize + std::max<std::size_t>(::getauxval(AT_MINSIGSTKSZ), static_cast<std::size_t>(MINSIGSTKSZ));
  return size;
}

class AlternateStack {
 public:
  AlternateStack() noexcept = default;
  AlternateStack(const AlternateStack&) = delete;
  AlternateStack& operator=(const AlternateStack&) = delete;
  ~AlternateStack() {
    if (memory_ == MAP_FAILED) return;
    stack_t off{};
    off.ss_flags = SS_DISABLE;
    stack_t before{};
    ::sigaltstack(&off, &before);
    // The host may have put another one in its place.
    if (before.ss_sp != stackBase()) ::sigaltstack(&before, nullptr);
    ::munmap(memory_, size_);
  }

  bool install() noexcept {
    stack_t current{};
    if (::sigaltstack(nullptr, &current) == 0 && (current.ss_flags & SS_DISABLE) == 0) return true;
    if (memory_ == MAP_FAILED && !map()) return false;
    stack_t stack{};
    stack.ss_sp = stackBase();
    stack.ss_size = size_ - pageSize_;
    return ::sigaltstack(&stack, nullptr) == 0;
  }

 private:
  bool map() noexcept {
    pageSize_ = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    size_ = (stackSize() + pageSize_ - 1) / pageSize_ * pageSize_ + pageSize_;
    memory_ = ::mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    if (memory_ == MAP_FAILED) return false;
    ::mprotect(memory_, pageSize_, PROT_NONE);
    return true;
  }
  [[nodiscard]] void* stackBase() const noexcept { return static_cast<std::byte*>(memory_) + pageSize_; }

  void* memory_ = MAP_FAILED;
  std::size_t size_ = 0;
  std::size_t pageSize_ = 0;
};

thread_local AlternateStack alternateStack;

}  // namespace

bool prepareAlternateStack() noexcept {
  return alternateStack.install();
}

}  // namespace pxa::crash
