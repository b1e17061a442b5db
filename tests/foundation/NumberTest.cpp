#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <pxalog/Number.h>

namespace pxa {
namespace {

using Kind = Number::Kind;

constexpr std::int64_t kMin64 = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax64 = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t kMaxU64 = std::numeric_limits<std::uint64_t>::max();
constexpr std::int32_t kMin32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMax32 = std::numeric_limits<std::int32_t>::max();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr float kFloatInfinity = std::numeric_limits<float>::infinity();

Number decimal(const std::string& digits) {
  return Decimal::parse(digits).value();
}

TEST(Number, RemembersTheKindItWasStoredAs) {
  const std::vector<std::pair<Number, Kind>> numbers{
      {true, Kind::Char},
      {'a', Kind::Char},
      {static_cast<signed char>(1), Kind::Int8},
      {static_cast<short>(1), Kind::Int16},
      {1, Kind::Int32},
      {1L, Kind::Int64},
      {1LL, Kind::Int64},
      {static_cast<unsigned char>(1), Kind::Int16},
      {static_cast<unsigned short>(1), Kind::Int32},
      {1U, Kind::Int64},
      {1UL, Kind::UInt64},
      {1ULL, Kind::UInt64},
      {1.0F, Kind::Float},
      {1.0, Kind::Double},
      {decimal("1"), Kind::Decimal},
  };
  for (std::size_t i = 0; i < numbers.size(); ++i) EXPECT_EQ(numbers[i].first.kind(), numbers[i].second) << i;
}

TEST(Number, WritesEveryKindAsText) {
  const std::vector<std::pair<Number, std::string>> numbers{
      {false, "0"},
      {true, "1"},
      {static_cast<char>(2), "2"},
      {static_cast<signed char>(-128), "-128"},
      {static_cast<unsigned char>(255), "255"},
      {std::numeric_limits<short>::min(), "-32768"},
      {std::numeric_limits<unsigned short>::max(), "65535"},
      {kMin32, "-2147483648"},
      {std::numeric_limits<unsigned int>::max(), "4294967295"},
      {kMin64, "-9223372036854775808"},
      {kMax64, "9223372036854775807"},
      {kMaxU64, "18446744073709551615"},
      {0.0, "0"},
      {1.0, "1"},
      {-1.5, "-1.5"},
      {0.1, "0.1"},
      {0.1F, "0.1"},
      {16777216.0F, "16777216"},
      {3.4028235e38F, "3.4028235e+38"},
      {1e300, "1e+300"},
      {5e-324, "5e-324"},
      {0.30000000000000004, "0.30000000000000004"},
      {-0.0, "-0"},
      {-0.25, "-0.25"},
      {0.001, "0.001"},
      {0.0001, "1e-04"},
      {10000.0, "10000"},
      {100000.0, "1e+05"},
      {-1234500000.0, "-1234500000"},
      {99999.999, "99999.999"},
      {999999999999.999, "999999999999.999"},
      {1000000000000.5, "1000000000000.5"},
      {1.7976931348623157e308, "1.7976931348623157e+308"},
      {decimal("-001.50E+07"), "-001.50E+07"},
  };
  for (const auto& [number, text] : numbers) EXPECT_EQ(number.stringValue().view(), text);
}

TEST(Number, WritesADoubleThatReadsBackToTheSame) {
  for (const double value : {1.0 / 3, 2.0 / 3, 1e22, 1e23, 123456.789, 4.35, 100000.0, 9007199254740993.0,
                             -0.0, 2.2250738585072011e-308, std::nextafter(1.0, 2.0)}) {
    const double readBack = std::strtod(Number(value).stringValue().c_str(), nullptr);
    EXPECT_EQ(readBack, value);
    EXPECT_EQ(std::signbit(readBack), std::signbit(value));
  }
}

TEST(Number, WritesAFloatThatReadsBackToTheSameFloat) {
  for (const float value : {1.0F / 3, 16777217.0F, 1e-45F, 3.14159274F, 1e10F})
    EXPECT_EQ(std::strtof(Number(value).stringValue().c_str(), nullptr), value);
}

TEST(Number, WritesADoubleOfFewDigitsLikeAnyOther) {
  std::mt19937_64 random(20'240'918);
  for (int i = 0; i < 200'000; ++i) {
    const std::uint64_t digits = random() >> random() % 64;
    const double value =
        (i % 2 == 0 ? 1 : -1) * static_cast<double>(digits) / std::pow(10, static_cast<double>(random() % 7));
    std::array<char, 64> expected{};
    std::to_chars(expected.data(), expected.data() + expected.size(), value);
    ASSERT_EQ(Number(value).stringValue(), expected.data());
  }
}

TEST(Number, WritesWhatIsNotFiniteAsAWord) {
  const std::vector<std::pair<Number, std::string>> numbers{
      {kNan, "nan"},
      {std::copysign(kNan, -1.0), "nan"},
      {std::copysign(static_cast<float>(kNan), -1.0F), "nan"},
      {kInfinity, "inf"},
      {-kInfinity, "-inf"},
      {kFloatInfinity, "inf"},
      {-kFloatInfinity, "-inf"},
  };
  for (const auto& [number, text] : numbers) EXPECT_EQ(number.stringValue().view(), text);
}

TEST(Number, WritesTheSameTextWithAndWithoutAnAllocation) {
  for (const Number& number : {Number(kMin64), Number(kMaxU64), Number(-1.7976931348623157e308), Number(0.1F),
                               Number(true), decimal(std::string(1000, '7'))}) {
    Number::TextStorage storage;
    EXPECT_EQ(number.text(storage), number.stringValue().view());
  }
}

TEST(Number, KeepsTheTextOfADecimalAsLongAsTheNumberLives) {
  const Number number = decimal(std::string(1000, '7'));
  Number::TextStorage storage;
  EXPECT_EQ(number.text(storage), std::string(1000, '7'));
}

TEST(Number, IsFalseForZeroAlone) {
  const std::vector<std::pair<Number, bool>> numbers{
      {false, false},
      {true, true},
      {0, false},
      {-1, true},
      {0ULL, false},
      {kMaxU64, true},
      {0.0, false},
      {-0.0, false},
      {0.5, true},
      {5e-324, true},
      {0.0F, false},
      {1e-45F, true},
      {kInfinity, true},
      {kNan, true},
      {decimal("0"), false},
      {decimal("-0.00e5"), false},
      {decimal("0.5"), true},
  };
  for (std::size_t i = 0; i < numbers.size(); ++i)
    EXPECT_EQ(numbers[i].first.boolValue(), numbers[i].second) << i;
}

TEST(Number, IsTrueForADecimalTooSmallForADouble) {
  EXPECT_TRUE(decimal("1e-400").boolValue());
}

struct Conversion {
  Number number;
  std::int64_t longLongValue;
  std::int32_t intValue;
};

std::vector<Conversion> conversions() {
  return {
      {true, 1, 1},
      {static_cast<char>(2), 2, 2},
      {static_cast<signed char>(-1), -1, -1},
      {kMax32, kMax32, kMax32},
      {kMin64, kMin64, kMin32},
      {kMax64, kMax64, kMax32},
      {2147483648LL, 2147483648LL, kMax32},
      {-2147483649LL, -2147483649LL, kMin32},
      {kMaxU64, kMax64, kMax32},
      {9223372036854775808ULL, kMax64, kMax32},
      {2.9, 2, 2},
      {-2.9, -2, -2},
      {0.9F, 0, 0},
      {-0.0, 0, 0},
      {1e300, kMax64, kMax32},
      {-1e300, kMin64, kMin32},
      {9223372036854775808.0, kMax64, kMax32},
      {9223372036854774784.0, 9223372036854774784LL, kMax32},
      {-9223372036854775808.0, kMin64, kMin32},
      {9.2233720368547758e18F, kMax64, kMax32},
      {kInfinity, kMax64, kMax32},
      {-kInfinity, kMin64, kMin32},
      {kFloatInfinity, kMax64, kMax32},
      {kNan, 0, 0},
      {std::numeric_limits<float>::quiet_NaN(), 0, 0},
      {decimal("12.9"), 12, 12},
      {decimal("-12.9"), -12, -12},
      {decimal("1e400"), kMax64, kMax32},
      {decimal("-1e400"), kMin64, kMin32},
      {decimal("1e-400"), 0, 0},
      {decimal(std::string(1000, '9')), kMax64, kMax32},
      {decimal("-" + std::string(1000, '9')), kMin64, kMin32},
      {decimal("9223372036854775807"), kMax64, kMax32},
      {decimal("-9223372036854775808"), kMin64, kMin32},
  };
}

TEST(Number, CutsFractionsAndStopsAtTheLimitsOfALongInteger) {
  for (const Conversion& conversion : conversions())
    EXPECT_EQ(conversion.number.longLongValue(), conversion.longLongValue)
        << conversion.number.stringValue().c_str();
}

TEST(Number, CutsFractionsAndStopsAtTheLimitsOfAnInteger) {
  for (const Conversion& conversion : conversions())
    EXPECT_EQ(conversion.number.intValue(), conversion.intValue) << conversion.number.stringValue().c_str();
}

TEST(Number, GivesADecimalIntegerExactly) {
  EXPECT_EQ(decimal("9007199254740993").longLongValue(), 9007199254740993);
  EXPECT_EQ(decimal("9223372036854775806").longLongValue(), kMax64 - 1);
}

TEST(Number, StopsAtZeroAsAnUnsignedInteger) {
  for (const Number& number : {Number(-1), Number(kMin64), Number(-1.5), Number(-kInfinity), Number(kNan),
                               Number(static_cast<signed char>(-1)), decimal("-5")})
    EXPECT_EQ(number.unsignedLongLongValue(), 0U) << number.stringValue().c_str();
}

TEST(Number, GivesIntegersAsUnsignedIntegers) {
  EXPECT_EQ(Number(kMaxU64).unsignedLongLongValue(), kMaxU64);
  EXPECT_EQ(Number(kMax64).unsignedLongLongValue(), static_cast<std::uint64_t>(kMax64));
  EXPECT_EQ(Number(2.9).unsignedLongLongValue(), 2U);
}

TEST(Number, GivesADoubleAboveTheSignedLimitAsAnUnsignedInteger) {
  EXPECT_EQ(Number(1e19).unsignedLongLongValue(), 10'000'000'000'000'000'000ULL);
}

TEST(Number, StopsAtTheLargestUnsignedInteger) {
  EXPECT_EQ(Number(1e300).unsignedLongLongValue(), kMaxU64);
  EXPECT_EQ(Number(18446744073709551616.0).unsignedLongLongValue(), kMaxU64);
  EXPECT_EQ(Number(kInfinity).unsignedLongLongValue(), kMaxU64);
}

TEST(Number, GivesADecimalAboveTheSignedLimitAsAnUnsignedInteger) {
  EXPECT_EQ(decimal("18446744073709551615").unsignedLongLongValue(), kMaxU64);
}

TEST(Number, GivesEveryKindAsADouble) {
  EXPECT_EQ(Number(true).doubleValue(), 1.0);
  EXPECT_EQ(Number(-7).doubleValue(), -7.0);
  EXPECT_EQ(Number(kMaxU64).doubleValue(), 18446744073709551616.0);
  EXPECT_EQ(Number(0.5F).doubleValue(), 0.5);
  EXPECT_EQ(Number(0.1).doubleValue(), 0.1);
  EXPECT_EQ(decimal("0.1").doubleValue(), 0.1);
}

TEST(Number, EqualsTheSameValueOfTheSameKind) {
  EXPECT_TRUE(Number(5) == Number(5));
  EXPECT_TRUE(Number(0.1) == Number(0.1));
  EXPECT_TRUE(Number(5ULL) == Number(5UL));
  EXPECT_FALSE(Number(5) == Number(6));
}

TEST(Number, DoesNotEqualTheSameValueOfAnotherKind) {
  EXPECT_FALSE(Number(1) == Number(true));
  EXPECT_FALSE(Number(1) == Number(1LL));
  EXPECT_FALSE(Number(1.0) == Number(1.0F));
  EXPECT_FALSE(Number(1) == decimal("1"));
}

TEST(Number, ComparesDecimalsByTheirDigits) {
  EXPECT_TRUE(decimal("1.50") == decimal("1.50"));
  EXPECT_FALSE(decimal("1.50") == decimal("1.5"));
}

TEST(Number, TellsACharacterThatIsNeitherTrueNorFalse) {
  EXPECT_FALSE(Number(static_cast<char>(2)) == Number(true));
  EXPECT_TRUE(Number(static_cast<char>(1)) == Number(true));
}

TEST(Number, TakesTheKindAndValueOfWhatIsAssigned) {
  Number number = decimal("123456789012345678901234567890");
  number = Number(0.5F);
  EXPECT_TRUE(number == Number(0.5F));
  number = decimal("7");
  EXPECT_TRUE(number == decimal("7"));
}

TEST(Number, SurvivesAssignmentToItself) {
  Number number = decimal("123");
  const Number& same = number;
  number = same;
  EXPECT_EQ(number.stringValue(), "123");
}

TEST(Number, ADecimalLivesOnInACopy) {
  Number number = decimal("123");
  const Number copy = number;
  number = 0;
  EXPECT_EQ(copy.stringValue(), "123");
}

}  // namespace
}  // namespace pxa
