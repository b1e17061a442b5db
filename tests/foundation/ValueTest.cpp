#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <pxalog/Array.h>
#include <pxalog/Dictionary.h>
#include <pxalog/Value.h>

namespace pxa {
namespace {

using namespace std::string_view_literals;
using Kind = Value::Kind;

class Person final : public Object {
 public:
  [[nodiscard]] String className() const override { return "Person"; }
  [[nodiscard]] String description() const override { return "a person"; }
};

std::vector<std::pair<Value, Kind>> oneOfEachKind() {
  return {
      {Value(nullptr), Kind::Null},
      {Value(1), Kind::Number},
      {Value("text"), Kind::String},
      {Value(Data("bytes"sv)), Kind::Data},
      {Value(Array{1}), Kind::Array},
      {Value(Dictionary{{"key", 1}}), Kind::Dictionary},
      {Value(std::make_shared<Person>()), Kind::Object},
  };
}

TEST(Value, IsNullWhenMadeOfNothing) {
  EXPECT_TRUE(Value().isNull());
  EXPECT_EQ(Value().kind(), Kind::Null);
}

TEST(Value, KnowsItsKind) {
  for (const auto& [value, kind] : oneOfEachKind()) {
    EXPECT_EQ(value.kind(), kind);
    EXPECT_EQ(value.isNull(), kind == Kind::Null);
  }
}

TEST(Value, IsNullForWhateverIsNil) {
  const char* volatile none = nullptr;
  const char* pointer = none;
  for (const Value& value :
       {Value(nullptr), Value(String()), Value(pointer), Value(Data()), Value(Array(nullptr)),
        Value(Dictionary(nullptr)), Value(std::shared_ptr<Object>())})
    EXPECT_TRUE(value.isNull());
}

TEST(Value, IsNotNullForWhatIsOnlyEmpty) {
  EXPECT_EQ(Value("").kind(), Kind::String);
  EXPECT_EQ(Value(std::string_view()).kind(), Kind::String);
  EXPECT_EQ(Value(Data(""sv)).kind(), Kind::Data);
  EXPECT_EQ(Value(Array()).kind(), Kind::Array);
  EXPECT_EQ(Value(Dictionary()).kind(), Kind::Dictionary);
}

TEST(Value, TakesEveryKindOfText) {
  for (const Value& value :
       {Value("text"), Value(String("text")), Value("text"sv), Value(std::string("text"))})
    EXPECT_EQ(value.string(), "text");
}

TEST(Value, TakesEveryKindOfNumber) {
  EXPECT_EQ(Value(true).number().kind(), Number::Kind::Char);
  EXPECT_EQ(Value('a').number().kind(), Number::Kind::Char);
  EXPECT_EQ(Value(1).number().kind(), Number::Kind::Int32);
  EXPECT_EQ(Value(1LL).number().kind(), Number::Kind::Int64);
  EXPECT_EQ(Value(1ULL).number().kind(), Number::Kind::UInt64);
  EXPECT_EQ(Value(1.0F).number().kind(), Number::Kind::Float);
  EXPECT_EQ(Value(1.0).number().kind(), Number::Kind::Double);
  EXPECT_EQ(Value(Number(Decimal::parse("1").value())).number().kind(), Number::Kind::Decimal);
}

TEST(Value, GivesWhatItHolds) {
  const auto person = std::make_shared<Person>();
  EXPECT_EQ(Value("text").string(), "text");
  EXPECT_EQ(Value(Data("bytes"sv)).data().view(), "bytes");
  EXPECT_EQ(Value(Array{1, 2}).array().size(), 2U);
  EXPECT_TRUE(Value(Dictionary{{"key", 1}}).dictionary().contains("key"));
  EXPECT_TRUE(Value(7).number() == Number(7));
  EXPECT_EQ(Value(person).object(), person);
}

TEST(Value, GivesNilOrZeroForWhatItDoesNotHold) {
  for (const auto& [value, kind] : oneOfEachKind()) {
    EXPECT_EQ(value.string().isNil(), kind != Kind::String);
    EXPECT_EQ(value.data().isNil(), kind != Kind::Data);
    EXPECT_EQ(value.array().isNil(), kind != Kind::Array);
    EXPECT_EQ(value.dictionary().isNil(), kind != Kind::Dictionary);
    EXPECT_EQ(value.object() == nullptr, kind != Kind::Object);
    EXPECT_EQ(value.number().longLongValue(), kind == Kind::Number ? 1 : 0);
  }
}

TEST(Value, GivesTheBytesOfTextsAndDataAlone) {
  for (const auto& [value, kind] : oneOfEachKind()) {
    const std::string_view expected = kind == Kind::String ? "text" : kind == Kind::Data ? "bytes" : "";
    EXPECT_EQ(value.bytes(), expected);
  }
}

TEST(Value, KnowsWhichBytesAreUtf8) {
  for (const auto& [value, kind] : oneOfEachKind())
    EXPECT_EQ(value.isUtf8(), kind == Kind::String || kind == Kind::Data);
  EXPECT_FALSE(Value(Data("\xFF"sv)).isUtf8());
}

TEST(Value, SharesTheBufferOfTextsAndData) {
  const String text("text");
  const Data data("bytes"sv);
  EXPECT_EQ(Value(text).string().view().data(), text.view().data());
  EXPECT_EQ(Value(data).data().view().data(), data.view().data());
}

TEST(Value, SharesItsContainers) {
  Array array;
  Dictionary dictionary;
  const Value arrayValue(array);
  const Value dictionaryValue(dictionary);
  array.append(1);
  dictionary.set("key", 1);
  EXPECT_EQ(arrayValue.array().size(), 1U);
  EXPECT_EQ(dictionaryValue.dictionary().size(), 1U);
}

TEST(Value, SharesWhatItHoldsWithItsCopies) {
  const Value text("text");
  const Value array(Array{});
  const std::vector<Value> copies{text, array};
  array.array().append(1);
  EXPECT_EQ(copies[0].bytes().data(), text.bytes().data());
  EXPECT_EQ(copies[1].array().size(), 1U);
}

TEST(Value, LivesOnInACopy) {
  for (const auto& [value, kind] : oneOfEachKind()) {
    Value original = value;
    const Value copy = original;
    original = nullptr;
    EXPECT_TRUE(copy == value);
  }
}

TEST(Value, TakesTheKindOfWhatIsAssigned) {
  Value value;
  for (const auto& [other, kind] : oneOfEachKind()) {
    value = other;
    EXPECT_EQ(value.kind(), kind);
    EXPECT_TRUE(value == other);
  }
}

TEST(Value, SurvivesAssignmentToItself) {
  Value value("text");
  const Value& same = value;
  value = same;
  EXPECT_EQ(value.string(), "text");
}

TEST(Value, MayReplaceAContainerByItsOwnElement) {
  Value value(Array{Value(Array{"inner"})});
  value = value.array().at(0);
  EXPECT_TRUE(value == Value(Array{"inner"}));
}

TEST(Value, LetsItsObjectGoWithTheLastCopy) {
  auto person = std::make_shared<Person>();
  const std::weak_ptr<Person> watched = person;
  {
    const Value value(std::move(person));
    const std::vector<Value> copies(3, value);
    EXPECT_FALSE(watched.expired());
  }
  EXPECT_TRUE(watched.expired());
}

TEST(Value, MayBeCopiedByManyThreadsAtOnce) {
  const std::vector<std::pair<Value, Kind>> values = oneOfEachKind();
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&values] {
      for (int round = 0; round < 1000; ++round) {
        std::vector<std::pair<Value, Kind>> copies = values;
        copies.pop_back();
        EXPECT_EQ(copies.size() + 1, values.size());
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(values.at(2).first.string(), "text");
}

TEST(Value, EqualsWhatHasTheSameKindAndContent) {
  const std::vector<std::pair<Value, Kind>> first = oneOfEachKind();
  const std::vector<std::pair<Value, Kind>> second = oneOfEachKind();
  for (std::size_t i = 0; i < first.size(); ++i)
    for (std::size_t k = 0; k < second.size(); ++k)
      EXPECT_EQ(first[i].first == second[k].first, i == k && first[i].second != Kind::Object)
          << i << " " << k;
}

TEST(Value, TellsATextFromTheSameBytes) {
  EXPECT_FALSE(Value("same") == Value(Data("same"sv)));
}

TEST(Value, TellsNumbersOfDifferentKinds) {
  EXPECT_TRUE(Value(1) == Value(1));
  EXPECT_FALSE(Value(1) == Value(true));
  EXPECT_FALSE(Value(1) == Value(1.0));
}

TEST(Value, ComparesObjectsByIdentity) {
  const auto person = std::make_shared<Person>();
  EXPECT_TRUE(Value(person) == Value(person));
  EXPECT_FALSE(Value(person) == Value(std::make_shared<Person>()));
}

TEST(Value, ComparesArraysElementByElement) {
  EXPECT_TRUE(Value(Array{1, Array{2}}) == Value(Array{1, Array{2}}));
  EXPECT_FALSE(Value(Array{1, Array{2}}) == Value(Array{1, Array{3}}));
  EXPECT_FALSE(Value(Array{1, 2}) == Value(Array{2, 1}));
  EXPECT_FALSE(Value(Array{1}) == Value(Array{1, 2}));
}

TEST(Value, ComparesDictionariesInAnyOrder) {
  EXPECT_TRUE(Value(Dictionary{{"a", 1}, {"b", 2}}) == Value(Dictionary{{"b", 2}, {"a", 1}}));
  EXPECT_FALSE(Value(Dictionary{{"a", 1}, {"b", 2}}) == Value(Dictionary{{"a", 1}, {"b", 3}}));
  EXPECT_FALSE(Value(Dictionary{{"a", 1}}) == Value(Dictionary{{"b", 1}}));
  EXPECT_FALSE(Value(Dictionary{{"a", 1}}) == Value(Dictionary{{"a", 1}, {"b", 2}}));
}

TEST(Value, TellsANullElementFromAMissingKey) {
  EXPECT_FALSE(Value(Dictionary{{"a", nullptr}}) == Value(Dictionary{{"b", nullptr}}));
}

TEST(Value, NamesItsKindOrTheClassOfItsObject) {
  const std::vector<std::string_view> names{"Null",  "Number",     "String", "Data",
                                            "Array", "Dictionary", "Person"};
  const std::vector<std::pair<Value, Kind>> values = oneOfEachKind();
  for (std::size_t i = 0; i < values.size(); ++i) EXPECT_EQ(values[i].first.className().view(), names[i]);
}

TEST(Value, IsDescribedByWhatItHolds) {
  EXPECT_EQ(Value("text").description(), "text");
  EXPECT_EQ(Value(-1.5).description(), "-1.5");
  EXPECT_EQ(Value(std::make_shared<Person>()).description(), "a person");
  EXPECT_FALSE(Value().description().isEmpty());
}

TEST(Value, IsDescribedWithItsElementsInOrder) {
  const std::string text(
      Value(Dictionary{{"first", Array{"one", 2}}, {"second", "three"}}).description().view());
  std::size_t position = 0;
  for (const char* part : {"first", "one", "2", "second", "three"}) {
    position = text.find(part, position);
    ASSERT_NE(position, std::string::npos) << part << " in " << text;
  }
}

TEST(Value, IsDescribedWithoutWhatLiesDeep) {
  Value value("bottom");
  for (int i = 0; i < 1000; ++i) value = Array{value};
  const std::string text(value.description().view());
  EXPECT_EQ(text.find("bottom"), std::string::npos);
  EXPECT_LT(text.size(), 200U);
}

}  // namespace
}  // namespace pxa
