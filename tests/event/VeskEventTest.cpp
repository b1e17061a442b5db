#include <cstdint>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include <pxalog/Array.h>
#include <pxalog/Dictionary.h>

#include "event/VeskEvent.h"
#include "support/values.h"

namespace pxa {
namespace {

using namespace std::string_view_literals;

using Getter = const Value& (VeskEvent::*)() const;
using Setter = void (VeskEvent::*)(Value);

constexpr Getter kGetters[] = {
    &VeskEvent::projectName, &VeskEvent::projectVersion, &VeskEvent::logType, &VeskEvent::logSource,
    &VeskEvent::body,        &VeskEvent::host,           &VeskEvent::fields,  &VeskEvent::handleId,
};

constexpr std::pair<Setter, Getter> kMembersWithASetter[] = {
    {&VeskEvent::setProjectName, &VeskEvent::projectName},
    {&VeskEvent::setProjectVersion, &VeskEvent::projectVersion},
    {&VeskEvent::setLogType, &VeskEvent::logType},
    {&VeskEvent::setLogSource, &VeskEvent::logSource},
    {&VeskEvent::setBody, &VeskEvent::body},
    {&VeskEvent::setHost, &VeskEvent::host},
    {&VeskEvent::setFields, &VeskEvent::fields},
};

VeskEventRef make(Value projectName, Value projectVersion, Value logType, Value logSource, Value body,
                  std::int64_t sendTime, Value host, Value fields, Value handleId) {
  return VeskEvent::initWithProjectName_projectVersion_logType_logSource_body_sendTime_host_fields_handleId(
      std::move(projectName), std::move(projectVersion), std::move(logType), std::move(logSource),
      std::move(body), sendTime, std::move(host), std::move(fields), std::move(handleId));
}

VeskEventRef fullEvent(const Dictionary& fields = Dictionary{{"logLevel", Data("INFO"sv)}}) {
  return make("name", "1.0", "type", "source", Data("the body"sv), 5, "192.0.2.1", fields, "7");
}

/// The event as an archive's dictionary, and back.
VeskEventRef roundTrip(const VeskEvent& event) {
  Dictionary coder;
  event.encodeWithCoder(coder);
  return VeskEvent::initWithCoder(coder);
}

/// All getters of the object members.
std::vector<Value> membersOf(const VeskEvent& event) {
  std::vector<Value> members;
  for (const Getter getter : kGetters) members.push_back((event.*getter)());
  return members;
}

TEST(VeskEvent, IsEmptyAtFirst) {
  const VeskEvent event;
  for (const Getter getter : kGetters) EXPECT_TRUE((event.*getter)().isNull());
  EXPECT_EQ(event.sendTime(), 0);
}

TEST(VeskEvent, StoresEachArgumentInTheMemberOfItsName) {
  const Dictionary fields{{"a", 1}};
  const VeskEventRef event =
      make("name", "1.0", "type", "source", Data("the body"sv), -12, "192.0.2.1", fields, "7");
  EXPECT_TRUE(event->projectName() == Value("name"));
  EXPECT_TRUE(event->projectVersion() == Value("1.0"));
  EXPECT_TRUE(event->logType() == Value("type"));
  EXPECT_TRUE(event->logSource() == Value("source"));
  EXPECT_TRUE(event->body() == Value(Data("the body"sv)));
  EXPECT_EQ(event->sendTime(), -12);
  EXPECT_TRUE(event->host() == Value("192.0.2.1"));
  EXPECT_TRUE(event->fields() == Value(fields));
  EXPECT_TRUE(event->handleId() == Value("7"));
}

TEST(VeskEvent, KeepsNullArgumentsNull) {
  const VeskEventRef event = make(nullptr, nullptr, nullptr, nullptr, nullptr, 9, nullptr, nullptr, nullptr);
  for (const Getter getter : kGetters) EXPECT_TRUE(((*event).*getter)().isNull());
  EXPECT_EQ(event->sendTime(), 9);
}

TEST(VeskEvent, SharesTheBuffersItIsBuiltWith) {
  const String name("name");
  const String version("1.0");
  const String type("type");
  const String source("source");
  const Data body("the body"sv);
  const String host("192.0.2.1");
  const String handleId("7");
  const VeskEventRef event = make(name, version, type, source, body, 0, host, nullptr, handleId);
  EXPECT_EQ(event->projectName().bytes().data(), name.view().data());
  EXPECT_EQ(event->projectVersion().bytes().data(), version.view().data());
  EXPECT_EQ(event->logType().bytes().data(), type.view().data());
  EXPECT_EQ(event->logSource().bytes().data(), source.view().data());
  EXPECT_EQ(event->body().bytes().data(), body.view().data());
  EXPECT_EQ(event->host().bytes().data(), host.view().data());
  EXPECT_EQ(event->handleId().bytes().data(), handleId.view().data());
}

TEST(VeskEvent, SharesTheBuffersThatItsSettersAreGiven) {
  VeskEvent event;
  for (const auto& [setter, getter] : kMembersWithASetter) {
    const Data bytes("some bytes"sv);
    (event.*setter)(bytes);
    EXPECT_EQ((event.*getter)().bytes().data(), bytes.view().data());
  }
}

TEST(VeskEvent, ShowsChangesOfTheFieldsItWasBuiltWith) {
  Dictionary fields{{"a", 1}};
  const VeskEventRef event = fullEvent(fields);
  fields.set("b", 2);
  fields.remove("a");
  EXPECT_TRUE(event->fields() == Value(Dictionary{{"b", 2}}));
}

TEST(VeskEvent, ShowsChangesOfTheFieldsItWasSet) {
  const VeskEventRef event = fullEvent();
  Dictionary fields;
  event->setFields(fields);
  fields.set("errorRate", "1");
  EXPECT_TRUE(event->fields() == Value(Dictionary{{"errorRate", "1"}}));
}

TEST(VeskEvent, GivesItsFieldsOutWithoutACopy) {
  const Dictionary fields{{"a", 1}};
  const VeskEventRef event = fullEvent(fields);
  event->fields().dictionary().set("errorRate", "1");
  EXPECT_TRUE(Value(fields) == Value(Dictionary{{"a", 1}, {"errorRate", "1"}}));
}

TEST(VeskEvent, ReplacesOneMemberByEachSetter) {
  for (const auto& [setter, getter] : kMembersWithASetter) {
    const VeskEventRef event = fullEvent();
    const VeskEventRef untouched = fullEvent();
    ((*event).*setter)("new");
    for (const Getter other : kGetters)
      EXPECT_TRUE(((*event).*other)() == (other == getter ? Value("new") : ((*untouched).*other)()));
    EXPECT_EQ(event->sendTime(), untouched->sendTime());
  }
}

TEST(VeskEvent, TakesNullFromEverySetter) {
  const VeskEventRef event = fullEvent();
  for (const auto& [setter, getter] : kMembersWithASetter) {
    ((*event).*setter)(nullptr);
    EXPECT_TRUE(((*event).*getter)().isNull());
  }
}

TEST(VeskEvent, StoresTheSendTimeItIsSet) {
  const VeskEventRef event = fullEvent();
  const std::vector<Value> before = membersOf(*event);
  for (const std::int64_t time :
       {std::numeric_limits<std::int64_t>::min(), std::int64_t{-1}, std::int64_t{0},
        std::int64_t{1'500'000'000'123}, std::numeric_limits<std::int64_t>::max()}) {
    event->setSendTime(time);
    EXPECT_EQ(event->sendTime(), time);
  }
  EXPECT_TRUE(membersOf(*event) == before);
}

TEST(VeskEvent, KeepsItsHandleIdWhenALaterOneIsSet) {
  const VeskEventRef event = fullEvent();
  event->sethandleId("8");
  EXPECT_TRUE(event->handleId() == Value("7"));
}

TEST(VeskEvent, GetsNoHandleIdFromALaterOne) {
  VeskEvent event;
  event.sethandleId("8");
  EXPECT_TRUE(event.handleId().isNull());
}

TEST(VeskEvent, LosesTheProjectVersionAloneWhenThatIsUnset) {
  const VeskEventRef event = fullEvent();
  std::vector<Value> expected = membersOf(*event);
  expected[1] = nullptr;
  event->unsetProjectVersion();
  EXPECT_TRUE(membersOf(*event) == expected);
  EXPECT_EQ(event->sendTime(), 5);
}

TEST(VeskEvent, LetsGoOfWhatItHolds) {
  struct Held final : Object {
    [[nodiscard]] String className() const override { return "Held"; }
  };
  std::vector<std::weak_ptr<Object>> held;
  const auto value = [&held] {
    auto object = std::make_shared<Held>();
    held.push_back(object);
    return Value(object);
  };
  VeskEventRef event =
      make(value(), value(), value(), value(), value(), 0, value(), Dictionary{{"a", value()}}, value());
  event->sethandleId(value());
  for (const auto& object : held) EXPECT_FALSE(object.expired());
  event = nullptr;
  for (const auto& object : held) EXPECT_TRUE(object.expired());
}

// The coder's dictionary

TEST(VeskEvent, EncodesNineKeysInOrder) {
  const Dictionary fields{{"a", 1}};
  Dictionary coder;
  fullEvent(fields)->encodeWithCoder(coder);
  const std::pair<const char*, Value> expected[] = {
      {"projectName", "name"}, {"projectVersion", "1.0"},    {"logType", "type"},
      {"logSource", "source"}, {"body", Data("the body"sv)}, {"sendTime", std::int64_t{5}},
      {"host", "192.0.2.1"},   {"fields", fields},           {"handleId", "7"},
  };
  ASSERT_EQ(coder.size(), std::size(expected));
  Dictionary::Iterator entry = coder.begin();
  for (const auto& [key, value] : expected) {
    EXPECT_EQ(entry->key, key);
    EXPECT_TRUE(entry->value == value) << key;
    ++entry;
  }
}

TEST(VeskEvent, EncodesTheSendTimeAsA64BitInteger) {
  Dictionary coder;
  fullEvent()->encodeWithCoder(coder);
  EXPECT_EQ(coder.value("sendTime").number().kind(), Number::Kind::Int64);
}

TEST(VeskEvent, EncodesNullsUnderTheirKeys) {
  Dictionary coder;
  VeskEvent().encodeWithCoder(coder);
  EXPECT_EQ(coder.size(), 9U);
  for (const char* key :
       {"projectName", "projectVersion", "logType", "logSource", "body", "host", "fields", "handleId"}) {
    EXPECT_TRUE(coder.contains(key)) << key;
    EXPECT_TRUE(coder.value(key).isNull()) << key;
  }
}

TEST(VeskEvent, EncodesTheHandleIdItWasBuiltWith) {
  const VeskEventRef event = fullEvent();
  event->sethandleId("8");
  Dictionary coder;
  event->encodeWithCoder(coder);
  EXPECT_TRUE(coder.value("handleId") == Value("7"));
  EXPECT_TRUE(VeskEvent::initWithCoder(coder)->handleId() == Value("7"));
}

TEST(VeskEvent, IsLeftUnchangedByEncoding) {
  const VeskEventRef event = fullEvent();
  const std::vector<Value> before = membersOf(*event);
  Dictionary coder;
  event->encodeWithCoder(coder);
  EXPECT_TRUE(membersOf(*event) == before);
}

TEST(VeskEvent, DecodesWhatItEncoded) {
  const VeskEventRef event = fullEvent();
  const VeskEventRef decoded = roundTrip(*event);
  EXPECT_TRUE(membersOf(*decoded) == membersOf(*event));
  EXPECT_EQ(decoded->sendTime(), event->sendTime());
}

TEST(VeskEvent, DecodesMissingKeysAsNullAndZero) {
  const VeskEventRef event = VeskEvent::initWithCoder(Dictionary());
  for (const Getter getter : kGetters) EXPECT_TRUE(((*event).*getter)().isNull());
  EXPECT_EQ(event->sendTime(), 0);
}

TEST(VeskEvent, DecodesEachKeyByItself) {
  for (const char* key :
       {"projectName", "projectVersion", "logType", "logSource", "body", "host", "fields", "handleId"}) {
    const VeskEventRef event = VeskEvent::initWithCoder(Dictionary{{key, "alone"}});
    int found = 0;
    for (const Getter getter : kGetters) found += ((*event).*getter)() == Value("alone") ? 1 : 0;
    EXPECT_EQ(found, 1) << key;
    EXPECT_EQ(event->sendTime(), 0) << key;
  }
}

TEST(VeskEvent, DecodesOnlyItsOwnKeys) {
  const VeskEventRef event = VeskEvent::initWithCoder(Dictionary{{"Body", "x"}, {"handleid", "y"}, {"z", 1}});
  for (const Getter getter : kGetters) EXPECT_TRUE(((*event).*getter)().isNull());
}

TEST(VeskEvent, KeepsDecodedValuesOfOtherKindsAsTheyAre) {
  const Value number(std::int64_t{7});
  const Value text("no bytes");
  const Value array = Array{1, 2};
  const VeskEventRef event = VeskEvent::initWithCoder(Dictionary{{"projectName", number},
                                                                 {"projectVersion", true},
                                                                 {"logType", Data("bytes"sv)},
                                                                 {"logSource", array},
                                                                 {"body", text},
                                                                 {"host", Value(Dictionary{{"h", 1}})},
                                                                 {"fields", array},
                                                                 {"handleId", number}});
  EXPECT_TRUE(event->projectName() == number);
  EXPECT_TRUE(event->projectVersion() == Value(true));
  EXPECT_TRUE(event->logType() == Value(Data("bytes"sv)));
  EXPECT_TRUE(event->logSource() == array);
  EXPECT_TRUE(event->body() == text);
  EXPECT_TRUE(event->host() == Value(Dictionary{{"h", 1}}));
  EXPECT_TRUE(event->fields() == array);
  EXPECT_TRUE(event->handleId() == number);
}

TEST(VeskEvent, DecodesASendTimeThatIsNoNumberAsZero) {
  for (const Value& other : {Value("12"), Value(), Value(Data("12"sv)), Value(Array{12})})
    EXPECT_EQ(VeskEvent::initWithCoder(Dictionary{{"sendTime", other}})->sendTime(), 0);
}

TEST(VeskEvent, StoresTheDecodedFieldsThemselves) {
  Dictionary fields{{"a", 1}};
  const VeskEventRef event = VeskEvent::initWithCoder(Dictionary{{"fields", fields}});
  fields.set("b", 2);
  EXPECT_TRUE(event->fields().dictionary().contains("b"));
}

// The event of a log line.

/// With an origin, as the log call makes it.
VeskEventRef logLine(const String& level, const String& errorCode) {
  auto event = std::make_shared<VeskEvent>(level, errorCode, Data("body"sv), 12);
  event->setOrigin(std::make_shared<const EventOrigin>(EventOrigin{"p", "1.0", "type", "source", "7"}));
  return event;
}

TEST(LogLine, HasItsOriginBodyAndTimeAndAnEmptyHost) {
  const VeskEventRef event = logLine("INFO", nullptr);
  EXPECT_TRUE(event->projectName() == Value("p"));
  EXPECT_TRUE(event->projectVersion() == Value("1.0"));
  EXPECT_TRUE(event->logType() == Value("type"));
  EXPECT_TRUE(event->logSource() == Value("source"));
  EXPECT_TRUE(event->handleId() == Value("7"));
  EXPECT_TRUE(event->body() == Value(Data("body"sv)));
  EXPECT_EQ(event->sendTime(), 12);
  EXPECT_TRUE(event->host() == Value(""));
}

TEST(LogLine, HasErrorCodeAndLevelAsBytes) {
  EXPECT_TRUE(logLine("WARN", "E1")->fields() ==
              Value(Dictionary{{"errorCode", Data("E1"sv)}, {"logLevel", Data("WARN"sv)}}));
}

TEST(LogLine, HasAnEmptyLevelForNilAndNoErrorCodeForNoneOrAnEmptyOne) {
  for (const String& none : {String(nullptr), String("")})
    EXPECT_TRUE(logLine(nullptr, none)->fields() == Value(Dictionary{{"logLevel", Data(""sv)}}));
}

TEST(LogLine, KeepsTheChangesOfWhoeverHoldsItsFields) {
  const VeskEventRef event = logLine("INFO", nullptr);
  event->fields().dictionary().set("a", 1);
  EXPECT_TRUE(event->fields().dictionary().contains("a"));
  ASSERT_NE(event->field("a"), nullptr);
  EXPECT_TRUE(*event->field("a") == Value(1));
  EXPECT_EQ(event->field("b"), nullptr);
}

TEST(LogLine, HasTheFieldsThatItIsGivenInsteadOfItsOwn) {
  const VeskEventRef event = logLine("INFO", "E1");
  event->setFields(nullptr);
  EXPECT_TRUE(event->fields().isNull());
  EXPECT_EQ(event->field("logLevel"), nullptr);
}

TEST(LogLine, HasWhatItIsCompletedWithBehindItsOwnFields) {
  const VeskEventRef event = logLine("INFO", "E1");
  event->completeLine(SharedLineFields::of({{"Platform", Data("iOS"sv)}, {"mine", "text"}}));
  ASSERT_NE(event->field("mine"), nullptr);
  EXPECT_TRUE(*event->field("mine") == Value("text"));
  EXPECT_TRUE(*event->field("errorCode") == Value(Data("E1"sv)));
  EXPECT_TRUE(*event->field("logLevel") == Value(Data("INFO"sv)));
  EXPECT_EQ(event->field("other"), nullptr);
  EXPECT_EQ(test::keysOf(event->fields().dictionary()),
            (std::vector<std::string>{"errorCode", "logLevel", "Platform", "mine"}));
  EXPECT_TRUE(*event->field("mine") == Value("text"));
}

TEST(LogLine, ChangesNoOtherLineWithItsFields) {
  const SharedLineFieldsRef shared = SharedLineFields::of({{"mine", "text"}});
  const VeskEventRef event = logLine("INFO", nullptr);
  const VeskEventRef other = logLine("INFO", nullptr);
  event->completeLine(shared);
  other->completeLine(shared);
  event->fields().dictionary().set("mine", "changed");
  EXPECT_TRUE(*other->field("mine") == Value("text"));
  EXPECT_TRUE(other->fields().dictionary().value("mine") == Value("text"));
}

TEST(LogLine, ChangesAloneWhatItSharesWithOthers) {
  const VeskEventRef event = logLine("INFO", nullptr);
  const VeskEventRef other = logLine("INFO", nullptr);
  const auto origin = std::make_shared<const EventOrigin>(EventOrigin{"p", "1.0", "type", "source", "7"});
  event->setOrigin(origin);
  other->setOrigin(origin);
  event->setLogType("changed");
  event->sethandleId("later");
  EXPECT_TRUE(event->logType() == Value("changed"));
  EXPECT_TRUE(event->projectName() == Value("p"));
  EXPECT_TRUE(event->handleId() == Value("7"));
  EXPECT_TRUE(other->logType() == Value("type"));
}

}  // namespace
}  // namespace pxa
