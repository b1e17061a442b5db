#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include <pxalog/Array.h>
#include <pxalog/Dictionary.h>

#include "platform/linux/nlohmann_values.h"

namespace pxa {
namespace {

using namespace std::string_view_literals;

std::optional<Value> parse(std::string_view text) {
  return NlohmannJsonParser().parse(Data(text));
}

/// The only element of an array of one.
Value element(std::string_view text) {
  const std::optional<Value> array = parse("[" + std::string(text) + "]");
  EXPECT_TRUE(array) << text;
  return array ? array->array().at(0) : Value();
}

TEST(NlohmannJsonParser, ReadsAnArray) {
  EXPECT_TRUE(parse(R"( [1, "two", null, [], {}] )") ==
              Value(Array{1LL, "two", nullptr, Value(Array()), Value(Dictionary())}));
}

TEST(NlohmannJsonParser, ReadsADictionary) {
  EXPECT_TRUE(parse(R"({"a": {"b": [true]}, "": "empty"})") ==
              Value(Dictionary{{"a", Dictionary{{"b", Array{true}}}}, {"", "empty"}}));
}

TEST(NlohmannJsonParser, KeepsTheOrderOfKeys) {
  const std::optional<Value> value = parse(R"({"z": 1, "a": 2, "m": 3})");
  ASSERT_TRUE(value);
  std::string keys;
  for (const Dictionary::Entry& entry : value->dictionary()) keys += entry.key.view();
  EXPECT_EQ(keys, "zam");
}

TEST(NlohmannJsonParser, RefusesNil) {
  EXPECT_FALSE(NlohmannJsonParser().parse(nullptr));
}

TEST(NlohmannJsonParser, RefusesWhatIsNeitherArrayNorDictionary) {
  for (const std::string_view text : {"null", "true", "false", "0", "-1.5", "\"text\"", "\"\""})
    EXPECT_FALSE(parse(text)) << text;
}

TEST(NlohmannJsonParser, RefusesWhatIsNotJson) {
  for (const std::string_view text : {
           "",
           " ",
           "[",
           "]",
           "{",
           "}",
           "[1",
           "[1,]",
           "[,1]",
           "[1 2]",
           "{\"a\"}",
           "{\"a\":}",
           "{\"a\":1,}",
           "{a:1}",
           "{1:1}",
           "[1] x",
           "[1][2]",
           "{}{}",
           "['a']",
           "[NaN]",
           "[Infinity]",
           "[01]",
           "[1.]",
           "[.5]",
           "[+1]",
           "[1e]",
           "[-]",
           "[0x1]",
           "[tru]",
           "[True]",
           "[\"a]",
           "[\"\\x\"]",
           "[1}",
           "{\"a\":1]",
           "[\"\\u12\"]",
           "[// c\n1]",
           "[/* c */1]",
           "<html></html>",
           "[\"a\" \"b\"]",
       })
    EXPECT_FALSE(parse(text)) << text;
}

TEST(NlohmannJsonParser, RefusesControlBytesInsideTexts) {
  for (int byte = 0; byte < 0x20; ++byte)
    EXPECT_FALSE(parse("[\"a" + std::string(1, static_cast<char>(byte)) + "b\"]")) << byte;
}

TEST(NlohmannJsonParser, RefusesControlBytesBetweenValues) {
  for (int byte = 0; byte < 0x20; ++byte) {
    const bool isWhiteSpace = byte == '\t' || byte == '\n' || byte == '\r';
    EXPECT_EQ(parse("[1," + std::string(1, static_cast<char>(byte)) + "2]").has_value(), isWhiteSpace)
        << byte;
  }
}

TEST(NlohmannJsonParser, RefusesANulBehindTheValue) {
  EXPECT_FALSE(parse("[1]\0"sv));
}

TEST(NlohmannJsonParser, RefusesBytesThatAreNotUtf8) {
  for (const std::string_view text :
       {"\xFF", "\x80", "\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82", "\xC3"}) {
    EXPECT_FALSE(parse("[\"" + std::string(text) + "\"]"));
    EXPECT_FALSE(parse("{\"" + std::string(text) + "\":1}"));
  }
}

TEST(NlohmannJsonParser, RefusesHalfASurrogatePair) {
  for (const std::string_view text :
       {R"(["\ud800"])", R"(["\udc00"])", R"(["\ud800\ud800"])", R"(["\ud800x"])"})
    EXPECT_FALSE(parse(text)) << text;
}

TEST(NlohmannJsonParser, ReadsEveryEscape) {
  EXPECT_EQ(element(R"("\"\\\/\b\f\n\r\t\u00e4\ud83d\ude00")").string(),
            "\"\\/\b\f\n\r\t\xC3\xA4\xF0\x9F\x98\x80");
}

TEST(NlohmannJsonParser, ReadsAnEscapedNul) {
  EXPECT_EQ(element(R"("a\u0000b")").string().view(), "a\0b"sv);
}

TEST(NlohmannJsonParser, ReadsSmallIntegersAsSigned) {
  for (const std::int64_t integer :
       {std::numeric_limits<std::int64_t>::min(), std::int64_t{-1}, std::int64_t{0}, std::int64_t{1},
        std::numeric_limits<std::int64_t>::max()})
    EXPECT_TRUE(element(std::to_string(integer)) == Value(integer)) << integer;
}

TEST(NlohmannJsonParser, ReadsLargeIntegersAsUnsigned) {
  for (const std::uint64_t integer : {std::uint64_t{1} << 63U, std::numeric_limits<std::uint64_t>::max()})
    EXPECT_TRUE(element(std::to_string(integer)) == Value(integer)) << integer;
}

TEST(NlohmannJsonParser, ReadsIntegersBeyondSixtyFourBitsAsFloatingPoint) {
  EXPECT_TRUE(element("18446744073709551616") == Value(18446744073709551616.0));
  EXPECT_TRUE(element("-9223372036854775809") == Value(-9223372036854775808.0));
}

TEST(NlohmannJsonParser, ReadsFractionsAndExponentsAsFloatingPoint) {
  EXPECT_TRUE(element("1.0") == Value(1.0));
  EXPECT_TRUE(element("1e2") == Value(100.0));
  EXPECT_TRUE(element("-0.1E-1") == Value(-0.01));
}

TEST(NlohmannJsonParser, ReadsTrueAndFalseAsTheKindOfBooleans) {
  EXPECT_TRUE(element("true") == Value(true));
  EXPECT_TRUE(element("false") == Value(false));
}

TEST(NlohmannJsonParser, TakesTheLastValueOfARepeatedKey) {
  EXPECT_TRUE(parse(R"({"a": 1, "a": 2})") == Value(Dictionary{{"a", 2LL}}));
}

/// An object of so many members, each key with its number.
std::string objectOf(int count) {
  std::string text = "{";
  for (int i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    text.append(i == 0 ? "" : ",").append("\"k" + number + "\":" + number);
  }
  return text + "}";
}

TEST(NlohmannJsonParser, ReadsLargeAndSmallObjectsBehindOneAnother) {
  const int counts[] = {0, 40, 40, 0, 1, 100, 3, 33, 32};
  std::string text = "[";
  for (const int count : counts) text.append(text.size() == 1 ? "" : ",").append(objectOf(count));
  const std::optional<Value> value = parse(text + "]");
  ASSERT_TRUE(value);
  std::size_t position = 0;
  for (const int count : counts) {
    const Dictionary object = value->array().at(position++).dictionary();
    ASSERT_EQ(object.size(), static_cast<std::size_t>(count)) << position;
    for (int i = 0; i < count; ++i)
      EXPECT_TRUE(object.value("k" + std::to_string(i)) == Value(static_cast<long long>(i))) << position;
  }
}

TEST(NlohmannJsonParser, ReadsTwoHundredThousandNestedObjectsBehindALargeOne) {
  constexpr int kDepth = 200'000;
  std::string text = "[" + objectOf(32) + ",";
  for (int i = 0; i < kDepth; ++i) text += R"({"a":)";
  text += "7" + std::string(kDepth, '}') + "]";
  std::optional<Value> value = parse(text);
  ASSERT_TRUE(value);
  Value inner = value->array().at(1);
  value.reset();
  int depth = 0;
  for (; inner.kind() == Value::Kind::Dictionary; ++depth) inner = Value(inner.dictionary().value("a"));
  EXPECT_EQ(depth, kDepth);
  EXPECT_TRUE(inner == Value(7LL));
}

TEST(NlohmannJsonParser, RefusesAMillionOpenBrackets) {
  EXPECT_FALSE(parse(std::string(1'000'000, '[')));
  std::string objects;
  for (int i = 0; i < 1'000'000; ++i) objects += "{\"\":";
  EXPECT_FALSE(parse(objects));
}

TEST(NlohmannJsonParser, ReadsTwoHundredThousandNestedArrays) {
  constexpr std::size_t kLevels = 200'000;
  Value value = parse(std::string(kLevels, '[') + std::string(kLevels, ']')).value_or(nullptr);
  std::size_t levels = 0;
  for (; value.kind() == Value::Kind::Array; value = value.array().at(0)) ++levels;
  EXPECT_EQ(levels, kLevels);
}

TEST(NlohmannJsonParser, LetsTwoHundredThousandNestedArraysGoAtOnce) {
  constexpr std::size_t kLevels = 200'000;
  EXPECT_TRUE(parse(std::string(kLevels, '[') + std::string(kLevels, ']')).has_value());
}

}  // namespace
}  // namespace pxa
