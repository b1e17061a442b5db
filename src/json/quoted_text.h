#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "foundation/byte_blocks.h"

/// Strings as JSON writes them, a block of bytes at a time.
namespace pxa {

/// How each byte of a string is written.
class JsonEscapes {
 public:
  /// What kind of byte it is: kPlain bytes are copied, kEnd ends the string, any other value is the character
  /// that follows a backslash.
  static constexpr char kPlain = 0;
  static constexpr char kEnd = 1;

  constexpr explicit JsonEscapes(bool escapesSlashes) : slashes_(blockOf(escapesSlashes ? '/' : '\\')) {
    escapes_[0] = kEnd;
    escapes_['\b'] = 'b';
    escapes_['\t'] = 't';
    escapes_['\n'] = 'n';
    escapes_['\f'] = 'f';
    escapes_['\r'] = 'r';
    escapes_['"'] = '"';
    escapes_['\\'] = '\\';
    if (escapesSlashes) escapes_['/'] = '/';
  }

  [[nodiscard]] constexpr char of(char byte) const { return escapes_[static_cast<unsigned char>(byte)]; }

  /// Marks every byte that is not plain, and a few control characters that are.
  [[nodiscard]] auto marks(const ByteBlock& block) const {
    return (block <= std::uint8_t{'\r'}) | (block == std::uint8_t{'"'}) | (block == std::uint8_t{'\\'}) |
           (block == slashes_);
  }

 private:
  std::array<char, 256> escapes_{};
  ByteBlock slashes_;  // what counts as one
};

inline constexpr JsonEscapes kPlainSlashes{false};
inline constexpr JsonEscapes kEscapedSlashes{true};

/// Hands over the first and the last word of a string that these two cover, and their positions. Says
/// whether all its bytes are plain.
template <class Word, class Take>
[[gnu::always_inline]] inline bool takeEndsIfPlain(std::string_view text, const JsonEscapes& escapes,
                                                   Take take) {
  const auto first = loadWord<Word>(text.data());
  const auto last = loadWord<Word>(text.data() + text.size() - sizeof(Word));
  take(first, 0);
  take(last, text.size() - sizeof(Word));
  return !hasMark(escapes.marks(blockOf(first, last)));
}

/// Hands over the blocks of a string that has one or more, and their positions; the last may overlap another
/// one. Says whether all its bytes are plain; if not, blocks may be missing.
template <class Take>
[[gnu::always_inline]] inline bool takeBlocksIfPlain(std::string_view text, const JsonEscapes& escapes,
                                                     Take take) {
  const std::size_t lastPosition = text.size() - kBlockSize;
  const ByteBlock last = loadBlock(text.data() + lastPosition);
  take(last, lastPosition);
  auto marks = escapes.marks(last);
  for (std::size_t position = 0; position < lastPosition; position += kBlockSize) {
    const ByteBlock block = loadBlock(text.data() + position);
    take(block, position);
    marks |= escapes.marks(block);
    if (hasMark(marks)) return false;
  }
  return !hasMark(marks);
}

/// The same for any string, shorter ones in words.
template <class Take>
[[gnu::always_inline]] inline bool takeIfPlain(std::string_view text, const JsonEscapes& escapes, Take take) {
  if (text.size() >= kBlockSize) return takeBlocksIfPlain(text, escapes, take);
  if (text.size() >= 8) return takeEndsIfPlain<std::uint64_t>(text, escapes, take);
  if (text.size() >= 4) return takeEndsIfPlain<std::uint32_t>(text, escapes, take);
  if (text.size() >= 2) return takeEndsIfPlain<std::uint16_t>(text, escapes, take);
  return text.empty() || takeEndsIfPlain<std::uint8_t>(text, escapes, take);
}

/// Room that a quoted string needs while it is written.
constexpr std::size_t roomForQuoted(std::string_view text) {
  return 2 * text.size() + 2 + kBlockSize;
}

/// What writeQuoted() and quotedSize() do, for strings that are not plain.
char* writeEscaped(std::string_view text, const JsonEscapes& escapes, char* to);
std::size_t escapedSize(std::string_view text, const JsonEscapes& escapes);

/// Writes the string between quotes and returns their end.
inline char* writeQuoted(std::string_view text, const JsonEscapes& escapes, char* to) {
  const bool isPlain = takeIfPlain(text, escapes, [to](const auto& word, std::size_t position) {
    std::memcpy(to + 1 + position, &word, sizeof(word));
  });
  if (!isPlain) [[unlikely]]
    return writeEscaped(text, escapes, to);
  to[0] = '"';
  to[1 + text.size()] = '"';
  return to + 2 + text.size();
}

/// Length of what writeQuoted() writes.
inline std::size_t quotedSize(std::string_view text, const JsonEscapes& escapes) {
  const bool isPlain = takeIfPlain(text, escapes, [](const auto&, std::size_t) {});
  return isPlain ? 2 + text.size() : escapedSize(text, escapes);
}

}  // namespace pxa
