#include <array>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

#include "foundation/utf8.h"

namespace pxa {
namespace {

#define FFFD "\xEF\xBF\xBD"

using namespace std::string_view_literals;

struct Broken {
  const char* what;
  std::string_view bytes;
  std::string_view repaired;
};

constexpr Broken kBroken[] = {
    {"overlong solidus in two bytes", "\xC0\xAF", FFFD FFFD},
    {"overlong NUL in two bytes", "\xC0\x80", FFFD FFFD},
    {"highest overlong form of two bytes", "\xC1\xBF", FFFD FFFD},
    {"overlong form of three bytes", "\xE0\x80\xAF", FFFD FFFD FFFD},
    {"highest overlong form of three bytes", "\xE0\x9F\xBF", FFFD FFFD FFFD},
    {"overlong form of four bytes", "\xF0\x80\x80\xAF", FFFD FFFD FFFD FFFD},
    {"highest overlong form of four bytes", "\xF0\x8F\xBF\xBF", FFFD FFFD FFFD FFFD},
    {"lowest surrogate", "\xED\xA0\x80", FFFD FFFD FFFD},
    {"highest surrogate", "\xED\xBF\xBF", FFFD FFFD FFFD},
    {"pair of surrogates", "\xED\xA0\xBD\xED\xB8\x80", FFFD FFFD FFFD FFFD FFFD FFFD},
    {"first code point above U+10FFFF", "\xF4\x90\x80\x80", FFFD FFFD FFFD FFFD},
    {"lead byte above F4", "\xF5\x80\x80\x80", FFFD FFFD FFFD FFFD},
    {"bytes that never occur", "\xFE\xFF", FFFD FFFD},
    {"five-byte form", "\xF8\x88\x80\x80\x80", FFFD FFFD FFFD FFFD FFFD},
    {"lone continuation", "\x80", FFFD},
    {"two lone continuations", "\xBF\xBF", FFFD FFFD},
    {"two-byte character cut short", "\xC3", FFFD},
    {"three-byte character cut after one byte", "\xE2", FFFD},
    {"three-byte character cut after two bytes", "\xE2\x82", FFFD},
    {"four-byte character cut after one byte", "\xF0", FFFD},
    {"four-byte character cut after two bytes", "\xF0\x9F", FFFD},
    {"four-byte character cut after three bytes", "\xF0\x9F\x98", FFFD},
    {"cut character before ASCII", "\xE2\x82!", FFFD "!"},
    {"cut character before a whole one", "\xE2\x82\xC3\xA4", FFFD "\xC3\xA4"},
    {"cut character before a NUL", "\xC3\0x"sv, FFFD "\0x"sv},
    {"a mixture of maximal subparts", "\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", FFFD FFFD FFFD FFFD "A"},
    {"Latin-1 text",
     "Gr\xFC\xDF"
     "e",
     "Gr" FFFD FFFD "e"},
};

constexpr std::string_view kWhole[] = {
    ""sv,           "\0"sv,         "\x7F",         "\xC2\x80",     "\xDF\xBF",         "\xE0\xA0\x80",
    "\xED\x9F\xBF", "\xEE\x80\x80", "\xEF\xBF\xBD", "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF",
    "a\xCC\x88",
};

TEST(Utf8, ReplacesEveryMaximalBrokenPart) {
  for (const Broken& broken : kBroken)
    EXPECT_EQ(utf8::repaired(broken.bytes), broken.repaired) << broken.what;
}

TEST(Utf8, TellsBrokenBytes) {
  for (const Broken& broken : kBroken) EXPECT_FALSE(utf8::isWellFormed(broken.bytes)) << broken.what;
}

TEST(Utf8, AcceptsTheFirstAndLastCharacterOfEveryLength) {
  for (const std::string_view text : kWhole) EXPECT_TRUE(utf8::isWellFormed(text)) << text;
}

TEST(Utf8, LeavesWholeTextAsItIs) {
  for (const std::string_view text : kWhole) EXPECT_EQ(utf8::repaired(text), text);
}

TEST(Utf8, FindsABrokenByteAtEveryPlaceInAnAsciiText) {
  constexpr std::size_t kLength = 40;
  for (std::size_t place = 0; place < kLength; ++place) {
    std::string text(kLength, 'a');
    text[place] = '\xFF';
    EXPECT_FALSE(utf8::isWellFormed(text)) << place;
  }
}

TEST(Utf8, FindsAWholeCharacterAtEveryPlaceInAnAsciiText) {
  for (std::size_t before = 0; before < 20; ++before)
    EXPECT_TRUE(
        utf8::isWellFormed(std::string(before, 'a') + "\xF0\x9F\x98\x80" + std::string(20 - before, 'b')))
        << before;
}

/// Decodes by arithmetic what the definition of UTF-8 says, one code point at a time.
std::string encoded(char32_t codePoint) {
  const auto byte = [](char32_t bits) { return static_cast<char>(static_cast<unsigned char>(bits)); };
  if (codePoint < 0x80) return {byte(codePoint)};
  if (codePoint < 0x800) return {byte(0xC0 | codePoint >> 6), byte(0x80 | (codePoint & 0x3F))};
  if (codePoint < 0x10000)
    return {byte(0xE0 | codePoint >> 12), byte(0x80 | (codePoint >> 6 & 0x3F)),
            byte(0x80 | (codePoint & 0x3F))};
  return {byte(0xF0 | codePoint >> 18), byte(0x80 | (codePoint >> 12 & 0x3F)),
          byte(0x80 | (codePoint >> 6 & 0x3F)), byte(0x80 | (codePoint & 0x3F))};
}

TEST(Utf8, AcceptsExactlyTheCodePointsThatAreCharacters) {
  for (char32_t codePoint = 0; codePoint < 0x120000; ++codePoint) {
    const bool isCharacter = codePoint < 0xD800 || (codePoint > 0xDFFF && codePoint <= 0x10FFFF);
    ASSERT_EQ(utf8::isWellFormed(encoded(codePoint)), isCharacter) << std::hex << std::uint32_t{codePoint};
  }
}

TEST(Utf8, EncodesEveryCharacter) {
  for (std::uint32_t codePoint = 0; codePoint <= utf8::kLastCodePoint; ++codePoint) {
    if (utf8::isSurrogate(codePoint)) continue;
    std::array<char, utf8::kLongestCharacter> bytes{};
    const std::size_t size = utf8::encode(codePoint, bytes.data());
    ASSERT_EQ(std::string_view(bytes.data(), size), encoded(char32_t{codePoint})) << std::hex << codePoint;
  }
}

TEST(Utf8, WritesNothingBehindTheCharacterItEncodes) {
  std::string bytes = "????";
  EXPECT_EQ(utf8::encode('A', bytes.data()), 1U);
  EXPECT_EQ(bytes, "A???");
}

TEST(Utf8, TellsSurrogatesApart) {
  struct Unit {
    std::uint32_t value;
    bool isHigh;
    bool isLow;
  };
  for (const Unit& unit : {Unit{0, false, false},
                           {0xD7FF, false, false},
                           {0xD800, true, false},
                           {0xDBFF, true, false},
                           {0xDC00, false, true},
                           {0xDFFF, false, true},
                           {0xE000, false, false},
                           {0x1D800, false, false},
                           {0x1DC00, false, false}}) {
    EXPECT_EQ(utf8::isHighSurrogate(unit.value), unit.isHigh) << std::hex << unit.value;
    EXPECT_EQ(utf8::isLowSurrogate(unit.value), unit.isLow) << std::hex << unit.value;
    EXPECT_EQ(utf8::isSurrogate(unit.value), unit.isHigh || unit.isLow) << std::hex << unit.value;
  }
}

TEST(Utf8, JoinsSurrogates) {
  EXPECT_EQ(utf8::ofSurrogates(0xD800, 0xDC00), 0x10000U);
  EXPECT_EQ(utf8::ofSurrogates(0xD800, 0xDFFF), 0x103FFU);
  EXPECT_EQ(utf8::ofSurrogates(0xD801, 0xDC00), 0x10400U);
  EXPECT_EQ(utf8::ofSurrogates(0xD83D, 0xDE00), 0x1F600U);
  EXPECT_EQ(utf8::ofSurrogates(0xDBFF, 0xDFFF), 0x10FFFFU);
}

}  // namespace
}  // namespace pxa
