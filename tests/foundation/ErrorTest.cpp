#include <gtest/gtest.h>

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

}  // namespace
}  // namespace pxa
