#include <cstdlib>
#include <cstring>
#include <new>

#include <pxalog/detail/SharedBytes.h>

#include "foundation/utf8.h"

namespace pxa::detail {

SharedBytes* SharedBytes::copyOf(std::string_view bytes, Encoding encoding) {
  if (bytes.size() > SIZE_MAX - kHeaderSize - 1) throw std::bad_alloc();
  void* memory = std::malloc(kHeaderSize + bytes.size() + 1);
  if (memory == nullptr) throw std::bad_alloc();
  char* text = static_cast<char*>(memory) + kHeaderSize;
  if (!bytes.empty()) std::memcpy(text, bytes.data(), bytes.size());
  text[bytes.size()] = '\0';
  return new (memory) SharedBytes(1, encoding, bytes.size(), text);
}

bool SharedBytes::isUtf8() noexcept {
  Encoding encoding = encoding_.load(std::memory_order_relaxed);
  if (encoding == Encoding::Unknown) {
    encoding = utf8::isWellFormed(view()) ? Encoding::Utf8 : Encoding::NotUtf8;
    encoding_.store(encoding, std::memory_order_relaxed);
  }
  return encoding == Encoding::Utf8;
}

void SharedBytes::destroy() noexcept {
  this->~SharedBytes();
  std::free(this);
}

}  // namespace pxa::detail
