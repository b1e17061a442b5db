#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "foundation/byte_blocks.h"

namespace pxa {
namespace {

TEST(ByteBlocks, HaveNoMarkWhereNoByteIsFound) {
  const ByteBlock block = loadBlock(std::string(kBlockSize, 'a').data());
  EXPECT_EQ(firstMark(block == static_cast<std::uint8_t>('x')), kBlockSize);
  EXPECT_FALSE(hasMark(block == static_cast<std::uint8_t>('x')));
}

TEST(ByteBlocks, HaveAMarkWhereverTheByteIsFound) {
  for (std::size_t place = 0; place < kBlockSize; ++place) {
    std::string bytes(kBlockSize, 'a');
    bytes[place] = 'x';
    const auto marks = loadBlock(bytes.data()) == static_cast<std::uint8_t>('x');
    EXPECT_EQ(firstMark(marks), place);
    EXPECT_TRUE(hasMark(marks)) << place;
  }
}

TEST(ByteBlocks, GiveTheFirstOfSeveralMarks) {
  for (std::size_t first = 0; first < kBlockSize; ++first)
    for (std::size_t second = first; second < kBlockSize; ++second) {
      std::string bytes(kBlockSize, 'a');
      bytes[first] = 'x';
      bytes[second] = 'x';
      EXPECT_EQ(firstMark(loadBlock(bytes.data()) == static_cast<std::uint8_t>('x')), first) << second;
    }
}

TEST(ByteBlocks, HaveAMarkWhereverTheHighestBitIsSet) {
  for (std::size_t place = 0; place < kBlockSize; ++place) {
    std::string bytes(kBlockSize, '\0');
    bytes[place] = '\x80';
    EXPECT_EQ(firstMark(loadBlock(bytes.data())), place);
    EXPECT_TRUE(hasMark(loadBlock(bytes.data()))) << place;
  }
}

TEST(ByteBlocks, AreLoadedFromAndStoredToAnyAddress) {
  std::string from;
  while (from.size() < 3 * kBlockSize) from += static_cast<char>(from.size() + 0x70);
  for (std::size_t shift = 0; shift < kBlockSize; ++shift) {
    std::string to(3 * kBlockSize, '.');
    storeBlock(to.data() + shift, loadBlock(from.data() + shift));
    EXPECT_EQ(to, std::string(shift, '.') + from.substr(shift, kBlockSize) +
                      std::string(2 * kBlockSize - shift, '.'));
  }
}

std::string bytesOf(const ByteBlock& block) {
  std::string bytes(kBlockSize, '.');
  storeBlock(bytes.data(), block);
  return bytes;
}

TEST(ByteBlocks, AreFilledWithZerosBehindFewerBytes) {
  for (std::size_t count = 0; count < kBlockSize; ++count) {
    const std::string all = "abcdefghijklmnop";
    const std::vector<char> exactlyThese(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(count));
    EXPECT_EQ(bytesOf(loadBlock(exactlyThese.data(), count)),
              all.substr(0, count) + std::string(kBlockSize - count, '\0'));
  }
}

TEST(ByteBlocks, AreFilledWithOneByte) {
  EXPECT_EQ(bytesOf(blockOf('x')), std::string(kBlockSize, 'x'));
}

template <class Word>
void expectBytesOfBoth(const std::string& first, const std::string& last) {
  const std::string bytes = bytesOf(blockOf(loadWord<Word>(first.data()), loadWord<Word>(last.data())));
  for (std::size_t i = 0; i < kBlockSize; i += sizeof(Word)) {
    const std::string word = bytes.substr(i, sizeof(Word));
    EXPECT_TRUE(word == first || word == last) << bytes;
  }
  EXPECT_NE(bytes.find(first), std::string::npos);
  EXPECT_NE(bytes.find(last), std::string::npos);
}

TEST(ByteBlocks, AreFilledWithTwoWordsAndNothingElse) {
  expectBytesOfBoth<std::uint8_t>("a", "b");
  expectBytesOfBoth<std::uint16_t>("ab", "cd");
  expectBytesOfBoth<std::uint32_t>("abcd", "efgh");
  expectBytesOfBoth<std::uint64_t>("abcdefgh", "ijklmnop");
}

}  // namespace
}  // namespace pxa
