#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <string>

#include "collector/event_text.h"

namespace pxa::tools {
namespace {

using namespace std::string_literals;

Element read(const std::string& json) {
  return readBody("[" + json + "]").elements.at(0);
}

bool holdsControlByte(const std::string& text) {
  return std::any_of(text.begin(), text.end(), [](char c) { return (c >= 0 && c < 0x20) || c == 0x7F; });
}

class EventText : public testing::Test {
 protected:
  EventText() {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
  }
};

TEST_F(EventText, LeavesOrdinaryTextAlone) {
  EXPECT_EQ(visibleText("plain, grüße, 日本, 🙂 \\ \""), "plain, grüße, 日本, 🙂 \\ \"");
}

TEST_F(EventText, MakesEveryControlByteVisible) {
  for (int control = 0; control < 0x20; ++control) {
    EXPECT_FALSE(holdsControlByte(visibleText(std::string(1, static_cast<char>(control))))) << control;
  }
  EXPECT_EQ(visibleText("a\x1b[31m\x01\x7f\0z"s + "\0"s), "a\\x1b[31m\\x01\\x7f\\x00z\\x00");
}

TEST_F(EventText, WritesLineEndsAndTabsAsTheirShortEscapes) {
  EXPECT_EQ(visibleText("a\r\n\tb"), "a\\r\\n\\tb");
}

TEST_F(EventText, MakesTheEightBitControlsVisible) {
  EXPECT_EQ(visibleText("\xC2\x9b"
                        "31m"),
            "\\u009b31m");
}

TEST_F(EventText, MakesChangesOfDirectionVisible) {
  EXPECT_EQ(visibleText("a\xE2\x80\xAE"
                        "b"),
            "a\\u202eb");
}

TEST_F(EventText, MakesBytesThatAreNotUtf8Visible) {
  EXPECT_EQ(visibleText("\x9b"
                        "31m\xC3\x28\xFF"),
            "\\x9b31m\\xc3(\\xff");
  EXPECT_EQ(visibleText("\xC0\x9B"), "\\xc0\\x9b");           // too long a form
  EXPECT_EQ(visibleText("\xED\xA0\x80"), "\\xed\\xa0\\x80");  // half a surrogate pair
  EXPECT_EQ(visibleText("\xE2\x82"), "\\xe2\\x82");           // cut off
}

TEST_F(EventText, PutsAnEventOnOneLine) {
  const Element event =
      read(R"({"sendTime":"1500000000123","logLevel":"WARN","logType":"app-log","projectName":"shop",
    "SessionID":"0123456789abcdef","host":"10.0.0.1","body":"disk full","Carrier":"none","errorCode":"E7","disk":"sda"})");
  EXPECT_EQ(eventLine(event, false),
            "02:40:00.123 WARN  app-log shop 01234567 disk full disk=sda errorCode=E7");
}

TEST_F(EventText, ShowsTheHostWhereThereIsNoSession) {
  const Element event =
      read(R"({"logLevel":"INFO","logType":"t","projectName":"p","host":"10.0.0.1","body":"m"})");
  EXPECT_EQ(eventLine(event, false), "--:--:--.--- INFO  t p 10.0.0.1 m");
}

TEST_F(EventText, PutsADashWhereAnEventSaysNothing) {
  EXPECT_EQ(eventLine(read("{}"), false), "--:--:--.--- -     - - -");
}

TEST_F(EventText, ShowsNoTimeForASendTimeThatIsNone) {
  for (const char* time : {"-1", "12x", "", "99999999999999999999"}) {
    const std::string line = eventLine(read("{\"sendTime\":\""s + time + "\"}"), false);
    EXPECT_TRUE(line.starts_with("--:--:--.---")) << time << ": " << line;
  }
}

TEST_F(EventText, ShowsOnlyTheSizeOfACrashReport) {
  const std::string line = eventLine(read(R"({"body":"m","DmpData":"QUJDREVG"})"), false);
  EXPECT_TRUE(line.ends_with("m DmpData=(8 bytes)")) << line;
}

TEST_F(EventText, ColoursByLevelAndDimsTheFurtherFields) {
  const std::string line = eventLine(read(R"({"logLevel":"ERROR","body":"m","k":"v"})"), true);
  EXPECT_NE(line.find("\x1b[31mERROR\x1b[0m"), std::string::npos) << line;
  EXPECT_TRUE(line.ends_with("m \x1b[2mk=v\x1b[0m")) << line;
}

TEST_F(EventText, LetsNoMemberOfAnEventSteerTheTerminal) {
  const std::string evil = "\x1b]0;owned\x07\r\n\x9b";
  const std::string value = "\"\\u001b]0;owned\\u0007\\r\\n\\u009b\"";
  std::string json = "{";
  for (const char* name : {"sendTime", "logLevel", "logType", "projectName", "SessionID", "body", "k"}) {
    json += "\""s + name + "\":" + value + ",";
  }
  const std::string line = eventLine(read(json + value + ":1}"), false);
  EXPECT_FALSE(holdsControlByte(line)) << line;
  EXPECT_EQ(line.find("\xC2\x9b"), std::string::npos);
}

TEST_F(EventText, WritesAReadableElementAsItCameOnOneLine) {
  EXPECT_EQ(ndjsonLine(read("{ \"b\":\"x\x01\",\n\"a\":1.50 }")), "{ \"b\":\"x\\u0001\", \"a\":1.50 }");
}

TEST_F(EventText, WritesAnUnreadableElementWithItsProblem) {
  const Element line = read(ndjsonLine(read("{\"a\":\x01\xFF}")));
  ASSERT_TRUE(line.isReadable);
  EXPECT_FALSE(line.members.at("unreadable").empty());
  EXPECT_EQ(line.members.at("text"), "{\"a\":\x01\xEF\xBF\xBD}");
}

}  // namespace
}  // namespace pxa::tools
