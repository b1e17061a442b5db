#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

#include <pxalog/Data.h>
#include <pxalog/String.h>

#include "foundation/ByteBuffer.h"

namespace pxa {
namespace {

TEST(ByteBuffer, IsEmptyAtFirst) {
  const ByteBuffer buffer;
  EXPECT_EQ(buffer.size(), 0U);
  EXPECT_TRUE(buffer.view().empty());
}

TEST(ByteBuffer, FinishesToNoBytesWhenNothingWasAppended) {
  ByteBuffer buffer;
  const Data data = buffer.finish();
  EXPECT_FALSE(data.isNil());
  EXPECT_EQ(data.size(), 0U);
}

TEST(ByteBuffer, KeepsWhatIsAppendedInOrder) {
  ByteBuffer buffer;
  buffer.append('a');
  buffer.append("bcd");
  buffer.append(std::string_view());
  buffer.append('\0');
  EXPECT_EQ(buffer.view(), std::string_view("abcd\0", 5));
}

TEST(ByteBuffer, KeepsWhatIsCommittedOfWhatWasReserved) {
  ByteBuffer buffer;
  std::memcpy(buffer.reserve(100), "abcdef", 6);
  buffer.commit(3);
  EXPECT_EQ(buffer.view(), "abc");
}

TEST(ByteBuffer, KeepsWhatIsCommittedUpToAPlace) {
  ByteBuffer buffer;
  buffer.append("ab");
  char* const to = buffer.reserve(100);
  std::memcpy(to, "cdef", 4);
  buffer.commitUpTo(to + 2);
  EXPECT_EQ(buffer.view(), "abcd");
}

TEST(ByteBuffer, ForgetsWhatWasReservedAndNotCommitted) {
  ByteBuffer buffer;
  std::memcpy(buffer.reserve(3), "abc", 3);
  EXPECT_EQ(buffer.size(), 0U);
}

TEST(ByteBuffer, HoldsTheSameBytesAtEverySizeAroundItsGrowth) {
  for (std::size_t size = 0; size < 2100; ++size) {
    ByteBuffer buffer;
    std::string expected;
    for (std::size_t i = 0; i < size; ++i) {
      const char byte = static_cast<char>('a' + i % 26);
      buffer.append(byte);
      expected.push_back(byte);
    }
    ASSERT_EQ(buffer.finish().view(), expected);
  }
}

TEST(ByteBuffer, TakesAPieceOfEverySizeAroundItsGrowth) {
  for (const std::size_t size : {1U, 254U, 255U, 256U, 257U, 258U, 511U, 512U, 513U, 100'000U}) {
    ByteBuffer buffer;
    buffer.append("x");
    buffer.append(std::string(size, 'y'));
    ASSERT_EQ(buffer.view(), "x" + std::string(size, 'y'));
  }
}

TEST(ByteBuffer, FinishesWithANulThatDoesNotCount) {
  for (const std::size_t size : {0U, 1U, 255U, 256U, 257U}) {
    ByteBuffer buffer;
    buffer.append(std::string(size, 'x'));
    const String text = String::fromUtf8(buffer.finish());
    EXPECT_EQ(text.size(), size);
    EXPECT_EQ(std::strlen(text.c_str()), size);
  }
}

TEST(ByteBuffer, FinishesToABufferThatATextShares) {
  ByteBuffer buffer;
  buffer.append("text");
  const Data data = buffer.finish();
  EXPECT_EQ(String::fromUtf8(data).view().data(), data.view().data());
}

TEST(ByteBuffer, IsEmptyAfterItsFinish) {
  ByteBuffer buffer;
  buffer.append("first");
  const Data first = buffer.finish();
  EXPECT_EQ(buffer.size(), 0U);
  buffer.append("second");
  EXPECT_EQ(buffer.finish().view(), "second");
  EXPECT_EQ(first.view(), "first");
}

TEST(ByteBuffer, FinishesToBytesThatMayBeBroken) {
  ByteBuffer buffer;
  buffer.append("\xFF");
  EXPECT_FALSE(buffer.finish().isUtf8());
}

TEST(ByteBuffer, CutsWhatWasAppendedBehindASize) {
  ByteBuffer buffer;
  buffer.append("abcdef");
  buffer.truncate(3);
  EXPECT_EQ(buffer.view(), "abc");
}

TEST(ByteBuffer, GoesOnWhereItWasCut) {
  ByteBuffer buffer;
  buffer.append("abcdef");
  buffer.truncate(3);
  buffer.append("X");
  EXPECT_EQ(buffer.finish().view(), "abcX");
}

TEST(ByteBuffer, FinishesToNoBytesWhenAllWasCut) {
  ByteBuffer buffer;
  buffer.append("abcdef");
  buffer.truncate(0);
  const Data data = buffer.finish();
  EXPECT_FALSE(data.isNil());
  EXPECT_EQ(data.size(), 0U);
}

}  // namespace
}  // namespace pxa
