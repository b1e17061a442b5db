#pragma once

#include <optional>

#include <pxalog/Data.h>

namespace pxa {

/// The text as UTF-8; the encoding is told by the first four bytes. UTF-8 itself comes back as it is,
/// unchecked, a byte-order mark included; nothing for UTF-16 or UTF-32 that is not well-formed.
std::optional<Data> jsonTextAsUtf8(const Data& text);

}  // namespace pxa
