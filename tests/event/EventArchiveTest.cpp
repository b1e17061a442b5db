#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include <pxalog/Array.h>
#include <pxalog/Dictionary.h>

#include "event/VeskEvent.h"
#include "platform/Platform.h"

namespace pxa {
namespace {

using namespace std::string_view_literals;

/// What the platform's archive brings back of an event's dictionary.
Dictionary unarchived(const Dictionary& coder) {
  KeyedArchive& keyedArchive = Platform::current().keyedArchive;
  const std::optional<Dictionary> root = keyedArchive.unarchive(keyedArchive.archive(coder));
  EXPECT_TRUE(root.has_value());
  return root.value_or(Dictionary());
}

Dictionary encoded(const VeskEvent& event) {
  Dictionary coder;
  event.encodeWithCoder(coder);
  return unarchived(coder);
}

VeskEventRef roundTrip(const VeskEvent& event) {
  return VeskEvent::initWithCoder(encoded(event));
}

VeskEventRef eventWith(const Dictionary& fields, std::int64_t sendTime = 5) {
  return VeskEvent::initWithProjectName_projectVersion_logType_logSource_body_sendTime_host_fields_handleId(
      "na\xC3\xAFve", "1.0", "type", "source", Data("a\0\xFF body"sv), sendTime, "192.0.2.1", fields, "7");
}

void expectSame(const VeskEvent& event, const VeskEvent& other) {
  EXPECT_TRUE(event.projectName() == other.projectName());
  EXPECT_TRUE(event.projectVersion() == other.projectVersion());
  EXPECT_TRUE(event.logType() == other.logType());
  EXPECT_TRUE(event.logSource() == other.logSource());
  EXPECT_TRUE(event.body() == other.body());
  EXPECT_EQ(event.sendTime(), other.sendTime());
  EXPECT_TRUE(event.host() == other.host());
  EXPECT_TRUE(event.fields() == other.fields());
  EXPECT_TRUE(event.handleId() == other.handleId());
}

TEST(EventArchive, BringsBackEveryMember) {
  const VeskEventRef event = eventWith({{"logLevel", Data("INFO"sv)}, {"errorRate", "3"}});
  expectSame(*roundTrip(*event), *event);
}

TEST(EventArchive, BringsBackAnEventOfNulls) {
  VeskEvent event;
  event.setSendTime(1'500'000'000'123);
  expectSame(*roundTrip(event), event);
}

TEST(EventArchive, HoldsNineKeys) {
  EXPECT_EQ(encoded(*eventWith(Dictionary())).size(), 9U);
  EXPECT_EQ(encoded(VeskEvent()).size(), 9U);
}

TEST(EventArchive, BringsBackEverySendTimeExactly) {
  using Limits = std::numeric_limits<std::int64_t>;
  constexpr std::int64_t kTwoTo32 = std::int64_t{1} << 32U;
  constexpr std::int64_t kTwoTo53 = std::int64_t{1} << 53U;
  for (const std::int64_t time :
       {Limits::min(), Limits::min() + 1, -kTwoTo53 - 1, -kTwoTo32 - 1, std::int64_t{-1}, std::int64_t{0},
        std::int64_t{1}, kTwoTo32 - 1, kTwoTo32, kTwoTo32 + 1, std::int64_t{1'500'000'000'123}, kTwoTo53 + 1,
        Limits::max() - 1, Limits::max()}) {
    VeskEvent event;
    event.setSendTime(time);
    EXPECT_EQ(roundTrip(event)->sendTime(), time);
  }
}

TEST(EventArchive, BringsBackTheHandleIdOfTheInitialiser) {
  const VeskEventRef event = eventWith(Dictionary());
  event->sethandleId("8");
  EXPECT_TRUE(roundTrip(*event)->handleId() == Value("7"));
}

TEST(EventArchive, HoldsANullForAnUnsetProjectVersion) {
  const VeskEventRef event = eventWith(Dictionary());
  event->unsetProjectVersion();
  const Dictionary coder = encoded(*event);
  EXPECT_TRUE(coder.contains("projectVersion"));
  EXPECT_TRUE(coder.value("projectVersion").isNull());
  EXPECT_TRUE(VeskEvent::initWithCoder(coder)->projectVersion().isNull());
}

TEST(EventArchive, BringsBackFieldsWithAllTheyHold) {
  const Dictionary fields{
      {"text", "t"},
      {"bytes", Data("\xFF\0"sv)},
      {"null", nullptr},
      {"number", std::int64_t{1} << 40U},
      {"boolean", true},
      {"real", 0.25},
      {"", "empty key"},
      {"array", Value(Array{std::int64_t{1}, "two", Value(Dictionary{{"three", Data("3"sv)}})})},
      {"dictionary", Value(Dictionary{{"deeper", Value(Dictionary{{"deepest", "d"}})}})},
  };
  expectSame(*roundTrip(*eventWith(fields)), *eventWith(fields));
}

TEST(EventArchive, BringsBackEmptyFields) {
  const VeskEventRef event = roundTrip(*eventWith(Dictionary()));
  EXPECT_EQ(event->fields().kind(), Value::Kind::Dictionary);
  EXPECT_EQ(event->fields().dictionary().size(), 0U);
}

TEST(EventArchive, BringsBackFieldsThatCanBeChanged) {
  const VeskEventRef event = roundTrip(*eventWith({{"errorRate", "3"}}));
  event->fields().dictionary().set("errorRate", "4");
  EXPECT_TRUE(event->fields().dictionary().value("errorRate") == Value("4"));
}

TEST(EventArchive, TellsEmptyFromNull) {
  VeskEvent event;
  event.setProjectName("");
  event.setBody(Data(""sv));
  const VeskEventRef back = roundTrip(event);
  EXPECT_TRUE(back->projectName() == Value(""));
  EXPECT_TRUE(back->body() == Value(Data(""sv)));
  EXPECT_TRUE(back->logType().isNull());
}

TEST(EventArchive, BringsBackALongBody) {
  VeskEvent event;
  event.setBody(Data(std::string(3'000'000, '\xFE')));
  EXPECT_TRUE(roundTrip(event)->body() == event.body());
}

TEST(EventArchive, KeepsWrongKindsAsTheyAre) {
  const Dictionary wrong{
      {"projectName", std::int64_t{7}},          {"projectVersion", true},    {"logType", Data("bytes"sv)},
      {"logSource", Value(Array{"a", nullptr})}, {"body", "a text"},          {"sendTime", std::int64_t{12}},
      {"host", Value(Dictionary{{"h", ""}})},    {"fields", "no dictionary"}, {"handleId", 0.5},
  };
  const VeskEventRef event = VeskEvent::initWithCoder(unarchived(wrong));
  EXPECT_TRUE(event->projectName() == wrong.value("projectName"));
  EXPECT_TRUE(event->projectVersion() == wrong.value("projectVersion"));
  EXPECT_TRUE(event->logType() == wrong.value("logType"));
  EXPECT_TRUE(event->logSource() == wrong.value("logSource"));
  EXPECT_TRUE(event->body() == wrong.value("body"));
  EXPECT_EQ(event->sendTime(), 12);
  EXPECT_TRUE(event->host() == wrong.value("host"));
  EXPECT_TRUE(event->fields() == wrong.value("fields"));
  EXPECT_TRUE(event->handleId() == wrong.value("handleId"));
}

TEST(EventArchive, BringsBackNullsForMissingKeys) {
  const VeskEventRef event = VeskEvent::initWithCoder(unarchived({{"logType", "type"}}));
  EXPECT_TRUE(event->logType() == Value("type"));
  expectSame(*event, [] {
    VeskEvent expected;
    expected.setLogType("type");
    return expected;
  }());
}

}  // namespace
}  // namespace pxa
