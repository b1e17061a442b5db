#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <initializer_list>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <utility>
#include <vector>

#include <pxalog/Array.h>
#include <pxalog/Dictionary.h>

#include "platform/linux/nlohmann_values.h"

namespace pxa {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr std::size_t kDeepest = CborKeyedArchive::kDeepestNesting;

std::optional<Dictionary> unarchive(std::string_view bytes) {
  return CborKeyedArchive().unarchive(Data(bytes));
}

std::string archive(const Dictionary& root) {
  return std::string(CborKeyedArchive().archive(root).view());
}

/// What comes back for a value; null, and a failed test, when nothing does.
Value roundTrip(const Value& value) {
  const std::optional<Dictionary> root = unarchive(archive(Dictionary{{"value", value}}));
  EXPECT_TRUE(root && root->size() == 1 && root->contains("value"));
  return root ? root->value("value") : Value();
}

/// A dictionary in which the value lies below that many further containers.
Dictionary nested(Value value, std::size_t levels) {
  for (std::size_t i = 0; i < levels; ++i)
    value = i % 2 == 0 ? Value(Array{value}) : Value(Dictionary{{"k", value}});
  return {{"root", value}};
}

/// One of everything that an archive holds as it is.
Dictionary everything() {
  return {
      {"null", nullptr},
      {"true", true},
      {"false", false},
      {"zero", 0LL},
      {"negative", -1LL},
      {"least", std::numeric_limits<std::int64_t>::min()},
      {"greatest", std::numeric_limits<std::int64_t>::max()},
      {"unsigned", std::numeric_limits<std::uint64_t>::max()},
      {"half", 0.5},
      {"tenth", 0.1},
      {"huge", std::numeric_limits<double>::max()},
      {"infinite", -std::numeric_limits<double>::infinity()},
      {"empty text", ""},
      {"text",
       "Gr\xC3\xBC\xC3\x9F"
       "e \xF0\x9F\x98\x80"},
      {"text with NUL", "a\0b"sv},
      {"long text", std::string(70'000, 't')},
      {"no bytes", Data(""sv)},
      {"bytes", Data("\xFF\0\x80 bytes"sv)},
      {"long bytes", Data(std::string(70'000, '\xFE'))},
      {"empty array", Value(Array())},
      {"array", Array{1LL, "two", nullptr, Array{3LL}}},
      {"empty dictionary", Value(Dictionary())},
      {"dictionary", Dictionary{{"", "empty key"}, {"deeper", Dictionary{{"k", Data("x"sv)}}}}},
  };
}

TEST(CborKeyedArchive, BringsBackEveryKindOfValue) {
  for (const Dictionary::Entry& entry : everything())
    EXPECT_TRUE(roundTrip(entry.value) == entry.value) << entry.key.view();
}

TEST(CborKeyedArchive, BringsBackAWholeDictionary) {
  const std::optional<Dictionary> root = unarchive(archive(everything()));
  ASSERT_TRUE(root);
  EXPECT_TRUE(Value(*root) == Value(everything()));
}

TEST(CborKeyedArchive, BringsBackAnEmptyDictionary) {
  const std::optional<Dictionary> root = unarchive(archive(Dictionary()));
  ASSERT_TRUE(root);
  EXPECT_FALSE(root->isNil());
  EXPECT_EQ(root->size(), 0U);
}

template <class T>
constexpr T kLeast = std::numeric_limits<T>::lowest();
template <class T>
constexpr T kGreatest = std::numeric_limits<T>::max();

template <class T>
std::vector<Number> numbersOf(std::initializer_list<T> values) {
  return std::vector<Number>(values.begin(), values.end());
}

template <class T>
std::vector<Number> floatingNumbers() {
  using Limits = std::numeric_limits<T>;
  return numbersOf<T>({T{0}, -T{0}, T{1}, T{-65504}, T{1} / 3, kLeast<T>, kGreatest<T>, Limits::min(),
                       Limits::denorm_min(), -Limits::denorm_min(), Limits::epsilon(), Limits::infinity(),
                       -Limits::infinity(), Limits::quiet_NaN()});
}

std::vector<Number> decimals() {
  std::vector<Number> numbers;
  for (const std::string& digits :
       {std::string("0"), std::string("-0"), std::string("+007.50"), std::string("1e400"),
        std::string("-1.5E-400"), std::string("18446744073709551616"), std::string(100, '9'),
        "-" + std::string(100, '1') + "." + std::string(100, '2')})
    numbers.emplace_back(Decimal::parse(digits).value());
  return numbers;
}

/// Both numbers alike to the last bit, what is not a number aside.
bool isSame(const Number& number, const Number& other) {
  if (std::isnan(number.doubleValue()))
    return number.kind() == other.kind() && std::isnan(other.doubleValue());
  return number == other && std::signbit(number.doubleValue()) == std::signbit(other.doubleValue());
}

TEST(CborKeyedArchive, BringsBackEveryNumberWithItsKindAndValue) {
  const std::vector<Number> rows[] = {
      numbersOf<bool>({false, true}),
      numbersOf<char>({'A', 0, 1, 2, -1, kLeast<char>, kGreatest<char>}),
      numbersOf<signed char>({0, 1, 65, -1, kLeast<signed char>, kGreatest<signed char>}),
      numbersOf<short>({0, 1, -129, 128, kLeast<short>, kGreatest<short>}),
      numbersOf<int>({0, 1, -32769, 32768, kLeast<int>, kGreatest<int>}),
      numbersOf<long long>({0, 1, -1, kLeast<long long>, kGreatest<long long>}),
      numbersOf<unsigned long long>(
          {0, 1, kGreatest<long long>, kGreatest<long long> + 1ULL, kGreatest<unsigned long long>}),
      floatingNumbers<float>(),
      floatingNumbers<double>(),
      numbersOf<double>({0.1, 1e-45, kLeast<float>, kGreatest<float>, 0x1p127, 0x1p128, 0x1p-149, 0x1p-150}),
      decimals(),
  };
  for (const std::vector<Number>& numbers : rows)
    for (const Number& number : numbers) {
      const Value back = roundTrip(number);
      EXPECT_EQ(back.kind(), Value::Kind::Number);
      EXPECT_TRUE(isSame(back.number(), number))
          << static_cast<int>(number.kind()) << " " << number.stringValue().view();
    }
}

TEST(CborKeyedArchive, TellsABooleanFromACharacter) {
  EXPECT_TRUE(roundTrip(true) == Value(true));
  EXPECT_TRUE(roundTrip('A') == Value('A'));
  EXPECT_FALSE(roundTrip('A') == Value(65));
}

TEST(CborKeyedArchive, BringsBackKeysOfEveryKind) {
  for (const std::string_view key : {"\0"sv, "\0\0"sv, "\0\0\0"sv, "\0int8"sv, "\0\0int8"sv, "\0decimal"sv,
                                     "\0other"sv, "int8"sv, "int8\0"sv, ""sv}) {
    const Dictionary dictionary{{key, 5LL}};
    EXPECT_TRUE(roundTrip(dictionary) == Value(dictionary)) << key.size();
    EXPECT_TRUE(roundTrip(Array{dictionary}) == Value(Array{dictionary})) << key.size();
    const Dictionary numbers{{key, short{5}}};
    EXPECT_TRUE(roundTrip(numbers) == Value(numbers)) << key.size();
    const std::optional<Dictionary> root = unarchive(archive(dictionary));
    EXPECT_TRUE(root && Value(*root) == Value(dictionary)) << key.size();
  }
}

TEST(CborKeyedArchive, BringsBackKeysThatDifferInTheirFirstCharactersAlone) {
  const Dictionary dictionary{{"int8"sv, 1LL}, {"\0int8"sv, short{2}}, {"\0\0int8"sv, 3LL}, {"\0"sv, "4"}};
  EXPECT_TRUE(roundTrip(dictionary) == Value(dictionary));
}

/// The head of an item of that type whose argument is its length or its number of items, below 24.
std::string head(int type, std::size_t argument) {
  return std::string(1,
                     static_cast<char>(static_cast<unsigned char>(type << 5 | static_cast<int>(argument))));
}

std::string textItem(std::string_view text) {
  return head(3, text.size()) + std::string(text);
}

/// An archive that holds a dictionary of these bytes.
std::optional<Dictionary> unarchiveDictionaryOf(std::size_t entries, std::string_view bytes) {
  return unarchive(head(5, 1) + textItem("k") + head(5, entries) + std::string(bytes));
}

/// A key that names a kind of numbers.
std::string kindKey(std::string_view kind) {
  return textItem('\0' + std::string(kind));
}

TEST(CborKeyedArchive, RefusesANumberOfAKindThatThereIsNot) {
  for (const std::string_view kind : {""sv, "int"sv, "Int8"sv, "int8 "sv, "int128"sv, "object"sv, "int8\0"sv})
    EXPECT_FALSE(unarchiveDictionaryOf(1, kindKey(kind) + "\x05")) << kind;
}

/// Every kind that an archive names.
constexpr std::string_view kNamedKinds[] = {"char", "int8", "int16", "int32", "uint64", "float", "decimal"};

TEST(CborKeyedArchive, RefusesANumberWhoseValueIsNone) {
  for (const std::string_view kind : kNamedKinds)
    for (const std::string_view value : {
             "\xF6"sv,          // null
             "\x41\x35"sv,      // bytes
             "\x61x"sv,         // a text without a number
             "\xF5"sv,          // true
             "\x80"sv,          // an array
             "\x81\x05"sv,      // a number in an array
             "\xA0"sv,          // a dictionary
             "\xA1\x61k\x05"sv  // a number in a dictionary
         })
      EXPECT_FALSE(unarchiveDictionaryOf(1, kindKey(kind) + std::string(value)))
          << kind << " " << static_cast<int>(static_cast<unsigned char>(value[0]));
}

TEST(CborKeyedArchive, RefusesANumberWhoseValueIsOfAnotherKind) {
  const std::string_view fraction = "\xF9\x38\x00"sv;  // 0.5
  for (const std::string_view kind : kNamedKinds) {
    const bool takesFractions = kind == "float";
    EXPECT_EQ(unarchiveDictionaryOf(1, kindKey(kind) + std::string(fraction)).has_value(), takesFractions)
        << kind;
    const bool takesTexts = kind == "decimal";
    EXPECT_EQ(unarchiveDictionaryOf(1, kindKey(kind) + textItem("5")).has_value(), takesTexts) << kind;
    const bool takesIntegers = !takesFractions && !takesTexts;
    EXPECT_EQ(unarchiveDictionaryOf(1, kindKey(kind) + "\x05").has_value(), takesIntegers) << kind;
  }
}

TEST(CborKeyedArchive, RefusesAKeyThatComesTwice) {
  const std::string five = textItem("key") + "\x05";
  const std::string empty = textItem("key") + head(5, 0);
  EXPECT_TRUE(unarchiveDictionaryOf(1, five));
  EXPECT_FALSE(unarchiveDictionaryOf(2, five + five));
  EXPECT_FALSE(unarchiveDictionaryOf(2, empty + five));
  EXPECT_FALSE(unarchiveDictionaryOf(2, five + empty));
  EXPECT_FALSE(unarchiveDictionaryOf(3, five + textItem("other") + head(5, 0) + five));
}

TEST(CborKeyedArchive, RefusesMoreItemsThanAnyQueueOfEventsHas) {
  const auto archiveOfNulls = [](std::size_t count) {
    std::string headOfArray("\x9A\0\0\0\0"sv);  // four bytes of length follow
    for (std::size_t i = 0; i < 4; ++i) headOfArray[4 - i] = static_cast<char>(count >> (8 * i));
    return textItem("nulls") + headOfArray + std::string(count, '\xF6');
  };
  constexpr std::size_t kOtherItems = 5;
  EXPECT_TRUE(unarchiveDictionaryOf(1, archiveOfNulls(CborKeyedArchive::kMostItems - kOtherItems)));
  EXPECT_FALSE(unarchiveDictionaryOf(1, archiveOfNulls(CborKeyedArchive::kMostItems - kOtherItems + 1)));
}

TEST(CborKeyedArchive, RefusesANumberInANumber) {
  for (const std::string_view kind : kNamedKinds)
    for (const std::string& inner : {kindKey("int8") + "\x05", kindKey("float") + "\xF9\x38"s + '\0',
                                     kindKey("decimal") + textItem("5")})
      EXPECT_FALSE(unarchiveDictionaryOf(1, kindKey(kind) + head(5, 1) + inner)) << kind;
}

TEST(CborKeyedArchive, RefusesANumberBeyondItsKind) {
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"char", "\x18\x80"},                                 // 128
      {"char", "\x38\x80"},                                 // -129
      {"int8", "\x18\x80"},                                 // 128
      {"int8", "\x38\x80"},                                 // -129
      {"int16", "\x19\x80\x00"sv},                          // 32768
      {"int16", "\x39\x80\x00"sv},                          // -32769
      {"int32", "\x1A\x80\x00\x00\x00"sv},                  // 2^31
      {"int32", "\x3A\x80\x00\x00\x00"sv},                  // -2^31 - 1
      {"int32", "\x1B\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"},    // 2^64 - 1
      {"uint64", "\x20"},                                   // -1
      {"float", "\xFB\x48\x00\x00\x00\x00\x00\x00\x00"sv},  // 2^129
      {"float", "\xFB\xC8\x00\x00\x00\x00\x00\x00\x00"sv},  // -2^129
  };
  for (const auto& [kind, value] : rows)
    EXPECT_FALSE(unarchiveDictionaryOf(1, kindKey(kind) + std::string(value))) << kind << " " << value.size();
}

TEST(CborKeyedArchive, RefusesADecimalThatIsNoNumber) {
  for (const std::string_view text :
       {"", "x", "-", ".5", "5.", "1 ", " 1", "1e", "1e+", "0x10", "--1", "nan", "inf", "1,5", "1e5.5"})
    EXPECT_FALSE(unarchiveDictionaryOf(1, kindKey("decimal") + textItem(text))) << text;
}

TEST(CborKeyedArchive, RefusesANumberBesideAnotherEntry) {
  const std::string number = kindKey("int8") + "\x05";
  for (const std::string& other : {textItem("a") + "\x01", textItem("") + "\x01", kindKey("int16") + "\x05",
                                   textItem("\0\0int8"sv) + "\x05"}) {
    EXPECT_FALSE(unarchiveDictionaryOf(2, number + other)) << other;
    EXPECT_FALSE(unarchiveDictionaryOf(2, other + number)) << other;
  }
}

TEST(CborKeyedArchive, RefusesANumberInTheRootsPlace) {
  EXPECT_FALSE(unarchive(head(5, 1) + kindKey("int8") + "\x05"));
}

TEST(CborKeyedArchive, BringsBackEveryLengthOfInteger) {
  for (unsigned bits = 0; bits < 63; ++bits)
    for (const std::int64_t offset : {-1, 0, 1})
      for (const std::int64_t sign : {-1, 1}) {
        const std::int64_t integer = sign * ((std::int64_t{1} << bits) + offset);
        EXPECT_TRUE(roundTrip(integer) == Value(integer)) << integer;
      }
}

TEST(CborKeyedArchive, BringsBackTextAsTextAndBytesAsBytes) {
  EXPECT_EQ(roundTrip("same").kind(), Value::Kind::String);
  EXPECT_EQ(roundTrip(Data("same"sv)).kind(), Value::Kind::Data);
}

class Plain final : public Object {
 public:
  [[nodiscard]] String className() const override { return "Plain"; }
};

TEST(CborKeyedArchive, RefusesToArchiveAnObject) {
  const Value object(std::make_shared<Plain>());
  EXPECT_THROW(archive({{"object", object}}), std::invalid_argument);
  EXPECT_THROW(archive({{"array", Array{1, object}}}), std::invalid_argument);
  EXPECT_THROW(archive({{"dictionary", Dictionary{{"object", object}}}}), std::invalid_argument);
}

/// Whether there is an archive of the dictionary, and whether it can be read then.
bool isWrittenAndRead(const Dictionary& root) {
  std::string bytes;
  try {
    bytes = archive(root);
  } catch (const std::invalid_argument&) {
    return false;
  }
  const std::optional<Dictionary> back = unarchive(bytes);
  EXPECT_TRUE(back && Value(*back) == Value(root));
  return true;
}

TEST(CborKeyedArchive, ReadsTheDeepestThatItWrites) {
  for (const Value& bottom :
       {Value("text"), Value(), Value(5LL), Value(short{5}), Value(0.1F), Value(Decimal::parse("5").value()),
        Value(Array()), Value(Dictionary()), Value(Dictionary{{"\0int8"sv, short{5}}})}) {
    std::size_t levels = 0;
    while (levels <= kDeepest && isWrittenAndRead(nested(bottom, levels))) ++levels;
    EXPECT_GT(levels, kDeepest - 5) << bottom.description().view();
    EXPECT_LE(levels, kDeepest) << bottom.description().view();
  }
}

TEST(CborKeyedArchive, WritesTheDeepestThatItReads) {
  const std::vector<std::string> bottoms = {"\x05", "\x60", "\x80", "\xA1\x65\0int8\x05"s};
  for (const std::string& bottom : bottoms) {
    std::optional<Dictionary> deepest;
    for (std::size_t levels = 0; levels <= kDeepest; ++levels)
      if (const auto read = unarchive("\xA1\x61k" + std::string(levels, '\x81') + bottom)) deepest = read;
    ASSERT_TRUE(deepest);
    EXPECT_TRUE(isWrittenAndRead(*deepest)) << Value(*deepest).description().view();
  }
}

TEST(CborKeyedArchive, RefusesToArchiveAMillionLevels) {
  EXPECT_THROW(archive(nested("bottom", 1'000'000)), std::invalid_argument);
}

/// Decodes the part of CBOR that archives are made of; throws std::out_of_range or std::domain_error for the
/// rest.
class SmallDecoder {
 public:
  explicit SmallDecoder(std::string_view bytes) : bytes_(bytes) {}

  Value next() {
    const std::uint64_t head = integer(1);
    const std::uint64_t information = head & 31U;
    if (head >> 5U == 7) return simple(information);
    const std::uint64_t argument =
        information < 24 ? information : integer(std::size_t{1} << (information - 24));
    switch (head >> 5U) {
      case 0:
        return argument > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())
                   ? Value(argument)
                   : Value(static_cast<std::int64_t>(argument));
      case 1:
        return -1 - static_cast<std::int64_t>(argument);
      case 2:
        return Data(take(argument));
      case 3:
        return take(argument);
      case 4:
        return array(argument);
      case 5:
        return dictionary(argument);
      default:
        throw std::domain_error("tag");
    }
  }
  [[nodiscard]] bool isAtEnd() const { return bytes_.empty(); }

 private:
  std::string_view take(std::size_t count) {
    if (count > bytes_.size()) throw std::out_of_range("cut short");
    const std::string_view taken = bytes_.substr(0, count);
    bytes_.remove_prefix(count);
    return taken;
  }
  std::uint64_t integer(std::size_t size) {
    std::uint64_t value = 0;
    for (const char byte : take(size)) value = value << 8U | static_cast<unsigned char>(byte);
    return value;
  }
  Value array(std::uint64_t count) {
    Array array;
    for (; count > 0; --count) array.append(next());
    return array;
  }
  Value dictionary(std::uint64_t count) {
    Dictionary dictionary;
    for (; count > 0; --count) {
      const String key = next().string();
      dictionary.set(key, next());
    }
    return dictionary;
  }
  Value simple(std::uint64_t information) {
    switch (information) {
      case 20:
        return false;
      case 21:
        return true;
      case 22:
        return nullptr;
      case 25:
        return half(static_cast<int>(integer(2)));
      case 26:
        return static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(integer(4))));
      case 27:
        return std::bit_cast<double>(integer(8));
      default:
        throw std::domain_error("simple value");
    }
  }
  static double half(int bits) {
    const int exponent = bits >> 10 & 31;
    const int mantissa = bits & 1023;
    double magnitude = mantissa == 0 ? std::numeric_limits<double>::infinity() : std::nan("");
    if (exponent != 31)
      magnitude = std::ldexp(exponent == 0 ? mantissa : mantissa + 1024, std::max(exponent, 1) - 25);
    return (bits & 0x8000) != 0 ? -magnitude : magnitude;
  }

  std::string_view bytes_;
};

TEST(CborKeyedArchive, WritesWhatAnotherDecoderReads) {
  const std::string bytes = archive(everything());
  SmallDecoder decoder(bytes);
  EXPECT_TRUE(decoder.next() == Value(everything()));
  EXPECT_TRUE(decoder.isAtEnd());
}

TEST(CborKeyedArchive, RefusesNil) {
  EXPECT_FALSE(CborKeyedArchive().unarchive(nullptr));
}

TEST(CborKeyedArchive, RefusesAnArchiveThatIsCutShortAnywhere) {
  const Dictionary root{
      {"text", "abc"}, {"bytes", Data("x"sv)}, {"array", Array{1, 2.5, true}}, {"d", Dictionary{{"k", -1}}}};
  const std::string bytes = archive(root);
  for (std::size_t size = 0; size < bytes.size(); ++size)
    EXPECT_FALSE(unarchive(bytes.substr(0, size))) << size;
}

TEST(CborKeyedArchive, RefusesWhatFollowsTheArchive) {
  EXPECT_FALSE(unarchive(archive({{"k", 1}}) + '\0'));
}

TEST(CborKeyedArchive, RefusesARootThatIsNotADictionary) {
  for (const std::string_view bytes :
       {"\x00"sv, "\x20"sv, "\x61x"sv, "\x41x"sv, "\x80"sv, "\xF6"sv, "\xF5"sv})
    EXPECT_FALSE(unarchive(bytes));
}

TEST(CborKeyedArchive, RefusesGarbage) {
  for (const std::string_view bytes : {
           "{\"k\": 1}"sv, "\xFF"sv, "\xA1"sv,
           "\xA1\x01\x01"sv,           // a key that is not a text
           "\xA1\x41k\x01"sv,          // a key of bytes
           "\xA1\x61k\xFF"sv,          // an end where a value belongs
           "\xA1\x61k\x1C"sv,          // a reserved length
           "\xA1\x61k\xF8\x18"sv,      // an unknown simple value
           "\xA1\x61k\xFC"sv,          // a reserved simple value
           "\xBF\x61k\xFF"sv,          // an unbounded dictionary that ends behind a key
           "\xA1\x61k\x7F\x41x\xFF"sv  // bytes inside a text
       })
    EXPECT_FALSE(unarchive(bytes));
}

TEST(CborKeyedArchive, SurvivesAnyBytes) {
  std::mt19937 random(20240502);
  for (int i = 0; i < 20'000; ++i) {
    std::string bytes(random() % 40, '\0');
    for (char& byte : bytes) byte = static_cast<char>(static_cast<unsigned char>(random()));
    unarchive(bytes);
  }
}

TEST(CborKeyedArchive, SurvivesAnArchiveWithAnyBytesChanged) {
  const std::string original =
      archive({{"text", "abc"}, {"bytes", Data("x"sv)}, {"a", Array{1, 2.5, Array{true}}}});
  std::mt19937 random(20240503);
  for (int i = 0; i < 20'000; ++i) {
    std::string bytes = original;
    for (std::size_t changes = 1 + random() % 3; changes > 0; --changes)
      bytes[random() % bytes.size()] = static_cast<char>(static_cast<unsigned char>(random()));
    unarchive(bytes);
  }
}

/// Largest memory of this process so far, in kilobytes.
long peakMemory() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

/// Far more than reading a small archive takes, far less than the sizes that the archives below declare.
constexpr long kFewKilobytes = 65'536;

TEST(CborKeyedArchive, RefusesHugeDeclaredLengthsWithoutTheMemoryForThem) {
  const long before = peakMemory();
  for (const std::string_view bytes : {
           "\xBB\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"sv,
           "\xBA\x40\x00\x00\x00\x61k"sv,
           "\x9B\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"sv,
           "\xA1\x61k\x9B\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"sv,
           "\xA1\x61k\x9B\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01"sv,
           "\xA1\x61k\x9A\x40\x00\x00\x00\x01"sv,
           "\xA1\x61k\x5B\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFFx"sv,
           "\xA1\x61k\x5B\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFFx"sv,
           "\xA1\x61k\x5A\x40\x00\x00\x00x"sv,
           "\xA1\x61k\x7B\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFFx"sv,
           "\xA1\x61k\x7A\x40\x00\x00\x00x"sv,
           "\xA1\x7B\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFFk"sv,
       })
    EXPECT_FALSE(unarchive(bytes));
  EXPECT_LT(peakMemory() - before, kFewKilobytes);
}

/// A dictionary whose only value starts with the same few bytes over and over.
std::string repeatedInside(std::string_view bytes, int count) {
  std::string archive = "\xA1\x61k";
  for (int i = 0; i < count; ++i) archive += bytes;
  return archive;
}

TEST(CborKeyedArchive, RefusesDeeplyNestedContainers) {
  const long before = peakMemory();
  EXPECT_FALSE(unarchive(std::string(100'000, '\x81')));
  for (const std::string_view head : {"\x81"sv, "\x9F"sv, "\xA1\x61k"sv, "\xBF\x61k"sv})
    EXPECT_FALSE(unarchive(repeatedInside(head, 100'000)));
  EXPECT_LT(peakMemory() - before, kFewKilobytes);
}

TEST(CborKeyedArchive, RefusesDeeplyNestedTags) {
  EXPECT_FALSE(unarchive(repeatedInside("\xC1", 1'000'000)));
}

TEST(CborKeyedArchive, RefusesDeeplyNestedPiecesOfText) {
  EXPECT_FALSE(unarchive(repeatedInside("\x7F", 1'000'000)));
}

TEST(CborKeyedArchive, RefusesDeeplyNestedPiecesOfBytes) {
  EXPECT_FALSE(unarchive(repeatedInside("\x5F", 1'000'000)));
}

TEST(CborKeyedArchive, RefusesDeeplyNestedPiecesOfAKey) {
  EXPECT_FALSE(unarchive("\xA1" + std::string(1'000'000, '\x7F')));
}

TEST(CborKeyedArchive, NeverBringsBackATextThatIsNotUtf8) {
  const std::optional<Dictionary> root = unarchive("\xA1\x61k\x62\xFFz"sv);
  EXPECT_TRUE(!root || root->value("k").isUtf8());
}

}  // namespace
}  // namespace pxa
