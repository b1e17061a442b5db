#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <gtest/gtest.h>
#include <limits>
#include <new>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "platform/linux/crash/StoppedThreads.h"
#include "platform/linux/crash/registers.h"
#include "platform/linux/crash/system_calls.h"
#include "support/wait.h"

namespace pxa::crash {
namespace {

constexpr std::size_t kThreads = 4;

/// What the test and the process that traces it both see.
struct Shared {
  struct Thread {
    std::atomic<pid_t> id = 0;
    std::atomic<std::uint64_t> turns = 0;
    std::atomic<std::uint64_t> stack = 0;  // an address on it
    // What the tracer found.
    std::atomic<bool> isStopped = false;
    std::atomic<bool> isShownAsStopped = false;
    std::atomic<std::uint64_t> stackPointer = 0;
  };
  std::array<Thread, kThreads> threads;
  std::atomic<std::size_t> listed = 0;
  std::atomic<bool> isInOrder = false;
  std::atomic<bool> isExceptionLeft = false;
  std::atomic<int> signalsHandled = 0;
  std::atomic<bool> hasFailed = false;
};

Shared* gs_shared = nullptr;

/// The one letter by which the system tells what a thread does.
char stateOf(pid_t process, pid_t thread) {
  std::ifstream status("/proc/" + std::to_string(process) + "/task/" + std::to_string(thread) + "/status");
  for (std::string line; std::getline(status, line);)
    if (line.rfind("State:", 0) == 0) return line[line.find_first_not_of("\t ", 6)];
  return '?';
}

std::uint64_t stackPointerOf(const ucontext_t& context) {
  for (std::size_t i = 0; i < kRegisterCount; ++i) {
    const std::string_view name = nameOfRegister(i);
    if (name == "rsp" || name == "sp") return registerAt(context, i);
  }
  return 0;
}

/// A process with several threads, of which one computes and the others sleep now and then.
class StoppedThreadsTest : public testing::Test {
 protected:
  void SetUp() override {
    ::prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY, 0, 0, 0);
    void* memory = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    gs_shared = new (memory) Shared;
    for (std::size_t i = 0; i < kThreads; ++i) threads_.emplace_back([this, i] { run(i); });
    for (Shared::Thread& thread : gs_shared->threads)
      ASSERT_TRUE(test::waitUntil([&] { return thread.turns > 0; }));
  }
  void TearDown() override {
    isDone_ = true;
    for (std::thread& thread : threads_) thread.join();
    ::munmap(gs_shared, sizeof(Shared));
  }

