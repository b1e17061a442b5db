#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

#include <pxalog/Data.h>
#include <pxalog/String.h>

namespace pxa {

/// Bytes that grow at their end and become a Data without being copied. Owned by one thread.
class ByteBuffer {
 public:
  ByteBuffer() = default;
  ByteBuffer(const ByteBuffer&) = delete;
  ByteBuffer& operator=(const ByteBuffer&) = delete;
  ~ByteBuffer();

  [[nodiscard]] std::size_t size() const noexcept { return static_cast<std::size_t>(end_ - begin_); }
  [[nodiscard]] std::string_view view() const noexcept { return {begin_, size()}; }

  /// Makes room for that many further bytes and returns where they go; commit() then says how many were
  /// written, or commitUpTo() where they end.
  char* reserve(std::size_t count) {
    if (static_cast<std::size_t>(limit_ - end_) < count) grow(count);
    return end_;
  }
  void commit(std::size_t count) noexcept { end_ += count; }
  void commitUpTo(char* end) noexcept { end_ = end; }

  void append(char byte) {
    *reserve(1) = byte;
    ++end_;
  }
  void append(std::string_view more) {
    if (more.empty()) return;
    std::memcpy(reserve(more.size()), more.data(), more.size());
    end_ += more.size();
  }
  /// Cuts what was appended behind that size.
  void truncate(std::size_t size) noexcept { end_ = begin_ + size; }

  /// The bytes written so far; the buffer is empty afterwards.
  [[nodiscard]] Data finish();

 private:
  void grow(std::size_t count);

  // Three times nullptr at first. In front of the bytes is a header's room, behind the limit room for a NUL.
  char* begin_ = nullptr;
  char* end_ = nullptr;
  char* limit_ = nullptr;
};

}  // namespace pxa
