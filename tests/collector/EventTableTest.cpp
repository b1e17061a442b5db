#include <gtest/gtest.h>
#include <string>

#include "collector/EventTable.h"

namespace pxa::tools {
namespace {

ReceivedRequest requestWith(const std::string& body) {
  ReceivedRequest request;
  request.body = body;
  request.elements = readBody(body).elements;
  return request;
}

TEST(EventTable, ShowsAHeadingAlone) {
  const std::string text = EventTable().text();
  EXPECT_EQ(
      text,
      "type  level  project  version  user  session  platform  model  network  carrier  locale  host  code"
      "  rate  message\n");
}

TEST(EventTable, PutsEachEventOnALineWithItsFieldsUnderTheirHeadings) {
  EventTable table;
  table.add(requestWith(R"([{"logType":"SESSION","body":"one"},{"logType":"log","body":"two"}])"));
  const std::string text = table.text();
  const std::string heading = text.substr(0, text.find('\n'));
  const std::size_t column = heading.find("message");
  const std::string rows = text.substr(heading.size() + 1);
  EXPECT_EQ(rows.substr(column, 3), "one");
  EXPECT_EQ(rows.substr(rows.find('\n') + 1 + column, 3), "two");
}

/// The last columns of a row with that event alone.
std::string endOfRow(const std::string& event) {
  EventTable table;
  table.add(requestWith("[" + event + "]"));
  const std::string text = table.text();
  return text.substr(text.find('\n') + 1 + text.find("code"));
}

TEST(EventTable, ShowsHowOftenAnEventFailedBetweenItsCodeAndItsMessage) {
  EXPECT_EQ(endOfRow(R"({"errorCode":"E42","errorRate":"2","body":"one"})"), "E42   2     one\n");
  EXPECT_EQ(endOfRow(R"({"errorRate":3,"body":"two"})"), "-     3     two\n");
  EXPECT_EQ(endOfRow(R"({"body":"three"})"), "-     -     three\n");
}

TEST(EventTable, CutsARateOfMoreThanFourCharacters) {
  EXPECT_EQ(endOfRow(R"({"errorRate":"1234"})"), "-     1234  -\n");
  EXPECT_EQ(endOfRow(R"({"errorRate":"12345"})"), "-     123…  -\n");
}

TEST(EventTable, CutsALongMessageAfterAWholeCharacter) {
  EventTable table;
  std::string message;
  for (int i = 0; i < 100; ++i) message += "é";
  table.add(requestWith("[{\"body\":\"" + message + "\"}]"));
  EXPECT_NE(table.text().find("éé…\n"), std::string::npos);
}

TEST(EventTable, LetsNothingSteerTheTerminal) {
  EventTable table;
  table.add(requestWith("[{\"body\":\"a\x1b[31mb\"}]"));
  EXPECT_EQ(table.text().find('\x1b'), std::string::npos);
}

}  // namespace
}  // namespace pxa::tools
