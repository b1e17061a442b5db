#include <pxalog/String.h>

#include "foundation/integer_text.h"
#include "foundation/utf8.h"

namespace pxa {

using detail::SharedBytes;

String::String(std::string_view text)
    : bytes_(SharedBytes::copyOf(utf8::isWellFormed(text) ? text : std::string_view(utf8::repaired(text)),
                                 SharedBytes::Encoding::Utf8)) {}

String String::fromUtf8(const Data& bytes) noexcept {
  if (bytes.isNil() || !bytes.isUtf8()) return nullptr;
  bytes.retain();
  return String(bytes.bytes_);
}

std::int64_t String::longLongValue() const noexcept {
  return leadingInteger(view());
}

std::int32_t String::intValue() const noexcept {
  return saturatedToInt32(longLongValue());
}

}  // namespace pxa
