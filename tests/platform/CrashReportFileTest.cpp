#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <pxalog/CrashReport.h>

#include "platform/crash_report_file.h"
#include "support/crash_report_bytes.h"
#include "support/crash_reports.h"
#include "support/values.h"

namespace pxa {
namespace {

using crash_report_file::Section;
using test::CrashBytes;
using test::crashFileOf;
using test::CrashSection;
using test::crashSectionsOf;
using test::text;

constexpr std::size_t kHeaderOfASection = 8;

std::optional<CrashReport> decoded(std::string_view bytes) {
  return CrashReport::initWithData_error(Data(bytes));
}

/// A report with every section and every kind of value.
CrashReport fullReport() {
  return test::x86_64ExceptionReport();
}

std::vector<CrashSection> withContent(Section kind, const std::string& content) {
  std::vector<CrashSection> sections = crashSectionsOf(fullReport());
  for (CrashSection& section : sections)
    if (section.kind == kind) section.content = content;
  return sections;
}

/// A report with another section in front of all others.
std::string withSection(const CrashSection& section) {
  std::vector<CrashSection> sections = crashSectionsOf(test::arm64Report());
  sections.insert(sections.begin(), section);
  return crashFileOf(sections);
}

std::string withoutSection(Section kind) {
  std::vector<CrashSection> sections = crashSectionsOf(fullReport());
  std::erase_if(sections, [&](const CrashSection& section) { return section.kind == kind; });
  return crashFileOf(sections);
}

// What a report says.

TEST(CrashReportFile, TellsTheSystemAndTheMachine) {
  const auto report = decoded(crashFileOf(test::arm64Report()));
  ASSERT_TRUE(report);
  EXPECT_EQ(report->operatingSystem, CrashReport::OperatingSystem::iOS);
  EXPECT_EQ(report->systemVersion, "12.1");
  EXPECT_EQ(report->systemBuild, "16B92");
  EXPECT_EQ(report->architecture.type, CrashReport::kArm64);
  EXPECT_EQ(report->architecture.subtype, 0);
  EXPECT_EQ(report->time, 1541894400);
  EXPECT_EQ(report->machineModel, "iPhone8,2");
  EXPECT_FALSE(report->codeType);
}

TEST(CrashReportFile, TellsTheApplicationAndTheProcess) {
  const auto report = decoded(crashFileOf(test::x86_64Report()));
  ASSERT_TRUE(report);
  EXPECT_EQ(report->applicationIdentifier, "com.example.billing");
  EXPECT_EQ(report->applicationVersion, "1.4.2");
  ASSERT_TRUE(report->codeType);
  EXPECT_EQ(report->codeType->type, CrashReport::kX86_64);
  EXPECT_EQ(report->codeType->subtype, 3);
  EXPECT_EQ(report->process.name, "billing");
  EXPECT_EQ(report->process.id, 4711);
  EXPECT_EQ(report->process.path, "/opt/billing/bin/billing");
  EXPECT_EQ(report->process.parentName, "systemd");
  EXPECT_EQ(report->process.parentId, 1);
}

TEST(CrashReportFile, TellsTheSignalAndTheException) {
  const auto report = decoded(crashFileOf(test::x86_64ExceptionReport()));
  ASSERT_TRUE(report && report->exception);
  EXPECT_EQ(report->signal.name, "SIGABRT");
  EXPECT_EQ(report->signal.code, "SI_TKILL");
  EXPECT_EQ(report->signal.address, 0x1267U);
  EXPECT_EQ(report->exception->name, "std::out_of_range");
  EXPECT_EQ(report->exception->reason, "vector::_M_range_check");
  EXPECT_EQ(report->exception->frames, (CrashReport::Frames{0x7f2b18029d90, 0x55d0c3a02000}));
}

TEST(CrashReportFile, TellsTheThreads) {
  const auto report = decoded(crashFileOf(test::x86_64Report()));
  ASSERT_TRUE(report);
  ASSERT_EQ(report->threads.size(), 2U);
  const CrashReport::Thread& crashed = report->threads[0];
  EXPECT_EQ(crashed.number, 0);
  EXPECT_TRUE(crashed.isCrashed);
  EXPECT_EQ(crashed.frames, (CrashReport::Frames{0x55d0c3a01234, 0x55d0c3a00f00, 0x7f2b18029d90, 0}));
  ASSERT_EQ(crashed.registers.size(), 6U);
  EXPECT_EQ(crashed.registers[1].name, "rbx");
  EXPECT_EQ(crashed.registers[1].value, 0x7ffd1c2b3a48U);
  EXPECT_EQ(report->threads[1].number, 1);
  EXPECT_FALSE(report->threads[1].isCrashed);
  EXPECT_EQ(report->threads[1].name, "pxa-send");
}

TEST(CrashReportFile, TellsTheImages) {
  const auto report = decoded(crashFileOf(test::arm64Report()));
  ASSERT_TRUE(report);
  ASSERT_EQ(report->images.size(), 2U);
  const CrashReport::Image& kernel = report->images[0];
  EXPECT_EQ(kernel.base, 0x1bd2a1000U);
  EXPECT_EQ(kernel.size, 0x6c000U);
  EXPECT_EQ(kernel.path, "/usr/lib/system/libsystem_kernel.dylib");
  EXPECT_EQ(kernel.uuid, "f2e5d0f6b4a33b6d9f9f3c1a7d0e8c21");
  ASSERT_TRUE(kernel.codeType);
  EXPECT_EQ(kernel.codeType->subtype, 13);
}

TEST(CrashReportFile, LosesNothing) {
  for (const CrashReport& report : {test::x86_64ExceptionReport(), test::arm64ExceptionReport(),
                                    test::x86_64Report(), test::armReport(), CrashReport()}) {
    const std::string file = crashFileOf(report);
    const auto again = decoded(file);
    ASSERT_TRUE(again);
    EXPECT_EQ(crashFileOf(*again), file);
  }
}

TEST(CrashReportFile, TellsNilFromAnEmptyText) {
  CrashReport report;
  report.signal.name = "";
  const auto again = decoded(crashFileOf(report));
  ASSERT_TRUE(again);
  EXPECT_EQ(text(again->signal.name), "");
  EXPECT_TRUE(again->signal.code.isNil());
}

TEST(CrashReportFile, NeedsTheSystemAndTheSignalAlone) {
  std::vector<CrashSection> sections = crashSectionsOf(fullReport());
  std::erase_if(sections, [](const CrashSection& section) {
    return section.kind != Section::System && section.kind != Section::Signal && section.kind != Section::End;
  });
  const auto report = decoded(crashFileOf(sections));
  ASSERT_TRUE(report);
  EXPECT_TRUE(report->machineModel.isNil());
  EXPECT_TRUE(report->process.name.isNil());
  EXPECT_FALSE(report->process.id);
  EXPECT_FALSE(report->process.parentId);
  EXPECT_FALSE(report->exception);
  EXPECT_TRUE(report->threads.empty());
  EXPECT_TRUE(report->images.empty());
}

TEST(CrashReportFile, TakesItsSectionsInAnyOrder) {
  std::vector<CrashSection> sections = crashSectionsOf(test::x86_64Report());
  std::swap(sections.front(), sections[sections.size() - 2]);
  const auto report = decoded(crashFileOf(sections));
  ASSERT_TRUE(report);
  EXPECT_EQ(report->systemVersion, "12");
  EXPECT_EQ(report->images.front().path, "[vdso]");
}

TEST(CrashReportFile, PassesOverKindsOfSectionsThatItDoesNotKnow) {
  for (const std::uint32_t kind : {10U, 255U, 0x80000000U, 0xFFFFFFFFU})
    for (const char* content : {"", "anything"}) {
      const auto report = decoded(withSection({static_cast<Section>(kind), content}));
      ASSERT_TRUE(report) << kind;
      EXPECT_EQ(crashFileOf(*report), crashFileOf(test::arm64Report())) << kind;
    }
}

TEST(CrashReportFile, DoesNotKnowTheSystemOfAnotherNumber) {
  for (const std::uint32_t number : {0U, 3U, 0xFFFFFFFFU}) {
    CrashReport report;
    report.operatingSystem = static_cast<CrashReport::OperatingSystem>(number);
    const auto again = decoded(crashFileOf(report));
    ASSERT_TRUE(again) << number;
    EXPECT_EQ(again->operatingSystem, CrashReport::OperatingSystem::Unknown) << number;
  }
}

TEST(CrashReportFile, DoesNotKnowProcessIdsBelowZero) {
  CrashReport report;
  report.process.id = 0;
  report.process.parentId = std::numeric_limits<std::int64_t>::min();
  const auto again = decoded(crashFileOf(report));
  ASSERT_TRUE(again);
  EXPECT_EQ(again->process.id, 0);
  EXPECT_FALSE(again->process.parentId);
}

TEST(CrashReportFile, RepairsTextsThatAreNotUtf8) {
  const std::string machine = CrashBytes()
                                  .rawText(
                                      "a\xFF"
                                      "b")
                                  .bytes();
  const auto report = decoded(crashFileOf(withContent(Section::Machine, machine)));
  ASSERT_TRUE(report);
  EXPECT_EQ(text(report->machineModel),
            "a\xEF\xBF\xBD"
            "b");
}

// What is not a report.

TEST(CrashReportFile, SaysWhyThereIsNoReport) {
  Error error;
  EXPECT_FALSE(CrashReport::initWithData_error(Data("no report"), &error));
  EXPECT_EQ(error.domain(), "CrashReportErrorDomain");
  EXPECT_LT(error.code(), 0);
  EXPECT_FALSE(error.localizedDescription().isEmpty());
}

TEST(CrashReportFile, LeavesTheErrorAloneWhenThereIsAReport) {
  Error error;
  EXPECT_TRUE(CrashReport::initWithData_error(Data(crashFileOf(fullReport())), &error));
  EXPECT_FALSE(error.isError());
}

TEST(CrashReportFile, IsNotNil) {
  Error error;
  EXPECT_FALSE(CrashReport::initWithData_error(nullptr, &error));
  EXPECT_TRUE(error.isError());
}

TEST(CrashReportFile, StartsWithItsMark) {
  const std::string file = crashFileOf(fullReport());
  EXPECT_FALSE(decoded(""));
  EXPECT_FALSE(decoded(file.substr(1)));
  for (std::size_t i = 0; i < crash_report_file::kMagic.size(); ++i) {
    std::string other = file;
    other[i] ^= 1;
    EXPECT_FALSE(decoded(other)) << i;
  }
}

TEST(CrashReportFile, IsRefusedWhereverItIsCutOff) {
  const std::string file = crashFileOf(fullReport());
  for (std::size_t size = 0; size < file.size(); ++size)
    EXPECT_FALSE(decoded(std::string_view(file).substr(0, size))) << size;
}

TEST(CrashReportFile, EndsWithItsEnd) {
  EXPECT_FALSE(decoded(crashFileOf(fullReport()) + '\0'));
  EXPECT_FALSE(decoded(crashFileOf(fullReport()) + crashFileOf(fullReport())));
  EXPECT_FALSE(decoded(crashFileOf(withContent(Section::End, "x"))));
}

TEST(CrashReportFile, IsRefusedWithoutASectionThatMustBeThere) {
  for (const Section kind : {Section::System, Section::Signal, Section::End})
    EXPECT_FALSE(decoded(withoutSection(kind))) << static_cast<int>(kind);
  for (const Section kind : {Section::Machine, Section::CodeType, Section::Application, Section::Process,
                             Section::Exception, Section::Thread, Section::Image})
    EXPECT_TRUE(decoded(withoutSection(kind))) << static_cast<int>(kind);
}

TEST(CrashReportFile, RepeatsThreadsAndImagesAlone) {
  const std::vector<CrashSection> sections = crashSectionsOf(fullReport());
  for (const CrashSection& section : sections) {
    std::vector<CrashSection> repeated = sections;
    repeated.insert(repeated.begin(), section);
    const bool mayRepeat = section.kind == Section::Thread || section.kind == Section::Image;
    EXPECT_EQ(decoded(crashFileOf(repeated)).has_value(), mayRepeat) << static_cast<int>(section.kind);
  }
}

TEST(CrashReportFile, IsRefusedWithASectionOfAnotherSizeThanItsContent) {
  const std::vector<CrashSection> sections = crashSectionsOf(fullReport());
  for (std::size_t i = 0; i < sections.size(); ++i) {
    std::vector<CrashSection> changed = sections;
    changed[i].content += '\0';
    EXPECT_FALSE(decoded(crashFileOf(changed))) << "longer: " << i;
    for (std::size_t size = 0; size < sections[i].content.size(); ++size) {
      changed[i].content = sections[i].content.substr(0, size);
      EXPECT_FALSE(decoded(crashFileOf(changed))) << "shorter: " << i << ", " << size;
    }
  }
}

TEST(CrashReportFile, TrustsNoSizeOfASection) {
  for (const std::size_t size : {std::size_t{0x7FFFFFFF}, std::size_t{0xFFFFFFF0}, std::size_t{0xFFFFFFFF}}) {
    const std::string section = CrashBytes().u32(static_cast<std::size_t>(Section::System)).u32(size).bytes();
    EXPECT_FALSE(decoded(std::string(crash_report_file::kMagic) + section)) << size;
    EXPECT_FALSE(decoded(std::string(crash_report_file::kMagic) + section + std::string(100, '\0'))) << size;
  }
}

TEST(CrashReportFile, TrustsNoSizeOfAText) {
  for (const std::size_t size : {1U, 0x7FFFFFFFU, 0xFFFFFFFEU})
    EXPECT_FALSE(decoded(crashFileOf(withContent(Section::Machine, CrashBytes().u32(size).bytes())))) << size;
}

TEST(CrashReportFile, TrustsNoCountOfFrames) {
  for (const std::size_t count : {1U, 3U, 0x20000000U, 0x20000001U, 0xFFFFFFFFU}) {
    const CrashBytes exception =
        CrashBytes().text("name").text("reason").u32(count).number(std::uint64_t{1}).number(std::uint64_t{2});
    EXPECT_FALSE(decoded(crashFileOf(withContent(Section::Exception, exception.bytes())))) << count;
  }
}

TEST(CrashReportFile, TrustsNoCountOfRegisters) {
  for (const std::size_t count : {0U, 2U, 0x15555556U, 0xFFFFFFFFU}) {
    const CrashBytes thread = CrashBytes()
                                  .number(std::int64_t{0})
                                  .u32(1)
                                  .text(nullptr)
                                  .frames({})
                                  .u32(count)
                                  .text("rax")
                                  .number(std::uint64_t{1});
    EXPECT_FALSE(decoded(withSection({Section::Thread, thread.bytes()}))) << count;
  }
}

TEST(CrashReportFile, IsNotLargerThanItsLimit) {
  const std::string small = crashFileOf(test::arm64Report());
  const std::size_t room = crash_report_file::kMaximumSize - small.size() - kHeaderOfASection;
  const auto unknown = static_cast<Section>(99);
  EXPECT_TRUE(decoded(withSection({unknown, std::string(room, 'x')})));
  EXPECT_FALSE(decoded(withSection({unknown, std::string(room + 1, 'x')})));
}

TEST(CrashReportFile, SurvivesAChangeOfAnyOfItsBytes) {
  const std::string file = crashFileOf(fullReport());
  std::size_t refused = 0;
  for (std::size_t i = 0; i < file.size(); ++i)
    for (const int change : {1, 0x80, 0xFF}) {
      std::string changed = file;
      changed[i] = static_cast<char>(changed[i] ^ change);
      if (!decoded(changed)) ++refused;
    }
  EXPECT_GT(refused, 0U);
}

// Questions to a report.

TEST(CrashReport, KnowsItsCrashedThread) {
  CrashReport report;
  EXPECT_EQ(report.crashedThread(), nullptr);
  report.threads.resize(3);
  EXPECT_EQ(report.crashedThread(), nullptr);
  report.threads[1].isCrashed = true;
  report.threads[2].isCrashed = true;
  EXPECT_EQ(report.crashedThread(), &report.threads[1]);
}

TEST(CrashReport, IsOfItsSystemsCodeTypeUnlessItNamesOneOfItsOwn) {
  CrashReport report;
  report.architecture = {.type = CrashReport::kArm64, .subtype = 13};
  EXPECT_EQ(report.processCodeType().type, CrashReport::kArm64);
  EXPECT_EQ(report.processCodeType().subtype, 13);
  report.codeType = CrashReport::CodeType{.type = CrashReport::kArm, .subtype = 9};
  EXPECT_EQ(report.processCodeType().type, CrashReport::kArm);
  EXPECT_EQ(report.processCodeType().subtype, 9);
}

TEST(CrashReport, FindsTheImageThatHoldsAnAddress) {
  CrashReport report;
  constexpr std::uint64_t kTop = std::numeric_limits<std::uint64_t>::max();
  report.images = {{.base = 0x3000, .size = 0x1000},
                   {.base = 0x1000, .size = 0x1000},
                   {.base = 0x5000, .size = 0},
                   {.base = kTop - 0xFF, .size = kTop}};
  const struct {
    std::uint64_t address;
    const CrashReport::Image* image;
  } cases[] = {
      {0, nullptr},
      {0xFFF, nullptr},
      {0x1000, &report.images[1]},
      {0x1FFF, &report.images[1]},
      {0x2000, nullptr},
      {0x3000, &report.images[0]},
      {0x4000, nullptr},
      {0x5000, nullptr},
      {kTop - 0x100, nullptr},
      {kTop - 0xFF, &report.images[3]},
      {kTop, &report.images[3]},
  };
  for (const auto& [address, image] : cases) EXPECT_EQ(report.imageForAddress(address), image) << address;
}

TEST(CrashReport, PrefersTheImageThatStartsFirstWhereTwoHoldAnAddress) {
  CrashReport report;
  report.images = {{.base = 0x2000, .size = 0x1000}, {.base = 0x1000, .size = 0x3000}};
  EXPECT_EQ(report.imageForAddress(0x2800), &report.images[1]);
}

}  // namespace
}  // namespace pxa
