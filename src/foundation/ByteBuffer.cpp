#include "foundation/ByteBuffer.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <utility>

namespace pxa {

namespace {

constexpr std::size_t kSmallestCapacity = 256;
constexpr std::size_t kHeaderSize = detail::SharedBytes::kHeaderSize;
constexpr std::size_t kOverhead = kHeaderSize + 1;

/// The allocation that the bytes lie in.
char* blockOf(char* bytes) {
  return bytes == nullptr ? nullptr : bytes - kHeaderSize;
}

}  // namespace

ByteBuffer::~ByteBuffer() {
  std::free(blockOf(begin_));
}

void ByteBuffer::grow(std::size_t count) {
  const std::size_t size = this->size();
  if (count > SIZE_MAX / 2 - size - kOverhead) throw std::bad_alloc();
  const auto doubled = 2 * static_cast<std::size_t>(limit_ - begin_);
  const std::size_t capacity = std::max({kSmallestCapacity, size + count, doubled});
  void* block = std::realloc(blockOf(begin_), capacity + kOverhead);
  if (block == nullptr) throw std::bad_alloc();
  begin_ = static_cast<char*>(block) + kHeaderSize;
  end_ = begin_ + size;
  limit_ = begin_ + capacity;
}

Data ByteBuffer::finish() {
  if (begin_ == nullptr) return Data(std::string_view());
  const std::size_t size = this->size();
  *end_ = '\0';
  char* block = std::exchange(begin_, nullptr) - kHeaderSize;
  end_ = limit_ = nullptr;
  if (void* fitted = std::realloc(block, size + kOverhead)) block = static_cast<char*>(fitted);
  return Data(new (block)
                  detail::SharedBytes(1, detail::SharedBytes::Encoding::Unknown, size, block + kHeaderSize));
}

}  // namespace pxa
