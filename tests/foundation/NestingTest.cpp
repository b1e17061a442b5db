#include <gtest/gtest.h>
#include <memory>
#include <utility>

#include <pxalog/Array.h>
#include <pxalog/Dictionary.h>

namespace pxa {
namespace {

constexpr int kLevels = 1'000'000;

/// Tells when it is destroyed.
class Tracked final : public Object {
 public:
  explicit Tracked(bool& isGone) : isGone_(isGone) {}
  Tracked(const Tracked&) = delete;
  Tracked& operator=(const Tracked&) = delete;
  ~Tracked() override { isGone_ = true; }
  [[nodiscard]] String className() const override { return "Tracked"; }

 private:
  bool& isGone_;
};

/// A value that holds a value … that holds the object, as many levels deep; each level is made by the
/// function.
template <class Wrap>
Value nested(bool& isGone, int levels, Wrap wrap) {
  isGone = false;
  Value value(std::make_shared<Tracked>(isGone));
  for (int i = 0; i < levels; ++i) value = wrap(std::move(value));
  return value;
}

template <class Wrap>
void expectToGo(Wrap wrap) {
  bool isGone = false;
  Value value = nested(isGone, kLevels, wrap);
  EXPECT_FALSE(isGone);
  value = nullptr;
  EXPECT_TRUE(isGone);
}

TEST(Nesting, AMillionArraysAreDestroyedInConstantStack) {
  expectToGo([](Value inner) { return Value(Array{std::move(inner)}); });
}

TEST(Nesting, AMillionDictionariesAreDestroyedInConstantStack) {
  expectToGo([](Value inner) {
    Dictionary dictionary(1);
    dictionary.set("key", std::move(inner));
    return Value(dictionary);
  });
}

TEST(Nesting, AMillionArraysThatHoldEachOtherTwiceAreDestroyedInConstantStack) {
  expectToGo([](const Value& inner) { return Value(Array{inner, inner}); });
}

TEST(Nesting, AMillionDictionariesThatHoldEachOtherTwiceAreDestroyedInConstantStack) {
  expectToGo([](const Value& inner) {
    Dictionary dictionary(2);
    dictionary.set("first", inner);
    dictionary.set("second", inner);
    return Value(dictionary);
  });
}

TEST(Nesting, AMillionContainersOfBothKindsAreDestroyedInConstantStack) {
  expectToGo([isArray = false](Value inner) mutable {
    isArray = !isArray;
    if (isArray) return Value(Array{std::move(inner)});
    Dictionary dictionary(1);
    dictionary.set("key", std::move(inner));
    return Value(dictionary);
  });
}

/// An object that holds a value of its own.
class Holder final : public Object {
 public:
  explicit Holder(Value held) : held_(std::move(held)) {}
  [[nodiscard]] String className() const override { return "Holder"; }

 private:
  Value held_;
};

TEST(Nesting, ArraysThatHoldEachOtherThroughObjectsAreDestroyedInConstantStack) {
  expectToGo([](Value inner) { return Value(Array{Value(std::make_shared<Holder>(std::move(inner)))}); });
}

TEST(Nesting, ABranchThatIsStillHeldElsewhereStays) {
  bool isGone = false;
  Value value = nested(isGone, 10, [](Value inner) { return Value(Array{std::move(inner)}); });
  Value branch = value.array().at(0);
  value = nullptr;
  EXPECT_FALSE(isGone);
  branch = nullptr;
  EXPECT_TRUE(isGone);
}

TEST(Nesting, AMillionEqualLevelsAreComparedInConstantStack) {
  bool isGone = false;
  const auto wrap = [](Value inner) { return Value(Array{std::move(inner)}); };
  const Value first = nested(isGone, kLevels, wrap);
  const Value second = nested(isGone, kLevels, wrap);
  EXPECT_FALSE(first == second) << "the objects at the bottom differ";
}

TEST(Nesting, AMillionLevelsAreDescribedInConstantStack) {
  bool isGone = false;
  const Value value = nested(isGone, kLevels, [](Value inner) { return Value(Array{std::move(inner)}); });
  EXPECT_LT(value.description().size(), 200U);
}

}  // namespace
}  // namespace pxa
