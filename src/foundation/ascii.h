#pragma once

#include <cstddef>
#include <string_view>

/// Tests on ASCII text that do not depend on the locale.
namespace pxa::ascii {

constexpr char lower(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter;
}

constexpr bool isLetter(char character) {
  return lower(character) >= 'a' && lower(character) <= 'z';
}

constexpr bool isDigit(char character) {
  return character >= '0' && character <= '9';
}

constexpr bool isLetterOrDigit(char character) {
  return isLetter(character) || isDigit(character);
}

/// What the C library calls white space in its own locale.
constexpr bool isWhiteSpace(char character) {
  return character == ' ' || (character >= '\t' && character <= '\r');
}

/// The prefix must be in lower case.
constexpr bool startsWithIgnoringCase(std::string_view text, std::string_view prefix) {
  if (text.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i)
    if (lower(text[i]) != prefix[i]) return false;
  return true;
}

}  // namespace pxa::ascii
