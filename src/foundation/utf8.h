#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace pxa::utf8 {

/// Whether the bytes are well-formed UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
bool isWellFormed(std::string_view bytes) noexcept;

/// Whether every byte is ASCII.
bool isAscii(std::string_view bytes) noexcept;

/// How many UTF-16 units the text takes; the bytes must be well-formed.
std::size_t utf16Length(std::string_view text) noexcept;

/// The bytes with every maximal broken part replaced by U+FFFD.
std::string repaired(std::string_view bytes);

}  // namespace pxa::utf8
