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
  EXPECT_TRUE(text.starts_with("type  level  project"));
  EXPECT_EQ(text.find('\n'), text.size() - 1);
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
