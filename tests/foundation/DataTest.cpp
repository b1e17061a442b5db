#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <pxalog/Data.h>

namespace pxa {
namespace {

using namespace std::string_view_literals;

static_assert(!std::is_convertible_v<const char*, Data>, "a text is not taken for bytes by accident");

TEST(Data, IsNilWhenMadeOfNothing) {
  EXPECT_TRUE(Data().isNil());
  EXPECT_TRUE(Data(nullptr).isNil());
}

TEST(Data, TellsNilFromNoBytes) {
  EXPECT_FALSE(Data(std::string_view()).isNil());
  EXPECT_FALSE(Data() == Data(std::string_view()));
}

TEST(Data, NilEqualsNil) {
  EXPECT_TRUE(Data() == Data(nullptr));
}

TEST(Data, HasNoBytesForNil) {
  EXPECT_EQ(Data().size(), 0U);
  EXPECT_TRUE(Data().view().empty());
}

TEST(Data, KeepsEveryByteAsItIs) {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) bytes.push_back(static_cast<char>(static_cast<unsigned char>(byte)));
  EXPECT_EQ(Data(bytes).view(), bytes);
}

TEST(Data, ComparesBytes) {
  EXPECT_TRUE(Data("a\0b"sv) == Data("a\0b"sv));
  EXPECT_FALSE(Data("a\0b"sv) == Data("a\0c"sv));
  EXPECT_FALSE(Data("a"sv) == Data("a\0"sv));
}

TEST(Data, SharesItsBufferWithItsCopies) {
  const Data data("shared"sv);
  const std::vector<Data> copies(3, data);
  for (const Data& copy : copies) EXPECT_EQ(copy.view().data(), data.view().data());
}

TEST(Data, LivesOnInACopy) {
  Data data("shared"sv);
  const Data copy = data;
  data = nullptr;
  EXPECT_EQ(copy.view(), "shared");
}

TEST(Data, KnowsWhetherItIsUtf8) {
  EXPECT_TRUE(Data("Gr\xC3\xBC\xC3\x9F"
                   "e"sv)
                  .isUtf8());
  EXPECT_FALSE(Data("Gr\xFC\xDF"
                    "e"sv)
                   .isUtf8());
  EXPECT_TRUE(Data(""sv).isUtf8());
}

TEST(Data, GivesTheSameAnswerToTheSecondQuestion) {
  const Data broken("\x80"sv);
  EXPECT_FALSE(broken.isUtf8());
  EXPECT_FALSE(broken.isUtf8());
}

TEST(Data, CountsNilAsUtf8) {
  EXPECT_TRUE(Data().isUtf8());
}

}  // namespace
}  // namespace pxa
