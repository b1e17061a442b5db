#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <utility>

#include "collector/EventReport.h"

namespace pxa::tools {
namespace {

ReceivedRequest requestWith(std::string text) {
  Body body = readBody(text);
  ReceivedRequest request;
  request.body = std::move(text);
  request.isArray = body.isArray;
  request.elements = std::move(body.elements);
  return request;
}

std::string linesOf(const std::string& body) {
  std::ostringstream lines;
  EventReport({.lines = &lines}).add(requestWith(body));
  return lines.str();
}

TEST(EventReport, PrintsALineForEachEvent) {
  const std::string lines = linesOf(R"([{"body":"one"},{"body":"two"}])");
  EXPECT_EQ(lines, "--:--:--.--- -     - - - one\n--:--:--.--- -     - - - two\n");
}

TEST(EventReport, SaysWhichElementItCannotRead) {
  const std::string lines = linesOf("[{},\x1b]");
  EXPECT_NE(lines.find("! cannot read element 1: "), std::string::npos) << lines;
  EXPECT_EQ(lines.find('\x1b'), std::string::npos);
}

TEST(EventReport, SaysThatABodyIsNoArray) {
  EXPECT_EQ(linesOf("{\"a\":\"\x1b\"}"), "! the body is not a complete JSON array: {\"a\":\"\\x1b\"}\n");
}

TEST(EventReport, WritesOneJsonObjectALine) {
  std::ostringstream ndjson;
  EventReport report({.ndjson = &ndjson});
  report.add(requestWith("[{\"a\":\n\"\x01\"},{\"b\":2}]"));
  report.add(requestWith("[{\"c\":3}]"));
  EXPECT_EQ(ndjson.str(), "{\"a\": \"\\u0001\"}\n{\"b\":2}\n{\"c\":3}\n");
}

TEST(EventReport, SumsUpByLogType) {
  EventReport report({});
  report.add(requestWith(R"([{"logType":"b"},{"logType":"a"},7])"));
  report.add(requestWith(R"([{"logType":"b"},{}])"));
  EXPECT_EQ(report.summary(), "2 requests, 4 events: (no log type) 1, a 1, b 2, 1 unreadable");
}

TEST(EventReport, SumsUpNothing) {
  EXPECT_EQ(EventReport({}).summary(), "0 requests, 0 events");
}

}  // namespace
}  // namespace pxa::tools
