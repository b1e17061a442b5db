#include <gtest/gtest.h>
#include <string>
#include <string_view>

#include "json/digits.h"

namespace pxa {
namespace {

TEST(Digits, AreTakenUpToTheFirstByteThatIsNone) {
  const std::string digits = "90817263544536271809";
  for (std::size_t count = 0; count < digits.size(); ++count)
    for (int i = 0; i < 256; ++i) {
      if (i >= '0' && i <= '9') continue;
      const std::string text = digits.substr(0, count) + static_cast<char>(i) + "1234567890";
      std::uint64_t number = 0;
      const char* const end = takeDigits(text.data(), text.data() + text.size(), number);
      ASSERT_EQ(static_cast<std::size_t>(end - text.data()), count) << i;
      ASSERT_EQ(number, count == 0 ? 0 : std::stoull(digits.substr(0, count))) << i;
    }
}

TEST(Digits, AreTakenUpToTheEndOfTheText) {
  const std::string digits = "1234567890123456789";
  for (std::size_t count = 0; count <= digits.size(); ++count) {
    std::uint64_t number = 0;
    const std::string text = digits.substr(0, count);
    EXPECT_EQ(takeDigits(text.data(), text.data() + count, number), text.data() + count);
    EXPECT_EQ(number, count == 0 ? 0 : std::stoull(text));
  }
}

TEST(Digits, AreAppendedToThoseBefore) {
  const std::string_view text = "250000000001";
  std::uint64_t number = 17;
  takeDigits(text.data(), text.data() + text.size(), number);
  EXPECT_EQ(number, 17'250'000'000'001U);
}

TEST(Digits, AreEachWorthTheirValueAtEveryPlaceOfABlock) {
  for (std::size_t place = 0; place < kDigitBlockSize; ++place)
    for (char digit = '0'; digit <= '9'; ++digit) {
      std::string text = "00000000";
      text[place] = digit;
      const DigitBlock block = loadDigits(text.data());
      EXPECT_EQ(block.count, kDigitBlockSize);
      EXPECT_EQ(block.number, std::stoull(text));
    }
}

}  // namespace
}  // namespace pxa
