#include <cstdint>
#include <cstring>
#include <new>

#include <pxalog/detail/SharedBytes.h>

#include "foundation/BlockArena.h"
#include "foundation/utf8.h"

namespace pxa::detail {

namespace {

std::size_t sizeFor(std::string_view bytes) {
  if (bytes.size() > SIZE_MAX / 2) throw std::bad_alloc();
  return SharedBytes::kHeaderSize + bytes.size() + 1;
}

SharedBytes* copyTo(void* memory, std::string_view bytes, SharedBytes::Encoding encoding) {
  char* const text = static_cast<char*>(memory) + SharedBytes::kHeaderSize;
  if (!bytes.empty()) std::memcpy(text, bytes.data(), bytes.size());
  text[bytes.size()] = '\0';
  return new (memory) SharedBytes(1, encoding, bytes.size(), text);
}

}  // namespace

SharedBytes* SharedBytes::copyOf(std::string_view bytes, Encoding encoding) {
  return copyTo(BlockArena::allocateAlone(sizeFor(bytes)).memory, bytes, encoding);
}

SharedBytes* SharedBytes::copyOf(std::string_view bytes, Encoding encoding, BlockArena& arena) {
  const BlockArena::Room room = arena.allocate(sizeFor(bytes));
  SharedBytes* const copy = copyTo(room.memory, bytes, encoding);
  copy->place_ = room.place;
  return copy;
}

bool SharedBytes::findOutWhetherUtf8() noexcept {
  const bool isWellFormed = utf8::isWellFormed(view());
  encoding_.store(isWellFormed ? Encoding::Utf8 : Encoding::NotUtf8, std::memory_order_relaxed);
  return isWellFormed;
}

void SharedBytes::destroy() noexcept {
  const BlockArena::Place place = place_;
  this->~SharedBytes();
  BlockArena::giveBack(this, place);
}

}  // namespace pxa::detail
