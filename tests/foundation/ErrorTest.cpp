#include <gtest/gtest.h>
#include <utility>
#include <vector>

#include <pxalog/Error.h>

namespace pxa {
namespace {

TEST(Error, IsNoErrorWhenMadeOfNothing) {
  const Error none;
  EXPECT_FALSE(none.isError());
  EXPECT_EQ(none.code(), 0);
  EXPECT_TRUE(none.domain().isNil());
  EXPECT_TRUE(none.userInfo().isNil());
}

TEST(Error, HasNoDescriptionWhenItIsNone) {
  EXPECT_TRUE(Error().localizedDescription().isNil());
}

TEST(Error, KeepsDomainCodeAndUserInformation) {
  const Error error("domain", -7, Dictionary{{"key", 1}});
  EXPECT_TRUE(error.isError());
  EXPECT_EQ(error.domain(), "domain");
  EXPECT_EQ(error.code(), -7);
  EXPECT_TRUE(error.userInfo().value("key") == Value(1));
}

TEST(Error, IsAnErrorWhateverItsCode) {
  EXPECT_TRUE(Error("domain", 0, nullptr).isError());
}

TEST(Error, KeepsItsMessageInTheUserInformation) {
  const Error error = Error::withDescription("domain", 1, "what went wrong");
  EXPECT_EQ(error.userInfo().value(Error::kLocalizedDescriptionKey).string(), "what went wrong");
  EXPECT_EQ(error.localizedDescription(), "what went wrong");
}

TEST(Error, HasNoDescriptionWithoutUserInformation) {
  EXPECT_TRUE(Error("domain", 1, nullptr).localizedDescription().isNil());
  EXPECT_TRUE(Error("domain", 1, Dictionary()).localizedDescription().isNil());
}

TEST(Error, HasNoDescriptionWhereTheMessageIsNil) {
  EXPECT_TRUE(Error::withDescription("domain", 1, nullptr).localizedDescription().isNil());
}

/// An error that has that many others behind it; the codes count down to 0.
Error chain(int causes) {
  Error error("domain", 0, Dictionary{{"key", "innermost"}});
  for (int code = 1; code <= causes; ++code)
    error = Error("domain", code, Dictionary{{"key", code}}).withUnderlying(std::move(error));
  return error;
}

TEST(Error, HasNoCauseAtFirst) {
  EXPECT_FALSE(Error().underlyingError().isError());
  EXPECT_FALSE(Error("domain", 1, nullptr).underlyingError().isError());
  EXPECT_FALSE(Error::withDescription("domain", 1, "message").underlyingError().isError());
}

TEST(Error, HasNoCauseWhereSomethingElseLiesUnderItsKey) {
  EXPECT_FALSE(
      Error("domain", 1, Dictionary{{Error::kUnderlyingErrorKey, "text"}}).underlyingError().isError());
}

TEST(Error, KeepsItsCause) {
  const Error cause = Error::withDescription("inner", 2, "why");
  const Error error = Error::withDescription("outer", 1, "what").withUnderlying(cause);
  EXPECT_EQ(error.domain(), "outer");
  EXPECT_EQ(error.code(), 1);
  EXPECT_EQ(error.localizedDescription(), "what");
  EXPECT_EQ(error.underlyingError().domain(), "inner");
  EXPECT_EQ(error.underlyingError().code(), 2);
  EXPECT_EQ(error.underlyingError().localizedDescription(), "why");
  EXPECT_FALSE(error.underlyingError().underlyingError().isError());
}

TEST(Error, KeepsItsCauseUnderItsKeyInTheUserInformation) {
  const Error error = Error("outer", 1, nullptr).withUnderlying(Error::withDescription("inner", 2, "why"));
  const Value cause = error.userInfo().value(Error::kUnderlyingErrorKey);
  EXPECT_EQ(cause.kind(), Value::Kind::Object);
  EXPECT_EQ(cause.description(), "why");
}

TEST(Error, StaysAsItIsWhenAnotherIsMadeOfItWithACause) {
  const Error error("outer", 1, Dictionary{{"key", 1}});
  const Error withCause = error.withUnderlying(Error("inner", 2, nullptr));
  EXPECT_TRUE(withCause.userInfo().value("key") == Value(1));
  EXPECT_FALSE(error.underlyingError().isError());
  EXPECT_EQ(error.userInfo().size(), 1U);
}

TEST(Error, TakesTheLastCauseItIsGiven) {
  const Error error = Error("outer", 1, nullptr)
                          .withUnderlying(Error("first", 2, nullptr))
                          .withUnderlying(Error("last", 3, nullptr));
  EXPECT_EQ(error.underlyingError().domain(), "last");
  EXPECT_FALSE(error.underlyingError().underlyingError().isError());
}

TEST(Error, KeepsItsCauseWhenWhoGaveItIsGone) {
  Error cause;
  {
    const Error error = chain(1);
    cause = error.underlyingError();
  }
  EXPECT_TRUE(cause.userInfo().value("key") == Value("innermost"));
}

TEST(Error, HasACauseForEachOfAMillionAndGoesInConstantStack) {
  constexpr int kCauses = 1'000'000;
  Error error = chain(kCauses);
  int count = 0;
  for (Error cause = error.underlyingError(); cause.isError(); cause = cause.underlyingError()) ++count;
  EXPECT_EQ(count, kCauses);
  error = Error();
  EXPECT_FALSE(error.isError());
}

TEST(Error, KeepsTheEndOfALongChainWhoseStartGoes) {
  Error error = chain(1'000'000);
  Error middle = error;
  while (middle.code() > 10) middle = middle.underlyingError();
  error = Error();
  std::vector<int> codes;
  for (; middle.isError(); middle = middle.underlyingError()) codes.push_back(middle.code());
  EXPECT_EQ(codes, (std::vector<int>{10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0}));
}

TEST(Error, GoesInConstantStackHoweverManyLieInContainersInItsCauses) {
  Error error("domain", 0, nullptr);
  for (int i = 0; i < 100'000; ++i)
    error = Error("domain", 1, Dictionary{{"own", Dictionary{{"inner", error.userInfo()}}}})
                .withUnderlying(error);
  EXPECT_TRUE(error.underlyingError().isError());
}

}  // namespace
}  // namespace pxa
