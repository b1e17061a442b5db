#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <string_view>

#include <pxalog/Number.h>

namespace pxa {
namespace {

using namespace std::string_view_literals;

TEST(Decimal, ReadsASignDigitsAFractionAndAnExponent) {
  for (const std::string_view text :
       {"0"sv, "7"sv, "-0"sv, "+1"sv, "-1"sv, "007"sv, "0.0"sv, "1.50"sv, "-1.5e3"sv, "1e5"sv, "1E5"sv,
        "1e+5"sv, "1E-05"sv, "1.25e-10"sv, "0e0"sv, "1e999999999999999999999"sv,
        "123456789012345678901234567890.5"sv}) {
    const std::optional<Decimal> decimal = Decimal::parse(text);
    ASSERT_TRUE(decimal) << text;
    EXPECT_EQ(decimal->text().view(), text);
  }
}

TEST(Decimal, RefusesEveryOtherText) {
  for (const std::string_view text :
       {""sv,      "+"sv,   "-"sv,     "."sv,   ".5"sv,  "5."sv,   "-.5"sv, "1.e5"sv, "e5"sv,       "1e"sv,
        "1e+"sv,   "1e-"sv, "1e5.5"sv, "--1"sv, "+-1"sv, " 1"sv,   "1 "sv,  "1 2"sv,  "1,5"sv,      "1.2.3"sv,
        "1e5e5"sv, "0x1"sv, "1f"sv,    "nan"sv, "inf"sv, "-inf"sv, "1\0"sv, "\0"sv,   "\xD9\xA3"sv, "1\n"sv})
    EXPECT_FALSE(Decimal::parse(text)) << text;
}

TEST(Decimal, KeepsAThousandDigits) {
  std::string digits;
  for (int i = 0; i < 1000; ++i) digits.push_back(static_cast<char>('0' + (i * 7 + 1) % 10));
  const std::optional<Decimal> decimal = Decimal::parse(digits);
  ASSERT_TRUE(decimal);
  EXPECT_EQ(Number(*decimal).stringValue().view(), digits);
}

TEST(Decimal, GivesItsDigitsToANumberWithoutCopyingThem) {
  const std::optional<Decimal> decimal = Decimal::parse("1.50");
  ASSERT_TRUE(decimal);
  Number::TextStorage storage;
  EXPECT_EQ(Number(*decimal).text(storage).data(), decimal->text().view().data());
}

struct Conversion {
  std::string text;
  double value;
};

Number numberOf(const std::string& text) {
  return Decimal::parse(text).value();
}

TEST(Decimal, HasTheNearestDouble) {
  for (const Conversion& conversion : {
           Conversion{"0", 0},
           {"0.1", 0.1},
           {"-0.1", -0.1},
           {"+0.1", 0.1},
           {"1e3", 1000},
           {"1e-3", 0.001},
           {"123456789012345678901234567890", 1.2345678901234568e29},
           {"1e308", 1e308},
           {"5e-324", 5e-324},
           {"1." + std::string(1000, '0'), 1},
           {std::string(400, '0') + "1", 1},
       })
    EXPECT_EQ(numberOf(conversion.text).doubleValue(), conversion.value) << conversion.text;
}

TEST(Decimal, IsInfiniteAsADoubleWhereItIsTooLarge) {
  const double infinity = std::numeric_limits<double>::infinity();
  for (const Conversion& conversion : {
           Conversion{"1e400", infinity},
           {"+1e400", infinity},
           {"-1e400", -infinity},
           {"1" + std::string(400, '0'), infinity},
           {"-1" + std::string(400, '0'), -infinity},
           {"1e99999999999999999999", infinity},
           {"1" + std::string(400, '0') + "e-5", infinity},
       })
    EXPECT_EQ(numberOf(conversion.text).doubleValue(), conversion.value) << conversion.text;
}

TEST(Decimal, IsZeroAsADoubleWhereItIsTooSmall) {
  for (const std::string& text : {
           std::string("1e-400"),
           std::string("-1e-400"),
           std::string("1e-99999999999999999999"),
           "0." + std::string(400, '0') + "1",
           "-0." + std::string(400, '0') + "1",
           "0." + std::string(400, '0') + "1e5",
       })
    EXPECT_EQ(numberOf(text).doubleValue(), 0.0) << text;
}

TEST(Decimal, IsZeroWhateverTheExponentOfZero) {
  EXPECT_EQ(numberOf("0e400").doubleValue(), 0.0);
  EXPECT_EQ(numberOf("0.000e99999999999999999999").doubleValue(), 0.0);
}

}  // namespace
}  // namespace pxa
