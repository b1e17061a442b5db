#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

#include <pxalog/CrashReport.h>
#include <pxalog/Error.h>

#include "foundation/utf8.h"
#include "platform/linux/crash/LinuxCrashReporter.h"
#include "support/FakePlatform.h"
#include "support/OwnDocuments.h"
#include "support/crash_report_bytes.h"
#include "support/crash_reports.h"
#include "support/values.h"

namespace pxa {
namespace {

namespace fs = std::filesystem;
using test::text;

constexpr int kSignals[] = {SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL, SIGTRAP, SIGSYS};

/// What is called for the signal.
void (*handlerOf(int signal))(int, siginfo_t*, void*) {
  struct sigaction action {};
  ::sigaction(signal, nullptr, &action);
  return action.sa_sigaction;
}

/// A process in which nothing has crashed.
class LinuxCrashReporterTest : public testing::Test {
 protected:
  void putReport(std::string_view content) { std::ofstream(path_, std::ios::binary) << content; }

  test::OwnDocuments documents_;
  const fs::path path_ = documents_.path() / "crashReport.plcrash";
  LinuxCrashReporter reporter_;
};

TEST_F(LinuxCrashReporterTest, HasNoReportUntilThereIsAFile) {
  EXPECT_FALSE(reporter_.hasPendingCrashReport());
  putReport("of an earlier process");
  EXPECT_TRUE(reporter_.hasPendingCrashReport());
}

TEST_F(LinuxCrashReporterTest, LoadsTheReport) {
  const std::string content = test::crashFileOf(test::x86_64Report());
  putReport(content);
  Error error;
  EXPECT_EQ(reporter_.loadPendingCrashReportDataAndReturnError(&error).view(), content);
  EXPECT_FALSE(error.isError());
}

TEST_F(LinuxCrashReporterTest, TellsAnErrorOfAReportThatCannotBeLoaded) {
  Error error;
  EXPECT_TRUE(reporter_.loadPendingCrashReportDataAndReturnError(&error).isNil());
  EXPECT_TRUE(error.isError());
  EXPECT_TRUE(reporter_.loadPendingCrashReportDataAndReturnError(nullptr).isNil());
}

TEST_F(LinuxCrashReporterTest, PurgesTheReport) {
  putReport("of an earlier process");
  reporter_.purgePendingCrashReport();
  EXPECT_FALSE(reporter_.hasPendingCrashReport());
  EXPECT_FALSE(fs::exists(path_));
  EXPECT_NO_THROW(reporter_.purgePendingCrashReport());
}

TEST_F(LinuxCrashReporterTest, WritesTheTextInAsciiAlone) {
  CrashReport report = test::x86_64ExceptionReport();
  report.process.path = "/opt/größer/程序";
  report.exception->reason = "schöne Ausnahme";
  const String layout = reporter_.stringValueForCrashReport_withTextFormat(report, 0);
  ASSERT_FALSE(layout.isNil());
  EXPECT_TRUE(utf8::isAscii(layout.view()));
  EXPECT_NE(layout.view().find("Exception Type:  SIGABRT\n"), std::string_view::npos);
}

TEST_F(LinuxCrashReporterTest, KnowsOneLayout) {
  EXPECT_TRUE(reporter_.stringValueForCrashReport_withTextFormat(test::x86_64Report(), 1).isNil());
}

TEST_F(LinuxCrashReporterTest, CatchesEverySignalOnceItIsEnabled) {
  Error error;
  EXPECT_TRUE(reporter_.enableCrashReporterAndReturnError(&error));
  EXPECT_FALSE(error.isError());
  const auto handler = handlerOf(SIGSEGV);
  for (const int signal : kSignals) {
    struct sigaction action {};
    ASSERT_EQ(::sigaction(signal, nullptr, &action), 0);
    EXPECT_NE(action.sa_flags & SA_SIGINFO, 0) << signal;
    EXPECT_NE(action.sa_flags & SA_ONSTACK, 0) << signal;
    EXPECT_EQ(action.sa_sigaction, handler) << signal;
  }
}

TEST_F(LinuxCrashReporterTest, GivesTheThreadThatEnablesItAStackForSignals) {
  EXPECT_TRUE(reporter_.enableCrashReporterAndReturnError(nullptr));
  stack_t stack{};
  ASSERT_EQ(::sigaltstack(nullptr, &stack), 0);
  EXPECT_EQ(stack.ss_flags & SS_DISABLE, 0);
}

TEST_F(LinuxCrashReporterTest, MayBeEnabledMoreThanOnce) {
  EXPECT_TRUE(reporter_.enableCrashReporterAndReturnError(nullptr));
  const auto handler = handlerOf(SIGSEGV);
  ::signal(SIGSEGV, SIG_DFL);
  EXPECT_TRUE(reporter_.enableCrashReporterAndReturnError(nullptr));
  EXPECT_NE(handlerOf(SIGSEGV), handler) << "the host's handler stays";
}

TEST_F(LinuxCrashReporterTest, LeavesTheReportOfAnEarlierProcessWhenItIsEnabled) {
  putReport("of an earlier process");
  EXPECT_TRUE(reporter_.enableCrashReporterAndReturnError(nullptr));
  EXPECT_TRUE(reporter_.hasPendingCrashReport());
}

TEST_F(LinuxCrashReporterTest, LeavesAllSignalsWhereItCannotBeEnabled) {
  test::FakePlatform& p = test::FakePlatform::install();
  const auto before = handlerOf(SIGSEGV);
  p.threads.hasThreads = false;
  Error error;
  EXPECT_FALSE(reporter_.enableCrashReporterAndReturnError(&error));
  EXPECT_TRUE(error.isError());
  EXPECT_FALSE(reporter_.enableCrashReporterAndReturnError(nullptr));
  EXPECT_EQ(handlerOf(SIGSEGV), before);
  p.threads.hasThreads = true;
  EXPECT_TRUE(reporter_.enableCrashReporterAndReturnError(nullptr));
  EXPECT_NE(handlerOf(SIGSEGV), before);
}

}  // namespace
}  // namespace pxa
