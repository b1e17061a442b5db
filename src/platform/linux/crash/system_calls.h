#pragma once

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

// What a signal handler needs of the system and the C library does not offer in a form that is safe there.

namespace pxa::crash {

inline pid_t currentThreadId() noexcept {
  return static_cast<pid_t>(::syscall(SYS_gettid));
}

/// A moment after which nothing is waited for any more.
class Deadline {
 public:
  static constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

  explicit Deadline(double seconds) noexcept
      : end_(now() + static_cast<std::int64_t>(seconds * static_cast<double>(kNanosecondsPerSecond))) {}

  [[nodiscard]] bool isOver() const noexcept { return remaining() <= 0; }
  /// Nanoseconds.
  [[nodiscard]] std::int64_t remaining() const noexcept { return end_ - now(); }
  /// This one, or that many seconds from now if that is sooner.
  [[nodiscard]] Deadline sooner(double seconds) const noexcept {
    const Deadline other(seconds);
    return other.end_ < end_ ? other : *this;
  }

 private:
  static std::int64_t now() noexcept {
    timespec time{};
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * kNanosecondsPerSecond + time.tv_nsec;
  }

  std::int64_t end_;
};

/// A word that threads, and the process that shares this one's memory, wait on.
using Word = std::atomic<std::uint32_t>;
static_assert(sizeof(Word) == sizeof(std::uint32_t) && Word::is_always_lock_free);

/// Waits while the word has that value; may return without cause.
inline void waitWhile(Word& word, std::uint32_t value) noexcept {
  ::syscall(SYS_futex, &word, FUTEX_WAIT, value, nullptr);
}
inline void waitWhile(Word& word, std::uint32_t value, const Deadline& deadline) noexcept {
  const std::int64_t rest = deadline.remaining();
  if (rest <= 0) return;
  const timespec time{rest / Deadline::kNanosecondsPerSecond, rest % Deadline::kNanosecondsPerSecond};
  ::syscall(SYS_futex, &word, FUTEX_WAIT, value, &time);
}
/// Wakes everyone who waits on the word.
inline void wake(Word& word) noexcept {
  ::syscall(SYS_futex, &word, FUTEX_WAKE, INT32_MAX);
}
inline void setAndWake(Word& word, std::uint32_t value) noexcept {
  word = value;
  wake(word);
}

/// A text put together in place; what does not fit is cut off.
template <std::size_t kCapacity>
class FixedText {
 public:
  FixedText& append(const char* text) noexcept {
    while (*text != '\0' && size_ + 1 < kCapacity) bytes_[size_++] = *text++;
    bytes_[size_] = '\0';
    return *this;
  }
  FixedText& append(std::uint64_t number) noexcept {
    char digits[21] = {};
    char* first = digits + sizeof digits - 1;
    do {
      *--first = static_cast<char>('0' + number % 10);
      number /= 10;
    } while (number != 0);
    return append(first);
  }
  void clear() noexcept { bytes_[size_ = 0] = '\0'; }
  [[nodiscard]] bool isEmpty() const noexcept { return size_ == 0; }
  [[nodiscard]] const char* c_str() const noexcept { return bytes_; }

 private:
  char bytes_[kCapacity] = {};
  std::size_t size_ = 0;
};

}  // namespace pxa::crash
