#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include <pxalog/Export.h>

namespace pxa {
class BlockArena;
}

namespace pxa::detail {

/// The one buffer kind behind String and Data: immutable bytes, followed by a NUL, counted by reference.
/// Counting is thread-safe; the bytes never change once the buffer has a second holder.
class SharedBytes {
 public:
  /// What is known about the bytes as UTF-8 text; found out once, at the first question.
  enum class Encoding : std::uint8_t { Unknown, Utf8, NotUtf8 };

  constexpr SharedBytes(std::int32_t references, Encoding encoding, std::size_t size, const char* bytes)
      : references_(references), encoding_(encoding), size_(size), bytes_(bytes) {}
  SharedBytes(const SharedBytes&) = delete;
  SharedBytes& operator=(const SharedBytes&) = delete;

  /// A new buffer with one reference that holds a copy of the bytes.
  PXALOG_EXPORT static SharedBytes* copyOf(std::string_view bytes, Encoding encoding);
  /// The same among the other things of an arena.
  static SharedBytes* copyOf(std::string_view bytes, Encoding encoding, BlockArena& arena);

  /// Room for a header in front of bytes that a writer fills itself; see ByteBuffer.
  static constexpr std::size_t kHeaderSize = 24;

  void retain() noexcept {
    if (references_.load(std::memory_order_relaxed) != kImmortal)
      references_.fetch_add(1, std::memory_order_relaxed);
  }
  void release() noexcept {
    // The only holder needs no atomic subtraction to know that it is the last one.
    const std::int32_t references = references_.load(std::memory_order_acquire);
    if (references == kImmortal) return;
    if (references == 1 || references_.fetch_sub(1, std::memory_order_acq_rel) == 1) destroy();
  }

  [[nodiscard]] std::string_view view() const noexcept { return {bytes_, size_}; }
  /// Whether the bytes are well-formed UTF-8.
  bool isUtf8() noexcept {
    const Encoding encoding = encoding_.load(std::memory_order_relaxed);
    return encoding == Encoding::Unknown ? findOutWhetherUtf8() : encoding == Encoding::Utf8;
  }

  /// The count of a constant that is never counted and never freed.
  static constexpr std::int32_t kImmortal = -1;

 private:
  PXALOG_EXPORT void destroy() noexcept;
  PXALOG_EXPORT bool findOutWhetherUtf8() noexcept;

  std::atomic<std::int32_t> references_;
  std::atomic<Encoding> encoding_;
  std::uint16_t place_ = 0;  // in a block of a BlockArena
  const std::size_t size_;
  const char* const bytes_;
};
static_assert(sizeof(SharedBytes) <= SharedBytes::kHeaderSize);

}  // namespace pxa::detail
