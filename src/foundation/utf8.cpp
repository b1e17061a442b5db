#include "foundation/utf8.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "foundation/byte_blocks.h"

namespace pxa::utf8 {

namespace {

/// One step through the bytes: how many belong to the next character, or to the next broken part.
struct Step {
  std::size_t length;
  bool wellFormed;
};

bool isContinuation(unsigned char byte, unsigned char low = 0x80, unsigned char high = 0xBF) {
  return byte >= low && byte <= high;
}

Step stepOverSequence(std::string_view rest) {
  const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(rest[i]); };
  const unsigned char lead = byteAt(0);
  if (lead < 0x80) return {1, true};
  if (lead < 0xC2 || lead > 0xF4) return {1, false};

  const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  // The second byte alone tells overlong forms, surrogates and what lies above U+10FFFF.
  const unsigned char low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const unsigned char high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  for (std::size_t i = 1; i < length; ++i) {
    if (i >= rest.size()) return {i, false};
    const bool continues = i == 1 ? isContinuation(byteAt(1), low, high) : isContinuation(byteAt(i));
    if (!continues) return {i, false};
  }
  return {length, true};
}

/// Length of the run of ASCII at the front, found eight bytes at a time.
std::size_t asciiPrefix(std::string_view bytes) {
  std::size_t i = 0;
  for (; i + sizeof(std::uint64_t) <= bytes.size(); i += sizeof(std::uint64_t)) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes.data() + i, sizeof(word));
    if ((word & 0x8080808080808080U) != 0) break;
  }
  while (i < bytes.size() && static_cast<unsigned char>(bytes[i]) < 0x80) ++i;
  return i;
}

}  // namespace

bool isWellFormed(std::string_view bytes) noexcept {
  if (isAscii(bytes)) return true;
  bytes.remove_prefix(asciiPrefix(bytes));
  while (!bytes.empty()) {
    const Step step = stepOverSequence(bytes);
    if (!step.wellFormed) return false;
    bytes.remove_prefix(step.length);
    if (!bytes.empty() && static_cast<unsigned char>(bytes.front()) < 0x80)
      bytes.remove_prefix(asciiPrefix(bytes));
  }
  return true;
}

bool isAscii(std::string_view bytes) noexcept {
  constexpr ByteBlock kHighBits = blockOf(0x80);
  const char* const data = bytes.data();
  if (bytes.size() < kBlockSize) return !hasMark(loadBlock(data, bytes.size()) & kHighBits);
  const std::size_t last = bytes.size() - kBlockSize;
  for (std::size_t i = 0; i < last; i += kBlockSize)
    if (hasMark(loadBlock(data + i) & kHighBits)) return false;
  return !hasMark(loadBlock(data + last) & kHighBits);
}

std::size_t utf16Length(std::string_view text) noexcept {
  std::size_t units = 0;
  for (const char byte : text) {
    const auto value = static_cast<unsigned char>(byte);
    if (!isContinuation(value)) ++units;
    if (value >= 0xF0) ++units;  // a surrogate pair
  }
  return units;
}

std::size_t encode(std::uint32_t codePoint, char* to) noexcept {
  const auto continuation = [codePoint](unsigned shift) {
    return static_cast<char>(0x80U | ((codePoint >> shift) & 0x3FU));
  };
  if (codePoint < 0x80) {
    to[0] = static_cast<char>(codePoint);
    return 1;
  }
  if (codePoint < 0x800) {
    to[0] = static_cast<char>(0xC0U | (codePoint >> 6U));
    to[1] = continuation(0);
    return 2;
  }
  if (codePoint < 0x10000) {
    to[0] = static_cast<char>(0xE0U | (codePoint >> 12U));
    to[1] = continuation(6);
    to[2] = continuation(0);
    return 3;
  }
  to[0] = static_cast<char>(0xF0U | (codePoint >> 18U));
  to[1] = continuation(12);
  to[2] = continuation(6);
  to[3] = continuation(0);
  return 4;
}

[[gnu::cold]] std::string repaired(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size() + 8);
  while (!bytes.empty()) {
    const Step step = stepOverSequence(bytes);
    text.append(step.wellFormed ? bytes.substr(0, step.length) : "\xEF\xBF\xBD");
    bytes.remove_prefix(step.length);
  }
  return text;
}

}  // namespace pxa::utf8
