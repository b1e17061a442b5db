#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <pxalog/CJSONDeserializer.h>
#include <pxalog/CJSONSerializer.h>

#include "support/values.h"

namespace pxa {
namespace {

using namespace std::string_view_literals;
using test::keysOf;

constexpr int kDeep = 1'000'000;
constexpr unsigned kImmutable = 0;

CJSONDeserializer reader(unsigned options = CJSONDeserializer::kMutableContainers) {
  CJSONDeserializer reader = CJSONDeserializer::deserializer();
  reader.setOptions(options);
  return reader;
}

/// The value; null and a failed test when there is none.
Value valueOf(CJSONDeserializer& reader, std::string_view text) {
  Error error;
  const std::optional<Value> value = reader.deserialize_error(Data(text), &error);
  EXPECT_TRUE(value) << text.substr(0, 100) << " " << error.code();
  return value.value_or(Value());
}

Value read(std::string_view text, unsigned options = CJSONDeserializer::kMutableContainers) {
  CJSONDeserializer once = reader(options);
  return valueOf(once, text);
}

/// A text that is no container.
Value readFragment(std::string_view text, unsigned options = 0) {
  return read(text, options | CJSONDeserializer::kAllowFragments);
}

/// The error; a failed test when there is a value.
Error errorOf(CJSONDeserializer& reader, std::string_view text) {
  Error error;
  EXPECT_FALSE(reader.deserialize_error(Data(text), &error)) << text.substr(0, 100);
  return error;
}

Error errorOf(std::string_view text, unsigned options = CJSONDeserializer::kMutableContainers) {
  CJSONDeserializer once = reader(options);
  return errorOf(once, text);
}

std::vector<int> codesOf(Error error) {
  std::vector<int> codes;
  for (; error.isError(); error = error.underlyingError()) codes.push_back(error.code());
  return codes;
}

std::int64_t fact(const Error& error, const char* key) {
  return error.userInfo().value(key).number().longLongValue();
}

/// "line:character@location snippet"
std::string placeOf(const Error& error) {
  return std::to_string(fact(error, "line")) + ":" + std::to_string(fact(error, "character")) + "@" +
         std::to_string(fact(error, "location")) + " " +
         std::string(error.userInfo().value("snippet").string().view());
}

std::string json(const Value& value) {
  return std::string(CJSONSerializer::serializer().serializeObject_error(value).view());
}

std::string repeated(std::string_view part, int times) {
  std::string whole;
  whole.reserve(part.size() * static_cast<std::size_t>(times));
  for (int i = 0; i < times; ++i) whole += part;
  return whole;
}

const char* firstKeyBuffer(const Value& dictionary) {
  return dictionary.dictionary().begin()->key.view().data();
}

// A new reader

TEST(JsonReader, MakesMutableContainersAndNullsAtFirst) {
  const CJSONDeserializer fresh = CJSONDeserializer::deserializer();
  EXPECT_EQ(fresh.options(), 1U);
  ASSERT_TRUE(fresh.nullObject());
  EXPECT_TRUE(fresh.nullObject()->isNull());
  EXPECT_EQ(fresh.scanLocation(), 0U);
}

TEST(JsonReader, RemembersItsSettings) {
  CJSONDeserializer changed = reader(CJSONDeserializer::kAllowFragments | CJSONDeserializer::kLaxEscapes);
  EXPECT_EQ(changed.options(), 12U);
  changed.setNullObject("none");
  EXPECT_TRUE(changed.nullObject() == Value("none"));
  changed.setNullObject(std::nullopt);
  EXPECT_FALSE(changed.nullObject());
}

TEST(JsonReader, IsANewOneForEachWhoAsks) {
  CJSONDeserializer first = reader(CJSONDeserializer::kAllowFragments);
  first.setNullObject(std::nullopt);
  EXPECT_EQ(CJSONDeserializer::deserializer().options(), 1U);
  EXPECT_TRUE(CJSONDeserializer::deserializer().nullObject());
}

TEST(JsonReader, KeepsItsSettingsWhenItIsMoved) {
  CJSONDeserializer first = reader(CJSONDeserializer::kAllowFragments);
  valueOf(first, R"({"a":1})");
  CJSONDeserializer second = std::move(first);
  EXPECT_EQ(second.options(), CJSONDeserializer::kAllowFragments);
  EXPECT_TRUE(valueOf(second, "1") == Value(1ULL));
}

// Options

TEST(JsonReader, MakesContainersThatCanBeChanged) {
  const Value value = read(R"([{"a":[]}])");
  Dictionary inner = value.array().at(0).dictionary();
  EXPECT_TRUE(value.array().isMutable());
  EXPECT_TRUE(inner.isMutable());
  EXPECT_TRUE(inner.value("a").array().isMutable());
  inner.set("b", 2);
  value.array().append(3);
  EXPECT_EQ(json(value), R"([{"a":[],"b":2},3])");
}

TEST(JsonReader, MakesContainersAtEveryLevelThatIgnoreChangesWhenAsked) {
  const std::string text = R"([{"a":[1]},[],{"b":1,"b":2}])";
  const Value value = read(text, kImmutable);
  Array outer = value.array();
  Dictionary inner = outer.at(0).dictionary();
  Array innermost = inner.value("a").array();
  EXPECT_FALSE(outer.isMutable());
  EXPECT_FALSE(inner.isMutable());
  EXPECT_FALSE(innermost.isMutable());
  EXPECT_FALSE(outer.at(1).array().isMutable());
  EXPECT_FALSE(outer.at(2).dictionary().isMutable());
  outer.append(1);
  inner.set("a", 1);
  inner.set("b", 1);
  inner.remove("a");
  innermost.append(1);
  EXPECT_EQ(json(value), R"([{"a":[1]},[],{"b":2}])");
}

TEST(JsonReader, MakesContainersOfManyKeysThatIgnoreChangesWhenAsked) {
  std::string text = "{";
  for (int i = 0; i < 50; ++i) text += "\"" + std::to_string(i) + "\":0,";
  Dictionary dictionary = read(text + "}", kImmutable).dictionary();
  dictionary.set("new", 1);
  EXPECT_FALSE(dictionary.isMutable());
  EXPECT_EQ(dictionary.size(), 50U);
}

TEST(JsonReader, MakesContainersThatIgnoreChangesFromTheDirectOperationsWhenAsked) {
  CJSONDeserializer immutable = reader(kImmutable);
  EXPECT_FALSE(immutable.deserializeAsArray_error(Data("[]"sv)).isMutable());
  EXPECT_FALSE(immutable.deserializeAsDictionary_error(Data("{}"sv)).isMutable());
}

TEST(JsonReader, ReadsTheSameTextsWithStringsOfTheirOwn) {
  const std::string text = R"({"a":"b","c":["d\n","a"]})";
  EXPECT_TRUE(read(text, 3) == read(text));
}

TEST(JsonReader, TakesFragmentsOnlyWhenAsked) {
  for (const auto& [text, expected] : std::vector<std::pair<std::string_view, Value>>{{"true", true},
                                                                                      {"false", false},
                                                                                      {"null", nullptr},
                                                                                      {" 12 ", 12ULL},
                                                                                      {"-1.5", -1.5},
                                                                                      {"'a'", "a"}}) {
    EXPECT_TRUE(readFragment(text) == expected) << text;
    EXPECT_EQ(codesOf(errorOf(text)), std::vector<int>{-16}) << text;
  }
}

TEST(JsonReader, TakesContainersWhereFragmentsAreAllowedToo) {
  EXPECT_EQ(json(readFragment("[1]")), "[1]");
}

TEST(JsonReader, WantsNothingBehindAFragment) {
  EXPECT_EQ(codesOf(errorOf("1 2", CJSONDeserializer::kAllowFragments)), std::vector<int>{-17});
}

TEST(JsonReader, WantsNoNulBehindAValue) {
  EXPECT_EQ(codesOf(errorOf("[]\0"sv)), std::vector<int>{-17});
}

TEST(JsonReader, KeepsTheCharacterOfAnUnknownEscapeAloneWhenAsked) {
  const unsigned lax = CJSONDeserializer::kLaxEscapes;
  EXPECT_TRUE(readFragment(R"("a\qb")", lax) == Value("aqb"));
  EXPECT_TRUE(readFragment(R"('it\'s')", lax) == Value("it's"));
  EXPECT_TRUE(readFragment("\"\\\xC3\xBC!\"", lax) == Value("\xC3\xBC!"));
  EXPECT_TRUE(readFragment("\"\\\n\"", lax) == Value("\n"));
  EXPECT_TRUE(readFragment("\"\\\0\""sv, lax) == Value("\0"sv));
  EXPECT_EQ(json(read(R"({"\k":1})", lax)), R"({"k":1})");
}

TEST(JsonReader, ReadsKnownEscapesAsEverWhenUnknownOnesAreTaken) {
  EXPECT_TRUE(readFragment(R"("\n\"\\\u0041")", CJSONDeserializer::kLaxEscapes) == Value("\n\"\\A"));
}

TEST(JsonReader, FailsAtABadCodePointEvenWhenUnknownEscapesAreTaken) {
  EXPECT_EQ(codesOf(errorOf(R"(["\u12x4"])", CJSONDeserializer::kLaxEscapes)),
            (std::vector<int>{-202, -305}));
}

// Null

TEST(JsonReader, LeavesNullsOutWhenThereIsNoNullObject) {
  CJSONDeserializer without = reader();
  without.setNullObject(std::nullopt);
  EXPECT_EQ(json(valueOf(without, "[null]")), "[]");
  EXPECT_EQ(json(valueOf(without, "[null,1,null,[null],null,]")), "[1,[]]");
  EXPECT_EQ(json(valueOf(without, R"({"a":null,"b":1,"c":{"d":null},"e":null})")), R"({"b":1,"c":{}})");
}

TEST(JsonReader, KeepsTheEarlierValueOfAKeyWhoseNullIsLeftOut) {
  CJSONDeserializer without = reader();
  without.setNullObject(std::nullopt);
  EXPECT_EQ(json(valueOf(without, R"({"a":1,"a":null,"b":null,"b":2})")), R"({"a":1,"b":2})");
}

TEST(JsonReader, StillWantsCommasWhereNullsAreLeftOut) {
  CJSONDeserializer without = reader();
  without.setNullObject(std::nullopt);
  EXPECT_EQ(codesOf(errorOf(without, "[null 1]")), std::vector<int>{-204});
  EXPECT_EQ(codesOf(errorOf(without, R"({"a":null "b":1})")), std::vector<int>{-106});
}

TEST(JsonReader, GivesNothingAndNoErrorForANullThatIsLeftOut) {
  CJSONDeserializer without = reader(CJSONDeserializer::kAllowFragments);
  without.setNullObject(std::nullopt);
  Error error;
  EXPECT_FALSE(without.deserialize_error(Data(" null "sv), &error));
  EXPECT_FALSE(error.isError());
}

TEST(JsonReader, CountsANullThatIsLeftOutAsAFragment) {
  CJSONDeserializer without = reader();
  without.setNullObject(std::nullopt);
  EXPECT_EQ(codesOf(errorOf(without, "null")), std::vector<int>{-16});
}

TEST(JsonReader, PutsItsNullObjectWhereANullStands) {
  CJSONDeserializer with = reader(CJSONDeserializer::kAllowFragments);
  with.setNullObject("none");
  EXPECT_EQ(json(valueOf(with, R"([null,{"a":null}])")), R"(["none",{"a":"none"}])");
  EXPECT_TRUE(valueOf(with, "null") == Value("none"));
  with.setNullObject(Value());
  EXPECT_EQ(json(valueOf(with, "[null]")), "[null]");
}

// What goes in

TEST(JsonReader, HasNothingToScanWithoutData) {
  CJSONDeserializer without = reader();
  Error ofValue;
  Error ofDictionary;
  Error ofArray;
  EXPECT_FALSE(without.deserialize_error(nullptr, &ofValue));
  EXPECT_TRUE(without.deserializeAsDictionary_error(nullptr, &ofDictionary).isNil());
  EXPECT_TRUE(without.deserializeAsArray_error(nullptr, &ofArray).isNil());
  for (const Error& error : {ofValue, ofDictionary, ofArray}) {
    EXPECT_EQ(error.domain(), "CJSONDeserializerErrorDomain");
    EXPECT_EQ(error.code(), -11);
    EXPECT_EQ(error.localizedDescription(), "Have no data to scan.");
    EXPECT_FALSE(error.underlyingError().isError());
    EXPECT_EQ(fact(error, "location"), 0);
    EXPECT_EQ(error.userInfo().value("snippet").string(), "!HERE>!");
  }
}

TEST(JsonReader, FailsWithoutAnErrorToFill) {
  EXPECT_FALSE(reader().deserialize_error(Data("["sv)));
  EXPECT_TRUE(reader().deserializeAsArray_error(Data("{"sv)).isNil());
  EXPECT_TRUE(reader().deserializeAsDictionary_error(Data("["sv)).isNil());
}

TEST(JsonReader, LeavesTheErrorAloneWhenItSucceeds) {
  Error error("domain", 1, nullptr);
  EXPECT_TRUE(reader().deserialize_error(Data("[]"sv), &error));
  EXPECT_EQ(error.domain(), "domain");
}

TEST(JsonReader, HasNoMessageWhereTheEncodingIsBroken) {
  const Error error = errorOf("[\0\"\0\x00\xD8\"\0]\0"sv);
  EXPECT_EQ(codesOf(error), std::vector<int>{-12});
  EXPECT_FALSE(error.userInfo().contains(Error::kLocalizedDescriptionKey));
}

TEST(JsonReader, TakesLessThanFourBytesForUtf8) {
  for (const std::string_view text : {"[\0]"sv, "\0["sv, "\xFF\xFE["sv, "\xFE\xFF"sv})
    EXPECT_NE(errorOf(text).code(), -12);
  EXPECT_EQ(json(read("[1]")), "[1]");
}

TEST(JsonReader, TakesEveryOtherStartForUtf8) {
  // One zero byte, or two in a place that no wide encoding has them in, tell nothing.
  for (const std::string_view text : {"[\0\0["sv, "\0\0\0\0"sv, "[[\0\0"sv, "\0[[\0"sv, "\0\0[\0"sv}) {
    const Error error = errorOf(text);
    EXPECT_NE(error.code(), -12);
    EXPECT_LE(fact(error, "location"), 2);
  }
}

TEST(JsonReader, TakesAMarkAloneForAnEmptyText) {
  for (const std::string_view text : {"\xFF\xFE\0\0"sv, "\0\0\xFE\xFF"sv})
    EXPECT_EQ(codesOf(errorOf(text)), std::vector<int>{-15});
}

TEST(JsonReader, ReadsACharacterBeyondTheFirstPlaneFromUtf16) {
  EXPECT_EQ(json(read("[\0\"\0\x3D\xD8\x00\xDE\"\0]\0"sv)), "[\"\xF0\x9F\x98\x80\"]");
  EXPECT_EQ(json(read("\0[\0\"\xD8\x3D\xDE\x00\0\"\0]"sv)), "[\"\xF0\x9F\x98\x80\"]");
}

// Dictionaries and arrays directly

TEST(JsonReader, ReadsADictionaryDirectly) {
  CJSONDeserializer direct = reader();
  EXPECT_EQ(json(direct.deserializeAsDictionary_error(Data(R"({"a":[1]})"sv))), R"({"a":[1]})");
}

TEST(JsonReader, ReadsAnArrayDirectly) {
  CJSONDeserializer direct = reader();
  EXPECT_EQ(json(direct.deserializeAsArray_error(Data(R"([{"a":1}])"sv))), R"([{"a":1}])");
}

TEST(JsonReader, DoesNotLookAtWhatFollowsADirectValue) {
  CJSONDeserializer direct = reader();
  EXPECT_EQ(json(direct.deserializeAsDictionary_error(Data("{} x"sv))), "{}");
  EXPECT_EQ(direct.scanLocation(), 2U);
  EXPECT_EQ(json(direct.deserializeAsArray_error(Data("[1][2]"sv))), "[1]");
  EXPECT_EQ(direct.scanLocation(), 3U);
}

TEST(JsonReader, WantsADirectDictionaryAtTheVeryStart) {
  for (const std::string_view text : {""sv, " {}"sv, "[]"sv, "null"sv, "}"sv}) {
    CJSONDeserializer direct = reader();
    Error error;
    EXPECT_TRUE(direct.deserializeAsDictionary_error(Data(text), &error).isNil()) << text;
    EXPECT_EQ(codesOf(error), std::vector<int>{-101}) << text;
    EXPECT_EQ(error.localizedDescription(),
              "Could not scan dictionary. Dictionary that does not start with '{' character.");
    EXPECT_EQ(placeOf(error), "0:0@0 !HERE>!" + std::string(text)) << text;
    EXPECT_EQ(direct.scanLocation(), 0U);
  }
}

TEST(JsonReader, WantsADirectArrayAtTheVeryStart) {
  for (const std::string_view text : {""sv, " []"sv, "{}"sv, "null"sv, "]"sv}) {
    CJSONDeserializer direct = reader();
    Error error;
    EXPECT_TRUE(direct.deserializeAsArray_error(Data(text), &error).isNil()) << text;
    EXPECT_EQ(codesOf(error), std::vector<int>{-201}) << text;
    EXPECT_EQ(error.localizedDescription(), "Could not scan array. Array not started by a '[' character.");
    EXPECT_EQ(placeOf(error), "0:0@0 !HERE>!" + std::string(text)) << text;
    EXPECT_EQ(direct.scanLocation(), 0U);
  }
}

TEST(JsonReader, TellsWhatIsWrongInsideADirectValue) {
  CJSONDeserializer direct = reader();
  Error error;
  EXPECT_TRUE(direct.deserializeAsDictionary_error(Data(R"({"a":[1 2]})"sv), &error).isNil());
  EXPECT_EQ(codesOf(error), (std::vector<int>{-104, -204}));
  EXPECT_TRUE(direct.deserializeAsArray_error(Data(R"([{"a" 1}])"sv), &error).isNil());
  EXPECT_EQ(codesOf(error), (std::vector<int>{-202, -103}));
}

TEST(JsonReader, ReadsDirectValuesFromUtf16) {
  CJSONDeserializer direct = reader();
  EXPECT_EQ(json(direct.deserializeAsDictionary_error(Data("{\0}\0"sv))), "{}");
  EXPECT_EQ(json(direct.deserializeAsArray_error(Data("\0[\0]"sv))), "[]");
}

TEST(JsonReader, ReadsAnyContainerByTheConvenienceForBytes) {
  const std::optional<Value> array = dictionaryWithJSONData_error(Data("[1]"sv));
  const std::optional<Value> dictionary = dictionaryWithJSONData_error(Data(R"({"a":1})"sv));
  ASSERT_TRUE(array && dictionary);
  EXPECT_EQ(json(*array), "[1]");
  EXPECT_TRUE(array->array().isMutable());
  EXPECT_EQ(json(*dictionary), R"({"a":1})");
}

TEST(JsonReader, ReadsAnyContainerByTheConvenienceForText) {
  const std::optional<Value> array = dictionaryWithJSONString_error("[\"\xC3\xBC\"]");
  const std::optional<Value> dictionary = dictionaryWithJSONString_error(R"({"a":1})");
  ASSERT_TRUE(array && dictionary);
  EXPECT_EQ(json(*array), "[\"\xC3\xBC\"]");
  EXPECT_EQ(json(*dictionary), R"({"a":1})");
}

TEST(JsonReader, TellsWhyAConvenienceFails) {
  Error error;
  EXPECT_FALSE(dictionaryWithJSONString_error("true", &error));
  EXPECT_EQ(error.code(), -16);
  EXPECT_FALSE(dictionaryWithJSONData_error(Data("{} x"sv), &error));
  EXPECT_EQ(error.code(), -17);
  EXPECT_FALSE(dictionaryWithJSONString_error(nullptr, &error));
  EXPECT_EQ(error.code(), -11);
  EXPECT_FALSE(dictionaryWithJSONString_error("", &error));
  EXPECT_EQ(error.code(), -15);
}

// Where the scan stands

TEST(JsonReader, StandsAtTheEndOfTheTextWhenItHasReadIt) {
  CJSONDeserializer standing = reader();
  valueOf(standing, "  [1]  ");
  EXPECT_EQ(standing.scanLocation(), 7U);
}

TEST(JsonReader, StandsWhereItFailed) {
  CJSONDeserializer standing = reader();
  EXPECT_EQ(fact(errorOf(standing, "[1, x]"), "location"), 4);
  EXPECT_EQ(standing.scanLocation(), 4U);
}

TEST(JsonReader, CountsWideTextAsUtf8) {
  CJSONDeserializer standing = reader();
  valueOf(standing, "[\0\"\0\xAC\x20\"\0]\0"sv);
  EXPECT_EQ(standing.scanLocation(), 7U);
}

TEST(JsonReader, StandsAtTheStartWithoutData) {
  CJSONDeserializer standing = reader();
  valueOf(standing, "[1]");
  EXPECT_FALSE(standing.deserialize_error(nullptr));
  EXPECT_EQ(standing.scanLocation(), 0U);
}

TEST(JsonReader, IsAsGoodAsNewAfterAFailure) {
  CJSONDeserializer again = reader();
  for (const std::string_view broken : {R"({"a":[1,{"b":2,"c":)"sv, R"(["a\)"sv, "[[[[1 2"sv, R"({"a)"sv}) {
    EXPECT_TRUE(errorOf(again, broken).isError());
    EXPECT_EQ(json(valueOf(again, R"({"a":["b\n",{"c":1}]})")), R"({"a":["b\n",{"c":1}]})");
  }
  const Error error = errorOf(again, "[x");
  EXPECT_EQ(codesOf(error), (std::vector<int>{-202, -15}));
}

TEST(JsonReader, HandsOutValuesThatOutliveItAndItsText) {
  Value value;
  {
    std::string text = R"({"key":["text","es\\cape",123456789012345678901234567890]})";
    value = read(text);
    text.assign(text.size(), '#');
  }
  EXPECT_EQ(json(value), R"({"key":["text","es\\cape",123456789012345678901234567890]})");
}

// Numbers

struct NumberCase {
  std::string_view text;
  Number::Kind kind;
  const char* value;
};

constexpr NumberCase kNumbers[] = {
    {"0", Number::Kind::UInt64, "0"},
    {"-0", Number::Kind::Int64, "0"},
    {"1", Number::Kind::UInt64, "1"},
    {"-1", Number::Kind::Int64, "-1"},
    {"007", Number::Kind::UInt64, "7"},
    {"-007", Number::Kind::Int64, "-7"},
    {"0000000000000000000000000000000000012", Number::Kind::UInt64, "12"},
    {"-0000000000000000000000000000000000012", Number::Kind::Int64, "-12"},
    {"1844674407370955161", Number::Kind::UInt64, "1844674407370955161"},
    {"9223372036854775807", Number::Kind::UInt64, "9223372036854775807"},
    {"9223372036854775808", Number::Kind::UInt64, "9223372036854775808"},
    {"18446744073709551609", Number::Kind::UInt64, "18446744073709551609"},
    {"18446744073709551610", Number::Kind::UInt64, "18446744073709551610"},
    {"18446744073709551615", Number::Kind::UInt64, "18446744073709551615"},
    {"18446744073709551616", Number::Kind::Decimal, "18446744073709551616"},
    {"18446744073709551619", Number::Kind::Decimal, "18446744073709551619"},
    {"18446744073709551620", Number::Kind::Decimal, "18446744073709551620"},
    {"100000000000000000000", Number::Kind::Decimal, "100000000000000000000"},
    {"-9223372036854775807", Number::Kind::Int64, "-9223372036854775807"},
    {"-9223372036854775808", Number::Kind::Int64, "-9223372036854775808"},
    {"-9223372036854775809", Number::Kind::Decimal, "-9223372036854775809"},
    {"-10000000000000000000", Number::Kind::Decimal, "-10000000000000000000"},
    {"-18446744073709551615", Number::Kind::Decimal, "-18446744073709551615"},
    {"-100000000000000000000", Number::Kind::Decimal, "-100000000000000000000"},
    {"100000000000000000000.50", Number::Kind::Decimal, "100000000000000000000.50"},
    {"100000000000000000000e5", Number::Kind::Decimal, "100000000000000000000e5"},
    {"-100000000000000000000.5E-7", Number::Kind::Decimal, "-100000000000000000000.5E-7"},
    {"1.0", Number::Kind::Double, "1"},
    {"-0.0", Number::Kind::Double, "-0"},
    {"1e0", Number::Kind::Double, "1"},
    {"1.5e2", Number::Kind::Double, "150"},
    {"1.5E+2", Number::Kind::Double, "150"},
    {"-1.5e-2", Number::Kind::Double, "-0.015"},
    {"1e007", Number::Kind::Double, "10000000"},
    {"007.25", Number::Kind::Double, "7.25"},
    {"0.1000000000000000000000000000000000000", Number::Kind::Double, "0.1"},
    {"18446744073709551615.0", Number::Kind::Double, "18446744073709551616"},
    {"-9223372036854775809.5", Number::Kind::Double, "-9223372036854775808"},
};

TEST(JsonReader, GivesEachNumberTheKindThatHoldsIt) {
  for (const NumberCase& number : kNumbers) {
    const Value value = readFragment(number.text);
    ASSERT_EQ(value.kind(), Value::Kind::Number) << number.text;
    EXPECT_EQ(value.number().kind(), number.kind) << number.text;
    if (number.kind == Number::Kind::Double) {
      EXPECT_EQ(value.number().doubleValue(), std::strtod(number.value, nullptr)) << number.text;
    } else {
      EXPECT_EQ(json(value), number.value) << number.text;
    }
  }
}

TEST(JsonReader, GivesBooleansOfTheirOwnKind) {
  EXPECT_TRUE(read("[true,false]") == Value(Array{true, false}));
}

TEST(JsonReader, KeepsTheSignOfANegativeZero) {
  EXPECT_TRUE(std::signbit(readFragment("-0.0").number().doubleValue()));
}

constexpr const char* kHardToRound[] = {
    "0.1",
    "1.7976931348623157e308",
    "2.2250738585072014e-308",
    "2.2250738585072011e-308",
    "4.9406564584124654e-324",
    "2.4703282292062328e-324",
    "9007199254740993.0",
    "9007199254740992.99999999999999999999",
    "9007199254740993.00000000000000000001",
    "1.00000000000000011102230246251565404",
    "1.00000000000000011102230246251565404236316680908203125",
    "1.00000000000000011102230246251565404236316680908203126",
    "123456789.123456789123456789123456789e-30",
    "6.02214076e23",
    "1e23",
    "8.5e22",
};

TEST(JsonReader, RoundsDoublesCorrectly) {
  for (const char* text : kHardToRound)
    EXPECT_EQ(readFragment(text).number().doubleValue(), std::strtod(text, nullptr)) << text;
}

TEST(JsonReader, ReadsEveryDoubleBackAsItWas) {
  std::mt19937_64 random(20'261'121);
  for (int i = 0; i < 20'000; ++i) {
    const std::uint64_t bits = random();
    double value = 0;
    std::memcpy(&value, &bits, sizeof(value));
    if (!std::isfinite(value)) continue;
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.17e", value);
    ASSERT_EQ(readFragment(text.data()).number().doubleValue(), value) << text.data();
  }
}

TEST(JsonReader, GivesInfinityOrZeroForADoubleBeyondAllLimits) {
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(readFragment("1e400").number().doubleValue(), infinity);
  EXPECT_EQ(readFragment("-1e400").number().doubleValue(), -infinity);
  EXPECT_EQ(readFragment("1e99999999999999999999").number().doubleValue(), infinity);
  EXPECT_EQ(readFragment("1e-400").number().doubleValue(), 0);
  EXPECT_EQ(readFragment("0e99999999999999999999").number().doubleValue(), 0);
  EXPECT_EQ(readFragment("1e400").number().kind(), Number::Kind::Double);
}

TEST(JsonReader, KeepsAMillionDigits) {
  const std::string digits = repeated("1234567890", 100'000);
  EXPECT_TRUE(json(read("[" + digits + "]")) == "[" + digits + "]");
}

TEST(JsonReader, ReadsADoubleOfAMillionDigits) {
  EXPECT_EQ(readFragment("0." + repeated("3", kDeep)).number().doubleValue(), 1.0 / 3.0);
}

TEST(JsonReader, ReadsNumbersUpToTheEndOfTheText) {
  EXPECT_TRUE(readFragment("12") == Value(12ULL));
  EXPECT_TRUE(readFragment("1.5") == Value(1.5));
  EXPECT_TRUE(readFragment("1e2") == Value(100.0));
  for (const std::string_view text : {"-"sv, "1."sv, "1e"sv, "1E-"sv, "-."sv})
    EXPECT_EQ(codesOf(errorOf(text, CJSONDeserializer::kAllowFragments)), std::vector<int>{-401}) << text;
}

// Strings

TEST(JsonReader, TakesExactlyTheKnownEscapes) {
  const std::string known = "\"\\/bfnrt";
  const std::string meanings = "\"\\/\b\f\n\r\t";
  for (int i = 0; i < 256; ++i) {
    const char character = static_cast<char>(i);
    if (character == 'u') continue;
    const std::string text = std::string("[\"\\") + character + "\"]";
    const std::size_t place = known.find(character);
    if (place == std::string::npos) {
      EXPECT_EQ(codesOf(errorOf(text)), (std::vector<int>{-202, -303})) << i;
    } else {
      EXPECT_TRUE(read(text) == Value(Array{Value(std::string(1, meanings[place]))})) << i;
    }
  }
}

TEST(JsonReader, TakesExactlyTheHexadecimalDigitsInACodePoint) {
  for (int i = 0; i < 256; ++i) {
    const char character = static_cast<char>(i);
    const char* const digit = std::strchr("0123456789ABCDEFabcdef", character);
    for (std::size_t place = 0; place < 4; ++place) {
      std::string digits = "0041";
      digits[place] = character;
      CJSONDeserializer once = reader(CJSONDeserializer::kAllowFragments);
      const std::optional<Value> value = once.deserialize_error(Data("\"\\u" + digits + "\""));
      // None of these is a surrogate.
      EXPECT_EQ(value.has_value(), character != '\0' && digit != nullptr) << i << " at " << place;
    }
  }
}

TEST(JsonReader, WritesEveryCodePointAsUtf8) {
  for (std::uint32_t unit = 0; unit <= 0xFFFF; ++unit) {
    std::array<char, 16> escape{};
    std::snprintf(escape.data(), escape.size(), unit % 2 == 0 ? "\"\\u%04x\"" : "\"\\u%04X\"", unit);
    CJSONDeserializer once = reader(CJSONDeserializer::kAllowFragments);
    const std::optional<Value> value = once.deserialize_error(Data(std::string_view(escape.data())));
    if (unit >= 0xD800 && unit <= 0xDFFF) {
      ASSERT_FALSE(value) << unit;
      continue;
    }
    ASSERT_TRUE(value) << unit;
    const auto byte = [](std::uint32_t bits) { return static_cast<char>(static_cast<unsigned char>(bits)); };
    const std::string expected = unit < 0x80 ? std::string{byte(unit)}
                                 : unit < 0x800
                                     ? std::string{byte(0xC0 | unit >> 6), byte(0x80 | (unit & 0x3F))}
                                     : std::string{byte(0xE0 | unit >> 12), byte(0x80 | (unit >> 6 & 0x3F)),
                                                   byte(0x80 | (unit & 0x3F))};
    ASSERT_EQ(value->bytes(), expected) << unit;
  }
}

TEST(JsonReader, JoinsSurrogates) {
  EXPECT_TRUE(readFragment(R"("\uD83D\uDE00")") == Value("\xF0\x9F\x98\x80"));
  EXPECT_TRUE(readFragment(R"("\ud800\udc00")") == Value("\xF0\x90\x80\x80"));
  EXPECT_TRUE(readFragment(R"("\uDBFF\uDFFF")") == Value("\xF4\x8F\xBF\xBF"));
  EXPECT_TRUE(readFragment(R"("a\uD83D\uDE00\uD83D\uDE01z")") == Value("a\xF0\x9F\x98\x80\xF0\x9F\x98\x81z"));
}

TEST(JsonReader, WantsALowSurrogateBehindEveryHighOne) {
  for (const std::string_view text :
       {R"("\uD83D")"sv, R"("\uD83Dx")"sv, R"("\uD83D\n12345")"sv, R"("\uD83D\u0041")"sv,
        R"("\uD83D\uD83D")"sv, R"("\uD83D\uE000")"sv, R"("\uD83D\uDBFF")"sv, R"("\uD83D\uDE0)"sv,
        R"("\uD83D\uDE0x")"sv, R"("\uDE00")"sv, R"("\uDE00\uD83D")"sv, R"("\uD83D)"sv, R"("\uDFFF")"sv})
    EXPECT_EQ(codesOf(errorOf(text, CJSONDeserializer::kAllowFragments)), std::vector<int>{-305}) << text;
}

TEST(JsonReader, ReadsAStringThatEndsTheText) {
  EXPECT_TRUE(readFragment(R"("\u0041")") == Value("A"));
  EXPECT_TRUE(readFragment(R"("\\")") == Value("\\"));
}

TEST(JsonReader, KeepsNulCharactersInStrings) {
  EXPECT_TRUE(readFragment("\"a\0b\""sv) == Value("a\0b"sv));
  EXPECT_TRUE(readFragment(R"("a\u0000b")") == Value("a\0b"sv));
}

TEST(JsonReader, FindsTheQuoteAndTheEscapeAtEveryPlace) {
  for (int before = 0; before < 40; ++before) {
    const std::string plain(static_cast<std::size_t>(before), 'a');
    EXPECT_TRUE(readFragment("\"" + plain + "\"") == Value(plain)) << before;
    EXPECT_TRUE(readFragment("'" + plain + "\"'") == Value(plain + "\"")) << before;
    EXPECT_TRUE(readFragment("\"" + plain + "\\n" + plain + "\\t\"") == Value(plain + "\n" + plain + "\t"))
        << before;
    EXPECT_TRUE(readFragment("\"" + plain + "\xC3\xBC" + plain + "\"") == Value(plain + "\xC3\xBC" + plain))
        << before;
  }
}

TEST(JsonReader, FindsABrokenByteAtEveryPlaceInAString) {
  for (std::size_t place = 0; place < 40; ++place) {
    for (const std::string_view start : {""sv, "\\n"sv}) {
      std::string text(40, 'a');
      text[place] = '\x80';
      EXPECT_EQ(errorOf("\"" + std::string(start) + text + "\"", 5).code(), -306) << place;
      EXPECT_EQ(codesOf(errorOf("{\"" + std::string(start) + text + "\":1}")), (std::vector<int>{-102, -306}))
          << place;
    }
  }
}

TEST(JsonReader, RepairsNoCharacterThatAnEscapeCutsInTwo) {
  EXPECT_EQ(errorOf("\"\xC3\\n\xBC\"", 5).code(), -306);
}

TEST(JsonReader, TakesTheCLocalesWhiteSpaceAlone) {
  const std::string_view whiteSpace = " \t\n\v\f\r";
  for (int i = 1; i < 256; ++i) {
    const char character = static_cast<char>(i);
    const std::string text = std::string("[]") + character;
    if (whiteSpace.find(character) != std::string_view::npos) {
      EXPECT_EQ(json(read(text)), "[]") << i;
    } else {
      EXPECT_EQ(errorOf(text).code(), -17) << i;
    }
  }
}

// Texts that are broken somewhere

constexpr std::string_view kSample = R"( {"a" : [1, -2.5e+3, true, null, "b\u00e9\uD83D\uDE00\n", 'c'], )"
                                     R"("d": {"": [[]]}, 'e': 123456789012345678901 } )";

TEST(JsonReader, FailsAtEveryCutOfAText) {
  const std::size_t lastBrace = kSample.rfind('}');
  for (std::size_t length = 0; length <= lastBrace; ++length) {
    CJSONDeserializer once = reader();
    const Error error = errorOf(once, kSample.substr(0, length));
    EXPECT_TRUE(error.isError()) << length;
    EXPECT_LE(once.scanLocation(), length);
    EXPECT_EQ(fact(error, "location"), static_cast<std::int64_t>(once.scanLocation()));
  }
}

TEST(JsonReader, ReadsATextWithAnyByteChangedOrTellsWhyNot) {
  for (std::size_t place = 0; place < kSample.size(); ++place)
    for (int i = 0; i < 256; ++i) {
      std::string text(kSample);
      text[place] = static_cast<char>(i);
      CJSONDeserializer once = reader();
      Error error;
      const std::optional<Value> value = once.deserialize_error(Data(text), &error);
      ASSERT_NE(value.has_value(), error.isError()) << text;
      ASSERT_LE(once.scanLocation(), text.size()) << text;
    }
}

// Keys

TEST(JsonReader, SharesEqualKeysWithinAText) {
  const Array array = read(R"([{"key":1},{"key":2},{"k\u0065y":3},{'key':4}])").array();
  for (std::size_t i = 1; i < array.size(); ++i)
    EXPECT_EQ(firstKeyBuffer(array.at(i)), firstKeyBuffer(array.at(0))) << i;
}

TEST(JsonReader, SharesEqualKeysAcrossTexts) {
  CJSONDeserializer sharing = reader();
  const Value first = valueOf(sharing, R"({"key":1})");
  const Value second = valueOf(sharing, R"({"key":2})");
  EXPECT_EQ(firstKeyBuffer(first), firstKeyBuffer(second));
}

TEST(JsonReader, SharesEqualKeysInAnyOrder) {
  CJSONDeserializer sharing = reader();
  std::vector<const char*> buffers;
  for (int round = 0; round < 3; ++round)
    for (int i = 0; i < 500; ++i) {
      const int number = round == 2 ? 499 - i : i;
      const Value value = valueOf(sharing, "{\"key" + std::to_string(number) + "\":1}");
      if (round == 0)
        buffers.push_back(firstKeyBuffer(value));
      else
        ASSERT_EQ(firstKeyBuffer(value), buffers[static_cast<std::size_t>(number)]) << number;
    }
}

TEST(JsonReader, TellsKeysApartThatLookAlikeInTheText) {
  // The second record's key has, escapes aside, the bytes of the first one's.
  EXPECT_EQ(codesOf(errorOf(R"([{"x":1,"a\"b":2},{"x":1,"a"b":2}])")), (std::vector<int>{-202, -103}));
  EXPECT_EQ(codesOf(errorOf(R"([{"x":1,'a"b':2},{"x":1,"a"b":2}])")), (std::vector<int>{-202, -103}));
  const Array records = read(R"([{"x":1,"a\\b":2},{"x":1,"a\b":2}])").array();
  EXPECT_EQ(keysOf(records.at(0).dictionary()), (std::vector<std::string>{"x", "a\\b"}));
  EXPECT_EQ(keysOf(records.at(1).dictionary()), (std::vector<std::string>{"x", "a\b"}));
}

TEST(JsonReader, TellsAKeyFromTheOneThatUsuallyStandsThere) {
  const Array records =
      read(R"([{"a":1,"bc":2},{"a":1,"b":2},{"a":1,"bcd":2},{"a":1,"bc":2},{"a":1,"":2}])").array();
  const std::vector<std::string> second = {"bc", "b", "bcd", "bc", ""};
  for (std::size_t i = 0; i < second.size(); ++i)
    EXPECT_EQ(keysOf(records.at(i).dictionary()), (std::vector<std::string>{"a", second[i]}));
  for (const std::string_view cut : {R"([{"a":1,"bc":2},{"a":1,"bc)"sv, R"([{"a":1,"bc":2},{"a":1,"b)"sv})
    EXPECT_EQ(codesOf(errorOf(cut)), (std::vector<int>{-202, -102, -304}));
}

/// A text of records within records, whose keys come in any order and more than once, and what it means.
class RandomRecords {
 public:
  explicit RandomRecords(unsigned seed) : random_(seed) {}

  Dictionary record(int levels) {
    Dictionary record;
    text += '{';
    for (auto left = random_() % 6; left-- > 0;) {
      static constexpr std::array<std::pair<const char*, const char*>, 7> kKeys = {
          {{R"("a")", "a"},
           {"'a'", "a"},
           {R"("b")", "b"},
           {R"("\u0062")", "b"},
           {R"("c\"d")", "c\"d"},
           {R"('c"d')", "c\"d"},
           {R"("a longer key, which stands in many records, but is not cached because it is longer")",
            "a longer key, which stands in many records, but is not cached because it is longer"}}};
      const auto& [written, key] = kKeys[random_() % kKeys.size()];
      text.append(written).append(":");
      if (levels > 0 && random_() % 3 == 0) {
        record.set(key, this->record(levels - 1));
      } else {
        const std::uint64_t number = random_() % 1'000;
        text += std::to_string(number);
        record.set(key, number);
      }
      text += left == 0 ? "" : ",";
    }
    text += '}';
    return record;
  }

  std::string text;

 private:
  std::mt19937 random_;
};

TEST(JsonReader, ReadsRecordsWhoseKeysComeInAnyOrderAndMoreThanOnce) {
  CJSONDeserializer sharing = reader();
  for (unsigned seed = 0; seed < 2'000; ++seed) {
    RandomRecords records(seed);
    const Dictionary expected = records.record(3);
    const Dictionary found = valueOf(sharing, records.text).dictionary();
    ASSERT_TRUE(Value(found) == Value(expected)) << records.text;
    ASSERT_EQ(keysOf(found), keysOf(expected)) << records.text;
  }
}

TEST(JsonReader, FindsAKeyThatComesAgainBehindThousandsOfOthers) {
  std::string text = R"({"again":1,"others":{)";
  for (int i = 0; i < 3'000; ++i) text += "\"k" + std::to_string(i) + "\":0,";
  const Dictionary dictionary = read(text + R"(},"again":2})").dictionary();
  EXPECT_EQ(keysOf(dictionary), (std::vector<std::string>{"again", "others"}));
  EXPECT_TRUE(dictionary.value("again") == Value(2ULL));
}

TEST(JsonReader, TellsDifferentKeysApartHoweverManyThereAre) {
  CJSONDeserializer sharing = reader();
  for (int round = 0; round < 2; ++round)
    for (int i = 0; i < 5'000; ++i) {
      const std::string name = "key" + std::to_string(i);
      ASSERT_EQ(keysOf(valueOf(sharing, "{\"" + name + "\":1}").dictionary()),
                std::vector<std::string>{name});
    }
}

TEST(JsonReader, ReadsKeysOfEveryLength) {
  for (std::size_t length = 0; length < 200; ++length) {
    const std::string name(length, 'k');
    const Value value = read("[{\"" + name + "\":1,\"" + name + "x\":2},{\"" + name + "\":3}]");
    const Dictionary first = value.array().at(0).dictionary();
    EXPECT_EQ(keysOf(first), (std::vector<std::string>{name, name + "x"}));
    EXPECT_TRUE(first.value(name) == Value(1ULL)) << length;
    EXPECT_TRUE(value.array().at(1).dictionary().value(name) == Value(3ULL)) << length;
  }
}

TEST(JsonReader, TakesTheLastValueOfAKeyAndItsFirstPlaceHoweverManyThereAre) {
  for (const int keys : {1, 2, 16, 31, 32, 33, 34, 100}) {
    std::string text = "{";
    std::vector<std::string> names;
    for (int round = 0; round < 2; ++round)
      for (int i = 0; i < keys; ++i) {
        text += "\"key" + std::to_string(i) + "\":" + std::to_string(round * keys + i) + ",";
        if (round == 0) names.push_back("key" + std::to_string(i));
      }
    const Dictionary dictionary = read(text + "}").dictionary();
    EXPECT_EQ(keysOf(dictionary), names);
    for (int i = 0; i < keys; ++i)
      EXPECT_EQ(dictionary.value(names[static_cast<std::size_t>(i)]).number().longLongValue(), keys + i);
  }
}

TEST(JsonReader, TakesTheLastValueOfALongKeyThatComesTwice) {
  const std::string name(1'000, 'k');
  const Dictionary dictionary = read("{\"" + name + "\":1,\"b\":2,\"" + name + "\":3}").dictionary();
  EXPECT_EQ(keysOf(dictionary), (std::vector<std::string>{name, "b"}));
  EXPECT_TRUE(dictionary.value(name) == Value(3ULL));
}

TEST(JsonReader, ReadsDictionariesThatCanStillGrow) {
  Dictionary dictionary = read(R"({"a":1,"b":2})").dictionary();
  for (int i = 0; i < 100; ++i) dictionary.set("k" + std::to_string(i), i);
  dictionary.set("b", 3);
  dictionary.remove("a");
  EXPECT_EQ(dictionary.size(), 101U);
  EXPECT_TRUE(dictionary.value("b") == Value(3));
}

TEST(JsonReader, ReadsAMillionKeys) {
  std::string text = "{";
  for (int i = 0; i < kDeep; ++i) text += "\"k" + std::to_string(i) + "\":" + std::to_string(i) + ",";
  text.back() = '}';
  const Value value = read(text);
  EXPECT_EQ(value.dictionary().size(), static_cast<std::size_t>(kDeep));
  EXPECT_TRUE(value.dictionary().value("k765432") == Value(765'432ULL));
  EXPECT_TRUE(json(value) == text);
}

TEST(JsonReader, ReadsAMillionElements) {
  const std::string text = "[" + repeated("1,", kDeep - 1) + "1]";
  EXPECT_TRUE(json(read(text)) == text);
}

// Depth

TEST(JsonReader, ReadsAMillionNestedArrays) {
  const std::string text = repeated("[", kDeep) + "1" + repeated("]", kDeep);
  EXPECT_TRUE(json(read(text)) == text);
}

TEST(JsonReader, ReadsAMillionNestedDictionaries) {
  const std::string text = repeated(R"({"k":)", kDeep) + "1" + repeated("}", kDeep);
  EXPECT_TRUE(json(read(text)) == text);
}

TEST(JsonReader, ReadsAMillionNestedContainersThatIgnoreChanges) {
  const std::string text = repeated(R"([{"k":)", kDeep / 2) + "1" + repeated("}]", kDeep / 2);
  EXPECT_TRUE(json(read(text, kImmutable)) == text);
}

/// The code of each of the errors, once for each run of equal ones, with how many there are.
std::vector<std::pair<int, int>> runsOf(Error error) {
  std::vector<std::pair<int, int>> runs;
  for (; error.isError(); error = error.underlyingError()) {
    if (runs.empty() || runs.back().first != error.code()) runs.emplace_back(error.code(), 0);
    ++runs.back().second;
  }
  return runs;
}

TEST(JsonReader, TellsACauseForEachOfAMillionOpenArrays) {
  EXPECT_EQ(runsOf(errorOf(repeated("[", kDeep))),
            (std::vector<std::pair<int, int>>{{-202, kDeep - 1}, {-204, 1}}));
}

TEST(JsonReader, TellsACauseForEachOfAMillionOpenDictionaries) {
  EXPECT_EQ(runsOf(errorOf(repeated(R"({"k":)", kDeep))),
            (std::vector<std::pair<int, int>>{{-104, kDeep}, {-15, 1}}));
}

TEST(JsonReader, FailsWithoutAnErrorToFillHoweverDeepItIs) {
  EXPECT_FALSE(reader().deserialize_error(Data(repeated("[", kDeep))));
  EXPECT_FALSE(reader().deserialize_error(Data(repeated("[", kDeep) + "1" + repeated("]", kDeep - 1))));
}

}  // namespace
}  // namespace pxa
