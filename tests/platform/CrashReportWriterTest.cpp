#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <optional>
#include <pthread.h>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>
#include <utility>

#include <pxalog/CrashReport.h>

#include "platform/crash_report_file.h"
#include "platform/linux/crash/FaultGuard.h"
#include "platform/linux/crash/FileInMaking.h"
#include "platform/linux/crash/ReportFile.h"
#include "platform/linux/crash/registers.h"
#include "platform/linux/crash/report_writer.h"
#include "support/BackgroundCall.h"
#include "support/TemporaryDirectory.h"
#include "support/values.h"

namespace pxa::crash {
namespace {

namespace fs = std::filesystem;
using crash_report_file::Section;
using test::text;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

std::optional<CrashReport> reportIn(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string content{std::istreambuf_iterator<char>(file), {}};
  return CrashReport::initWithData_error(Data(content));
}

// Sections.

class ReportFileTest : public testing::Test {
 protected:
  void putSystemAndSignal(ReportFile& report) {
    report.begin();
    report.beginSection();
    report.put32(static_cast<std::uint32_t>(CrashReport::OperatingSystem::Linux));
    report.putText("6.1");
    report.putText(nullptr);
    report.put32(static_cast<std::uint32_t>(CrashReport::kX86_64));
    report.put32(3);
    report.put64(1'600'000'000);
    report.endSection(Section::System);
    report.beginSection();
    report.putText("SIGSEGV");
    report.putText("");
    report.put64(0xFEDCBA9876543210);
    report.endSection(Section::Signal);
  }
  void end(ReportFile& report) {
    report.beginSection();
    report.endSection(Section::End);
  }

  test::TemporaryDirectory directory_;
  const std::string path_ = (directory_.path() / "report").string();
  const std::string temporaryPath_ = path_ + ".new";
  std::array<std::byte, 100> buffer_{};
  std::array<std::byte, 256> section_{};
  FileInMaking file_{temporaryPath_.c_str(), path_.c_str(), buffer_};
};

TEST_F(ReportFileTest, IsReadBackAsItWasWritten) {
  ReportFile report(file_, section_);
  putSystemAndSignal(report);
  report.beginSection();
  report.putText("std::out_of_range");
  report.putText("at\n\"9\"");
  const std::uint64_t frames[] = {1, 0xFFFFFFFFFFFFFFFF, 0};
  report.putFrames(frames);
  report.endSection(Section::Exception);
  end(report);
  ASSERT_TRUE(file_.finish());
  const auto read = reportIn(path_);
  ASSERT_TRUE(read);
  EXPECT_EQ(read->operatingSystem, CrashReport::OperatingSystem::Linux);
  EXPECT_EQ(text(read->systemVersion), "6.1");
  EXPECT_TRUE(read->systemBuild.isNil());
  EXPECT_EQ(read->architecture.type, CrashReport::kX86_64);
  EXPECT_EQ(read->architecture.subtype, 3);
  EXPECT_EQ(read->time, 1'600'000'000);
  EXPECT_EQ(text(read->signal.name), "SIGSEGV");
  EXPECT_EQ(text(read->signal.code), "");
  EXPECT_EQ(read->signal.address, 0xFEDCBA9876543210);
  ASSERT_TRUE(read->exception);
  EXPECT_EQ(text(read->exception->name), "std::out_of_range");
  EXPECT_EQ(text(read->exception->reason), "at\n\"9\"");
  EXPECT_THAT(read->exception->frames, ElementsAre(1U, 0xFFFFFFFFFFFFFFFFU, 0U));
}

TEST_F(ReportFileTest, TakesASectionThatJustFits) {
  ReportFile report(file_, section_);
  putSystemAndSignal(report);
  report.beginSection();
  report.putText(std::string(section_.size() - sizeof(std::uint32_t), 'm').c_str());
  report.endSection(Section::Machine);
  end(report);
  ASSERT_TRUE(file_.finish());
  EXPECT_EQ(reportIn(path_).value_or(CrashReport()).machineModel.size(), section_.size() - 4);
}

TEST_F(ReportFileTest, IsNoFileWithASectionThatDoesNotFit) {
  ReportFile report(file_, section_);
  putSystemAndSignal(report);
  report.beginSection();
  report.putText(std::string(section_.size(), 'm').c_str());
  report.endSection(Section::Machine);
  end(report);
  EXPECT_FALSE(file_.finish());
  EXPECT_TRUE(fs::is_empty(directory_.path()));
}

// The whole report, written by a process that this one has forked.

std::atomic<int> steps = 0;

constexpr const char* kNameOfTheOtherThread = "waits (for) it";

/// What a thread waits for, in a function that notes from where it was called: the end of a pipe.
class Waiting {
 public:
  Waiting() { EXPECT_EQ(::pipe2(ends_.data(), O_CLOEXEC), 0); }
  Waiting(const Waiting&) = delete;
  Waiting& operator=(const Waiting&) = delete;
  ~Waiting() {
    end();
    ::close(ends_[0]);
  }

  [[gnu::noinline]] void wait() {
    caller_ = reinterpret_cast<std::uint64_t>(__builtin_return_address(0));
    char byte = 0;
    EXPECT_EQ(::read(ends_[0], &byte, 1), 0);
    ++steps;
  }
  void end() {
    if (ends_[1] >= 0) ::close(std::exchange(ends_[1], -1));
  }
  [[nodiscard]] std::uint64_t caller() const { return caller_; }

 private:
  std::array<int, 2> ends_{-1, -1};
  std::atomic<std::uint64_t> caller_ = 0;
};

class WriteReport : public testing::Test {
 protected:
  void SetUp() override {
    ::prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY, 0, 0, 0);
    facts_.reportPath.append(path_.c_str());
    facts_.temporaryPath.append((path_.string() + ".new").c_str());
    facts_.systemVersion.append("6.1.0");
    facts_.systemBuild.append("#1 SMP");
    facts_.machineModel.append("machine");
    facts_.applicationIdentifier.append("project");
    facts_.applicationVersion.append("1.0.3");
    facts_.processName.append("program");
    facts_.processPath.append("/opt/program");
    crash_.signal = SIGSEGV;
    crash_.code = SEGV_MAPERR;
    crash_.address = 0xDEAD;
    crash_.process = ::getpid();
    crash_.thread = ::gettid();
    crash_.time = 1'600'000'000;
    // A thread on its way into a sanitizer, or out of it, may be where nothing tells how to unwind its stack.
    ASSERT_TRUE(otherThread_.blocks());
  }
  void TearDown() override {
    waiting_.end();
    EXPECT_TRUE(otherThread_.returns());
  }

  /// Writes the report of a crash of this thread in this function, and reads it back.
  [[gnu::noinline]] std::optional<CrashReport> write(Depth depth) {
    crash_.context = &context_;
    caller_ = reinterpret_cast<std::uint64_t>(__builtin_return_address(0));
    if (::getcontext(&context_) != 0) return std::nullopt;
    const pid_t child = ::fork();
    if (child == 0) {
      FaultGuard::install();
      ::_exit(writeReport(facts_, crash_, depth) ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    hasSaidYes_ = status == 0;
    return reportIn(path_);
  }

  test::TemporaryDirectory directory_;
  const fs::path path_ = directory_.path() / "documents" / "report";
  KnownFacts facts_;
  Crash crash_;
  ucontext_t context_{};
  std::uint64_t caller_ = 0;
  bool hasSaidYes_ = false;

 private:
  Waiting waiting_;
  test::BackgroundCall<void> otherThread_{[this] {
    ::pthread_setname_np(::pthread_self(), kNameOfTheOtherThread);
    waiting_.wait();
    ++steps;
  }};

 protected:
  [[nodiscard]] std::uint64_t callerOfTheOtherThread() const { return waiting_.caller(); }
};

TEST_F(WriteReport, TellsWhatWasKnownBeforehand) {
  const auto report = write(Depth::Whole);
  ASSERT_TRUE(report);
  EXPECT_TRUE(hasSaidYes_);
  EXPECT_EQ(report->operatingSystem, CrashReport::OperatingSystem::Linux);
  EXPECT_EQ(text(report->systemVersion), "6.1.0");
  EXPECT_EQ(text(report->systemBuild), "#1 SMP");
  EXPECT_EQ(report->architecture.type, kCodeType.type);
  EXPECT_EQ(report->architecture.subtype, kCodeType.subtype);
  EXPECT_EQ(report->processCodeType().type, kCodeType.type);
  EXPECT_EQ(text(report->machineModel), "machine");
  EXPECT_EQ(text(report->applicationIdentifier), "project");
  EXPECT_EQ(text(report->applicationVersion), "1.0.3");
  EXPECT_EQ(text(report->process.name), "program");
  EXPECT_EQ(text(report->process.path), "/opt/program");
}

TEST_F(WriteReport, TellsWhatWasNotKnownAsNothing) {
  for (auto* fact : {&facts_.systemVersion, &facts_.systemBuild, &facts_.machineModel,
                     &facts_.applicationIdentifier, &facts_.applicationVersion, &facts_.processName})
    fact->clear();
  facts_.processPath.clear();
  const auto report = write(Depth::Whole);
  ASSERT_TRUE(report);
  EXPECT_TRUE(report->systemVersion.isNil());
  EXPECT_TRUE(report->systemBuild.isNil());
  EXPECT_TRUE(report->machineModel.isNil());
  EXPECT_TRUE(report->applicationIdentifier.isNil());
  EXPECT_TRUE(report->applicationVersion.isNil());
  EXPECT_TRUE(report->process.name.isNil());
  EXPECT_TRUE(report->process.path.isNil());
}

TEST_F(WriteReport, TellsTheProcessAndItsParent) {
  const auto report = write(Depth::Whole);
  ASSERT_TRUE(report);
  EXPECT_EQ(report->process.id, ::getpid());
  EXPECT_EQ(report->process.parentId, ::getppid());
  std::ifstream file("/proc/" + std::to_string(::getppid()) + "/comm");
  std::string name;
  std::getline(file, name);
  EXPECT_EQ(text(report->process.parentName), name);
}

TEST_F(WriteReport, FindsTheParentOfAProcessWithAnyName) {
  ASSERT_EQ(::pthread_setname_np(::pthread_self(), ") R 1 (2) S 3"), 0);
  const auto report = write(Depth::Whole);
  ASSERT_TRUE(report);
  EXPECT_EQ(report->process.parentId, ::getppid());
}

TEST_F(WriteReport, TellsTheCrash) {
  const auto report = write(Depth::Whole);
  ASSERT_TRUE(report);
  EXPECT_EQ(text(report->signal.name), "SIGSEGV");
  EXPECT_EQ(text(report->signal.code), "SEGV_MAPERR");
  EXPECT_EQ(report->signal.address, 0xDEADU);
  EXPECT_EQ(report->time, 1'600'000'000);
  EXPECT_FALSE(report->exception);
}

TEST_F(WriteReport, TellsACodeThatHasNoNameAsNothing) {
  crash_.code = -9999;
  const auto report = write(Depth::Whole);
  ASSERT_TRUE(report);
  EXPECT_TRUE(report->signal.code.isNil());
}

TEST_F(WriteReport, TellsTheException) {
  UncaughtException exception;
  exception.name.append("std::out_of_range");
  exception.reason.append("vector::_M_range_check");
  for (std::uint64_t address = 1; !exception.frames.isFull(); ++address) exception.frames.push(address);
  crash_.exception = &exception;
  for (const Depth depth : {Depth::Whole, Depth::WithoutStacks}) {
    const auto report = write(depth);
    ASSERT_TRUE(report);
    ASSERT_TRUE(report->exception);
    EXPECT_EQ(text(report->exception->name), "std::out_of_range");
    EXPECT_EQ(text(report->exception->reason), "vector::_M_range_check");
    EXPECT_THAT(report->exception->frames, SizeIs(FrameList::kMost));
  }
}

TEST_F(WriteReport, HoldsTheLongestException) {
  UncaughtException exception;
  exception.name.append(std::string(10'000, 'n').c_str());
  exception.reason.append(std::string(10'000, 'r').c_str());
  while (!exception.frames.isFull()) exception.frames.push(1);
  crash_.exception = &exception;
  EXPECT_TRUE(write(Depth::Whole));
}

TEST_F(WriteReport, HoldsTheLongestFacts) {
  for (auto* fact : {&facts_.systemVersion, &facts_.systemBuild, &facts_.machineModel,
                     &facts_.applicationIdentifier, &facts_.applicationVersion, &facts_.processName})
    fact->append(std::string(10'000, 'f').c_str());
  facts_.processPath.append(std::string(10'000, '/').c_str());
  EXPECT_TRUE(write(Depth::Whole));
}

TEST_F(WriteReport, ShowsTheCrashedThreadWithItsFramesAndRegisters) {
  const auto report = write(Depth::Whole);
  ASSERT_TRUE(report);
  const CrashReport::Thread* crashed = report->crashedThread();
  ASSERT_NE(crashed, nullptr);
  EXPECT_EQ(crashed->number, 0);
  ASSERT_GE(crashed->frames.size(), 2U);
  EXPECT_EQ(crashed->frames[0], instructionPointer(context_));
  EXPECT_EQ(crashed->frames[1], caller_);
  ASSERT_THAT(crashed->registers, SizeIs(kRegisterCount));
  for (std::size_t i = 0; i < kRegisterCount; ++i) {
    EXPECT_EQ(text(crashed->registers[i].name), nameOfRegister(i));
    EXPECT_EQ(crashed->registers[i].value, registerAt(context_, i));
  }
}

TEST_F(WriteReport, ShowsTheOtherThreadsWithTheirFramesAndNames) {
  const auto report = write(Depth::Whole);
  ASSERT_TRUE(report);
  EXPECT_EQ(std::count_if(report->threads.begin(), report->threads.end(),
                          [](const CrashReport::Thread& thread) { return thread.isCrashed; }),
            1);
  const auto other =
      std::find_if(report->threads.begin(), report->threads.end(),
                   [](const CrashReport::Thread& thread) { return thread.name == kNameOfTheOtherThread; });
  ASSERT_NE(other, report->threads.end());
  EXPECT_THAT(other->registers, IsEmpty());
  EXPECT_THAT(other->frames, Contains(callerOfTheOtherThread()));
  EXPECT_EQ(report->threads[static_cast<std::size_t>(other->number)].name, other->name);
}

TEST_F(WriteReport, ShowsTheCrashedThreadsInnermostFrameAloneWithoutStacks) {
  const auto report = write(Depth::WithoutStacks);
  ASSERT_TRUE(report);
  ASSERT_THAT(report->threads, SizeIs(1));
  EXPECT_TRUE(report->threads[0].isCrashed);
  EXPECT_THAT(report->threads[0].frames, ElementsAre(instructionPointer(context_)));
  EXPECT_THAT(report->threads[0].registers, SizeIs(kRegisterCount));
}

TEST_F(WriteReport, HasAnImageForEveryFrame) {
  const auto report = write(Depth::Whole);
  ASSERT_TRUE(report);
  for (const CrashReport::Thread& thread : report->threads) {
    // A sanitizer's own thread waits in a function that tells no unwinder how to leave it.
    if (!thread.isCrashed && thread.name != kNameOfTheOtherThread) continue;
    for (const std::uint64_t frame : thread.frames)
      EXPECT_NE(report->imageForAddress(frame), nullptr) << std::hex << frame;
  }
  Dl_info info{};
  ASSERT_NE(::dladdr(reinterpret_cast<const void*>(&::getpid), &info), 0);
  const auto address = reinterpret_cast<std::uint64_t>(info.dli_saddr);
  const CrashReport::Image* library = report->imageForAddress(address);
  ASSERT_NE(library, nullptr);
  EXPECT_EQ(library->base, reinterpret_cast<std::uint64_t>(info.dli_fbase));
  ASSERT_TRUE(library->codeType);
  EXPECT_EQ(library->codeType->type, kCodeType.type);
  EXPECT_EQ(library->codeType->subtype, kCodeType.subtype);
}

TEST_F(WriteReport, GoesOnBehindAStackThatIsDamaged) {
  const auto whole = write(Depth::Whole);
  ASSERT_TRUE(whole);
  // A context that points nowhere.
  std::memset(&context_.uc_mcontext.gregs, 0x5A, sizeof context_.uc_mcontext.gregs);
  const ucontext_t damaged = context_;
  const pid_t child = ::fork();
  if (child == 0) {
    FaultGuard::install();
    crash_.context = &damaged;
    ::_exit(writeReport(facts_, crash_, Depth::Whole) ? 0 : 1);
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  const auto report = reportIn(path_);
  ASSERT_TRUE(report);
  EXPECT_THAT(report->threads, SizeIs(whole->threads.size()));
  ASSERT_NE(report->crashedThread(), nullptr);
  EXPECT_THAT(report->crashedThread()->registers, SizeIs(kRegisterCount));
  EXPECT_THAT(report->images, SizeIs(whole->images.size()));
}

TEST_F(WriteReport, SaysNoWhereTheFileCannotBe) {
  facts_.temporaryPath.clear();
  facts_.temporaryPath.append("/dev/null/report.new");
  EXPECT_FALSE(write(Depth::Whole));
  EXPECT_FALSE(hasSaidYes_);
}

}  // namespace
}  // namespace pxa::crash
