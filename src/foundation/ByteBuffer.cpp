#include "foundation/ByteBuffer.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace pxa {

namespace {

constexpr std::size_t kSmallestCapacity = 256;
constexpr std::size_t kOverhead = detail::SharedBytes::kHeaderSize + 1;

}  // namespace

ByteBuffer::~ByteBuffer() {
  std::free(block_);
}

void ByteBuffer::grow(std::size_t count) {
  if (count > SIZE_MAX / 2 - size_ - kOverhead) throw std::bad_alloc();
  const std::size_t capacity = std::max({kSmallestCapacity, size_ + count, capacity_ * 2});
  void* block = std::realloc(block_, capacity + kOverhead);
  if (block == nullptr) throw std::bad_alloc();
  block_ = static_cast<char*>(block);
  capacity_ = capacity;
}

Data ByteBuffer::finish() {
  if (block_ == nullptr) return Data(std::string_view());
  if (void* fitted = std::realloc(block_, size_ + kOverhead)) block_ = static_cast<char*>(fitted);
  char* text = bytes();
  text[size_] = '\0';
  auto* shared = new (block_) detail::SharedBytes(1, detail::SharedBytes::Encoding::Unknown, size_, text);
  block_ = nullptr;
  size_ = capacity_ = 0;
  return Data(shared);
}

}  // namespace pxa
