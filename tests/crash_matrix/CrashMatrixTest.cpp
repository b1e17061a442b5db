#include <algorithm>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "crash_matrix/CrashRunner.h"
#include "support/TemporaryDirectory.h"

// Each way to crash once: what becomes of the process and of its report.

namespace pxa::test {
namespace {

class Crash : public testing::TestWithParam<Way> {};

TEST_P(Crash, EndsBySignalWithReport) {
  const Way& way = GetParam();
  if (const std::optional<std::string> reason = reasonToSkip(way)) GTEST_SKIP() << *reason;
  CrashCollector collector(way.answer);
  const Outcome run = crash(way, collector);
  if (run.ending.isNotPermitted()) GTEST_SKIP() << run.output;
  EXPECT_EQ(faultsOf(way, run), "");
}

std::string nameOfWay(const testing::TestParamInfo<Way>& way) {
  std::string name = way.param.name;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(By, Crash, testing::ValuesIn(kWays), nameOfWay);

/// A crash without a collector, and the start after it.
class UndeliveredCrash : public testing::Test {
 protected:
  /// The crash event that the next start sends; nothing when it sends none.
  std::optional<CrashEvent> afterCrash(const char* way) {
    CrashCollector nobody(Answer::Down);
    {
      Subject crashing(way, nobody.port(), directory_.path());
      EXPECT_TRUE(crashing.waitForEnd(kLongestRun).isBySignal(SIGSEGV)) << crashing.output();
    }
    CrashCollector collector(Answer::Ok);
    const Subject next("no-crash", collector.port(), directory_.path());
    return collector.takeEvent();
  }

  [[nodiscard]] bool isFailedEventKept() const {
    return std::filesystem::exists(directory_.path() / "documents" / "fileVesk2SavedLog");
  }

  TemporaryDirectory directory_;
};

TEST_F(UndeliveredCrash, IsSentByTheNextStartIfTheHostWantsIt) {
  const std::optional<CrashEvent> event = afterCrash("kept");
  ASSERT_TRUE(event);
  EXPECT_EQ(event->members.at("body"), "signal: SIGSEGV");
  EXPECT_NE(event->report.find("Exception Type:  SIGSEGV\n"), std::string::npos);
}

TEST_F(UndeliveredCrash, IsLostOtherwise) {
  CrashCollector nobody(Answer::Down);
  Subject crashing("collector-down", nobody.port(), directory_.path());
  EXPECT_TRUE(crashing.waitForEnd(kLongestRun).isBySignal(SIGSEGV)) << crashing.output();
  EXPECT_FALSE(isFailedEventKept());
}

}  // namespace
}  // namespace pxa::test
