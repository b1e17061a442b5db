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

  [[nodiscard]] std::size_t size() const noexcept { return size_; }
  [[nodiscard]] std::string_view view() const noexcept { return {bytes(), size_}; }

  /// Makes room for that many further bytes and returns where they go; commit() then says how many were
  /// written.
  char* reserve(std::size_t count) {
    if (capacity_ - size_ < count) grow(count);
    return bytes() + size_;
  }
  void commit(std::size_t count) noexcept { size_ += count; }

  void append(char byte) {
    *reserve(1) = byte;
    ++size_;
  }
  void append(std::string_view more) {
    if (more.empty()) return;
    std::memcpy(reserve(more.size()), more.data(), more.size());
    size_ += more.size();
  }
  /// Cuts what was appended behind that size.
  void truncate(std::size_t size) noexcept { size_ = size; }

  /// The bytes written so far; the buffer is empty afterwards.
  [[nodiscard]] Data finish();

 private:
  [[nodiscard]] char* bytes() const noexcept {
    return block_ == nullptr ? nullptr : block_ + detail::SharedBytes::kHeaderSize;
  }
  void grow(std::size_t count);

  char* block_ = nullptr;  // a header's room, then the bytes, then room for a NUL
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace pxa
