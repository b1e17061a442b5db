#include <gtest/gtest.h>
#include <string>

#include "collector/body_reader.h"

namespace pxa::tools {
namespace {

using namespace std::string_literals;

std::string repeated(std::string_view text, std::size_t times) {
  std::string result;
  for (std::size_t i = 0; i < times; ++i) result += text;
  return result;
}

TEST(BodyReader, ReadsTheElementsOfAnArray) {
  const Body body = readBody(R"([{"a":"x"},{"a":"y","b":"z"}])");
  EXPECT_TRUE(body.isArray);
  ASSERT_EQ(body.elements.size(), 2U);
  EXPECT_TRUE(body.elements[0].isReadable);
  EXPECT_EQ(body.elements[0].members.at("a"), "x");
  EXPECT_EQ(body.elements[1].members.at("b"), "z");
}

TEST(BodyReader, KeepsTheTextOfAnElementAsReceived) {
  const Body body = readBody("[ {\"a\" : \"\\u0041\"} ,\n{}]");
  ASSERT_EQ(body.elements.size(), 2U);
  EXPECT_EQ(body.elements[0].json, "{\"a\" : \"\\u0041\"}");
  EXPECT_EQ(body.elements[0].members.at("a"), "A");
}

TEST(BodyReader, GivesMembersThatAreNotStringsAsJson) {
  const Body body = readBody(R"([{"n":12,"t":true,"z":null,"l":[1,"x"],"o":{"k":"v"}}])");
  ASSERT_EQ(body.elements.size(), 1U);
  const auto& members = body.elements[0].members;
  EXPECT_EQ(members.at("n"), "12");
  EXPECT_EQ(members.at("t"), "true");
  EXPECT_EQ(members.at("z"), "null");
  EXPECT_EQ(members.at("l"), R"([1,"x"])");
  EXPECT_EQ(members.at("o"), R"({"k":"v"})");
}

TEST(BodyReader, FindsNoElementInAnEmptyArray) {
  const Body body = readBody(" [ ] ");
  EXPECT_TRUE(body.isArray);
  EXPECT_TRUE(body.elements.empty());
}

TEST(BodyReader, IsNotMisledByBracketsCommasAndQuotesInStrings) {
  const Body body = readBody(R"([{"a":"],[{\",\\"},{"b":"}"}])");
  EXPECT_TRUE(body.isArray);
  ASSERT_EQ(body.elements.size(), 2U);
  EXPECT_EQ(body.elements[0].members.at("a"), "],[{\",\\");
  EXPECT_EQ(body.elements[1].members.at("b"), "}");
}

TEST(BodyReader, AcceptsEveryControlByteInAString) {
  for (int control = 0; control < 0x20; ++control) {
    const std::string value = "a"s + static_cast<char>(control) + "b";
    const Body body = readBody("[{\"m\":\"" + value + "\"}]");
    ASSERT_EQ(body.elements.size(), 1U) << control;
    EXPECT_TRUE(body.elements[0].isReadable) << control << ": " << body.elements[0].problem;
    EXPECT_EQ(body.elements[0].members.at("m"), value);
  }
}

TEST(BodyReader, AcceptsControlBytesInANestedStringAndInAName) {
  const Body body = readBody("[{\"a\x02\":[\"\x03\"]}]");
  ASSERT_EQ(body.elements.size(), 1U);
  EXPECT_TRUE(body.elements[0].isReadable);
  EXPECT_EQ(body.elements[0].members.at("a\x02"), R"(["\u0003"])");
}

TEST(BodyReader, RefusesAControlByteOutsideAString) {
  const Body body = readBody("[{\"a\":\x01 1}]");
  ASSERT_EQ(body.elements.size(), 1U);
  EXPECT_FALSE(body.elements[0].isReadable);
}

TEST(BodyReader, RefusesAControlByteAfterABackslash) {
  const Body body = readBody("[{\"a\":\"\\\x01\"}]");
  ASSERT_EQ(body.elements.size(), 1U);
  EXPECT_FALSE(body.elements[0].isReadable);
}

TEST(BodyReader, TellsWhichElementIsUnreadableAndWhy) {
  const Body body = readBody(R"([{"a":1},{"a":},{"a":3}])");
  EXPECT_TRUE(body.isArray);
  ASSERT_EQ(body.elements.size(), 3U);
  EXPECT_TRUE(body.elements[0].isReadable);
  EXPECT_FALSE(body.elements[1].isReadable);
  EXPECT_NE(body.elements[1].problem.find("unexpected '}'"), std::string::npos) << body.elements[1].problem;
  EXPECT_EQ(body.elements[1].json, R"({"a":})");
  EXPECT_TRUE(body.elements[2].isReadable);
}

TEST(BodyReader, GoesOnAfterAnElementWithTheWrongBracket) {
  const Body body = readBody(R"([{"a":1],{"b":2}])");
  ASSERT_EQ(body.elements.size(), 2U);
  EXPECT_FALSE(body.elements[0].isReadable);
  EXPECT_TRUE(body.elements[1].isReadable);
}

TEST(BodyReader, RefusesBytesThatAreNotUtf8) {
  const Body body = readBody("[{\"a\":\"\xC3\x28\"},{}]");
  ASSERT_EQ(body.elements.size(), 2U);
  EXPECT_FALSE(body.elements[0].isReadable);
  EXPECT_NE(body.elements[0].problem.find("UTF-8"), std::string::npos);
  EXPECT_TRUE(body.elements[1].isReadable);
}

TEST(BodyReader, RefusesAnElementThatIsNotAnObject) {
  const Body body = readBody(R"([7,"x",[{}],null])");
  EXPECT_TRUE(body.isArray);
  ASSERT_EQ(body.elements.size(), 4U);
  for (const Element& element : body.elements) EXPECT_FALSE(element.isReadable);
  EXPECT_EQ(body.elements[0].problem, "not an object but of type number");
}

TEST(BodyReader, NoticesThatNothingStandsBetweenTwoCommas) {
  const Body body = readBody("[{},,{}]");
  ASSERT_EQ(body.elements.size(), 3U);
  EXPECT_FALSE(body.elements[1].isReadable);
}

TEST(BodyReader, NoticesACommaAfterTheLastElement) {
  const Body body = readBody("[{},]");
  ASSERT_EQ(body.elements.size(), 2U);
  EXPECT_FALSE(body.elements[1].isReadable);
}

TEST(BodyReader, TakesNoBodyButAnArrayForOne) {
  for (const char* text : {"", " ", "{}", R"({"a":[]})", "null", "x[]", "\"[]\"", "]"}) {
    const Body body = readBody(text);
    EXPECT_FALSE(body.isArray) << text;
    EXPECT_TRUE(body.elements.empty()) << text;
  }
}

TEST(BodyReader, ReadsWhatIsCompleteOfATruncatedArray) {
  const Body body = readBody(R"([{"a":1},{"b":"x)");
  EXPECT_FALSE(body.isArray);
  ASSERT_EQ(body.elements.size(), 2U);
  EXPECT_TRUE(body.elements[0].isReadable);
  EXPECT_EQ(body.elements[1].problem, "the body ends inside this element");
}

TEST(BodyReader, TakesAnArrayWithTextAfterItForNone) {
  const Body body = readBody("[{}] x");
  EXPECT_FALSE(body.isArray);
  EXPECT_EQ(body.elements.size(), 1U);
}

TEST(BodyReader, ReadsAnElementNestedToTheLimit) {
  const auto nested = [](std::size_t depth) {  // the object itself is one level
    return "[{\"a\":" + repeated("[", depth - 1) + repeated("]", depth - 1) + "}]";
  };
  EXPECT_TRUE(readBody(nested(kMaxNesting)).elements.at(0).isReadable);
  EXPECT_FALSE(readBody(nested(kMaxNesting + 1)).elements.at(0).isReadable);
}

TEST(BodyReader, SurvivesABodyThatOnlyOpensBrackets) {
  const Body body = readBody(repeated("[", 4'000'000));
  EXPECT_FALSE(body.isArray);
  ASSERT_EQ(body.elements.size(), 1U);
  EXPECT_FALSE(body.elements[0].isReadable);
}

TEST(BodyReader, SurvivesAMillionLevelsThatAreAllClosed) {
  const Body body = readBody("[{\"a\":" + repeated("[", 1'000'000) + repeated("]", 1'000'000) + "},{}]");
  EXPECT_TRUE(body.isArray);
  ASSERT_EQ(body.elements.size(), 2U);
  EXPECT_FALSE(body.elements[0].isReadable);
  EXPECT_TRUE(body.elements[1].isReadable);
}

TEST(BodyReader, EscapesControlBytesInStringsAndBlanksThoseBetweenTokens) {
  EXPECT_EQ(withoutRawControls("{\n\t\"a\" :\r\n\"x\ty\x1f\\n\"}"), "{  \"a\" :  \"x\\u0009y\\u001f\\n\"}");
}

}  // namespace
}  // namespace pxa::tools
