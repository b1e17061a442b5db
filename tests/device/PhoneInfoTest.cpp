#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <string>

#include <pxalog/VeskPhoneInfo.h>

#include "support/FakePlatform.h"
#include "support/values.h"

namespace pxa {
namespace {

using test::text;

class PhoneInfo : public testing::Test {
 protected:
  test::FakeDeviceFacts& facts_ = test::FakePlatform::install().device;
  VeskPhoneInfo& info_ = VeskPhoneInfo::sharedInstance();
};

TEST_F(PhoneInfo, PrefersTheFirstLanguage) {
  facts_.languages = {"ko-KR", "en-US", "de"};
  EXPECT_EQ(info_.preferedLanguage(), "ko-KR");
  facts_.languages = {"de"};
  EXPECT_EQ(info_.preferedLanguage(), "de");
}

TEST_F(PhoneInfo, PrefersNoLanguageWhereThereIsNone) {
  facts_.languages = {};
  EXPECT_TRUE(info_.preferedLanguage().isNil());
}

TEST_F(PhoneInfo, PrefersAFirstLanguageThatHasNoText) {
  facts_.languages = {"", "en-US"};
  EXPECT_EQ(info_.preferedLanguage(), "");
}

constexpr std::uint64_t kTwoTo32 = std::uint64_t{1} << 32U;
constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();

struct Memory {
  FreeMemory free;
  const char* text;
};

TEST_F(PhoneInfo, MultipliesFreePagesByTheirSize) {
  for (const Memory& memory : {
           Memory{{1000, 16384}, "16000 kB"},
           {{1, 4096}, "4 kB"},
           {{3, 1024}, "3 kB"},
           {{0, 4096}, "0 kB"},
           {{4096, 0}, "0 kB"},
           {{2'000'000, 16384}, "32000000 kB"},  // more than 32 bits of bytes
           {{kTwoTo32 - 1, 1024}, "4294967295 kB"},
       }) {
    facts_.memory = memory.free;
    EXPECT_EQ(text(info_.freeMemory()), memory.text);
  }
}

TEST_F(PhoneInfo, DropsAKilobyteThatIsNotWhollyFree) {
  for (const Memory& memory :
       {Memory{{1, 1023}, "0 kB"}, {{1, 1025}, "1 kB"}, {{2, 1023}, "1 kB"}, {{2047, 1}, "1 kB"}}) {
    facts_.memory = memory.free;
    EXPECT_EQ(text(info_.freeMemory()), memory.text);
  }
}

TEST_F(PhoneInfo, KeepsThirtyTwoBitsOfTheFreeKilobytes) {
  for (const Memory& memory : {
           Memory{{kTwoTo32, 1024}, "0 kB"},
           {{kTwoTo32 + 5, 1024}, "5 kB"},
           {{kTwoTo32, 4096}, "0 kB"},
           {{3 * kTwoTo32 + 7, 1024}, "7 kB"},
           {{kMost, 1}, "4294967295 kB"},
           {{kMost, 2}, "4294967295 kB"},  // the product wraps at 64 bits
       }) {
    facts_.memory = memory.free;
    EXPECT_EQ(text(info_.freeMemory()), memory.text);
  }
}

TEST_F(PhoneInfo, HasNoFreeMemoryToTellWhenItCannotBeRead) {
  facts_.memory = std::nullopt;
  EXPECT_TRUE(info_.freeMemory().isNil());
}

struct Space {
  std::uint64_t bytes;
  const char* text;
};

constexpr std::uint64_t kilobytes(std::uint64_t count) {
  return count * 1024;
}

TEST_F(PhoneInfo, TellsFreeSpaceInWholeKilobytes) {
  for (const Space& space : {
           Space{0, "0 kB"},
           {1, "0 kB"},
           {1023, "0 kB"},
           {1024, "1 kB"},
           {2047, "1 kB"},
           {10'000'000, "9765 kB"},
           {kTwoTo32, "4194304 kB"},
           {kilobytes(kTwoTo32 / 2), "2147483648 kB"},
       }) {
    facts_.freeBytes = space.bytes;
    EXPECT_EQ(text(info_.freeSpace()), space.text) << space.bytes;
  }
}

/// A single-precision number has 24 bits, and rounds to the nearest, halves to the even one.
TEST_F(PhoneInfo, TellsFreeSpaceInSinglePrecision) {
  constexpr std::uint64_t kTwoTo24 = std::uint64_t{1} << 24U;
  for (const Space& space : {
           Space{kTwoTo24 - 1, "16383 kB"},
           {kilobytes(kTwoTo24), "16777216 kB"},
           {kilobytes(kTwoTo24 + 1), "16777216 kB"},
           {kilobytes(kTwoTo24 + 2), "16777218 kB"},
           {kilobytes(kTwoTo24 + 3), "16777220 kB"},
           {kilobytes(100'000'001), "100000000 kB"},
           {2 * kTwoTo24 - 1, "32768 kB"},
           {kilobytes(kTwoTo32) - (1U << 18U), "4294967040 kB"},
       }) {
    facts_.freeBytes = space.bytes;
    EXPECT_EQ(text(info_.freeSpace()), space.text) << space.bytes;
  }
}

TEST_F(PhoneInfo, TellsTheLargestNumberForFreeSpaceThatDoesNotFit) {
  for (const std::uint64_t bytes : {kilobytes(kTwoTo32) - 1, kilobytes(kTwoTo32), kilobytes(kTwoTo32) + 1,
                                    kilobytes(2 * kTwoTo32), kMost / 2, kMost}) {
    facts_.freeBytes = bytes;
    EXPECT_EQ(text(info_.freeSpace()), "4294967295 kB") << bytes;
  }
}

TEST_F(PhoneInfo, HasNoFreeSpaceToTellWhenItCannotBeRead) {
  facts_.freeBytes = std::nullopt;
  EXPECT_TRUE(info_.freeSpace().isNil());
}

TEST_F(PhoneInfo, NamesTheLocaleAsTheSystemDoes) {
  for (const char* name : {"English (United States)", "한국어(대한민국)", ""}) {
    facts_.localeName = name;
    EXPECT_EQ(info_.locale(), name);
  }
}

TEST_F(PhoneInfo, HasAnEmptyTextForALocaleThatIsNotKnown) {
  facts_.localeName = nullptr;
  EXPECT_EQ(info_.locale(), "");
}

TEST_F(PhoneInfo, IsReadAnewAtEachQuestion) {
  for (const std::uint64_t count : {1U, 2U}) {
    facts_.memory = FreeMemory{.pages = count, .pageSize = 1024};
    facts_.freeBytes = kilobytes(count);
    facts_.languages = {std::to_string(count)};
    facts_.localeName = std::to_string(count);
    EXPECT_EQ(info_.freeMemory(), std::to_string(count) + " kB");
    EXPECT_EQ(info_.freeSpace(), std::to_string(count) + " kB");
    EXPECT_EQ(info_.preferedLanguage(), std::to_string(count));
    EXPECT_EQ(info_.locale(), std::to_string(count));
  }
}

TEST_F(PhoneInfo, IsJailbrokenWhereAShellStarts) {
  facts_.startsShells = true;
  EXPECT_TRUE(info_.isJailbroken());
}

TEST_F(PhoneInfo, IsNotJailbrokenWhereNoShellStarts) {
  facts_.startsShells = false;
  EXPECT_FALSE(info_.isJailbroken());
}

TEST_F(PhoneInfo, StaysJailbroken) {
  facts_.startsShells = true;
  ASSERT_TRUE(info_.isJailbroken());
  facts_.startsShells = false;
  EXPECT_TRUE(info_.isJailbroken());
}

TEST_F(PhoneInfo, StaysNotJailbroken) {
  facts_.startsShells = false;
  ASSERT_FALSE(info_.isJailbroken());
  facts_.startsShells = true;
  EXPECT_FALSE(info_.isJailbroken());
}

TEST_F(PhoneInfo, StartsOneShellInTheLifeOfTheProcess) {
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(info_.isJailbroken());
  EXPECT_EQ(facts_.shellStarts, 1);
}

TEST_F(PhoneInfo, StartsNoShellForAnotherQuestion) {
  EXPECT_TRUE(info_.preferedLanguage().isNil());
  EXPECT_TRUE(info_.freeMemory().isNil());
  EXPECT_TRUE(info_.freeSpace().isNil());
  EXPECT_FALSE(info_.locale().isNil());
  EXPECT_EQ(facts_.shellStarts, 0);
}

}  // namespace
}  // namespace pxa
