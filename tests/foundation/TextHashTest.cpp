#include <cstdint>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <string_view>
#include <unordered_set>

#include "foundation/text_hash.h"

namespace pxa {
namespace {

constexpr std::size_t kLongest = 40;

/// Bytes of every kind, the same ones in each run.
std::string someText(std::size_t length) {
  std::mt19937 random(20'261'121);
  std::string text;
  while (text.size() < length) text += static_cast<char>(static_cast<unsigned char>(random()));
  return text;
}

TEST(TextHash, IsEqualForEqualTextsWhereverTheyLie) {
  for (std::size_t length = 0; length <= kLongest; ++length) {
    const std::string text = someText(length);
    for (std::size_t shift = 0; shift < 16; ++shift) {
      const std::string elsewhere = std::string(shift, '<') + text + ">>>>";
      EXPECT_EQ(textHash(std::string_view(elsewhere).substr(shift, length)), textHash(text))
          << length << " " << shift;
    }
  }
}

TEST(TextHash, TakesAViewOfNothingForTheEmptyText) {
  EXPECT_EQ(textHash(std::string_view()), textHash(""));
}

TEST(TextHash, ChangesInNearlyAllCasesWithAnyByte) {
  int changes = 0;
  int collisions = 0;
  for (std::size_t length = 1; length <= kLongest; ++length) {
    const std::string text = someText(length);
    const std::uint32_t hash = textHash(text);
    for (std::size_t place = 0; place < length; ++place)
      for (int difference = 1; difference < 256; ++difference) {
        std::string changed = text;
        changed[place] = static_cast<char>(changed[place] ^ difference);
        ++changes;
        if (textHash(changed) == hash) ++collisions;
      }
  }
  EXPECT_LT(collisions, 5) << "of " << changes;
}

TEST(TextHash, ChangesInNearlyAllCasesWithTheLength) {
  for (const char character : {'\0', 'a', '\xFF'}) {
    std::unordered_set<std::uint32_t> hashes;
    for (std::size_t length = 0; length <= kLongest; ++length)
      hashes.insert(textHash(std::string(length, character)));
    EXPECT_GT(hashes.size(), kLongest - 2);
  }
}

TEST(TextHash, SpreadsNumberedKeys) {
  constexpr std::size_t kKeys = 10'000;
  std::unordered_set<std::uint32_t> hashes;
  std::unordered_set<std::uint32_t> lowBits;
  for (std::size_t i = 0; i < kKeys; ++i) {
    const std::uint32_t hash = textHash("key" + std::to_string(i));
    hashes.insert(hash);
    lowBits.insert(hash % 1024);
  }
  EXPECT_GT(hashes.size(), kKeys - 20);
  EXPECT_GT(lowBits.size(), 1000U);
}

}  // namespace
}  // namespace pxa
