#pragma once

#include <cstddef>
#include <cstdint>
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

inline constexpr std::uint32_t kLastCodePoint = 0x10FFFF;
inline constexpr std::size_t kLongestCharacter = 4;

constexpr bool isHighSurrogate(std::uint32_t unit) noexcept {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool isLowSurrogate(std::uint32_t unit) noexcept {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}
constexpr bool isSurrogate(std::uint32_t unit) noexcept {
  return isHighSurrogate(unit) || isLowSurrogate(unit);
}
/// The code point that a pair of surrogates stands for.
constexpr std::uint32_t ofSurrogates(std::uint32_t high, std::uint32_t low) noexcept {
  return ((high - 0xD800) << 10U) + (low - 0xDC00) + 0x10000;
}

/// Writes the code point, at most kLongestCharacter bytes, and returns how many they are.
std::size_t encode(std::uint32_t codePoint, char* to) noexcept;

}  // namespace pxa::utf8
