#include <gtest/gtest.h>
#include <string>
#include <string_view>

#include "foundation/base64.h"

namespace pxa {
namespace {

TEST(Base64, IsEmptyForNoBytes) {
  EXPECT_EQ(base64(""), "");
}

TEST(Base64, FillsTheLastGroupWithEqualsSigns) {
  EXPECT_EQ(base64("M"), "TQ==");
  EXPECT_EQ(base64("Ma"), "TWE=");
  EXPECT_EQ(base64("Man"), "TWFu");
  EXPECT_EQ(base64("Many"), "TWFueQ==");
}

TEST(Base64, TakesBytesThatAreZero) {
  EXPECT_EQ(base64(std::string(1, '\0')), "AA==");
  EXPECT_EQ(base64(std::string(3, '\0')), "AAAA");
}

TEST(Base64, WritesEveryByte) {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(static_cast<unsigned char>(byte));
  EXPECT_EQ(base64(bytes),
            "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygpKissLS4vMDEyMzQ1Njc4OTo7PD0+P0BBQkNERUZH"
            "SElKS0xNTk9QUVJTVFVWV1hZWltcXV5fYGFiY2RlZmdoaWprbG1ub3BxcnN0dXZ3eHl6e3x9fn+AgYKDhIWGh4iJiouMjY6P"
            "kJGSk5SVlpeYmZqbnJ2en6ChoqOkpaanqKmqq6ytrq+wsbKztLW2t7i5uru8vb6/wMHCw8TFxsfIycrLzM3Oz9DR0tPU1dbX"
            "2Nna29zd3t/g4eLj5OXm5+jp6uvs7e7v8PHy8/T19vf4+fr7/P3+/w==");
}

TEST(Base64, BreaksNoLines) {
  const std::string text = base64(std::string(100'000, 'x'));
  EXPECT_EQ(text.size(), 4 * ((100'000 + 2) / 3));
  EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos);
}

}  // namespace
}  // namespace pxa
