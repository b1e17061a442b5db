#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <pxalog/Dictionary.h>

namespace pxa {
namespace {

constexpr std::size_t kLimit = Dictionary::kLinearSearchLimit;

static_assert(std::forward_iterator<Dictionary::Iterator>);

std::vector<std::string> keysOf(const Dictionary& dictionary) {
  std::vector<std::string> keys;
  for (const Dictionary::Entry& entry : dictionary) keys.emplace_back(entry.key.view());
  return keys;
}

std::string key(std::size_t number) {
  return "key" + std::to_string(number);
}

/// Entries key0 … with their numbers as values.
Dictionary numbered(std::size_t count) {
  Dictionary dictionary;
  for (std::size_t i = 0; i < count; ++i) dictionary.set(key(i), static_cast<long long>(i));
  return dictionary;
}

TEST(Dictionary, IsEmptyAtFirst) {
  const Dictionary dictionary;
  EXPECT_FALSE(dictionary.isNil());
  EXPECT_EQ(dictionary.size(), 0U);
  EXPECT_TRUE(dictionary.begin() == dictionary.end());
}

TEST(Dictionary, IsNilForNullptr) {
  EXPECT_TRUE(Dictionary(nullptr).isNil());
}

TEST(Dictionary, IsEmptyWhereItIsNil) {
  const Dictionary none = nullptr;
  EXPECT_EQ(none.size(), 0U);
  EXPECT_FALSE(none.contains("key"));
  EXPECT_EQ(none.find("key"), nullptr);
  EXPECT_TRUE(none.value("key").isNull());
  EXPECT_TRUE(none.begin() == none.end());
}

TEST(Dictionary, IgnoresChangesWhereItIsNil) {
  Dictionary none = nullptr;
  none.set("key", 1);
  none.remove("key");
  EXPECT_TRUE(none.isNil());
  EXPECT_EQ(none.size(), 0U);
}

TEST(Dictionary, FindsWhatWasSet) {
  Dictionary dictionary{{"a", 1}};
  dictionary.set("b", "two");
  EXPECT_TRUE(dictionary.contains("a"));
  EXPECT_TRUE(dictionary.value("a") == Value(1));
  EXPECT_TRUE(dictionary.value("b") == Value("two"));
}

TEST(Dictionary, HasNothingUnderAKeyThatIsNotThere) {
  const Dictionary dictionary{{"a", 1}};
  EXPECT_FALSE(dictionary.contains("b"));
  EXPECT_EQ(dictionary.find("b"), nullptr);
  EXPECT_TRUE(dictionary.value("b").isNull());
}

TEST(Dictionary, TellsANullValueFromNone) {
  const Dictionary dictionary{{"a", nullptr}};
  EXPECT_TRUE(dictionary.contains("a"));
  EXPECT_EQ(dictionary.size(), 1U);
}

TEST(Dictionary, IgnoresANilKey) {
  Dictionary dictionary;
  dictionary.set(nullptr, 1);
  EXPECT_EQ(dictionary.size(), 0U);
}

TEST(Dictionary, IgnoresANilKeyInAList) {
  const Dictionary dictionary{{nullptr, 1}, {"a", 2}};
  EXPECT_EQ(keysOf(dictionary), std::vector<std::string>{"a"});
}

TEST(Dictionary, TakesTheLastValueOfAKeyThatIsListedTwice) {
  const Dictionary dictionary{{"a", 1}, {"b", 2}, {"a", 3}};
  EXPECT_EQ(keysOf(dictionary), (std::vector<std::string>{"a", "b"}));
  EXPECT_TRUE(dictionary.value("a") == Value(3));
}

TEST(Dictionary, TakesTheEmptyTextAsAKey) {
  Dictionary dictionary;
  EXPECT_FALSE(dictionary.contains(""));
  dictionary.set("", 1);
  EXPECT_TRUE(dictionary.value("") == Value(1));
  dictionary.remove("");
  EXPECT_FALSE(dictionary.contains(""));
}

TEST(Dictionary, TakesTheEmptyTextAsAKeyAmongMany) {
  Dictionary dictionary = numbered(kLimit * 3);
  dictionary.set("", 1);
  EXPECT_TRUE(dictionary.value("") == Value(1));
  dictionary.remove("");
  EXPECT_FALSE(dictionary.contains(""));
}

TEST(Dictionary, DoesNotTakeARemovedEntryForTheEmptyKey) {
  Dictionary dictionary = numbered(500);
  for (std::size_t i = 0; i < 500; ++i) dictionary.remove(key(i));
  EXPECT_FALSE(dictionary.contains(""));
}

TEST(Dictionary, FindsTheEmptyKeyByAViewOfNothing) {
  const Dictionary dictionary{{"", 1}};
  EXPECT_TRUE(dictionary.contains(std::string_view()));
}

TEST(Dictionary, FindsTheEmptyKeyByAViewOfNothingAmongMany) {
  Dictionary dictionary = numbered(kLimit * 3);
  EXPECT_FALSE(dictionary.contains(std::string_view()));
  dictionary.set("", 1);
  EXPECT_TRUE(dictionary.contains(std::string_view()));
}

TEST(Dictionary, TellsKeysThatDifferBehindANul) {
  Dictionary dictionary;
  dictionary.set(std::string("a\0b", 3), 1);
  dictionary.set(std::string("a\0c", 3), 2);
  EXPECT_EQ(dictionary.size(), 2U);
  EXPECT_FALSE(dictionary.contains("a"));
}

TEST(Dictionary, IsEnumeratedInTheOrderOfTheFirstSetting) {
  Dictionary dictionary;
  for (const char* name : {"z", "a", "m"}) dictionary.set(name, 1);
  EXPECT_EQ(keysOf(dictionary), (std::vector<std::string>{"z", "a", "m"}));
}

TEST(Dictionary, KeepsThePlaceOfAKeyThatIsSetAgain) {
  Dictionary dictionary{{"a", 1}, {"b", 2}};
  dictionary.set("a", 3);
  EXPECT_EQ(keysOf(dictionary), (std::vector<std::string>{"a", "b"}));
  EXPECT_TRUE(dictionary.value("a") == Value(3));
}

TEST(Dictionary, PutsARemovedKeyThatIsSetAgainAtTheEnd) {
  for (const std::size_t count : {std::size_t{3}, kLimit * 2}) {
    Dictionary dictionary = numbered(count);
    dictionary.remove(key(0));
    dictionary.set(key(0), 1);
    EXPECT_EQ(keysOf(dictionary).back(), key(0));
    EXPECT_EQ(dictionary.size(), count);
  }
}

TEST(Dictionary, LosesWhatIsRemoved) {
  Dictionary dictionary{{"a", 1}, {"b", 2}, {"c", 3}};
  dictionary.remove("b");
  EXPECT_FALSE(dictionary.contains("b"));
  EXPECT_EQ(keysOf(dictionary), (std::vector<std::string>{"a", "c"}));
}

TEST(Dictionary, IgnoresTheRemovalOfAKeyThatIsNotThere) {
  Dictionary dictionary{{"a", 1}};
  dictionary.remove("b");
  EXPECT_EQ(dictionary.size(), 1U);
}

TEST(Dictionary, PassesOverRemovedEntriesAtBothEnds) {
  constexpr std::size_t kCount = kLimit * 2;
  Dictionary dictionary = numbered(kCount);
  for (std::size_t i = 0; i < kCount; ++i)
    if (i < 10 || i >= kCount - 10) dictionary.remove(key(i));
  const std::vector<std::string> keys = keysOf(dictionary);
  ASSERT_EQ(keys.size(), kCount - 20);
  EXPECT_EQ(keys.front(), key(10));
  EXPECT_EQ(keys.back(), key(kCount - 11));
}

TEST(Dictionary, HasNothingToEnumerateWhenAllIsRemoved) {
  for (const std::size_t count : {std::size_t{3}, kLimit * 2}) {
    Dictionary dictionary = numbered(count);
    for (std::size_t i = 0; i < count; ++i) dictionary.remove(key(i));
    EXPECT_TRUE(dictionary.begin() == dictionary.end());
    EXPECT_EQ(dictionary.size(), 0U);
  }
}

class Watched final : public Object {
 public:
  [[nodiscard]] String className() const override { return "Watched"; }
};

TEST(Dictionary, LetsAValueGoWhenItIsRemoved) {
  for (const std::size_t count : {std::size_t{3}, kLimit * 2}) {
    Dictionary dictionary = numbered(count);
    auto object = std::make_shared<Watched>();
    const std::weak_ptr<Watched> watched = object;
    dictionary.set(key(0), Value(std::move(object)));
    dictionary.remove(key(0));
    EXPECT_TRUE(watched.expired()) << count;
  }
}

TEST(Dictionary, LetsAValueGoWhenAnotherTakesItsPlace) {
  auto object = std::make_shared<Watched>();
  const std::weak_ptr<Watched> watched = object;
  Dictionary dictionary{{"key", Value(std::move(object))}};
  dictionary.set("key", nullptr);
  EXPECT_TRUE(watched.expired());
}

TEST(Dictionary, FindsEverythingOnBothSidesOfTheSearchLimit) {
  for (const std::size_t count : {kLimit - 1, kLimit, kLimit + 1, kLimit + 2}) {
    const Dictionary dictionary = numbered(count);
    EXPECT_EQ(dictionary.size(), count);
    for (std::size_t i = 0; i < count; ++i)
      EXPECT_TRUE(dictionary.value(key(i)) == Value(static_cast<long long>(i))) << count << " " << i;
    EXPECT_FALSE(dictionary.contains(key(count)));
  }
}

TEST(Dictionary, TakesAnyFirstCapacity) {
  for (const std::size_t capacity : {std::size_t{0}, std::size_t{1}, kLimit, kLimit + 1, std::size_t{1000}}) {
    Dictionary dictionary(capacity);
    for (std::size_t i = 0; i < 100; ++i) dictionary.set(key(i), 1);
    EXPECT_EQ(dictionary.size(), 100U) << capacity;
    EXPECT_TRUE(dictionary.contains(key(99))) << capacity;
  }
}

TEST(Dictionary, HoldsAHundredThousandKeys) {
  constexpr std::size_t kCount = 100'000;
  const Dictionary dictionary = numbered(kCount);
  EXPECT_EQ(dictionary.size(), kCount);
  std::size_t position = 0;
  for (const Dictionary::Entry& entry : dictionary) ASSERT_EQ(entry.key.view(), key(position++));
  for (std::size_t i = 0; i < kCount; ++i)
    ASSERT_TRUE(dictionary.value(key(i)) == Value(static_cast<long long>(i))) << i;
}

/// A dictionary that is simple enough to be right.
class Model {
 public:
  void set(const std::string& name, int value) {
    const auto entry = find(name);
    if (entry == entries_.end())
      entries_.emplace_back(name, value);
    else
      entry->second = value;
  }
  void remove(const std::string& name) {
    const auto entry = find(name);
    if (entry != entries_.end()) entries_.erase(entry);
  }
  [[nodiscard]] std::size_t size() const { return entries_.size(); }
  [[nodiscard]] bool equals(const Dictionary& dictionary) const {
    return dictionary.size() == entries_.size() &&
           std::equal(dictionary.begin(), dictionary.end(), entries_.begin(), entries_.end(),
                      [&](const Dictionary::Entry& entry, const auto& expected) {
                        return entry.key.view() == expected.first && entry.value == Value(expected.second) &&
                               dictionary.value(expected.first) == Value(expected.second);
                      });
  }

