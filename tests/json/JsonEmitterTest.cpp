#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "json/JsonEmitter.h"

namespace pxa {
namespace {

using namespace std::string_view_literals;

/// Long enough to cross several sizes at which a buffer grows.
constexpr std::size_t kLongest = 600;

class SelfWritten final : public Object {
 public:
  [[nodiscard]] String className() const override { return "SelfWritten"; }
  [[nodiscard]] bool offersJSONDataRepresentation() const override { return true; }
  [[nodiscard]] Data JSONDataRepresentation() const override { return Data("{ \"own\" : true }"sv); }
};

std::string written(const Value& value, const JsonEscapes& escapes = kPlainSlashes) {
  ByteBuffer text;
  EXPECT_TRUE(JsonEmitter(text, escapes).value(value));
  return std::string(text.view());
}

std::string writtenString(std::string_view string, const JsonEscapes& escapes = kPlainSlashes) {
  ByteBuffer text;
  JsonEmitter(text, escapes).string(string);
  return std::string(text.view());
}

void expectRightLength(const Value& value) {
  for (const JsonEscapes* escapes : {&kPlainSlashes, &kEscapedSlashes}) {
    JsonLength length;
    EXPECT_TRUE(JsonEmitter(length, *escapes).value(value));
    EXPECT_EQ(length.size(), written(value, *escapes).size()) << value.description().c_str();
  }
}

std::string randomText(std::mt19937& random) {
  static constexpr std::string_view kPieces[] = {
      "a", "plain text", "\"", "\\", "/", "\n", "\t", "\x01", "", "\xC3\xBC", "\xE2\x82\xAC", "\0"sv};
  std::string text;
  for (auto pieces = random() % 12; pieces > 0; --pieces) text += kPieces[random() % std::size(kPieces)];
  return text;
}

Value randomValue(std::mt19937& random, int levels) {
  switch (random() % (levels == 0 ? 8 : 10)) {
    case 0:
      return nullptr;
    case 1:
      return static_cast<char>(random() % 128);
    case 2:
      return static_cast<int>(random());
    case 3:
      return static_cast<double>(random()) / 7;
    case 4:
      return static_cast<float>(random()) / 7;
    case 5:
      return randomText(random);
    case 6:
      return Data(randomText(random));
    case 7:
      return Value(std::make_shared<SelfWritten>());
    case 8: {
      Array array;
      for (auto count = random() % 6; count > 0; --count) array.append(randomValue(random, levels - 1));
      return array;
    }
    default: {
      Dictionary dictionary;
      for (auto count = random() % 6; count > 0; --count)
        dictionary.set(randomText(random), randomValue(random, levels - 1));
      return dictionary;
    }
  }
}

TEST(JsonEmitter, PutsAnEscapeAtEveryPositionOfStringsOfEveryLength) {
  for (std::size_t length = 0; length <= kLongest; ++length) {
    const std::string plain(length, 'x');
    ASSERT_EQ(writtenString(plain), '"' + plain + '"');
    for (std::size_t position = 0; position < length; ++position) {
      std::string string = plain;
      string[position] = '\n';
      std::string expected = '"' + plain + '"';
      expected.replace(position + 1, 1, "\\n");
      ASSERT_EQ(writtenString(string), expected) << length << " " << position;
    }
  }
}

TEST(JsonEmitter, PutsTwoNeighbouringEscapesAtEveryPosition) {
  for (std::size_t length = 2; length <= kLongest; length += 7)
    for (std::size_t position = 0; position + 1 < length; ++position) {
      std::string string(length, 'x');
      string.replace(position, 2, "\"\\");
      std::string expected(length, 'x');
      expected.replace(position, 2, "\\\"\\\\");
      ASSERT_EQ(writtenString(string), '"' + expected + '"') << length << " " << position;
    }
}

TEST(JsonEmitter, CopiesOtherControlCharactersAtEveryPosition) {
  for (std::size_t length = 1; length <= kLongest; length += 7)
    for (std::size_t position = 0; position < length; ++position) {
      std::string string(length, 'x');
      string[position] = static_cast<char>(position % 7 + 1);
      ASSERT_EQ(writtenString(string), '"' + string + '"') << length << " " << position;
    }
}

TEST(JsonEmitter, ReadsNothingBehindAString) {
  for (std::size_t length = 0; length <= kLongest; ++length) {
    const std::vector<char> plain(length, 'x');
    std::vector<char> escaped(length + 1, 'x');
    escaped[length / 2] = '"';
    EXPECT_EQ(writtenString({plain.data(), plain.size()}).size(), length + 2);
    EXPECT_EQ(writtenString({escaped.data(), escaped.size()}).size(), length + 4);
  }
}

TEST(JsonEmitter, CutsAtANulAtEveryPosition) {
  for (std::size_t length = 1; length <= kLongest; length += 7)
    for (std::size_t position = 0; position < length; ++position) {
      std::string string(length, 'x');
      string[position] = '\0';
      ASSERT_EQ(writtenString(string), '"' + std::string(position, 'x') + '"') << length << " " << position;
    }
}

TEST(JsonEmitter, DoublesStringsOfNothingButEscapes) {
  std::string expected;
  for (std::size_t length = 0; length <= kLongest; ++length) {
    ASSERT_EQ(writtenString(std::string(length, '\\')), '"' + expected + '"') << length;
    ASSERT_EQ(writtenString(std::string(length, '/'), kEscapedSlashes).size(), 2 * length + 2) << length;
    expected += "\\\\";
  }
}

TEST(JsonEmitter, KeepsMultiByteCharactersWholeAtEveryPosition) {
  for (std::size_t length = 0; length <= kLongest; ++length) {
    const std::string string = std::string(length, 'x') + "\xF0\x9F\x98\x80" + std::string(length % 5, 'y');
    ASSERT_EQ(writtenString(string), '"' + string + '"') << length;
  }
}

TEST(JsonEmitter, WritesStringsOfEveryLengthInsideContainers) {
  for (std::size_t length = 0; length <= kLongest; ++length) {
    const std::string plain(length, 'x');
    const Value value = Dictionary{{plain + '"', Value(Array{plain, plain + '\t'})}};
    ASSERT_EQ(written(value), "{\"" + plain + "\\\"\":[\"" + plain + "\",\"" + plain + "\\t\"]}");
  }
}

TEST(JsonEmitter, WritesSmallElementsAcrossEverySizeOfTheBuffer) {
  std::string expected = "[";
  Array array;
  for (std::size_t count = 1; count <= kLongest; ++count) {
    array.append(nullptr);
    expected += count == 1 ? "null" : ",null";
    ASSERT_EQ(written(array), expected + "]");
  }
}

TEST(JsonEmitter, PutsACommaBeforeTheNameOfEveryMemberButTheFirst) {
  ByteBuffer text;
  JsonEmitter json(text);
  json.memberName("a", true);
  json.string("1");
  json.memberName("b\"", false);
  EXPECT_EQ(text.view(), R"("a":"1","b\"":)");
}

TEST(JsonEmitter, WritesAnotherValueAfterOneThatFailed) {
  ByteBuffer text;
  JsonEmitter json(text);
  EXPECT_FALSE(json.value(Array{1, Value(Array{Data("\xFF"sv)})}));
  text.truncate(0);
  EXPECT_TRUE(json.value(Array{2}));
  EXPECT_EQ(text.view(), "[2]");
}

TEST(JsonEmitter, AppendsToWhatTheBufferHolds) {
  ByteBuffer text;
  text.append("before ");
  EXPECT_TRUE(JsonEmitter(text).value(Array{1}));
  EXPECT_EQ(text.view(), "before [1]");
}

TEST(JsonLength, IsZeroAtFirst) {
  EXPECT_EQ(JsonLength().size(), 0U);
}

TEST(JsonLength, CountsWhatIsPutAndWhatIsAppended) {
  JsonLength length;
  std::size_t place = length.reserve(100);
  put(place, 'a');
  put(place, "bcd"sv);
  length.commitUpTo(place);
  length.append("ef"sv);
  length.append(""sv);
  EXPECT_EQ(length.size(), 6U);
}

TEST(JsonLength, DoesNotCountWhatIsReserved) {
  JsonLength length;
  length.commitUpTo(length.reserve(100));
  EXPECT_EQ(length.size(), 0U);
}

TEST(JsonLength, IsTheSizeOfWhatIsWrittenForEveryKindOfValue) {
  const Value values[] = {
      nullptr,
      true,
      false,
      static_cast<char>(7),
      0,
      -1,
      std::numeric_limits<std::int64_t>::min(),
      std::numeric_limits<std::uint64_t>::max(),
      0.1F,
      0.1,
      1e300,
      std::numeric_limits<double>::infinity(),
      Number(*Decimal::parse("3.14159265358979323846264338327950288419716939937510")),
      "",
      "plain",
      "a/b",
      "\"\\\b\t\n\f\r",
      "\x01\x7F",
      "cut\0here"sv,
      "\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80",
      Data(""sv),
      Data("by/tes\n"sv),
      Value(Array()),
      Value(Dictionary()),
      Value(Array{1, "two", Value(Array{nullptr})}),
      Value(Dictionary{{"k/\n", Value(Dictionary{{"", false}})}, {"cut\0here"sv, 1}}),
      Value(std::make_shared<SelfWritten>()),
  };
  for (const Value& value : values) {
    expectRightLength(value);
    expectRightLength(Array{value, value});
    expectRightLength(Dictionary{{"a", value}, {"b", value}});
  }
}

TEST(JsonLength, IsTheSizeOfWhatIsWrittenForManyShapes) {
  std::mt19937 random(19'700'101);
  for (int i = 0; i < 3000; ++i) expectRightLength(randomValue(random, 4));
}

TEST(JsonLength, IsTheSizeOfWhatIsWrittenForStringsOfEveryLength) {
  for (std::size_t length = 0; length <= kLongest; ++length) {
    JsonLength counted;
    const std::string string = std::string(length, 'x') + "\n" + std::string(length % 3, '"');
    JsonEmitter(counted).string(string);
    ASSERT_EQ(counted.size(), writtenString(string).size()) << length;
  }
}

TEST(JsonLength, IsTheSizeOfADecimalOfAnyLength) {
  expectRightLength(Number(*Decimal::parse(std::string(100'000, '7'))));
}

TEST(JsonLength, IsThatOfAMillionLevels) {
  constexpr std::size_t kLevels = 1'000'000;
  Value deep = 1;
  for (std::size_t i = 0; i < kLevels; ++i) deep = Array{std::move(deep)};
  JsonLength length;
  EXPECT_TRUE(JsonEmitter(length).value(deep));
  EXPECT_EQ(length.size(), 2 * kLevels + 1);
}

TEST(JsonLength, RefusesWhatTheWriterRefuses) {
  JsonLength length;
  EXPECT_FALSE(JsonEmitter(length).value(Array{1, Data("\xFF"sv)}));
}

}  // namespace
}  // namespace pxa
