#include <algorithm>
#include <gtest/gtest.h>
#include <string>

#include "platform/crash_report_text.h"
#include "support/FakePlatform.h"
#include "support/crash_reports.h"
#include "support/values.h"

namespace pxa {
namespace {

using test::text;

/// A report with names that are not ASCII, some of them in lines of their own.
CrashReport foreignReport() {
  CrashReport report = test::x86_64ExceptionReport();
  report.machineModel = "R\xC3\xA9seau\t1";
  report.process.path = "/opt/\xE6\x97\xA5\x7F";
  report.images[1].path = report.process.path;
  report.exception->reason = "one\r\ntwo";
  return report;
}

class CrashReportText : public testing::Test {
 protected:
  CrashReportText() { test::FakePlatform::install(); }

  static std::string textOf(NameEscapes escapes) { return text(crashReportText(foreignReport(), escapes)); }
};

TEST_F(CrashReportText, KeepsNamesWithoutTheirLineBreaks) {
  const std::string whole = textOf(NameEscapes::LineBreaks);
  EXPECT_NE(whole.find("Hardware Model:      R\xC3\xA9seau\t1\n"), std::string::npos);
  EXPECT_NE(whole.find("Path:            /opt/\xE6\x97\xA5\x7F\n"), std::string::npos);
  EXPECT_NE(whole.find("reason: 'one\\r\\ntwo'\n"), std::string::npos);
}

TEST_F(CrashReportText, IsPrintableAsciiWithEveryOtherByteEscaped) {
  const std::string whole = textOf(NameEscapes::AllButAscii);
  EXPECT_TRUE(std::all_of(whole.begin(), whole.end(),
                          [](char byte) { return byte == '\n' || (byte >= ' ' && byte <= '~'); }));
  EXPECT_NE(whole.find("Hardware Model:      R\\xC3\\xA9seau\\x091\n"), std::string::npos);
  EXPECT_NE(whole.find("Path:            /opt/\\xE6\\x97\\xA5\\x7F\n"), std::string::npos);
  EXPECT_NE(whole.find("reason: 'one\\r\\ntwo'\n"), std::string::npos);
}

TEST_F(CrashReportText, AlignsFramesByTheirEscapedNames) {
  const std::uint64_t frame = foreignReport().images[1].base + 1;
  EXPECT_EQ(text(stackFrameText(frame, 0, foreignReport(), NameEscapes::AllButAscii)),
            "0   \\xE6\\x97\\xA5\\x7F                    0x55d0c3a00001 0x55d0c3a00000 + 1\n");
}

TEST_F(CrashReportText, IsTheSameWithEitherEscapesWhereNamesAreAscii) {
  test::FakePlatform::install();
  const std::string first = text(crashReportText(test::arm64Report(), NameEscapes::LineBreaks));
  test::FakePlatform::install();
  EXPECT_EQ(text(crashReportText(test::arm64Report(), NameEscapes::AllButAscii)), first);
}

}  // namespace
}  // namespace pxa
