#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/HostSettings.h"
#include "platform/Platform.h"
#include "platform/console.h"

namespace pxa {
namespace {

using Lines = std::vector<std::string>;

/// The system's platform with another log.
Platform platformWithLog(PlatformLog& log) {
  const Platform& system = systemPlatform();
  return {system.clock,
          system.files,
          system.device,
          system.interfaces,
          system.reachability,
          system.urlLoader,
          system.jsonParser,
          system.keyedArchive,
          system.uuids,
          system.crashReporter,
          log,
          system.threads,
          system.queues};
}

class RecordingLog final : public PlatformLog {
 public:
  void writeLine(const String& line) override {
    lines.emplace_back(line.view());
    if (linesThatFail.contains(line.view())) throw std::runtime_error("no room");
  }
  Lines lines;
  Dictionary linesThatFail;
};

class Console : public testing::Test {
 protected:
  Console() { Platform::install(platform_); }
  ~Console() override { Platform::install(systemPlatform()); }

  RecordingLog log_;

 private:
  const Platform platform_ = platformWithLog(log_);
};

TEST_F(Console, WritesALineAtOnceOnAThreadWithoutLocks) {
  console::write("line");
  EXPECT_EQ(log_.lines, Lines{"line"});
}

TEST_F(Console, WritesATextAndWhatItEndsWith) {
  console::write("status ", "200");
  EXPECT_EQ(log_.lines, Lines{"status 200"});
}

TEST_F(Console, KeepsALineUntilTheLockIsLeft) {
  console::lockTaken();
  console::write("line");
  EXPECT_TRUE(log_.lines.empty());
  console::lockLeft();
  EXPECT_EQ(log_.lines, Lines{"line"});
}

TEST_F(Console, KeepsALineUntilTheLastLockIsLeft) {
  console::lockTaken();
  console::lockTaken();
  console::write("line");
  console::lockLeft();
  EXPECT_TRUE(log_.lines.empty());
  console::lockLeft();
  EXPECT_EQ(log_.lines, Lines{"line"});
}

TEST_F(Console, WritesTheLinesThatWaitedInTheirOrder) {
  console::lockTaken();
  console::write("first");
  console::write("sec", "ond");
  console::lockTaken();
  console::write("third");
  console::lockLeft();
  console::lockLeft();
  EXPECT_EQ(log_.lines, (Lines{"first", "second", "third"}));
}

TEST_F(Console, WritesALineThatWaitedOnce) {
  console::lockTaken();
  console::write("line");
  console::lockLeft();
  console::lockTaken();
  console::lockLeft();
  EXPECT_EQ(log_.lines, Lines{"line"});
}

TEST_F(Console, WritesAtOnceAgainAfterTheLastLockIsLeft) {
  console::lockTaken();
  console::lockLeft();
  console::write("line");
  EXPECT_EQ(log_.lines, Lines{"line"});
}

TEST_F(Console, LetsAnotherThreadWriteWhileThisOneHoldsALock) {
  console::lockTaken();
  std::thread([] { console::write("other thread"); }).join();
  EXPECT_EQ(log_.lines, Lines{"other thread"});
  console::lockLeft();
}

TEST_F(Console, LosesALineWhoseSinkFails) {
  log_.linesThatFail.set("bad", true);
  console::write("bad");
  console::write("good");
  EXPECT_EQ(log_.lines, (Lines{"bad", "good"}));
}

TEST_F(Console, WritesTheOtherLinesThatWaitedWhenASinkFails) {
  log_.linesThatFail.set("bad", true);
  console::lockTaken();
  console::write("first");
  console::write("bad");
  console::write("last");
  console::lockLeft();
  EXPECT_EQ(log_.lines, (Lines{"first", "bad", "last"}));
}

/// A sink of a host that calls the library, which takes its locks and writes lines of its own.
class CallingLog final : public PlatformLog {
 public:
  void writeLine(const String& line) override {
    lines.emplace_back(line.view());
    if (lines.size() > 1) return;
    console::lockTaken();
    console::write("from the sink");
    console::lockLeft();
  }
  Lines lines;
};

TEST_F(Console, LetsASinkCallTheLibrary) {
  CallingLog log;
  const Platform platform = platformWithLog(log);
  Platform::install(platform);
  console::lockTaken();
  console::write("line");
  console::lockLeft();
  EXPECT_EQ(log.lines, (Lines{"line", "from the sink"}));
}

TEST(PlatformLog, PassesLinesToTheHostsSink) {
  Lines lines;
  HostSettings::setLogSink([&](const String& line) { lines.emplace_back(line.view()); });
  systemPlatform().log.writeLine("line");
  HostSettings::setLogSink(nullptr);
  EXPECT_EQ(lines, Lines{"line"});
}

TEST(PlatformLog, WritesLinesToStandardErrorWithoutASink) {
  testing::internal::CaptureStderr();
  systemPlatform().log.writeLine("line");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "line\n");
}

}  // namespace
}  // namespace pxa
