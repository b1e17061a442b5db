#include "platform/linux/crash/StoppedThreads.h"

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <dirent.h>
#include <elf.h>
#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/uio.h>
#include <sys/wait.h>

#include "platform/linux/crash/registers.h"

namespace pxa::crash {

namespace {

constexpr double kLongestWaitForStops = 1;
constexpr long kPauseBetweenLooks = 200'000;  // nanoseconds

void pauseShortly() noexcept {
  const timespec pause{0, kPauseBetweenLooks};
  ::nanosleep(&pause, nullptr);
}

/// The number at the front of a text; 0 for "." and "..".
pid_t numberOf(const char* text) noexcept {
  pid_t number = 0;
  for (; *text >= '0' && *text <= '9'; ++text) number = number * 10 + (*text - '0');
  return number;
}

}  // namespace

StoppedThreads::StoppedThreads(pid_t process, pid_t exception) noexcept {
  list(process);
  for (Thread& thread : std::span(threads_, count_))
    if (thread.id != exception) seize(thread);
  const Deadline deadline(kLongestWaitForStops);
  for (Thread& thread : std::span(threads_, count_))
    if (thread.isSeized) awaitStop(thread, deadline);
}

StoppedThreads::~StoppedThreads() {
  // Those that have not stopped yet are left when this process ends.
  for (const Thread& thread : all())
    if (thread.isStopped)
      ::ptrace(PTRACE_DETACH, thread.id, nullptr, static_cast<std::intptr_t>(thread.heldSignal));
}

/// Reads the directory by the system call itself: the C library's functions allocate.
void StoppedThreads::list(pid_t process) noexcept {
  FixedText<64> path;
  path.append("/proc/").append(static_cast<std::uint64_t>(process)).append("/task");
  const int directory = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (directory < 0) return;
  alignas(dirent64) char entries[4096];
  for (;;) {
    const long size = ::syscall(SYS_getdents64, directory, entries, sizeof entries);
    if (size <= 0) break;
    for (long offset = 0; offset < size;) {
      const auto* entry = reinterpret_cast<const dirent64*>(entries + offset);
      add(numberOf(entry->d_name));
      offset += entry->d_reclen;
    }
  }
  ::close(directory);
}

void StoppedThreads::add(pid_t id) noexcept {
  if (id > 0 && count_ < kMost) threads_[count_++].id = id;
}

void StoppedThreads::seize(Thread& thread) noexcept {
  thread.isSeized = ::ptrace(PTRACE_SEIZE, thread.id, nullptr, nullptr) == 0 &&
                    ::ptrace(PTRACE_INTERRUPT, thread.id, nullptr, nullptr) == 0;
}

/// Looks without taking the stop off: should this process end now, a signal that the thread was about to get
/// still reaches it.
void StoppedThreads::awaitStop(Thread& thread, const Deadline& deadline) noexcept {
  constexpr int kLook = WSTOPPED | WNOHANG | WNOWAIT | __WALL;
  siginfo_t found{};
  while (::waitid(P_PID, static_cast<id_t>(thread.id), &found, kLook) == 0 && found.si_pid == 0 &&
         !deadline.isOver())
    pauseShortly();
  if (found.si_pid != thread.id) return;
  thread.isStopped = true;
  const bool isEvent = found.si_status >> 8 != 0;
  if (!isEvent) thread.heldSignal = found.si_status;
}

bool StoppedThreads::readContext(const Thread& thread, ucontext_t& context) noexcept {
  user_regs_struct registers{};
  iovec vector{&registers, sizeof registers};
  if (!thread.isStopped || ::ptrace(PTRACE_GETREGSET, thread.id, NT_PRSTATUS, &vector) != 0) return false;
  setRegisters(context, registers);
  return true;
}

}  // namespace pxa::crash
