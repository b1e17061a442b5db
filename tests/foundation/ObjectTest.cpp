#include <gtest/gtest.h>

#include <pxalog/Object.h>

namespace pxa {
namespace {

class Plain final : public Object {
 public:
  [[nodiscard]] String className() const override { return "Plain"; }
};

TEST(Object, IsDescribedByItsClassName) {
  EXPECT_EQ(Plain().description(), "Plain");
}

TEST(Object, OffersNoJsonUnlessItSaysSo) {
  EXPECT_FALSE(Plain().offersJSONDataRepresentation());
}

TEST(Object, HasNilJsonUnlessItSaysSo) {
  EXPECT_TRUE(Plain().JSONDataRepresentation().isNil());
}

}  // namespace
}  // namespace pxa
