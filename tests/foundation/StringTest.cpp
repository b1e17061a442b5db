#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <vector>

#include <pxalog/Data.h>
#include <pxalog/String.h>

namespace pxa {
namespace {

using namespace literals;
using namespace std::string_view_literals;

constexpr std::int64_t kMin64 = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax64 = std::numeric_limits<std::int64_t>::max();
constexpr std::int32_t kMin32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMax32 = std::numeric_limits<std::int32_t>::max();

/// What a call of the interface sees of an argument.
String argument(const String& text) {
  return text;
}

static_assert(std::is_convertible_v<const char*, String>);
static_assert(std::is_convertible_v<std::string, String>);
static_assert(std::is_convertible_v<std::string_view, String>);
static_assert(std::is_convertible_v<std::nullptr_t, String>);
static_assert(std::is_nothrow_default_constructible_v<String>);

TEST(String, IsNilWhenMadeOfNothing) {
  EXPECT_TRUE(String().isNil());
}

TEST(String, TakesALiteral) {
  EXPECT_EQ(argument("hello").view(), "hello");
}

TEST(String, TakesAStdString) {
  EXPECT_EQ(argument(std::string("hello")).view(), "hello");
}

TEST(String, TakesAStdStringView) {
  EXPECT_EQ(argument("hello there"sv.substr(0, 5)).view(), "hello");
}

TEST(String, IsNilForNullptr) {
  EXPECT_TRUE(argument(nullptr).isNil());
}

TEST(String, IsNilForANullCharacterPointer) {
  const char* volatile none = nullptr;
  EXPECT_TRUE(argument(none).isNil());
}

TEST(String, IsNotNilForAnEmptyLiteral) {
  EXPECT_FALSE(argument("").isNil());
}

TEST(String, IsNotNilForAnEmptyStdString) {
  EXPECT_FALSE(argument(std::string()).isNil());
}

TEST(String, IsNotNilForAnEmptyStdStringView) {
  EXPECT_FALSE(argument(std::string_view()).isNil());
}

TEST(String, TellsNilFromTheEmptyText) {
  EXPECT_FALSE(String() == String(""));
}

TEST(String, NilEqualsNil) {
  EXPECT_TRUE(String() == String(nullptr));
}

TEST(String, NilEqualsANullCharacterPointer) {
  const char* volatile none = nullptr;
  const char* pointer = none;
  EXPECT_TRUE(String() == pointer);
  EXPECT_FALSE(String("") == pointer);
}

TEST(String, NilDoesNotEqualAnEmptyLiteral) {
  EXPECT_FALSE(String() == "");
  EXPECT_TRUE(String("") == "");
}

TEST(String, ComparesTexts) {
  EXPECT_TRUE(String("abc") == String(std::string("abc")));
  EXPECT_FALSE(String("abc") == String("abd"));
  EXPECT_FALSE(String("abc") == String("ab"));
}

TEST(String, CountsNilAndTheEmptyTextAsEmpty) {
  EXPECT_TRUE(String().isEmpty());
  EXPECT_TRUE(String("").isEmpty());
  EXPECT_FALSE(String(" ").isEmpty());
}

TEST(String, CountsBytesNotCharacters) {
  EXPECT_EQ(String().size(), 0U);
  EXPECT_EQ(String("\xC3\xA4").size(), 2U);
}

TEST(String, EndsWithANulThatDoesNotCount) {
  const String text(std::string(300, 'x'));
  EXPECT_EQ(text.c_str()[300], '\0');
  EXPECT_EQ(text.size(), 300U);
}

TEST(String, HasAnEmptyCStringForNil) {
  EXPECT_STREQ(String().c_str(), "");
}

TEST(String, KeepsNulCharactersInside) {
  EXPECT_EQ(String("a\0b"sv).view(), "a\0b"sv);
  EXPECT_FALSE(String("a\0b"sv) == String("a"));
}

TEST(String, DoesNotDependOnTheBytesItWasMadeOf) {
  std::string source = "before";
  const String text(source);
  source = "afterw";
  EXPECT_EQ(text, "before");
}

TEST(String, SharesItsBufferWithItsCopies) {
  const String text("shared");
  const std::vector<String> copies(3, text);
  for (const String& copy : copies) EXPECT_EQ(copy.view().data(), text.view().data());
}

TEST(String, LivesOnInACopy) {
  String text("shared");
  const String copy = text;
  text = nullptr;
  EXPECT_EQ(copy, "shared");
}

TEST(String, SurvivesAssignmentToItself) {
  String text("self");
  const String& same = text;
  text = same;
  EXPECT_EQ(text, "self");
}

TEST(String, MayBeCopiedByManyThreadsAtOnce) {
  const String text("shared");
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&text] {
      for (int copies = 0; copies < 10'000; ++copies) EXPECT_EQ(argument(text).size(), 6U);
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(text, "shared");
}

TEST(String, RepairsBytesThatAreNotUtf8WithTheReplacementCharacter) {
  EXPECT_EQ(String("a\xFFz"), "a\xEF\xBF\xBDz");
  EXPECT_EQ(String("a\xFFz"sv), "a\xEF\xBF\xBDz");
  EXPECT_EQ(String(std::string("a\xFFz")), "a\xEF\xBF\xBDz");
}

TEST(String, PutsOneReplacementCharacterForEachMaximalBrokenPart) {
  EXPECT_EQ(String("\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41"),
            "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"
            "A");
}

TEST(String, LiteralsOfTheSameTextShareOneBuffer) {
  EXPECT_EQ("INFO"_text.view().data(), "INFO"_text.view().data());
}

TEST(String, ALiteralHoldsItsText) {
  EXPECT_EQ("INFO"_text, "INFO");
  EXPECT_EQ("INFO"_text.c_str()[4], '\0');
}

TEST(String, AnEmptyLiteralIsNotNil) {
  EXPECT_FALSE(""_text.isNil());
  EXPECT_TRUE(""_text.isEmpty());
}

/// A count would pass its largest value, or come to zero and free what was never allocated.
TEST(String, ALiteralIsNotCounted) {
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(argument("uncounted"_text), "uncounted");
  const std::vector<String> copies(1000, "uncounted"_text);
  EXPECT_EQ(copies.back().view().data(), "uncounted"_text.view().data());
}

TEST(String, GivesItsBytesWithoutCopyingThem) {
  const String text("bytes");
  EXPECT_EQ(text.utf8().view().data(), text.view().data());
}

TEST(String, GivesNilBytesForNil) {
  EXPECT_TRUE(String().utf8().isNil());
}

TEST(String, GivesEmptyBytesForTheEmptyText) {
  EXPECT_FALSE(String("").utf8().isNil());
  EXPECT_EQ(String("").utf8().size(), 0U);
}

TEST(String, TakesValidBytesWithoutCopyingThem) {
  const Data bytes("bytes"sv);
  EXPECT_EQ(String::fromUtf8(bytes).view().data(), bytes.view().data());
}

TEST(String, OutlivesTheBytesItWasMadeOf) {
  Data bytes("bytes"sv);
  const String text = String::fromUtf8(bytes);
  bytes = nullptr;
  EXPECT_EQ(text, "bytes");
}

TEST(String, GivesTheBytesOfALiteralThatOutliveIt) {
  const Data bytes = "constant bytes"_text.utf8();
  EXPECT_EQ(bytes.view(), "constant bytes");
}

TEST(String, IsNilForBytesThatAreNotUtf8) {
  EXPECT_TRUE(String::fromUtf8(Data("\xFF"sv)).isNil());
}

TEST(String, IsNilForNilBytes) {
  EXPECT_TRUE(String::fromUtf8(nullptr).isNil());
}

TEST(String, IsEmptyForEmptyBytes) {
  EXPECT_FALSE(String::fromUtf8(Data(""sv)).isNil());
  EXPECT_TRUE(String::fromUtf8(Data(""sv)).isEmpty());
}

struct IntegerText {
  String text;
  std::int64_t longLongValue;
  std::int32_t intValue;
};

const std::vector<IntegerText>& integerTexts() {
  static const auto& texts = *new std::vector<IntegerText>{
      {"0", 0, 0},
      {"42", 42, 42},
      {"+42", 42, 42},
      {"-42", -42, -42},
      {"007", 7, 7},
      {" \t\n\v\f\r12", 12, 12},
      {" -12", -12, -12},
      {"12abc", 12, 12},
      {"12.9", 12, 12},
      {"1e3", 1, 1},
      {"0x1F", 0, 0},
      {"12 34", 12, 12},
      {"12\0"
       "34"sv,
       12, 12},
      {nullptr, 0, 0},
      {"", 0, 0},
      {"   ", 0, 0},
      {"abc", 0, 0},
      {"-", 0, 0},
      {"+", 0, 0},
      {"- 5", 0, 0},
      {"+-5", 0, 0},
      {"--5", 0, 0},
      {".5", 0, 0},
      {"\xC2\xA0"
       "5",
       0, 0},
      {"2147483647", kMax32, kMax32},
      {"2147483648", 2147483648, kMax32},
      {"-2147483648", kMin32, kMin32},
      {"-2147483649", -2147483649, kMin32},
      {"9223372036854775807", kMax64, kMax32},
      {"9223372036854775808", kMax64, kMax32},
      {"-9223372036854775808", kMin64, kMin32},
      {"-9223372036854775809", kMin64, kMin32},
      {"18446744073709551616", kMax64, kMax32},
      {"-18446744073709551615", kMin64, kMin32},
      {std::string(1000, '9'), kMax64, kMax32},
      {"-" + std::string(1000, '9'), kMin64, kMin32},
      {std::string(1000, '0') + "8", 8, 8},
  };
  return texts;
}

TEST(String, ReadsTheLongIntegerAtItsStart) {
  for (const IntegerText& text : integerTexts())
    EXPECT_EQ(text.text.longLongValue(), text.longLongValue) << text.text.c_str();
}

TEST(String, ReadsTheIntegerAtItsStart) {
  for (const IntegerText& text : integerTexts())
    EXPECT_EQ(text.text.intValue(), text.intValue) << text.text.c_str();
}

}  // namespace
}  // namespace pxa
