#include <algorithm>
#include <cstdint>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <pxalog/VeskFormatter.h>

#include "api/identifiers.h"
#include "platform/crash_report_text.h"
#include "support/FakePlatform.h"
#include "support/crash_reports.h"
#include "support/values.h"

namespace pxa {
namespace {

using CodeType = CrashReport::CodeType;
using test::text;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

constexpr std::uint64_t kTop = std::numeric_limits<std::uint64_t>::max();

std::string textOf(const CrashReport& report) {
  return text(VeskFormatter::stringValueForCrashReport_withTextFormat(report, VeskFormatter::kTextFormatiOS));
}

std::vector<std::string> linesOf(const CrashReport& report) {
  std::istringstream whole(textOf(report));
  std::vector<std::string> lines;
  for (std::string line; std::getline(whole, line);) lines.push_back(line);
  return lines;
}

/// The lines from the one given to the next empty one, which is none of them.
std::vector<std::string> blockOf(const CrashReport& report, const std::string& firstLine) {
  const std::vector<std::string> lines = linesOf(report);
  const auto first = std::find(lines.begin(), lines.end(), firstLine);
  return {first, std::find(first, lines.end(), "")};
}

/// The line of the only image.
std::string imageLineOf(const CrashReport& report) {
  return linesOf(report).back();
}

CrashReport reportOf(CodeType codeType) {
  CrashReport report;
  report.codeType = codeType;
  return report;
}

CrashReport x86_64ReportOf(CrashReport::Image image) {
  CrashReport report = reportOf({.type = CrashReport::kX86_64, .subtype = 3});
  report.images = {std::move(image)};
  return report;
}

class VeskFormatterTest : public testing::Test {
 protected:
  test::FakePlatform& p_ = test::FakePlatform::install();
};

// Whole texts.

struct Golden {
  const char* file;
  CrashReport report;
};

void PrintTo(const Golden& golden, std::ostream* out) {
  *out << golden.file;
}

class WholeText : public VeskFormatterTest, public testing::WithParamInterface<Golden> {};

TEST_P(WholeText, IsACrashLog) {
  std::ifstream file(std::string(PXALOG_CRASH_DATA "/") + GetParam().file + ".txt");
  const std::string expected{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  ASSERT_FALSE(expected.empty());
  EXPECT_EQ(textOf(GetParam().report), expected);
}

INSTANTIATE_TEST_SUITE_P(VeskFormatter, WholeText,
                         testing::Values(Golden{"x86-64-signal", test::x86_64Report()},
                                         Golden{"x86-64-exception", test::x86_64ExceptionReport()},
                                         Golden{"arm-64-signal", test::arm64Report()},
                                         Golden{"arm-64-exception", test::arm64ExceptionReport()},
                                         Golden{"arm-signal", test::armReport()},
                                         Golden{"nothing", CrashReport()}),
                         [](const auto& test) {
                           std::string name = test.param.file;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

TEST_F(VeskFormatterTest, KnowsOneFormat) {
  for (const std::uint32_t format : {1U, 2U, 0xFFFFFFFFU})
    EXPECT_TRUE(VeskFormatter::stringValueForCrashReport_withTextFormat(CrashReport(), format).isNil());
}

TEST_F(VeskFormatterTest, WritesNoTextOfEndlessSize) {
  CrashReport report = x86_64ReportOf({.base = 0, .size = 10, .path = std::string(1 << 20, 'x')});
  report.threads = {{.frames = CrashReport::Frames(10)}};
  EXPECT_FALSE(textOf(report).empty());
  report.threads = {{.frames = CrashReport::Frames(1000)}};
  EXPECT_TRUE(VeskFormatter::stringValueForCrashReport_withTextFormat(report, 0).isNil());
}

// Names of systems, processors and times.

TEST_F(VeskFormatterTest, NamesTheOperatingSystem) {
  using enum CrashReport::OperatingSystem;
  CrashReport report;
  report.systemVersion = "1.2";
  report.systemBuild = "3C";
  for (const auto& [system, name] :
       {std::pair{iOS, "iPhone OS"}, std::pair{Linux, "Mac OS X"}, std::pair{Unknown, "Mac OS X"}}) {
    report.operatingSystem = system;
    EXPECT_THAT(linesOf(report), Contains(std::string("OS Version:      ") + name + " 1.2 (3C)"));
  }
}

TEST_F(VeskFormatterTest, NamesTheCodeType) {
  constexpr std::int32_t kPowerPc64 = CrashReport::kPowerPc | CrashReport::kAbi64;
  for (const auto& [type, name] :
       {std::pair{CrashReport::kArm64, "ARM-64"}, std::pair{CrashReport::kX86_64, "X86-64"},
        std::pair{CrashReport::kPowerPc, "PPC"}, std::pair{CrashReport::kArm, "ARM"},
        std::pair{CrashReport::kX86, "X86"}, std::pair{99, "Unknown (99)"}, std::pair{-1, "Unknown (-1)"},
        std::pair{kPowerPc64, "Unknown (16777234)"}})
    EXPECT_THAT(linesOf(reportOf({.type = type, .subtype = 1})),
                Contains(std::string("Code Type:       ") + name));
}

TEST_F(VeskFormatterTest, TakesTheSystemsArchitectureWhereTheProcessHasNoCodeType) {
  CrashReport report;
  report.architecture = {.type = CrashReport::kArm64, .subtype = 0};
  EXPECT_THAT(linesOf(report), Contains("Code Type:       ARM-64"));
  report.codeType = CodeType{.type = CrashReport::kArm, .subtype = 9};
  EXPECT_THAT(linesOf(report), Contains("Code Type:       ARM"));
}

TEST_F(VeskFormatterTest, NamesTheArchitectureOfAnImage) {
  struct {
    std::optional<CodeType> codeType;
    const char* name;
  } const cases[] = {
      {CodeType{CrashReport::kArm64, 0}, "arm64"},
      {CodeType{CrashReport::kArm64, 13}, "armv8"},
      {CodeType{CrashReport::kArm64, 1}, "arm64-unknown"},
      {CodeType{0x100000c, 0}, "arm64"},
      {CodeType{CrashReport::kArm, 6}, "armv6"},
      {CodeType{CrashReport::kArm, 9}, "armv7"},
      {CodeType{CrashReport::kArm, 11}, "armv7s"},
      {CodeType{CrashReport::kArm, 0}, "arm-unknown"},
      {CodeType{CrashReport::kX86, 3}, "i386"},
      {CodeType{CrashReport::kX86_64, 8}, "x86_64"},
      {CodeType{CrashReport::kPowerPc, 0}, "powerpc"},
      {CodeType{99, 0}, "???"},
      {std::nullopt, "???"},
  };
  for (const auto& [codeType, name] : cases)
    EXPECT_THAT(imageLineOf(x86_64ReportOf({.path = "/lib", .uuid = "id", .codeType = codeType})),
                HasSubstr(std::string(" lib ") + name + "  <id> /lib"));
}

TEST_F(VeskFormatterTest, WritesTheTimeOfTheCrashInUtc) {
  constexpr std::int64_t kYear10000 = 253402300800;
  constexpr std::int64_t kYear0 = -62167219200;
  CrashReport report;
  for (const auto& [time, date] : std::initializer_list<std::pair<std::int64_t, const char*>>{
           {0, "1970-01-01 00:00:00 +0000"},
           {-1, "1969-12-31 23:59:59 +0000"},
           {951827696, "2000-02-29 12:34:56 +0000"},
           {1795275158, "2026-11-21 15:32:38 +0000"},
           {kYear10000 - 1, "9999-12-31 23:59:59 +0000"},
           {kYear0, "0000-01-01 00:00:00 +0000"},
           {kYear10000, "???"},
           {kYear0 - 1, "???"},
           {std::numeric_limits<std::int64_t>::max(), "???"},
           {std::numeric_limits<std::int64_t>::min(), "???"}}) {
    report.time = time;
    EXPECT_THAT(linesOf(report), Contains(std::string("Date/Time:       ") + date)) << time;
  }
}

// The crash.

TEST_F(VeskFormatterTest, NamesTheSignalItsCodeAndItsAddress) {
  CrashReport report;
  report.signal = {.name = "SIGILL", .code = "ILL_ILLOPC", .address = kTop};
  EXPECT_THAT(blockOf(report, "Exception Type:  SIGILL"),
              ElementsAre("Exception Type:  SIGILL", "Exception Codes: ILL_ILLOPC at 0xffffffffffffffff",
                          "Crashed Thread:  0"));
}

TEST_F(VeskFormatterTest, NumbersTheCrashedThread) {
  CrashReport report;
  report.threads = {{.number = 5}, {.number = 7, .isCrashed = true}, {.number = 9}};
  const std::vector<std::string> lines = linesOf(report);
  for (const char* line : {"Crashed Thread:  7", "Thread 5:", "Thread 7 Crashed:", "Thread 9:"})
    EXPECT_THAT(lines, Contains(line));
  EXPECT_THAT(lines, Contains(StartsWith("Thread")).Times(4)) << "three threads and one with registers";
}

TEST_F(VeskFormatterTest, HasOneCrashedThread) {
  CrashReport report;
  report.threads = {{.number = 1, .isCrashed = true}, {.number = 2, .isCrashed = true}};
  EXPECT_THAT(linesOf(report), AllOf(Contains("Thread 1 Crashed:"), Contains("Thread 2:")));
}

TEST_F(VeskFormatterTest, SaysNothingOfAnExceptionWhereThereWasNone) {
  EXPECT_THAT(textOf(test::x86_64Report()),
              AllOf(Not(HasSubstr("Application Specific Information")), Not(HasSubstr("Backtrace"))));
}

TEST_F(VeskFormatterTest, LeavesTheBacktraceOutOfAnExceptionWithoutFrames) {
  CrashReport report = test::x86_64ExceptionReport();
  report.exception->frames.clear();
  EXPECT_THAT(textOf(report), AllOf(HasSubstr("uncaught exception 'std::out_of_range', reason: "
                                              "'vector::_M_range_check'\n\nThread 0 Crashed:\n"),
                                    Not(HasSubstr("Backtrace"))));
}

TEST_F(VeskFormatterTest, NumbersTheBacktraceOfAnExceptionByTheCrashedThread) {
  CrashReport report;
  report.exception = test::outOfRange({1});
  report.threads = {{.number = 4}};
  EXPECT_THAT(textOf(report), HasSubstr("Thread 0 name:  Exception Backtrace\nThread 0:\n0   ???"));
  report.threads[0].isCrashed = true;
  EXPECT_THAT(textOf(report), HasSubstr("Thread 4 name:  Exception Backtrace\nThread 4:\n0   ???"));
}

TEST_F(VeskFormatterTest, MarksNamesThatTheExceptionLacks) {
  CrashReport report;
  report.exception.emplace();
  EXPECT_THAT(linesOf(report),
              Contains("*** Terminating app due to uncaught exception '??\?', reason: '??\?'"));
}

// Registers.

std::vector<std::string> registerLines(CodeType codeType, std::vector<CrashReport::Register> registers) {
  CrashReport report = reportOf(codeType);
  report.threads = {{.number = 2, .isCrashed = true, .registers = std::move(registers)}};
  const std::vector<std::string> lines = linesOf(report);
  const auto heading = std::find_if(lines.begin(), lines.end(), [](const std::string& line) {
    return line.starts_with("Thread 2 crashed with ") && line.ends_with(" Thread State:");
  });
  return {heading + 1, std::find(heading, lines.end(), "")};
}

TEST_F(VeskFormatterTest, WritesFourRegistersToALine) {
  constexpr CodeType kCode{.type = CrashReport::kX86, .subtype = 3};
  const auto linesOfCount = [&](std::size_t count) {
    std::vector<std::size_t> registersPerLine;
    for (const std::string& line : registerLines(kCode, std::vector<CrashReport::Register>(count)))
      registersPerLine.push_back(line.size() / std::string_view("   ???: 0x00000000 ").size());
    return registersPerLine;
  };
  EXPECT_THAT(linesOfCount(0), ElementsAre());
  EXPECT_THAT(linesOfCount(1), ElementsAre(1));
  EXPECT_THAT(linesOfCount(4), ElementsAre(4));
  EXPECT_THAT(linesOfCount(5), ElementsAre(4, 1));
  EXPECT_THAT(linesOfCount(9), ElementsAre(4, 4, 1));
}

TEST_F(VeskFormatterTest, WritesRegistersAsWideAsTheCodeType) {
  const std::vector<CrashReport::Register> registers = {{"a", 0x12}, {"longname", 0x123456789a}};
  for (const std::int32_t type : {CrashReport::kX86_64, CrashReport::kArm64})
    EXPECT_THAT(registerLines({.type = type, .subtype = 0}, registers),
                ElementsAre("     a: 0x0000000000000012 longname: 0x000000123456789a "));
  for (const std::int32_t type : {CrashReport::kX86, CrashReport::kArm, CrashReport::kPowerPc, 99})
    EXPECT_THAT(registerLines({.type = type, .subtype = 0}, registers),
                ElementsAre("     a: 0x00000012 longname: 0x123456789a "));
}

TEST_F(VeskFormatterTest, GivesRegisterTwelveItsOtherNameOn32BitArmAlone) {
  for (const auto& [type, line] : {std::pair{CrashReport::kArm, "    ip: 0x00000001 "},
                                   std::pair{CrashReport::kX86, "   r12: 0x00000001 "},
                                   std::pair{CrashReport::kArm64, "   r12: 0x0000000000000001 "},
                                   std::pair{CrashReport::kX86_64, "   r12: 0x0000000000000001 "}})
    EXPECT_THAT(registerLines({.type = type, .subtype = 9}, {{"r12", 1}}), ElementsAre(line));
}

TEST_F(VeskFormatterTest, WritesTheRegistersOfTheCrashedThreadAlone) {
  CrashReport report;
  report.threads = {{.number = 1, .registers = {{"rax", 1}}}};
  EXPECT_THAT(textOf(report), AllOf(Not(HasSubstr("Thread State")), Not(HasSubstr("rax"))));
}

// Images.

TEST_F(VeskFormatterTest, OrdersImagesByTheirBaseAddress) {
  CrashReport report;
  for (const std::uint64_t base : {std::uint64_t{0x300}, kTop, std::uint64_t{0x100}, std::uint64_t{0x200}})
    report.images.push_back({.base = base, .size = 1, .path = "/" + std::to_string(base)});
  const auto paths = [&] {
    std::vector<std::string> found;
    for (const std::string& line : blockOf(report, "Binary Images:"))
      found.push_back(line.substr(line.rfind(' ') + 1));
    return found;
  };
  EXPECT_THAT(paths(), ElementsAre("Images:", "/256", "/512", "/768", "/" + std::to_string(kTop)));
}

TEST_F(VeskFormatterTest, ComparesImagesByTheirBaseAddress) {
  const CrashReport::Image low{.base = 1, .size = 9};
  const CrashReport::Image high{.base = kTop, .size = 1};
  EXPECT_LT(rdm_sdk_binaryImageSort(low, high), 0);
  EXPECT_GT(rdm_sdk_binaryImageSort(high, low), 0);
  EXPECT_EQ(rdm_sdk_binaryImageSort(low, {.base = 1, .size = 2}), 0);
}

TEST_F(VeskFormatterTest, WritesTheFirstAndTheLastAddressOfAnImage) {
  struct {
    std::uint64_t base;
    std::uint64_t size;
    const char* addresses;
  } const cases[] = {
      {0x1000, 0x1000, "            0x1000 -             0x1fff  "},
      {0x1000, 1, "            0x1000 -             0x1000  "},
      {0x1000, 0, "            0x1000 -             0x1000  "},
      {0, 0, "                 0 -                  0  "},
      {0, kTop, "                 0 - 0xfffffffffffffffe  "},
      {kTop, 1, "0xffffffffffffffff - 0xffffffffffffffff  "},
      {kTop, kTop, "0xffffffffffffffff - 0xffffffffffffffff  "},
  };
  for (const auto& [base, size, addresses] : cases)
    EXPECT_THAT(imageLineOf(x86_64ReportOf({.base = base, .size = size, .path = "/lib"})),
                StartsWith(std::string(addresses) + "lib "));
}

TEST_F(VeskFormatterTest, WritesNarrowerColumnsOn32Bit) {
  for (const std::int32_t type : {CrashReport::kX86, CrashReport::kArm, CrashReport::kPowerPc}) {
    CrashReport report = reportOf({.type = type, .subtype = 0});
    report.images = {{.base = 0x1000, .size = 0x1000, .path = "/lib"}};
    EXPECT_EQ(imageLineOf(report), "    0x1000 -     0x1fff  lib ???  <??\?> /lib");
    report.images[0].base = 0x123456789000;
    EXPECT_EQ(imageLineOf(report), "0x123456789000 - 0x123456789fff  lib ???  <??\?> /lib");
  }
}

TEST_F(VeskFormatterTest, MarksTheImageOfTheProgram) {
  CrashReport report = x86_64ReportOf({.base = 0x1000, .size = 1, .path = "/bin/app"});
  const auto lineWithProcess = [&](const String& path) {
    report.process.path = path;
    return imageLineOf(report);
  };
  EXPECT_THAT(lineWithProcess("/bin/app"), HasSubstr("0x1000 +app "));
  EXPECT_THAT(lineWithProcess("/sbin/app"), HasSubstr("0x1000  app "));
  EXPECT_THAT(lineWithProcess(nullptr), HasSubstr("0x1000  app "));
}

TEST_F(VeskFormatterTest, MarksNothingWhereNeitherPathIsKnown) {
  EXPECT_THAT(imageLineOf(x86_64ReportOf({.base = 0x1000, .size = 1})),
              testing::EndsWith("0x1000  ??? ???  <??\?> ???"));
}

TEST_F(VeskFormatterTest, NamesImagesByTheLastComponentOfTheirPath) {
  for (const auto& [path, name] :
       {std::pair{"/a/b/c.so", "c.so"}, std::pair{"c.so", "c.so"}, std::pair{"/", "/"}, std::pair{"//", "/"},
        std::pair{"/a/b/", "b"}, std::pair{"/a", "a"}, std::pair{"", ""}}) {
    const CrashReport report = x86_64ReportOf({.base = 0x1000, .size = 16, .path = path});
    EXPECT_THAT(imageLineOf(report), HasSubstr(std::string("  ") + name + " ???  <??\?> " + path));
    EXPECT_THAT(
        text(VeskFormatter::formatStackFrame_frameIndex_report(0x1004, 0, report)),
        StartsWith(std::string("0   ") + name + std::string(36 - std::string_view(name).size(), ' ')));
  }
}

// Frames.

TEST_F(VeskFormatterTest, WritesTheLineOfAFrame) {
  const std::string longName = "a-library-with-a-name-of-forty-characters";
  CrashReport report;
  report.images = {{.base = 0x1000, .size = 0x1000, .path = "/usr/lib/libone.so"},
                   {.base = 0x7f0000000000, .size = 0x1000, .path = "/opt/" + longName},
                   {.base = 0x3000, .size = 0, .path = "/empty"},
                   {.base = 0x4000, .size = 1}};
  const std::string gap(27, ' ');
  const std::string unknown = "???" + std::string(33, ' ');
  const struct {
    std::int64_t index;
    std::uint64_t frame;
    std::string line;
  } cases[] = {
      {0, 0x1000, "0   libone.so" + gap + "0x00001000 0x1000 + 0\n"},
      {9, 0x1fff, "9   libone.so" + gap + "0x00001fff 0x1000 + 4095\n"},
      {123, 0x1234, "123 libone.so" + gap + "0x00001234 0x1000 + 564\n"},
      {12345, 0x1234, "12345libone.so" + gap + "0x00001234 0x1000 + 564\n"},
      {1, 0x7f0000000001, "1   " + longName + "0x7f0000000001 0x7f0000000000 + 1\n"},
      {0, 0x2000, "0   " + unknown + "0x00002000 0x0 + 0\n"},
      {0, 0xfff, "0   " + unknown + "0x00000fff 0x0 + 0\n"},
      {0, 0x3000, "0   " + unknown + "0x00003000 0x0 + 0\n"},
      {0, 0x4000, "0   " + unknown + "0x00004000 0x4000 + 0\n"},
      {0, 0, "0   " + unknown + "0x00000000 0x0 + 0\n"},
      {0, kTop, "0   " + unknown + "0xffffffffffffffff 0x0 + 0\n"},
  };
  for (const auto& [index, frame, line] : cases)
    EXPECT_EQ(text(VeskFormatter::formatStackFrame_frameIndex_report(frame, index, report)), line);
}

TEST_F(VeskFormatterTest, WritesFramesInItsTextAsItWritesThemAlone) {
  CrashReport report;
  report.images = {
      {.base = 50, .size = 10, .path = "inner"},     {.base = 20, .size = 60, .path = "outer"},
      {.base = 20, .size = 70, .path = "longer"},    {.base = 100, .size = 0, .path = "empty"},
      {.base = 99, .size = 3, .path = "near"},       {.base = 101, .size = 10, .path = "far"},
      {.base = kTop - 9, .size = 10, .path = "top"}, {.base = kTop - 4, .size = 90, .path = "over"}};
  CrashReport::Thread& thread = report.threads.emplace_back();
  for (std::uint64_t frame = 0; frame < 120; ++frame) thread.frames.push_back(frame);
  for (std::uint64_t frame = kTop - 12; frame != 0; ++frame) thread.frames.push_back(frame);

  std::string expected;
  std::int64_t index = 0;
  for (const std::uint64_t frame : thread.frames)
    expected += VeskFormatter::formatStackFrame_frameIndex_report(frame, index++, report).view();
  EXPECT_THAT(textOf(report), HasSubstr("Thread 0:\n" + expected + "\n"));
}

TEST_F(VeskFormatterTest, FindsTheImagesOfManyFramesAmongMany) {
  constexpr std::uint64_t kCount = 100'000;
  CrashReport report;
  CrashReport::Thread& thread = report.threads.emplace_back();
  for (std::uint64_t i = kCount; i > 0; --i) {
    report.images.push_back({.base = i * 16, .size = 8, .path = "x"});
    thread.frames.push_back(i * 16 + 1);
  }
  EXPECT_THAT(textOf(report), HasSubstr("\n99999" + ("x" + std::string(35, ' ')) + "0x00000011 0x10 + 1\n"));
}

// Names that would forge lines.

TEST_F(VeskFormatterTest, LetsNoNameForgeALine) {
  const auto report = [](const String& name) {
    CrashReport made;
    made.systemVersion = made.systemBuild = made.machineModel = name;
    made.applicationIdentifier = made.applicationVersion = name;
    made.process = {.name = name, .id = 1, .path = name, .parentName = name, .parentId = 1};
    made.signal = {.name = name, .code = name, .address = 0};
    made.exception = {.name = name, .reason = name, .frames = {8}};
    made.threads = {{.isCrashed = true, .name = name, .frames = {8}, .registers = {{name, 1}}}};
    made.images = {{.base = 8, .size = 1, .path = name, .uuid = name}};
    return made;
  };
  p_.files.put("RDM_iOS_DEVICE_ID", "key\r\nThread 1:");
  const std::vector<std::string> lines = linesOf(report("x\r\nThread 1:\rThread 1:\nThread 1:"));
  EXPECT_THAT(lines, SizeIs(linesOf(report("x")).size()));
  EXPECT_THAT(lines, Each(AllOf(Not(StartsWith("Thread 1:")), Not(HasSubstr("\r")))));
  EXPECT_THAT(lines, Contains("CrashReporter Key:   key\\r\\nThread 1:"));
  EXPECT_THAT(lines, Contains("Exception Type:  x\\r\\nThread 1:\\rThread 1:\\nThread 1:"));
}

TEST_F(VeskFormatterTest, LetsNoNameForgeALineBehindAFrame) {
  const CrashReport report = x86_64ReportOf({.base = 8, .size = 1, .path = "/lib/a\nb\rc"});
  EXPECT_THAT(text(VeskFormatter::formatStackFrame_frameIndex_report(8, 0, report)),
              StartsWith("0   a\\nb\\rc" + std::string(36 - 7, ' ') + "0x00000008"));
}

// Identifiers.

TEST_F(VeskFormatterTest, GivesEveryTextAnIncidentIdentifierOfItsOwn) {
  EXPECT_EQ(linesOf(CrashReport()).front(), "Incident Identifier: 00000000-0000-4000-8000-000000000001");
  EXPECT_EQ(linesOf(CrashReport()).front(), "Incident Identifier: 00000000-0000-4000-8000-000000000002");
}

TEST(VeskFormatterUuid, IsRandom) {
  const std::string first = text(VeskFormatter::uuid());
  EXPECT_THAT(first, MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
  EXPECT_NE(text(VeskFormatter::uuid()), first);
}

TEST_F(VeskFormatterTest, MarksAnIncidentIdentifierThatCouldNotBeMade) {
  p_.uuids.givesNone = true;
  EXPECT_EQ(linesOf(CrashReport()).front(), "Incident Identifier: ???");
}

TEST_F(VeskFormatterTest, HasTheDeviceIdAsItsReportKey) {
  p_.files.put("RDM_iOS_DEVICE_ID", "the device");
  EXPECT_EQ(VeskFormatter::reportKey(), "the device");
  EXPECT_THAT(linesOf(CrashReport()), Contains("CrashReporter Key:   the device"));
}

TEST_F(VeskFormatterTest, KeepsTheReportKeyThatItMakes) {
  p_.device.vendor = nullptr;
  const std::string key = text(VeskFormatter::reportKey());
  EXPECT_THAT(key, StartsWith("00000000-0000-4000-8000-"));
  EXPECT_EQ(text(VeskFormatter::reportKey()), key);
  EXPECT_EQ(p_.files.contentOf("RDM_iOS_DEVICE_ID"), key);
  EXPECT_EQ(text(PXALog::getDeviceID()), key);
}

TEST_F(VeskFormatterTest, MarksAReportKeyThatIsNoText) {
  p_.files.put("RDM_iOS_DEVICE_ID", "\xFF");
  EXPECT_TRUE(VeskFormatter::reportKey().isNil());
  EXPECT_THAT(linesOf(CrashReport()), Contains("CrashReporter Key:   ???"));
}

}  // namespace
}  // namespace pxa
