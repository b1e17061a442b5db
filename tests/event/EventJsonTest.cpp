#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <pxalog/Array.h>
#include <pxalog/Dictionary.h>

#include "event/event_json.h"
#include "platform/Platform.h"

namespace pxa {
namespace {

using namespace std::string_view_literals;
using PXALog::getJsonFromVeskEvent;
using PXALog::getJsonFromVeskEvent_rdmBulkIndex;
using PXALog::idToNSString;

const Data kBrokenBytes("\xFF\xFE"sv);

class Opaque final : public Object {
 public:
  [[nodiscard]] String className() const override { return "Opaque"; }
};

Value opaque() {
  return Value(std::make_shared<Opaque>());
}

VeskEventRef eventWith(Value fields) {
  return VeskEvent::initWithProjectName_projectVersion_logType_logSource_body_sendTime_host_fields_handleId(
      "name", "1.0", "type", "source", Data("the body"sv), 1'500'000'000'123, "192.0.2.1", std::move(fields),
      "7");
}

VeskEventRef fullEvent() {
  return eventWith(nullptr);
}

/// The members of an event made by eventWith without fields.
Dictionary standardMembers() {
  return {{"projectName", "name"}, {"projectVersion", "1.0"}, {"logType", "type"},
          {"logSource", "source"}, {"body", "the body"},      {"sendTime", "1500000000123"},
          {"host", "192.0.2.1"}};
}

Dictionary standardMembersAnd(const char* key, Value value) {
  Dictionary members = standardMembers();
  members.set(key, std::move(value));
  return members;
}

/// What a parser finds in the text; a failed test when that is no object.
Dictionary parsed(const Data& json) {
  const std::optional<Value> value = Platform::current().jsonParser.parse(json);
  EXPECT_TRUE(value && value->kind() == Value::Kind::Dictionary) << json.view();
  return value ? value->dictionary() : Dictionary();
}

Dictionary jsonOf(const VeskEventRef& event) {
  return parsed(getJsonFromVeskEvent(event));
}

Dictionary bulkJsonOf(const VeskEventRef& event, std::int32_t index) {
  return parsed(getJsonFromVeskEvent_rdmBulkIndex(event, index));
}

void expectSame(const Dictionary& members, const Dictionary& expected) {
  EXPECT_TRUE(Value(members) == Value(expected))
      << Value(members).description().c_str() << " " << Value(expected).description().c_str();
}

int occurrences(std::string_view part, std::string_view text) {
  int count = 0;
  for (auto at = text.find(part); at != std::string_view::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

// No event

TEST(EventJson, OfNoEventIsAnEmptyObject) {
  EXPECT_EQ(getJsonFromVeskEvent(nullptr).view(), "{}");
}

TEST(EventJson, OfNoEventHasNoIndexInTheBulkEither) {
  EXPECT_EQ(getJsonFromVeskEvent_rdmBulkIndex(nullptr, 3).view(), "{}");
}

// The members of the record

TEST(EventJson, HoldsTheMembersOfTheRecord) {
  expectSame(jsonOf(fullEvent()), standardMembers());
}

TEST(EventJson, OfAnEmptyEventIsAnEmptyObject) {
  EXPECT_EQ(getJsonFromVeskEvent(std::make_shared<VeskEvent>()).view(), "{}");
}

TEST(EventJson, LeavesOutEachMemberThatIsNull) {
  const std::pair<void (*)(VeskEvent&), const char*> members[] = {
      {[](VeskEvent& event) { event.setProjectName(nullptr); }, "projectName"},
      {[](VeskEvent& event) { event.unsetProjectVersion(); }, "projectVersion"},
      {[](VeskEvent& event) { event.setLogType(nullptr); }, "logType"},
      {[](VeskEvent& event) { event.setLogSource(nullptr); }, "logSource"},
      {[](VeskEvent& event) { event.setBody(nullptr); }, "body"},
      {[](VeskEvent& event) { event.setSendTime(0); }, "sendTime"},
      {[](VeskEvent& event) { event.setHost(nullptr); }, "host"},
  };
  for (const auto& [clear, name] : members) {
    const VeskEventRef event = fullEvent();
    clear(*event);
    Dictionary expected = standardMembers();
    expected.remove(name);
    expectSame(jsonOf(event), expected);
  }
}

TEST(EventJson, HoldsEachMemberAlone) {
  VeskEvent event;
  event.setHost("192.0.2.1");
  EXPECT_EQ(getJsonFromVeskEvent(std::make_shared<VeskEvent>(event)).view(), R"({"host":"192.0.2.1"})");
}

TEST(EventJson, HoldsMembersThatAreEmpty) {
  const auto event = std::make_shared<VeskEvent>();
  event->setProjectName("");
  event->setBody(Data(""sv));
  event->setHost("");
  expectSame(jsonOf(event), {{"projectName", ""}, {"body", ""}, {"host", ""}});
}

TEST(EventJson, HoldsNeitherTheHandleIdNorTheFieldsAsAMember) {
  const Dictionary members = jsonOf(eventWith(Dictionary{{"a", "b"}}));
  EXPECT_FALSE(members.contains("handleId"));
  EXPECT_FALSE(members.contains("fields"));
}

TEST(EventJson, HoldsALaterHandleIdNowhere) {
  const VeskEventRef event = fullEvent();
  event->sethandleId("later");
  expectSame(jsonOf(event), standardMembers());
}

TEST(EventJson, HoldsTheSendTimeAsAQuotedNumber) {
  for (const std::int64_t time :
       {std::int64_t{1'500'000'000'123}, std::int64_t{-1}, std::int64_t{1},
        std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()}) {
    const auto event = std::make_shared<VeskEvent>();
    event->setSendTime(time);
    EXPECT_EQ(getJsonFromVeskEvent(event).view(), "{\"sendTime\":\"" + std::to_string(time) + "\"}");
  }
}

TEST(EventJson, WritesTheBodyAsText) {
  const auto event = std::make_shared<VeskEvent>();
  event->setBody(Data("gr\xC3\xBC\xC3\x9F \"you\"\n"sv));
  EXPECT_EQ(getJsonFromVeskEvent(event).view(), "{\"body\":\"gr\xC3\xBC\xC3\x9F \\\"you\\\"\\n\"}");
}

TEST(EventJson, LeavesSlashesAsTheyAre) {
  const auto event = std::make_shared<VeskEvent>();
  event->setBody(Data("a/b"sv));
  EXPECT_EQ(getJsonFromVeskEvent(event).view(), R"({"body":"a/b"})");
}

TEST(EventJson, WritesMembersOfOtherKindsAsTheyAre) {
  const auto event = std::make_shared<VeskEvent>();
  event->setProjectName(std::int64_t{7});
  event->setLogType(Data("bytes"sv));
  event->setLogSource(Array{std::int64_t{1}, "two"});
  event->setBody("a text");
  event->setHost(Dictionary{{"h", "x"}});
  expectSame(jsonOf(event), {{"projectName", std::int64_t{7}},
                             {"logType", "bytes"},
                             {"logSource", Value(Array{std::int64_t{1}, "two"})},
                             {"body", "a text"},
                             {"host", Value(Dictionary{{"h", "x"}})}});
}

TEST(EventJson, PassesOverFieldsThatAreNoDictionary) {
  for (const Value& other : {Value("text"), Value(1), Value(Array{"a"}), Value(Data("bytes"sv))})
    EXPECT_NO_THROW(expectSame(jsonOf(eventWith(other)), standardMembers()));
}

// The fields

TEST(EventJson, HoldsEveryEntryOfTheFields) {
  const Dictionary fields{
      {"logLevel", Data("INFO"sv)}, {"custom", "text"}, {"null", nullptr}, {"flag", true}};
  Dictionary expected = standardMembers();
  expected.set("logLevel", "INFO");
  expected.set("custom", "text");
  expected.set("null", nullptr);
  expected.set("flag", true);
  expectSame(jsonOf(eventWith(fields)), expected);
}

TEST(EventJson, NestsWhatTheFieldsNest) {
  const Value nested = Array{"a", Value(Dictionary{{"b", Value(Array())}})};
  expectSame(jsonOf(eventWith(Dictionary{{"nested", nested}})), standardMembersAnd("nested", nested));
}

TEST(EventJson, LetsFieldsReplaceEveryMember) {
  for (const char* name :
       {"projectName", "projectVersion", "logType", "logSource", "body", "sendTime", "host"}) {
    const VeskEventRef event = eventWith(Dictionary{{name, "from the fields"}});
    expectSame(jsonOf(event), standardMembersAnd(name, "from the fields"));
    EXPECT_EQ(occurrences(std::string("\"") + name + "\":", getJsonFromVeskEvent(event).view()), 1) << name;
  }
}

TEST(EventJson, LetsFieldsReplaceAMemberByNull) {
  expectSame(jsonOf(eventWith(Dictionary{{"host", nullptr}})), standardMembersAnd("host", nullptr));
}

TEST(EventJson, TakesAMemberFromTheFieldsThatTheRecordLacks) {
  const auto event = std::make_shared<VeskEvent>();
  event->setFields(Dictionary{{"sendTime", "12"}, {"host", "h"}});
  expectSame(jsonOf(event), {{"sendTime", "12"}, {"host", "h"}});
}

TEST(EventJson, HoldsFieldsThatAreNamedLikeOtherPartsOfTheEvent) {
  expectSame(jsonOf(eventWith(Dictionary{{"handleId", "x"}})), standardMembersAnd("handleId", "x"));
  expectSame(jsonOf(eventWith(Dictionary{{"fields", "y"}})), standardMembersAnd("fields", "y"));
}

TEST(EventJson, HoldsAllOfManyFields) {
  Dictionary fields;
  Dictionary expected = standardMembers();
  for (int i = 0; i < 200; ++i) {
    fields.set("key" + std::to_string(i), std::to_string(i));
    expected.set("key" + std::to_string(i), std::to_string(i));
  }
  expectSame(jsonOf(eventWith(fields)), expected);
}

TEST(EventJson, SeesChangesOfTheFields) {
  Dictionary fields;
  const VeskEventRef event = eventWith(fields);
  fields.set("errorRate", "1");
  expectSame(jsonOf(event), standardMembersAnd("errorRate", "1"));
}

TEST(EventJson, LeavesTheEventUnchanged) {
  const Dictionary fields{{"host", "h"}, {"rdmBulkIndex", "x"}};
  const VeskEventRef event = eventWith(fields);
  getJsonFromVeskEvent(event);
  getJsonFromVeskEvent_rdmBulkIndex(event, 3);
  EXPECT_TRUE(Value(fields) == Value(Dictionary{{"host", "h"}, {"rdmBulkIndex", "x"}}));
  EXPECT_TRUE(event->host() == Value("192.0.2.1"));
  EXPECT_TRUE(event->body() == Value(Data("the body"sv)));
  EXPECT_EQ(event->sendTime(), 1'500'000'000'123);
}

// The index in the bulk

TEST(EventJson, HoldsTheIndexInTheBulkAsText) {
  expectSame(bulkJsonOf(fullEvent(), 3), standardMembersAnd("rdmBulkIndex", "3"));
}

TEST(EventJson, HoldsEveryIndexInTheBulk) {
  for (const std::int32_t index :
       {0, 1, -1, 1999, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()})
    EXPECT_EQ(getJsonFromVeskEvent_rdmBulkIndex(std::make_shared<VeskEvent>(), index).view(),
              "{\"rdmBulkIndex\":\"" + std::to_string(index) + "\"}");
}

TEST(EventJson, HoldsNoIndexOutsideABulk) {
  EXPECT_FALSE(jsonOf(fullEvent()).contains("rdmBulkIndex"));
}

TEST(EventJson, ReplacesAFieldByTheIndexInTheBulk) {
  const VeskEventRef event = eventWith(Dictionary{{"rdmBulkIndex", "from the fields"}, {"a", "b"}});
  Dictionary expected = standardMembersAnd("rdmBulkIndex", "3");
  expected.set("a", "b");
  expectSame(bulkJsonOf(event, 3), expected);
  EXPECT_EQ(occurrences("rdmBulkIndex", getJsonFromVeskEvent_rdmBulkIndex(event, 3).view()), 1);
}

TEST(EventJson, KeepsAFieldOfThatNameOutsideABulk) {
  expectSame(jsonOf(eventWith(Dictionary{{"rdmBulkIndex", "x"}})), standardMembersAnd("rdmBulkIndex", "x"));
}

TEST(EventJson, ReplacesAFieldThatCannotBeWrittenByTheIndexInTheBulk) {
  const VeskEventRef event = eventWith(Dictionary{{"rdmBulkIndex", opaque()}});
  expectSame(bulkJsonOf(event, 3), standardMembersAnd("rdmBulkIndex", "3"));
  EXPECT_TRUE(getJsonFromVeskEvent(event).isNil());
}

// Failures

TEST(EventJson, IsNothingForABodyThatIsNotUtf8) {
  const VeskEventRef event = fullEvent();
  event->setBody(kBrokenBytes);
  EXPECT_TRUE(getJsonFromVeskEvent(event).isNil());
  EXPECT_TRUE(getJsonFromVeskEvent_rdmBulkIndex(event, 3).isNil());
}

TEST(EventJson, IsNothingForAFieldThatCannotBeWritten) {
  for (const Value& bad :
       {Value(kBrokenBytes), opaque(), Value(Array{1, opaque()}), Value(Dictionary{{"a", kBrokenBytes}})}) {
    const VeskEventRef event = eventWith(Dictionary{{"good", 1}, {"bad", bad}, {"better", 2}});
    EXPECT_TRUE(getJsonFromVeskEvent(event).isNil());
    EXPECT_TRUE(getJsonFromVeskEvent_rdmBulkIndex(event, 3).isNil());
  }
}

TEST(EventJson, IsNothingForAMemberThatCannotBeWritten) {
  const VeskEventRef event = fullEvent();
  event->setHost(opaque());
  EXPECT_TRUE(getJsonFromVeskEvent(event).isNil());
}

TEST(EventJson, MindsNoBrokenMemberThatTheFieldsReplace) {
  const VeskEventRef event = eventWith(Dictionary{{"body", "whole"}});
  event->setBody(kBrokenBytes);
  expectSame(jsonOf(event), standardMembersAnd("body", "whole"));
}

// Bytes as text

TEST(IdToNSString, IsTheTextOfUtf8Bytes) {
  EXPECT_EQ(idToNSString(Data("gr\xC3\xBC\xC3\x9F"sv)), "gr\xC3\xBC\xC3\x9F");
  EXPECT_EQ(idToNSString(Data("a\0b"sv)).view(), "a\0b"sv);
  EXPECT_EQ(idToNSString(Data(""sv)), "");
}

TEST(IdToNSString, IsNothingForBytesThatAreNotUtf8) {
  EXPECT_TRUE(idToNSString(kBrokenBytes).isNil());
}

TEST(IdToNSString, IsEmptyForAnythingElse) {
  for (const Value& other : {Value("a text"), Value(), Value(7), Value(true), Value(Array{"a"}),
                             Value(Dictionary{{"a", "b"}}), opaque()})
    EXPECT_EQ(idToNSString(other), "") << other.description().c_str();
}

TEST(TextOfBytes, IsTheTextOfUtf8BytesAndEmptyForAnythingElse) {
  const Value bytes = Data("text"sv);
  EXPECT_EQ(textOfBytes(&bytes), "text");
  EXPECT_EQ(textOfBytes(&bytes).data(), bytes.bytes().data());
  EXPECT_EQ(textOfBytes(nullptr), "");
  for (const Value& other : {Value(kBrokenBytes), Value("a text"), Value(), Value(7)})
    EXPECT_EQ(textOfBytes(&other), "");
}

// Its other forms

TEST(EventJson, IsAppendedToABulkAsItIsWrittenAlone) {
  const VeskEventRef event = eventWith(Dictionary{{"logLevel", Data("INFO"sv)}, {"host", "h"}});
  ByteBuffer text;
  text.append("[");
  EXPECT_TRUE(appendJsonOfBulkEvent(*event, 3, text));
  EXPECT_EQ(text.view(), "[" + std::string(getJsonFromVeskEvent_rdmBulkIndex(event, 3).view()));
}

TEST(EventJson, LeavesTheBulkAsItWasWhenItCannotBeWritten) {
  ByteBuffer text;
  text.append("[before");
  EXPECT_FALSE(appendJsonOfBulkEvent(*eventWith(Dictionary{{"a", "b"}, {"bad", opaque()}}), 3, text));
  EXPECT_EQ(text.view(), "[before");
  EXPECT_TRUE(appendJsonOfBulkEvent(VeskEvent(), 0, text));
  EXPECT_EQ(text.view(), R"([before{"rdmBulkIndex":"0"})");
}

/// A log line, completed with the fields if there are some.
VeskEventRef logLine(const String& errorCode, const SharedLineFieldsRef& shared) {
  auto line = std::make_shared<VeskEvent>("INFO", errorCode, Data("a \"body\""sv), 12);
  line->setOrigin(std::make_shared<const EventOrigin>(EventOrigin{"name", nullptr, "type", "source", "7"}));
  if (shared != nullptr) line->completeLine(shared);
  return line;
}

TEST(EventJson, OfALogLineIsThatOfTheSameFieldsInADictionary) {
  const SharedLineFieldsRef shared = SharedLineFields::of({{"Platform", Data("iOS 12.1"sv)},
                                                           {"a \"quoted\" name", "line\nend"},
                                                           {"empty", ""},
                                                           {"errorRate", "2"}});
  ASSERT_NE(shared, nullptr);
  for (const SharedLineFieldsRef& completion :
       {SharedLineFieldsRef(), SharedLineFields::of(Dictionary()), shared})
    for (const char* errorCode : {"", "E1"}) {
      const VeskEventRef line = logLine(errorCode, completion);
      const Data alone = getJsonFromVeskEvent(line);
      const Data inBulk = getJsonFromVeskEvent_rdmBulkIndex(line, 7);
      const std::size_t length = jsonLengthOf(*line);
      ASSERT_NE(line->line(), nullptr) << "a dictionary was made";
      ASSERT_EQ(line->fields().kind(), Value::Kind::Dictionary);
      ASSERT_EQ(line->line(), nullptr);
      EXPECT_EQ(alone, getJsonFromVeskEvent(line));
      EXPECT_EQ(inBulk, getJsonFromVeskEvent_rdmBulkIndex(line, 7));
      EXPECT_EQ(length, alone.size());
      EXPECT_EQ(parsed(alone).value("errorCode").isNull(), *errorCode == '\0');
    }
}

TEST(EventJson, HasTheLengthThatIsToldWithoutWriting) {
  const VeskEventRef events[] = {
      std::make_shared<VeskEvent>(),
      fullEvent(),
      eventWith(Dictionary()),
      eventWith(Dictionary{{"host", "h/\n"}, {"sendTime", 0.1}, {"nested", Value(Array{1, "\"", nullptr})}}),
      eventWith(Dictionary{{"rdmBulkIndex", "x"}, {"cut", "a\0b"sv}}),
      eventWith("no dictionary"),
  };
  for (const VeskEventRef& event : events)
    EXPECT_EQ(jsonLengthOf(*event), getJsonFromVeskEvent(event).size());
}

TEST(EventJson, HasNoLengthWhenItCannotBeWritten) {
  EXPECT_EQ(jsonLengthOf(*eventWith(Dictionary{{"bad", opaque()}})), 0U);
}

}  // namespace
}  // namespace pxa
