#include <gtest/gtest.h>
#include <string_view>

#include <pxalog/Array.h>
#include <pxalog/Value.h>

#include "event/SharedLineFields.h"

namespace pxa {
namespace {

using namespace std::string_view_literals;

TEST(SharedLineFields, AreNoneWithANameThatLinesHaveOfTheirOwnOrNever) {
  for (const char* name : {"projectName", "projectVersion", "logType", "logSource", "body", "sendTime",
                           "host", "logLevel", "errorCode", "rdmBulkIndex", "DmpData"})
    EXPECT_EQ(SharedLineFields::of({{"mine", "text"}, {name, "text"}}), nullptr) << name;
  EXPECT_NE(SharedLineFields::of({{"mine", "text"}, {"errorRate", "text"}}), nullptr);
  EXPECT_NE(SharedLineFields::of(Dictionary()), nullptr);
}

TEST(SharedLineFields, AreNoneWhenOneIsNoText) {
  for (const Value& other : {Value(), Value(1), Value(Array()), Value(Dictionary()), Value(Data("\xFF"sv))})
    EXPECT_EQ(SharedLineFields::of({{"mine", "text"}, {"other", other}}), nullptr);
}

TEST(SharedLineFields, AreWrittenAsMembersBehindCommas) {
  const SharedLineFieldsRef shared =
      SharedLineFields::of({{"a \"name\"", "line\nend"}, {"bytes", Data("b"sv)}});
  ASSERT_NE(shared, nullptr);
  EXPECT_EQ(shared->members().view(), R"(,"a \"name\"":"line\nend","bytes":"b")");
  EXPECT_EQ(SharedLineFields::of(Dictionary())->members().view(), "");
}

}  // namespace
}  // namespace pxa