  /// Runs the work in a process made by fork; whether it came to its end.
  static bool runInChild(void (*work)(pid_t process)) {
    const pid_t process = ::getpid();
    const pid_t child = ::fork();
    if (child == 0) {
      work(process);
      ::_exit(0);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return status == 0;
  }
  bool goOnRunning() {
    return std::all_of(gs_shared->threads.begin(), gs_shared->threads.end(), [](Shared::Thread& thread) {
      const std::uint64_t before = thread.turns;
      return test::waitUntil([&] { return thread.turns > before; });
    });
  }

 private:
  void run(std::size_t position) {
    Shared::Thread& thread = gs_shared->threads[position];
    thread.stack = reinterpret_cast<std::uint64_t>(&position);
    thread.id = currentThreadId();
    while (!isDone_) {
      ++thread.turns;
      if (position > 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

  std::atomic<bool> isDone_ = false;
  std::vector<std::thread> threads_;
};

Shared::Thread* sharedThread(pid_t id) {
  for (Shared::Thread& thread : gs_shared->threads)
    if (thread.id == id) return &thread;
  return nullptr;
}

TEST_F(StoppedThreadsTest, AreAllButTheExceptionWhileTheObjectLives) {
  ASSERT_TRUE(runInChild([](pid_t process) {
    static std::byte place[sizeof(StoppedThreads)];
    const auto* stopped = new (place) StoppedThreads(process, process);
    gs_shared->listed = stopped->all().size();
    for (const StoppedThreads::Thread& thread : stopped->all()) {
      if (thread.id == process) gs_shared->isExceptionLeft = !thread.isStopped && !thread.isSeized;
      Shared::Thread* shared = sharedThread(thread.id);
      if (shared == nullptr) continue;
      shared->isStopped = thread.isStopped;
      shared->isShownAsStopped = stateOf(process, thread.id) == 't';
      ucontext_t context{};
      if (StoppedThreads::readContext(thread, context)) shared->stackPointer = stackPointerOf(context);
    }
    stopped->~StoppedThreads();
  }));
  EXPECT_GE(gs_shared->listed, kThreads + 1);
  EXPECT_TRUE(gs_shared->isExceptionLeft);
  for (const Shared::Thread& thread : gs_shared->threads) {
    EXPECT_TRUE(thread.isStopped);
    EXPECT_TRUE(thread.isShownAsStopped);
    // The innermost frames of a stack that grows downwards.
    constexpr std::uint64_t kMostOfAStack = 64U * 1024;
    EXPECT_LE(thread.stackPointer, thread.stack);
    EXPECT_GT(thread.stackPointer + kMostOfAStack, thread.stack);
  }
  EXPECT_TRUE(goOnRunning());
}

TEST_F(StoppedThreadsTest, AreListedInTheOrderInWhichTheyWereMade) {
  ASSERT_TRUE(runInChild([](pid_t process) {
    static std::byte place[sizeof(StoppedThreads)];
    const auto* stopped = new (place) StoppedThreads(process, process);
    const auto all = stopped->all();
    std::vector<const Shared::Thread*> found;
    for (const StoppedThreads::Thread& thread : all)
      if (const Shared::Thread* shared = sharedThread(thread.id)) found.push_back(shared);
    gs_shared->isInOrder = !all.empty() && all[0].id == process && found.size() == kThreads &&
                           std::is_sorted(found.begin(), found.end());
    stopped->~StoppedThreads();
  }));
  EXPECT_TRUE(gs_shared->isInOrder);
}

TEST_F(StoppedThreadsTest, GoOnAlthoughTheTracerEndsWithoutLettingThemGo) {
  ASSERT_TRUE(runInChild([](pid_t process) {
    static std::byte place[sizeof(StoppedThreads)];
    new (place) StoppedThreads(process, process);
  }));
  EXPECT_TRUE(goOnRunning());
}

TEST_F(StoppedThreadsTest, LoseNoSignalThatWasOnItsWay) {
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = [](int) { ++gs_shared->signalsHandled; };
  action.sa_flags = SA_RESTART;
  ASSERT_EQ(::sigaction(SIGUSR1, &action, &before), 0);
  ASSERT_TRUE(runInChild([](pid_t process) {
    static std::byte place[sizeof(StoppedThreads)];
    for (int round = 0; round < 100 && !gs_shared->hasFailed; ++round) {
      const pid_t thread = gs_shared->threads[static_cast<std::size_t>(round) % kThreads].id;
      ::syscall(SYS_tgkill, process, thread, SIGUSR1);
      (new (place) StoppedThreads(process, process))->~StoppedThreads();
      if (!test::waitUntil([round] { return gs_shared->signalsHandled > round; }))
        gs_shared->hasFailed = true;
    }
  }));
  EXPECT_FALSE(gs_shared->hasFailed);
  EXPECT_EQ(gs_shared->signalsHandled, 100);
  EXPECT_TRUE(goOnRunning());
  ::sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(StoppedThreadsTest, AreKnownByTheirIdsAloneWhereTracingIsForbidden) {
  ASSERT_TRUE(runInChild([](pid_t process) {
    // A process can trace no thread of one that somebody traces already: here, its own sibling does.
    static std::byte first[sizeof(StoppedThreads)];
    const auto* stopped = new (first) StoppedThreads(process, process);
    const pid_t child = ::fork();
    if (child == 0) {
      static std::byte second[sizeof(StoppedThreads)];
      const auto* others = new (second) StoppedThreads(process, process);
      gs_shared->listed = others->all().size();
      for (const StoppedThreads::Thread& thread : others->all()) {
        ucontext_t context{};
        if (thread.isStopped || StoppedThreads::readContext(thread, context)) gs_shared->hasFailed = true;
      }
      others->~StoppedThreads();
      ::_exit(0);
    }
    ::waitpid(child, nullptr, 0);
    stopped->~StoppedThreads();
  }));
  EXPECT_GE(gs_shared->listed, kThreads + 1);
  EXPECT_FALSE(gs_shared->hasFailed);
  EXPECT_TRUE(goOnRunning());
}

TEST_F(StoppedThreadsTest, AreNoneOfAProcessThatIsNotThere) {
  const StoppedThreads stopped(std::numeric_limits<pid_t>::max(), 0);
  EXPECT_TRUE(stopped.all().empty());
}

}  // namespace
}  // namespace pxa::crash
