#include <gtest/gtest.h>
#include <vector>

#include <pxalog/Array.h>

namespace pxa {
namespace {

TEST(Array, IsEmptyAtFirst) {
  const Array array;
  EXPECT_FALSE(array.isNil());
  EXPECT_EQ(array.size(), 0U);
  EXPECT_TRUE(array.begin() == array.end());
}

TEST(Array, IsNilForNullptr) {
  EXPECT_TRUE(Array(nullptr).isNil());
}

TEST(Array, IsEmptyWhereItIsNil) {
  const Array none = nullptr;
  EXPECT_EQ(none.size(), 0U);
  EXPECT_TRUE(none.begin() == none.end());
  EXPECT_TRUE(none.at(0).isNull());
}

TEST(Array, IgnoresChangesWhereItIsNil) {
  Array none = nullptr;
  none.append(1);
  EXPECT_TRUE(none.isNil());
  EXPECT_EQ(none.size(), 0U);
}

TEST(Array, KeepsItsValuesInOrder) {
  Array array{1, "two"};
  array.append(nullptr);
  array.append(4);
  const std::vector<Value> values(array.begin(), array.end());
  EXPECT_EQ(values, (std::vector<Value>{1, "two", nullptr, 4}));
}

TEST(Array, IsNullBehindItsEnd) {
  const Array array{1};
  EXPECT_TRUE(array.at(0) == Value(1));
  EXPECT_TRUE(array.at(1).isNull());
  EXPECT_TRUE(array.at(static_cast<std::size_t>(-1)).isNull());
}

TEST(Array, ShowsEveryChangeToWhoeverHoldsIt) {
  Array array;
  const Array sameArray = array;
  array.append(1);
  EXPECT_EQ(sameArray.size(), 1U);
}

TEST(Array, ShowsEveryChangeInsideAnotherContainer) {
  Array inner;
  const Array outer{Value(inner)};
  inner.append(1);
  EXPECT_EQ(outer.at(0).array().size(), 1U);
}

TEST(Array, LivesOnInACopy) {
  Array array{1};
  const Array sameArray = array;
  array = nullptr;
  EXPECT_EQ(sameArray.size(), 1U);
}

TEST(Array, TakesAValueOfItsOwn) {
  Array array{"text"};
  for (int i = 0; i < 100; ++i) array.append(*array.begin());
  EXPECT_TRUE(array.at(100) == Value("text"));
}

TEST(Array, SurvivesAssignmentToItself) {
  Array array{1};
  const Array& same = array;
  array = same;
  EXPECT_EQ(array.size(), 1U);
}

TEST(Array, HoldsManyValues) {
  Array array;
  for (int i = 0; i < 100'000; ++i) array.append(i);
  EXPECT_EQ(array.size(), 100'000U);
  EXPECT_TRUE(array.at(99'999) == Value(99'999));
}

TEST(Array, CanBeChangedAtFirst) {
  EXPECT_TRUE(Array().isMutable());
  EXPECT_TRUE((Array{1, 2}).isMutable());
}

TEST(Array, IgnoresChangesOnceItIsImmutable) {
  Array array{1};
  array.makeImmutable();
  array.append(2);
  EXPECT_FALSE(array.isMutable());
  EXPECT_TRUE(Value(array) == Value(Array{1}));
}

TEST(Array, IsImmutableForWhoeverHoldsIt) {
  Array array;
  Array sameArray = array;
  const Value holder = array;
  array.makeImmutable();
  EXPECT_FALSE(sameArray.isMutable());
  EXPECT_FALSE(holder.array().isMutable());
  sameArray.append(1);
  EXPECT_EQ(array.size(), 0U);
}

TEST(Array, LeavesItsValuesMutableWhenItIsImmutable) {
  Array inner;
  Array outer{Value(inner)};
  outer.makeImmutable();
  EXPECT_TRUE(inner.isMutable());
  inner.append(1);
  EXPECT_EQ(outer.at(0).array().size(), 1U);
}

TEST(Array, CannotBeChangedWhereItIsNil) {
  Array none = nullptr;
  none.makeImmutable();
  EXPECT_TRUE(none.isNil());
  EXPECT_FALSE(none.isMutable());
}

}  // namespace
}  // namespace pxa
