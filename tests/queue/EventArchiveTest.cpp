#include <deque>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>

#include <pxalog/Array.h>
#include <pxalog/Dictionary.h>

#include "platform/Platform.h"
#include "queue/event_archive.h"
#include "support/queued_events.h"

namespace pxa {
namespace {

using namespace std::string_view_literals;
using test::eventAt;
using test::Times;

class Opaque final : public Object {
 public:
  [[nodiscard]] String className() const override { return "Opaque"; }
};

Data archiveOf(const Dictionary& root) {
  return Platform::current().keyedArchive.archive(root);
}

Dictionary rootOf(const Data& archive) {
  return Platform::current().keyedArchive.unarchive(archive).value_or(Dictionary());
}

Times timesOf(const EventQueue& events) {
  return test::timesOf({events.begin(), events.end()});
}

TEST(EventArchive, HoldOneKeyWithTheEventsInOrder) {
  const Dictionary root = rootOf(archiveOfEvents({eventAt(3), eventAt(1), eventAt(2)}, "logArray"));
  EXPECT_EQ(root.size(), 1U);
  const Array events = root.value("logArray").array();
  ASSERT_EQ(events.size(), 3U);
  for (const Value& event : events) EXPECT_EQ(event.dictionary().size(), 9U);
  EXPECT_EQ(events.at(0).dictionary().value("sendTime").number().longLongValue(), 3);
}

TEST(EventArchive, HoldNoEvents) {
  EXPECT_EQ(eventsOfArchive(archiveOfEvents({}, "k"), "k"), EventQueue());
}

TEST(EventArchive, BringEventsBackInOrder) {
  const auto events = eventsOfArchive(archiveOfEvents({eventAt(3), eventAt(1), eventAt(2)}, "k"), "k");
  ASSERT_TRUE(events);
  EXPECT_EQ(timesOf(*events), (Times{3, 1, 2}));
}

TEST(EventArchive, BringEventsBackWhole) {
  const VeskEventRef event =
      VeskEvent::initWithProjectName_projectVersion_logType_logSource_body_sendTime_host_fields_handleId(
          "name", nullptr, "type", "source", Data("body \xFF"sv), -7, "host",
          Dictionary{{"errorRate", "3"}, {"logLevel", Data("INFO"sv)}}, "0");
  const auto events = eventsOfArchive(archiveOfEvents({event}, "k"), "k");
  ASSERT_TRUE(events && events->size() == 1);
  Dictionary before;
  Dictionary after;
  event->encodeWithCoder(before);
  events->front()->encodeWithCoder(after);
  EXPECT_TRUE(Value(before) == Value(after));
}

TEST(EventArchive, GiveEachEventFieldsOfItsOwn) {
  const auto events = eventsOfArchive(archiveOfEvents({eventAt(1), eventAt(2)}, "k"), "k");
  ASSERT_TRUE(events && events->size() == 2);
  events->front()->fields().dictionary().set("errorRate", "1");
  EXPECT_FALSE(events->back()->fields().dictionary().contains("errorRate"));
}

TEST(EventArchive, RefuseAnEventWithAnObject) {
  const Dictionary fields{{"object", Value(std::make_shared<Opaque>())}};
  EXPECT_THROW(archiveOfEvents({eventAt(1), eventAt(2, fields)}, "k"), std::invalid_argument);
}

TEST(EventArchive, HoldNoEventsUnderAnotherKey) {
  const auto events = eventsOfArchive(archiveOfEvents({eventAt(1)}, "fileArray"), "logArray");
  ASSERT_TRUE(events);
  EXPECT_TRUE(events->empty());
}

TEST(EventArchive, AreNothingWhenTheyAreNoArchive) {
  for (const std::string_view bytes : {""sv, "no archive"sv, "\xFF\x00"sv})
    EXPECT_FALSE(eventsOfArchive(Data(bytes), "k"));
}

TEST(EventArchive, AreNothingWhenTheyHoldNoEvents) {
  for (const Value& other : {Value("text"), Value(std::int64_t{1}), Value(Dictionary{{"sendTime", 1LL}}),
                             Value(Array{"no event"}), Value(Array{Value(Dictionary()), nullptr})})
    EXPECT_FALSE(eventsOfArchive(archiveOf({{"k", other}}), "k"));
}

}  // namespace
}  // namespace pxa
