#include "platform/linux/crash/writer_process.h"

#include <csignal>
#include <cstddef>
#include <initializer_list>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include "platform/linux/crash/DescriptorReserve.h"
#include "platform/linux/crash/FaultGuard.h"

namespace pxa::crash {

namespace {

constexpr double kLongestFirstTry = 3;  // seconds
constexpr double kLongestFurtherTry = 1;
constexpr double kLongestWaitForDeath = 1;

alignas(16) std::byte gs_stack[std::size_t{256} * 1024];
Word gs_isRunning = 0;
Word gs_mayTrace = 0;
Word gs_isWritten = 0;

struct Task {
  const KnownFacts& facts;
  const Crash& crash;
  Depth depth;
};

int runWriter(void* object) noexcept {
  const Task& task = *static_cast<const Task*>(object);
  FaultGuard::install();
  descriptorReserve().closeCopies();
  waitWhile(gs_mayTrace, 0, Deadline(kLongestWaitForDeath));
  if (writeReport(task.facts, task.crash, task.depth)) gs_isWritten = 1;
  return 0;
}

/// The writer's end is told by the system, which clears the word.
bool waitForEnd(const Deadline& deadline) noexcept {
  while (gs_isRunning != 0 && !deadline.isOver()) waitWhile(gs_isRunning, 1, deadline);
  return gs_isRunning == 0;
}

/// False when the writer does not even die.
bool awaitOrKill(pid_t writer, double longest, const Deadline& deadline) noexcept {
  if (!waitForEnd(deadline.sooner(longest))) {
    ::kill(writer, SIGKILL);
    if (!waitForEnd(deadline.sooner(kLongestWaitForDeath))) return false;
  }
  while (::waitpid(writer, nullptr, __WALL) < 0 && errno == EINTR) {
  }
  return true;
}

enum class Outcome { Ended, NoProcess, Stuck };

Outcome runToItsEnd(const Task& task, const Deadline& deadline) noexcept {
  const double longest = task.depth == Depth::Whole ? kLongestFirstTry : kLongestFurtherTry;
  gs_isRunning = 1;
  gs_mayTrace = 0;
  // No signal tells the host of this child, and no waiting of the host's finds it.
  constexpr int kFlags = CLONE_VM | CLONE_UNTRACED | CLONE_CHILD_CLEARTID;
  const pid_t writer = ::clone(&runWriter, gs_stack + sizeof gs_stack, kFlags, const_cast<Task*>(&task),
                               nullptr, nullptr, &gs_isRunning);
  if (writer < 0) return Outcome::NoProcess;
  ::prctl(PR_SET_PTRACER, writer, 0, 0, 0);
  setAndWake(gs_mayTrace, 1);
  const bool hasEnded = awaitOrKill(writer, longest, deadline);
  ::prctl(PR_SET_PTRACER, 0, 0, 0, 0);
  return hasEnded ? Outcome::Ended : Outcome::Stuck;
}

/// Where the system gives no process, the crashed thread writes what can be written without risk.
void writeHere(const KnownFacts& facts, const Crash& crash) noexcept {
  descriptorReserve().release();
  if (writeReport(facts, crash, Depth::WithoutStacks)) gs_isWritten = 1;
}

}  // namespace

bool writeReportFromOwnProcess(const KnownFacts& facts, const Crash& crash,
                               const Deadline& deadline) noexcept {
  gs_isWritten = 0;
  Outcome outcome = Outcome::Ended;
  for (const Depth depth : {Depth::Whole, Depth::CrashedThread, Depth::WithoutStacks})
    if (outcome == Outcome::Ended && gs_isWritten == 0)
      outcome = runToItsEnd({facts, crash, depth}, deadline);
  if (outcome == Outcome::NoProcess) writeHere(facts, crash);
  return gs_isWritten != 0;
}

}  // namespace pxa::crash
