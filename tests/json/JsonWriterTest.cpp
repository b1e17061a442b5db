#include <array>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <pxalog/CJSONSerializer.h>

namespace pxa {
namespace {

using namespace std::string_view_literals;

constexpr int kDeep = 1'000'000;
const Data kBrokenBytes("\xFF\xFE"sv);

/// Of a type that nobody can write.
class Opaque : public Object {
 public:
  [[nodiscard]] String className() const override { return "Opaque"; }
  [[nodiscard]] String description() const override { return "an opaque thing"; }
};

/// Brings its own JSON.
class SelfWritten final : public Opaque {
 public:
  explicit SelfWritten(Data json) : json_(std::move(json)) {}
  [[nodiscard]] bool offersJSONDataRepresentation() const override { return true; }
  [[nodiscard]] Data JSONDataRepresentation() const override { return json_; }

 private:
  const Data json_;
};

Value opaque() {
  return Value(std::make_shared<Opaque>());
}

Value selfWritten(std::string_view json) {
  return Value(std::make_shared<SelfWritten>(Data(json)));
}

Value selfWrittenWithNothing() {
  return Value(std::make_shared<SelfWritten>(nullptr));
}

CJSONSerializer writer(unsigned options = 0) {
  CJSONSerializer writer = CJSONSerializer::serializer();
  writer.setOptions(options);
  return writer;
}

/// The bytes as text; a failed test when there are none.
std::string text(const Data& bytes) {
  EXPECT_FALSE(bytes.isNil());
  return std::string(bytes.view());
}

std::string json(const Value& value, unsigned options = 0) {
  return text(writer(options).serializeObject_error(value));
}

/// Why the value cannot be written; a failed test when it can.
Error errorOf(const Value& value) {
  Error error;
  EXPECT_TRUE(writer().serializeObject_error(value, &error).isNil());
  return error;
}

std::string unsupported(const char* className) {
  return std::string("Cannot serialize data of type '") + className + "'";
}

std::string notSerializable(const Value& value) {
  return "Could not serialize object '" + std::string(value.description().view()) + "'";
}

void expectError(const Error& error, int code, const std::string& message) {
  EXPECT_EQ(error.domain(), "CJSONSerializerErrorDomain");
  EXPECT_EQ(error.code(), code);
  EXPECT_EQ(error.localizedDescription().view(), message);
}

template <class Wrap>
Value nested(Value innermost, int levels, Wrap wrap) {
  for (int i = 0; i < levels; ++i) innermost = wrap(std::move(innermost));
  return innermost;
}

Value inArray(Value value) {
  return Array{std::move(value)};
}

Value inDictionary(Value value) {
  return Dictionary{{"k", std::move(value)}};
}

std::string repeated(std::string_view part, int times) {
  std::string whole;
  for (int i = 0; i < times; ++i) whole += part;
  return whole;
}

// Options

TEST(JsonWriter, HasNoOptionsAtFirst) {
  EXPECT_EQ(CJSONSerializer::serializer().options(), 0U);
}

TEST(JsonWriter, RemembersItsOptions) {
  EXPECT_EQ(writer(CJSONSerializer::kEscapeSlashes).options(), 1U);
}

TEST(JsonWriter, IsANewOneForEachWhoAsks) {
  CJSONSerializer first = CJSONSerializer::serializer();
  first.setOptions(CJSONSerializer::kEscapeSlashes);
  EXPECT_EQ(CJSONSerializer::serializer().options(), 0U);
}

TEST(JsonWriter, LeavesASlashAsItIs) {
  EXPECT_EQ(json("a/b"), R"("a/b")");
}

TEST(JsonWriter, EscapesEverySlashWhenAsked) {
  EXPECT_EQ(json("/a//b/", CJSONSerializer::kEscapeSlashes), R"("\/a\/\/b\/")");
}

TEST(JsonWriter, EscapesSlashesInKeysBytesAndNestedTextWhenAsked) {
  const Value value = Dictionary{{"a/b", Data("c/d"sv)}, {"e", inArray("f/g")}};
  EXPECT_EQ(json(value, CJSONSerializer::kEscapeSlashes), R"({"a\/b":"c\/d","e":["f\/g"]})");
}

TEST(JsonWriter, EscapesSlashesInEachOperationWhenAsked) {
  const CJSONSerializer escaping = writer(CJSONSerializer::kEscapeSlashes);
  EXPECT_EQ(text(escaping.serializeString_error("/")), R"("\/")");
  EXPECT_EQ(text(escaping.serializeArray_error(Array{"/"})), R"(["\/"])");
  EXPECT_EQ(text(escaping.serializeDictionary_error(Dictionary{{"/", "/"}})), R"({"\/":"\/"})");
}

TEST(JsonWriter, IgnoresEveryOptionBitButTheFirst) {
  EXPECT_EQ(json("a/b", ~CJSONSerializer::kEscapeSlashes), R"("a/b")");
  EXPECT_EQ(json("a/b", ~0U), R"("a\/b")");
}

TEST(JsonWriter, LeavesSlashesAgainWhenTheOptionIsTakenBack) {
  CJSONSerializer changing = writer(CJSONSerializer::kEscapeSlashes);
  changing.setOptions(0);
  EXPECT_EQ(text(changing.serializeObject_error("a/b")), R"("a/b")");
}

// What is valid

TEST(JsonWriter, TakesEveryKindOfValue) {
  for (const Value& value : {Value(), Value(1), Value(true), Value(0.5), Value(""), Value(Data(""sv)),
                             Value(Array()), Value(Dictionary()), selfWritten("1")})
    EXPECT_TRUE(writer().isValidJSONObject(value)) << value.className().c_str();
}

TEST(JsonWriter, DoesNotTakeAnObjectWithoutJson) {
  EXPECT_FALSE(writer().isValidJSONObject(opaque()));
}

TEST(JsonWriter, JudgesAContainerWithoutLookingIntoIt) {
  EXPECT_TRUE(writer().isValidJSONObject(inArray(opaque())));
  EXPECT_TRUE(writer().isValidJSONObject(inDictionary(opaque())));
}

TEST(JsonWriter, JudgesBytesWithoutLookingIntoThem) {
  EXPECT_TRUE(writer().isValidJSONObject(kBrokenBytes));
}

TEST(JsonWriter, JudgesAnObjectThatOffersJsonWithoutAskingForIt) {
  EXPECT_TRUE(writer().isValidJSONObject(selfWrittenWithNothing()));
}

// Null

TEST(JsonWriter, WritesNull) {
  EXPECT_EQ(json(nullptr), "null");
  EXPECT_EQ(text(writer().serializeNull_error(nullptr)), "null");
}

TEST(JsonWriter, WritesANilTextAsNullWhereItIsAnElement) {
  EXPECT_EQ(json(Array{String(), Data()}), "[null,null]");
}

TEST(JsonWriter, SharesOneNull) {
  EXPECT_EQ(writer().serializeNull_error(nullptr).view().data(),
            writer().serializeNull_error(nullptr).view().data());
}

TEST(JsonWriter, SharesOneTrueAndOneFalse) {
  for (const bool value : {true, false}) {
    const Data first = writer().serializeNumber_error(value);
    const Data second = writer().serializeNumber_error(value);
    EXPECT_EQ(first.view().data(), second.view().data()) << value;
  }
}

// Numbers

TEST(JsonWriter, TellsBooleansFromIntegersByTheKindAlone) {
  EXPECT_EQ(json(true), "true");
  EXPECT_EQ(json(false), "false");
  EXPECT_EQ(json(1), "1");
  EXPECT_EQ(json(0), "0");
}

TEST(JsonWriter, WritesACharOfZeroOrOneAsABooleanAndAnyOtherAsItsNumber) {
  for (int i = std::numeric_limits<char>::min(); i <= std::numeric_limits<char>::max(); ++i) {
    const std::string expected = i == 0 ? "false" : i == 1 ? "true" : std::to_string(i);
    EXPECT_EQ(json(static_cast<char>(i)), expected);
  }
}

TEST(JsonWriter, WritesAnEightBitIntegerAsANumber) {
  for (const int i : {-128, -1, 0, 1, 2, 127})
    EXPECT_EQ(json(static_cast<signed char>(i)), std::to_string(i));
}

TEST(JsonWriter, WritesOnesAndZerosOfEveryKindButCharAsNumbers) {
  for (const Value& one : {Value(static_cast<signed char>(1)), Value(static_cast<short>(1)), Value(1),
                           Value(1L), Value(1LL), Value(1ULL), Value(1.0F), Value(1.0)})
    EXPECT_EQ(json(one), "1");
  for (const Value& zero : {Value(static_cast<signed char>(0)), Value(static_cast<short>(0)), Value(0),
                            Value(0L), Value(0LL), Value(0ULL), Value(0.0F), Value(0.0)})
    EXPECT_EQ(json(zero), "0");
}

TEST(JsonWriter, WritesIntegersAtTheirLimits) {
  EXPECT_EQ(json(std::numeric_limits<std::int16_t>::min()), "-32768");
  EXPECT_EQ(json(std::numeric_limits<std::int32_t>::max()), "2147483647");
  EXPECT_EQ(json(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(json(std::numeric_limits<std::int64_t>::max()), "9223372036854775807");
  EXPECT_EQ(json(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
}

TEST(JsonWriter, WritesAFloatByItsOwnPrecision) {
  EXPECT_EQ(json(0.1F), "0.1");
  EXPECT_EQ(json(0.1), "0.1");
  EXPECT_EQ(json(static_cast<double>(0.1F)), "0.10000000149011612");
  EXPECT_EQ(json(-2.5), "-2.5");
}

TEST(JsonWriter, WritesDoublesInTheShortestTextThatReadsBackToTheSame) {
  std::mt19937_64 random(20'240'917);
  for (int i = 0; i < 20'000; ++i) {
    double value = 0;
    if (i % 2 == 0) {
      const std::uint64_t bits = random();
      static_assert(sizeof(bits) == sizeof(value));
      std::memcpy(&value, &bits, sizeof(value));
      if (!std::isfinite(value)) continue;
    } else {
      value = static_cast<double>(static_cast<std::int64_t>(random() % 2'000'000) - 1'000'000) / 1000;
    }
    const std::string written = json(value);
    ASSERT_EQ(std::strtod(written.c_str(), nullptr), value) << written;

    std::array<char, 64> other{};
    int precision = 1;
    do {
      std::snprintf(other.data(), other.size(), "%.*g", precision++, value);
    } while (std::strtod(other.data(), nullptr) != value);
    ASSERT_LE(written.size(), std::string_view(other.data()).size()) << written << " " << other.data();
  }
}

TEST(JsonWriter, WritesFloatsInTheShortestTextThatReadsBackToTheSame) {
  std::mt19937 random(20'240'917);
  for (int i = 0; i < 20'000; ++i) {
    const auto bits = static_cast<std::uint32_t>(random());
    float value = 0;
    std::memcpy(&value, &bits, sizeof(value));
    if (!std::isfinite(value)) continue;
    const std::string written = json(value);
    ASSERT_EQ(std::strtof(written.c_str(), nullptr), value) << written;

    std::array<char, 64> other{};
    int precision = 1;
    do {
      std::snprintf(other.data(), other.size(), "%.*g", precision++, static_cast<double>(value));
    } while (std::strtof(other.data(), nullptr) != value);
    ASSERT_LE(written.size(), std::string_view(other.data()).size()) << written << " " << other.data();
  }
}

TEST(JsonWriter, WritesWhatIsNoFiniteNumberAsItsWord) {
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(json(Array{std::numeric_limits<double>::quiet_NaN(), infinity, -infinity}), "[nan,inf,-inf]");
  EXPECT_EQ(json(Array{std::numeric_limits<float>::quiet_NaN(), static_cast<float>(-infinity)}),
            "[nan,-inf]");
}

TEST(JsonWriter, KeepsEveryDigitOfADecimal) {
  for (const char* digits :
       {"0", "1", "-0.10", "123456789012345678901234567890.123456789012345678901234567890", "1.50e+400"}) {
    const auto decimal = Decimal::parse(digits);
    ASSERT_TRUE(decimal) << digits;
    EXPECT_EQ(json(Number(*decimal)), digits);
  }
}

TEST(JsonWriter, KeepsAMillionDigits) {
  const std::string digits(1'000'000, '7');
  const Number number(*Decimal::parse(digits));
  EXPECT_TRUE(json(Array{number, number}) == "[" + digits + "," + digits + "]");
}

TEST(JsonWriter, WritesNumbersByThemselvesAsItDoesInsideAValue) {
  for (const Number& number : {Number(true), Number(false), Number(static_cast<char>(2)), Number(1),
                               Number(0.25), Number(std::numeric_limits<std::uint64_t>::max())})
    EXPECT_EQ(text(writer().serializeNumber_error(number)), json(number));
}

// Strings

TEST(JsonWriter, WritesAnEmptyStringAsTwoQuotes) {
  EXPECT_EQ(json(""), R"("")");
}

TEST(JsonWriter, WritesEveryByteAsTheTableSays) {
  for (int i = 1; i < 128; ++i) {
    const std::string byte(1, static_cast<char>(i));
    std::string expected = byte;
    switch (i) {
      case 8:
        expected = "\\b";
        break;
      case 9:
        expected = "\\t";
        break;
      case 10:
        expected = "\\n";
        break;
      case 12:
        expected = "\\f";
        break;
      case 13:
        expected = "\\r";
        break;
      case '"':
        expected = "\\\"";
        break;
      case '\\':
        expected = "\\\\";
        break;
      default:
        break;
    }
    EXPECT_EQ(json(byte), '"' + expected + '"') << i;
    EXPECT_EQ(json("a" + byte + "z"), "\"a" + expected + "z\"") << i;
  }
}

TEST(JsonWriter, WritesOtherControlBytesRaw) {
  EXPECT_EQ(json("\x01"), "\"\x01\"");
  EXPECT_EQ(json("\x0B\x0E\x1F\x7F"), "\"\x0B\x0E\x1F\x7F\"");
}

TEST(JsonWriter, CopiesMultiByteCharactersUnchanged) {
  const std::string characters = "\xC2\x80 \xC3\xBC \xE2\x82\xAC \xE2\x80\xA8 \xEF\xBF\xBD \xF0\x9F\x98\x80";
  EXPECT_EQ(json(characters), '"' + characters + '"');
}

TEST(JsonWriter, NeverWritesAUnicodeEscape) {
  std::string everything;
  for (int i = 1; i < 128; ++i)
    if (i != '\\') everything.push_back(static_cast<char>(i));
  everything += "\xC3\xBC\xE2\x80\xA8\xF0\x9F\x98\x80";
  EXPECT_EQ(json(everything).find("\\u"), std::string::npos);
}

TEST(JsonWriter, CutsAStringAtItsFirstNulCharacter) {
  EXPECT_EQ(json("ab\0cd\0ef"sv), R"("ab")");
  EXPECT_EQ(json("\0cd"sv), R"("")");
  EXPECT_EQ(json("\"\\\0\""sv), R"("\"\\")");
  EXPECT_EQ(json("ab\0"sv), R"("ab")");
}

TEST(JsonWriter, CutsKeysAndBytesAtTheirFirstNulCharacter) {
  EXPECT_EQ(json(Dictionary{{"k\0x"sv, Data("v\0w"sv)}}), R"({"k":"v"})");
}

TEST(JsonWriter, WritesAStringByItselfAsItDoesInsideAValue) {
  EXPECT_EQ(text(writer().serializeString_error("a\n\"/\\")), R"("a\n\"/\\")");
}

TEST(JsonWriter, WritesALongStringWhole) {
  const std::string longText(5'000'000, 'x');
  EXPECT_TRUE(json(longText) == '"' + longText + '"');
}

// Bytes

TEST(JsonWriter, WritesUtf8BytesAsAnEscapedString) {
  EXPECT_EQ(json(Data("gr\xC3\xBC\xC3\x9F \"you\"\n"sv)), "\"gr\xC3\xBC\xC3\x9F \\\"you\\\"\\n\"");
}

TEST(JsonWriter, WritesNoBytesAsAnEmptyString) {
  EXPECT_EQ(json(Data(""sv)), R"("")");
}

TEST(JsonWriter, RefusesBytesThatAreNotUtf8) {
  for (const std::string_view bytes : {"\xFF"sv, "\x80"sv, "\xC3"sv, "\xED\xA0\x80"sv, "\xC0\x80"sv,
                                       "\xF4\x90\x80\x80"sv, "fine \xE2\x82"sv})
    EXPECT_TRUE(writer().serializeObject_error(Data(bytes)).isNil());
}

TEST(JsonWriter, RefusesBytesThatAreBrokenBehindANul) {
  EXPECT_TRUE(writer().serializeObject_error(Data("ab\0\xFF"sv)).isNil());
}

TEST(JsonWriter, NamesBrokenBytesAsNotSerializableAndNotAsUnsupported) {
  expectError(errorOf(kBrokenBytes), -2, notSerializable(kBrokenBytes));
}

// Objects

TEST(JsonWriter, TakesTheJsonOfAnObjectUnchanged) {
  for (const std::string_view own : {"{\"a\":1}"sv, " no JSON at all {"sv, "a\0b"sv, "\xFF/\n"sv})
    EXPECT_EQ(json(selfWritten(own), CJSONSerializer::kEscapeSlashes), own);
}

TEST(JsonWriter, TakesTheJsonOfAnObjectInsideContainers) {
  EXPECT_EQ(json(Array{1, selfWritten("[ ]"), inDictionary(selfWritten("2"))}), R"([1,[ ],{"k":2}])");
}

TEST(JsonWriter, TakesEmptyJsonOfAnObject) {
  const Data bytes = writer().serializeObject_error(selfWritten(""));
  EXPECT_FALSE(bytes.isNil());
  EXPECT_EQ(bytes.size(), 0U);
}

TEST(JsonWriter, NamesAnObjectThatGivesNoJsonInTheEnd) {
  expectError(errorOf(selfWrittenWithNothing()), -2, "Could not serialize object 'an opaque thing'");
}

TEST(JsonWriter, NamesTheClassOfAnObjectThatOffersNoJson) {
  expectError(errorOf(opaque()), -1, unsupported("Opaque"));
}

// Containers

TEST(JsonWriter, WritesEmptyContainers) {
  EXPECT_EQ(json(Array()), "[]");
  EXPECT_EQ(json(Dictionary()), "{}");
  EXPECT_EQ(text(writer().serializeArray_error(Array())), "[]");
  EXPECT_EQ(text(writer().serializeDictionary_error(Dictionary())), "{}");
}

TEST(JsonWriter, WritesContainersWithoutWhiteSpace) {
  EXPECT_EQ(json(Dictionary{{"k", Value(Array{1, 2})}}), R"({"k":[1,2]})");
}

TEST(JsonWriter, WritesElementsInOrderWithCommasBetween) {
  EXPECT_EQ(json(Array{nullptr, true, 2, "three", Data("four"sv), Value(Array()), Value(Dictionary())}),
            R"([null,true,2,"three","four",[],{}])");
}

TEST(JsonWriter, WritesKeysInTheOrderOfTheDictionary) {
  EXPECT_EQ(json(Dictionary{{"b", 1}, {"a", 2}, {"c", 3}}), R"({"b":1,"a":2,"c":3})");
}

TEST(JsonWriter, EscapesKeys) {
  EXPECT_EQ(json(Dictionary{{"a\"b\n", 1}, {"", 2}}), R"({"a\"b\n":1,"":2})");
}

TEST(JsonWriter, PutsCommasRightWhereEntriesWereRemoved) {
  for (const char* removed : {"a", "b", "c"}) {
    Dictionary dictionary{{"a", 1}, {"b", 2}, {"c", 3}};
    dictionary.remove(removed);
    std::string expected;
    for (const Dictionary::Entry& entry : dictionary)
      expected += (expected.empty() ? "\"" : ",\"") + std::string(entry.key.view()) +
                  "\":" + std::string(entry.value.number().stringValue().view());
    EXPECT_EQ(json(dictionary), "{" + expected + "}");
    EXPECT_EQ(text(writer().serializeDictionary_error(dictionary)), "{" + expected + "}");
  }
}

TEST(JsonWriter, WritesADictionaryWhoseEntriesWereAllRemovedAsEmpty) {
  Dictionary dictionary{{"a", 1}, {"b", 2}};
  dictionary.remove("b");
  dictionary.remove("a");
  EXPECT_EQ(json(dictionary), "{}");
}

TEST(JsonWriter, WritesEveryEntryOfALargeDictionary) {
  Dictionary dictionary;
  std::string expected;
  for (int i = 0; i < 1000; ++i) {
    const std::string key = "key" + std::to_string(i);
    dictionary.set(key, i);
    expected += (i == 0 ? "\"" : ",\"") + key + "\":" + std::to_string(i);
  }
  EXPECT_EQ(json(dictionary), "{" + expected + "}");
}

TEST(JsonWriter, LeavesOutWhatWasRemovedFromALargeDictionary) {
  constexpr int kMany = 100;
  Dictionary dictionary;
  for (int i = 0; i < kMany; ++i) dictionary.set(std::to_string(i), i % 3 == 1 ? inArray(i) : Value(i));
  for (int i = 0; i < kMany; ++i)
    if (i != 40 && i != 41) dictionary.remove(std::to_string(i));
  EXPECT_EQ(json(dictionary), R"({"40":[40],"41":41})");
  EXPECT_EQ(text(writer().serializeDictionary_error(dictionary)), R"({"40":[40],"41":41})");
  dictionary.remove("40");
  dictionary.remove("41");
  EXPECT_EQ(json(dictionary), "{}");
}

TEST(JsonWriter, WritesOneContainerInSeveralPlaces) {
  const Value shared = Array{1};
  EXPECT_EQ(json(Array{shared, inDictionary(shared), shared}), R"([[1],{"k":[1]},[1]])");
}

TEST(JsonWriter, WritesContainersByThemselvesAsItDoesInsideAValue) {
  const Array array{1, inDictionary("x"), nullptr};
  const Dictionary dictionary{{"a", Value(array)}, {"b", 0.5}};
  EXPECT_EQ(text(writer().serializeArray_error(array)), json(array));
  EXPECT_EQ(text(writer().serializeDictionary_error(dictionary)), json(dictionary));
}

TEST(JsonWriter, LeavesWhatItWritesUnchanged) {
  const Value value = Dictionary{{"a", inArray("x/\n")}, {"b", Data("bytes"sv)}};
  const Value same = Dictionary{{"a", inArray("x/\n")}, {"b", Data("bytes"sv)}};
  json(value, CJSONSerializer::kEscapeSlashes);
  EXPECT_TRUE(value == same);
}

// Failures

TEST(JsonWriter, NamesTheOutermostObjectWhenAnElementIsUnsupported) {
  const Value array = Array{1, opaque()};
  expectError(errorOf(array), -2, notSerializable(array));
  EXPECT_EQ(notSerializable(array), "Could not serialize object '(1, an opaque thing)'");
}

TEST(JsonWriter, NamesTheOutermostObjectForEveryFailureFurtherDown) {
  for (const Value& bad : {opaque(), selfWrittenWithNothing(), Value(kBrokenBytes)})
    for (const Value& outermost :
         {inArray(bad), inDictionary(bad), inArray(inDictionary(bad)), inDictionary(inArray(inArray(bad)))})
      expectError(errorOf(outermost), -2, notSerializable(outermost));
}

TEST(JsonWriter, NamesTheElementThatFailsWhenGivenAContainerDirectly) {
  const Value inner = inArray(opaque());
  Error error;
  EXPECT_TRUE(writer().serializeArray_error(Array{1, opaque(), inner}, &error).isNil());
  expectError(error, -1, unsupported("Opaque"));
  EXPECT_TRUE(writer().serializeArray_error(Array{1, inner, opaque()}, &error).isNil());
  expectError(error, -2, notSerializable(inner));
  EXPECT_TRUE(writer().serializeDictionary_error(Dictionary{{"a", 1}, {"b", opaque()}}, &error).isNil());
  expectError(error, -1, unsupported("Opaque"));
  EXPECT_TRUE(writer().serializeDictionary_error(Dictionary{{"a", inner}, {"b", opaque()}}, &error).isNil());
  expectError(error, -2, notSerializable(inner));
  EXPECT_TRUE(writer().serializeDictionary_error(Dictionary{{"a", kBrokenBytes}}, &error).isNil());
  expectError(error, -2, notSerializable(kBrokenBytes));
}

TEST(JsonWriter, GivesNothingWhereverTheFailureLies) {
  for (const int position : {0, 1, 2, 3}) {
    Array array;
    Dictionary dictionary;
    for (int i = 0; i < 4; ++i) {
      array.append(i == position ? opaque() : Value(i));
      dictionary.set(std::to_string(i), i == position ? opaque() : Value(i));
    }
    EXPECT_TRUE(writer().serializeObject_error(array).isNil());
    EXPECT_TRUE(writer().serializeArray_error(array).isNil());
    EXPECT_TRUE(writer().serializeObject_error(dictionary).isNil());
    EXPECT_TRUE(writer().serializeDictionary_error(dictionary).isNil());
  }
}

TEST(JsonWriter, PutsTheMessageUnderTheKeyOfLocalizedDescriptions) {
  const Error error = errorOf(opaque());
  EXPECT_TRUE(error.userInfo().value(Error::kLocalizedDescriptionKey) == Value(unsupported("Opaque")));
}

TEST(JsonWriter, NamesItsErrorDomain) {
  EXPECT_STREQ(CJSONSerializer::kErrorDomain, "CJSONSerializerErrorDomain");
  EXPECT_EQ(CJSONSerializer::kUnsupportedType, -1);
  EXPECT_EQ(CJSONSerializer::kNotSerializable, -2);
}

TEST(JsonWriter, FailsSilentlyWhenNoErrorIsAskedFor) {
  EXPECT_TRUE(writer().serializeObject_error(opaque()).isNil());
  EXPECT_TRUE(writer().serializeObject_error(kBrokenBytes, nullptr).isNil());
  EXPECT_TRUE(writer().serializeObject_error(inArray(opaque()), nullptr).isNil());
}

TEST(JsonWriter, LeavesTheErrorAloneOnSuccess) {
  Error error = Error::withDescription("earlier", 7, "an earlier failure");
  EXPECT_FALSE(writer().serializeObject_error(Array{1, "two", nullptr}, &error).isNil());
  EXPECT_FALSE(writer().serializeNull_error(nullptr, &error).isNil());
  EXPECT_FALSE(writer().serializeNumber_error(1, &error).isNil());
  EXPECT_FALSE(writer().serializeString_error("", &error).isNil());
  EXPECT_FALSE(writer().serializeArray_error(Array{1}, &error).isNil());
  EXPECT_FALSE(writer().serializeDictionary_error(Dictionary{{"a", 1}}, &error).isNil());
  EXPECT_EQ(error.domain(), "earlier");
  EXPECT_EQ(error.code(), 7);
}

TEST(JsonWriter, ReplacesAnEarlierErrorOnFailure) {
  Error error = Error::withDescription("earlier", 7, "an earlier failure");
  writer().serializeObject_error(opaque(), &error);
  expectError(error, -1, unsupported("Opaque"));
}

TEST(JsonWriter, NamesTheWholeDescriptionOfATextWithANulCharacter) {
  const Value array = Array{"a\0b"sv, opaque()};
  expectError(errorOf(array), -2, notSerializable(array));
}

TEST(JsonWriter, WritesAgainAfterAFailure) {
  const CJSONSerializer one = writer();
  EXPECT_TRUE(one.serializeObject_error(Array{"a", opaque()}).isNil());
  EXPECT_EQ(text(one.serializeObject_error(Array{"b"})), R"(["b"])");
}

// Depth

TEST(JsonWriter, WritesAMillionNestedArrays) {
  const Value deep = nested(1, kDeep, inArray);
  EXPECT_TRUE(json(deep) == repeated("[", kDeep) + "1" + repeated("]", kDeep));
}

TEST(JsonWriter, WritesAMillionNestedDictionaries) {
  const Value deep = nested(1, kDeep, inDictionary);
  EXPECT_TRUE(json(deep) == repeated(R"({"k":)", kDeep) + "1" + repeated("}", kDeep));
}

TEST(JsonWriter, WritesAMillionNestedContainersGivenDirectly) {
  const Value deep = nested(1, kDeep - 1, inArray);
  EXPECT_TRUE(text(writer().serializeArray_error(Array{deep})) ==
              repeated("[", kDeep) + "1" + repeated("]", kDeep));
  EXPECT_TRUE(text(writer().serializeDictionary_error(Dictionary{{"k", deep}})) ==
              R"({"k":)" + repeated("[", kDeep - 1) + "1" + repeated("]", kDeep - 1) + "}");
}

TEST(JsonWriter, WritesAMillionLevelsWhereverTheyAreHeld) {
  const Value deep = nested(1, kDeep, inArray);
  const std::string once = repeated("[", kDeep) + "1" + repeated("]", kDeep);
  EXPECT_TRUE(json(Dictionary{{"a", deep}, {"b", deep}}) == R"({"a":)" + once + R"(,"b":)" + once + "}");
}

TEST(JsonWriter, ReportsAFailureAMillionLevelsDown) {
  int level = 0;
  const Value deep = nested(opaque(), kDeep, [&](Value value) {
    return ++level % 2 == 0 ? inArray(std::move(value)) : inDictionary(std::move(value));
  });
  const Error error = errorOf(deep);
  EXPECT_EQ(error.code(), -2);
  EXPECT_LT(error.localizedDescription().size(), 1000U);
}

// Threads

TEST(JsonWriter, ServesSeveralThreadsAtOnce) {
  const CJSONSerializer shared = writer(CJSONSerializer::kEscapeSlashes);
  const Value value = Dictionary{{"a/b", Value(Array{1, "x/y", Data("bytes"sv)})}, {"c", selfWritten("2")}};
  std::atomic<int> right = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&] {
      for (int pass = 0; pass < 200; ++pass)
        if (shared.serializeObject_error(value).view() == R"({"a\/b":[1,"x\/y","bytes"],"c":2})") ++right;
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(right, 800);
}

}  // namespace
}  // namespace pxa
