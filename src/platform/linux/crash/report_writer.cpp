#include "platform/linux/crash/report_writer.h"

#include <csignal>
#include <fcntl.h>
#include <link.h>

#include "platform/linux/crash/FaultGuard.h"
#include "platform/linux/crash/FileInMaking.h"
#include "platform/linux/crash/ReportFile.h"
#include "platform/linux/crash/StoppedThreads.h"
#include "platform/linux/crash/process_images.h"
#include "platform/linux/crash/registers.h"
#include "platform/linux/crash/signal_names.h"

namespace pxa::crash {

namespace {

using crash_report_file::Section;

std::byte gs_fileBuffer[std::size_t{32} * 1024];
std::byte gs_sectionMemory[std::size_t{16} * 1024];

const char* orNil(const auto& text) noexcept {
  return text.isEmpty() ? nullptr : text.c_str();
}

void putCodeType(ReportFile& report) noexcept {
  report.put32(static_cast<std::uint32_t>(kCodeType.type));
  report.put32(static_cast<std::uint32_t>(kCodeType.subtype));
}

/// A name that the system keeps for a process or a thread, from its file.
using SystemName = FixedText<64>;
SystemName nameIn(const char* path) noexcept {
  SystemName name;
  const int file = ::open(path, O_RDONLY | O_CLOEXEC);
  if (file < 0) return name;
  char text[64] = {};
  const ssize_t size = ::read(file, text, sizeof text - 1);
  ::close(file);
  if (size <= 0) return name;
  if (text[size - 1] == '\n') text[size - 1] = '\0';
  name.append(text);
  return name;
}

SystemName nameOfProcess(pid_t process) noexcept {
  FixedText<64> path;
  path.append("/proc/").append(static_cast<std::uint64_t>(process)).append("/comm");
  return nameIn(path.c_str());
}

SystemName nameOfThread(pid_t process, pid_t thread) noexcept {
  FixedText<96> path;
  path.append("/proc/").append(static_cast<std::uint64_t>(process));
  path.append("/task/").append(static_cast<std::uint64_t>(thread)).append("/comm");
  return nameIn(path.c_str());
}

pid_t parentOf(pid_t process) noexcept {
  // The writer is a child of the process, so that asking for its own parent's parent needs the status file:
  // "pid (name) state parent ...", where the name may hold anything.
  FixedText<64> path;
  path.append("/proc/").append(static_cast<std::uint64_t>(process)).append("/stat");
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return -1;
  char text[512] = {};
  const ssize_t size = ::read(file, text, sizeof text - 1);
  ::close(file);
  if (size <= 0) return -1;
  ssize_t position = size - 1;
  while (position > 0 && text[position] != ')') --position;
  constexpr ssize_t kFromNameToParent = 4;
  pid_t parent = 0;
  for (position += kFromNameToParent; position < size && text[position] >= '0' && text[position] <= '9';
       ++position)
    parent = parent * 10 + (text[position] - '0');
  return parent;
}

void writeSystem(ReportFile& report, const KnownFacts& facts, const Crash& crash) noexcept {
  report.beginSection();
  report.put32(static_cast<std::uint32_t>(CrashReport::OperatingSystem::Linux));
  report.putText(orNil(facts.systemVersion));
  report.putText(orNil(facts.systemBuild));
  putCodeType(report);
  report.put64(static_cast<std::uint64_t>(crash.time));
  report.endSection(Section::System);

  report.beginSection();
  report.putText(orNil(facts.machineModel));
  report.endSection(Section::Machine);

  report.beginSection();
  putCodeType(report);
  report.endSection(Section::CodeType);
}

void writeProcess(ReportFile& report, const KnownFacts& facts, const Crash& crash) noexcept {
  report.beginSection();
  report.putText(orNil(facts.applicationIdentifier));
  report.putText(orNil(facts.applicationVersion));
  report.endSection(Section::Application);

  const pid_t parent = parentOf(crash.process);
  report.beginSection();
  report.putText(orNil(facts.processName));
  report.put64(static_cast<std::uint64_t>(crash.process));
  report.putText(orNil(facts.processPath));
  report.putText(orNil(nameOfProcess(parent)));
  report.put64(static_cast<std::uint64_t>(parent));
  report.endSection(Section::Process);
}

void writeSignal(ReportFile& report, const Crash& crash) noexcept {
  report.beginSection();
  report.putText(nameOfSignal(crash.signal));
  report.putText(nameOfCode(crash.signal, crash.code));
  report.put64(crash.address);
  report.endSection(Section::Signal);

  if (crash.exception == nullptr) return;
  report.beginSection();
  report.putText(crash.exception->name.c_str());
  report.putText(crash.exception->reason.c_str());
  report.putFrames(crash.exception->frames.addresses());
  report.endSection(Section::Exception);
}

// Frame lists keep what a walk has found when a fault ends the walk.
constinit FrameList gs_framesOfCrashedThread;
constinit FrameList gs_framesOfOtherThread;

bool isCallOfNothing(const Crash& crash) noexcept {
  return (crash.signal == SIGSEGV || crash.signal == SIGBUS) && crash.code > 0 &&
         crash.address == instructionPointer(*crash.context);
}

void walkCrashedThread(const Crash& crash, Depth depth) noexcept {
  gs_framesOfCrashedThread.clear();
  if (depth == Depth::WithoutStacks) return gs_framesOfCrashedThread.push(instructionPointer(*crash.context));
  FaultGuard::run([&] {
    ucontext_t context = *crash.context;
    if (isCallOfNothing(crash))
      unwindFromCallOfNothing(context, gs_framesOfCrashedThread);
    else
      unwind(context, gs_framesOfCrashedThread);
  });
}

void walkStoppedThread(const StoppedThreads::Thread& thread) noexcept {
  gs_framesOfOtherThread.clear();
  FaultGuard::run([&] {
    ucontext_t context{};
    if (StoppedThreads::readContext(thread, context)) unwind(context, gs_framesOfOtherThread);
  });
}

/// A thread that is stopped while it has the dynamic loader's lock would keep it from every walk. It gets time
/// to leave the lock; a crashed thread that has it does not wait for itself.
void awaitLoader() noexcept {
  ::dl_iterate_phdr([](dl_phdr_info*, std::size_t, void*) { return 1; }, nullptr);
}

void writeThread(ReportFile& report, const Crash& crash, pid_t thread, std::int64_t number,
                 const FrameList& frames) noexcept {
  const bool isCrashed = thread == crash.thread;
  report.beginSection();
  report.put64(static_cast<std::uint64_t>(number));
  report.put32(isCrashed ? 1 : 0);
  report.putText(orNil(nameOfThread(crash.process, thread)));
  report.putFrames(frames.addresses());
  report.put32(isCrashed ? kRegisterCount : 0);
  for (std::size_t i = 0; isCrashed && i < kRegisterCount; ++i) {
    report.putText(nameOfRegister(i));
    report.put64(registerAt(*crash.context, i));
  }
  report.endSection(Section::Thread);
}

void writeCrashedThread(ReportFile& report, const Crash& crash, std::int64_t number) noexcept {
  writeThread(report, crash, crash.thread, number, gs_framesOfCrashedThread);
}

void writeAllThreads(ReportFile& report, const Crash& crash) noexcept {
  awaitLoader();
  const StoppedThreads threads(crash.process, crash.thread);
  std::int64_t number = 0;
  bool isCrashedWritten = false;
  for (const StoppedThreads::Thread& thread : threads.all()) {
    if (thread.id == crash.thread) {
      writeCrashedThread(report, crash, number++);
      isCrashedWritten = true;
    } else {
      walkStoppedThread(thread);
      writeThread(report, crash, thread.id, number++, gs_framesOfOtherThread);
    }
  }
  // The list can lack it: there may be more threads than it holds, or no list to be had.
  if (!isCrashedWritten) writeCrashedThread(report, crash, number);
}

void writeImages(ReportFile& report) noexcept {
  listImages(
      [](const ImageFacts& image, void* object) {
        ReportFile& to = *static_cast<ReportFile*>(object);
        to.beginSection();
        to.put64(image.base);
        to.put64(image.size);
        to.putText(image.path);
        to.putText(image.uuid);
        to.put32(1);
        putCodeType(to);
        to.endSection(Section::Image);
      },
      &report);
}

}  // namespace

bool writeReport(const KnownFacts& facts, const Crash& crash, Depth depth) noexcept {
  // Whatever becomes of this report, an older one is not taken for it.
  ::unlink(facts.reportPath.c_str());
  FileInMaking file(facts.temporaryPath.c_str(), facts.reportPath.c_str(), gs_fileBuffer);
  ReportFile report(file, gs_sectionMemory);
  report.begin();
  writeSystem(report, facts, crash);
  writeProcess(report, facts, crash);
  writeSignal(report, crash);
  // While the others run, so that it finds no lock held for good.
  walkCrashedThread(crash, depth);
  if (depth == Depth::Whole)
    writeAllThreads(report, crash);
  else
    writeCrashedThread(report, crash, 0);
  writeImages(report);
  report.beginSection();
  report.endSection(Section::End);
  return file.finish();
}

}  // namespace pxa::crash