 private:
  using Entries = std::vector<std::pair<std::string, int>>;
  Entries::iterator find(const std::string& name) {
    return std::find_if(entries_.begin(), entries_.end(),
                        [&](const auto& entry) { return entry.first == name; });
  }
  Entries entries_;
};

TEST(Dictionary, StaysRightWhileItCrossesTheSearchLimitInBothDirections) {
  std::mt19937 random(20240501);
  Dictionary dictionary;
  Model model;
  for (int step = 0; step < 20'000; ++step) {
    const std::string name = key(random() % 80);
    // Grows towards 80 keys and shrinks towards none, by turns.
    const bool isGrowing = step / 400 % 2 == 0;
    if (random() % 4 < (isGrowing ? 3U : 1U)) {
      dictionary.set(name, step);
      model.set(name, step);
    } else {
      dictionary.remove(name);
      model.remove(name);
    }
    ASSERT_TRUE(model.equals(dictionary)) << "step " << step << ", " << model.size() << " entries";
  }
}

TEST(Dictionary, KeepsItsSizeWhileKeysComeAndGo) {
  Dictionary dictionary = numbered(kLimit * 2);
  for (std::size_t i = 0; i < 100'000; ++i) {
    dictionary.remove(key(i));
    dictionary.set(key(i + kLimit * 2), 1);
  }
  EXPECT_EQ(dictionary.size(), kLimit * 2);
  EXPECT_EQ(keysOf(dictionary).front(), key(100'000));
}

TEST(Dictionary, ShowsEveryChangeToWhoeverHoldsIt) {
  Dictionary dictionary;
  const Dictionary sameDictionary = dictionary;
  for (std::size_t i = 0; i < 100; ++i) dictionary.set(key(i), 1);
  EXPECT_EQ(sameDictionary.size(), 100U);
  dictionary.remove(key(5));
  EXPECT_FALSE(sameDictionary.contains(key(5)));
}

TEST(Dictionary, LivesOnInACopy) {
  Dictionary dictionary{{"a", 1}};
  const Dictionary sameDictionary = dictionary;
  dictionary = nullptr;
  EXPECT_TRUE(sameDictionary.contains("a"));
}

TEST(Dictionary, TakesAValueOfItsOwnWhileItGrows) {
  Dictionary dictionary{{"first", "text"}};
  for (std::size_t i = 0; i < 100; ++i) dictionary.set(key(i), *dictionary.find("first"));
  EXPECT_TRUE(dictionary.value(key(99)) == Value("text"));
}

TEST(Dictionary, TakesAKeyThatIsItsOwn) {
  Dictionary dictionary{{"first", 1}};
  dictionary.set(dictionary.begin()->key, 2);
  EXPECT_TRUE(dictionary.value("first") == Value(2));
}

TEST(Dictionary, CanBeChangedAtFirst) {
  EXPECT_TRUE(Dictionary().isMutable());
  EXPECT_TRUE((Dictionary{{"a", 1}}).isMutable());
}

TEST(Dictionary, IgnoresChangesOnceItIsImmutable) {
  for (const std::size_t count : {std::size_t{2}, kLimit, kLimit + 1, kLimit * 3}) {
    Dictionary dictionary = numbered(count);
    dictionary.makeImmutable();
    dictionary.set("new", 1);
    dictionary.set(key(0), "changed");
    dictionary.remove(key(1));
    EXPECT_FALSE(dictionary.isMutable());
    EXPECT_TRUE(Value(dictionary) == Value(numbered(count))) << count;
  }
}

TEST(Dictionary, IsImmutableForWhoeverHoldsIt) {
  Dictionary dictionary;
  Dictionary sameDictionary = dictionary;
  const Value holder = dictionary;
  dictionary.makeImmutable();
  EXPECT_FALSE(sameDictionary.isMutable());
  EXPECT_FALSE(holder.dictionary().isMutable());
  sameDictionary.set("a", 1);
  EXPECT_EQ(dictionary.size(), 0U);
}

TEST(Dictionary, LeavesItsValuesMutableWhenItIsImmutable) {
  Dictionary inner;
  Dictionary outer{{"inner", inner}};
  outer.makeImmutable();
  EXPECT_TRUE(inner.isMutable());
  inner.set("a", 1);
  EXPECT_TRUE(outer.value("inner").dictionary().contains("a"));
}

TEST(Dictionary, TakesEveryEntryOfAnother) {
  for (const std::size_t count : {std::size_t{1}, std::size_t{5}, kLimit, kLimit + 1, kLimit * 3}) {
    Dictionary dictionary{{key(0), "own"}, {"own", 1}};
    dictionary.setAll(numbered(count));
    Dictionary expected{{key(0), 0LL}, {"own", 1}};
    for (std::size_t i = 1; i < count; ++i) expected.set(key(i), static_cast<long long>(i));
    EXPECT_TRUE(Value(dictionary) == Value(expected)) << count;
    EXPECT_EQ(keysOf(dictionary), keysOf(expected)) << count;
  }
}

TEST(Dictionary, TakesTheEntriesOfAnotherWhoseKeysAreMissing) {
  for (const std::size_t count : {std::size_t{1}, std::size_t{5}, kLimit, kLimit + 1, kLimit * 3}) {
    Dictionary dictionary{{key(0), "own"}};
    dictionary.setMissing(numbered(count));
    EXPECT_EQ(dictionary.size(), count);
    EXPECT_TRUE(dictionary.value(key(0)) == Value("own")) << count;
    for (std::size_t i = 1; i < count; ++i)
      EXPECT_TRUE(dictionary.value(key(i)) == Value(static_cast<long long>(i))) << count;
  }
}

TEST(Dictionary, TakesNothingOfWhatAnotherHasLost) {
  for (const std::size_t count : {std::size_t{5}, kLimit * 3}) {
    Dictionary other = numbered(count);
    for (std::size_t i = 0; i < count; i += 2) other.remove(key(i));
    Dictionary dictionary;
    dictionary.setAll(other);
    EXPECT_TRUE(Value(dictionary) == Value(other)) << count;
  }
}

TEST(Dictionary, TakesNothingOfItselfOrOfNil) {
  Dictionary dictionary = numbered(3);
  dictionary.setAll(dictionary);
  dictionary.setMissing(dictionary);
  dictionary.setAll(nullptr);
  dictionary.setMissing(nullptr);
  EXPECT_TRUE(Value(dictionary) == Value(numbered(3)));
}

TEST(Dictionary, TakesNothingWhereItIsNilOrImmutable) {
  Dictionary none = nullptr;
  none.setAll(numbered(1));
  none.setMissing(numbered(1));
  EXPECT_TRUE(none.isNil());
  Dictionary immutable;
  immutable.makeImmutable();
  immutable.setAll(numbered(1));
  immutable.setMissing(numbered(1));
  EXPECT_EQ(immutable.size(), 0U);
}

TEST(Dictionary, TellsKeysApartThatDifferInTheirMiddleAlone) {
  Dictionary dictionary;
  std::vector<std::string> keys;
  for (char a = '0'; a <= '9'; ++a)
    for (char b = '0'; b <= '4'; ++b) keys.push_back(std::string("x") + a + "y" + b + "z");
  for (std::size_t i = 0; i < keys.size(); ++i) dictionary.set(keys[i], static_cast<long long>(i));
  ASSERT_EQ(dictionary.size(), keys.size());
  for (std::size_t i = 0; i < keys.size(); ++i)
    EXPECT_TRUE(dictionary.value(keys[i]) == Value(static_cast<long long>(i))) << keys[i];
  dictionary.remove(keys[3]);
  EXPECT_FALSE(dictionary.contains(keys[3]));
  EXPECT_TRUE(dictionary.value(keys[4]) == Value(4LL));
}

TEST(Dictionary, CannotBeChangedWhereItIsNil) {
  Dictionary none = nullptr;
  none.makeImmutable();
  EXPECT_TRUE(none.isNil());
  EXPECT_FALSE(none.isMutable());
}

}  // namespace
}  // namespace pxa
