#include <gtest/gtest.h>
#include <string>

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

TEST(ByteBlocks, TakeAnySetBitForAMark) {
  for (std::size_t place = 0; place < kBlockSize; ++place)
    for (unsigned bit = 0; bit < 8; ++bit) {
      std::string bytes(kBlockSize, '\0');
      bytes[place] = static_cast<char>(1U << bit);
      EXPECT_EQ(firstMark(loadBlock(bytes.data())), place) << bit;
      EXPECT_TRUE(hasMark(loadBlock(bytes.data()))) << place << " " << bit;
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

}  // namespace
}  // namespace pxa
