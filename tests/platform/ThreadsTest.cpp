#include <csignal>
#include <fstream>
#include <functional>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <pthread.h>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/linux/LinuxThreads.h"

namespace pxa {
namespace {

/// What a function gives on a thread that was started under the name.
template <class Function>
auto resultOnThread(const char* name, Function function) {
  auto promise = std::make_shared<std::promise<decltype(function())>>();
  auto future = promise->get_future();
  LinuxThreads().start(name, [promise, function] { promise->set_value(function()); });
  return future.get();
}

std::string nameOfThisThread() {
  std::ifstream file("/proc/self/task/" + std::to_string(::syscall(SYS_gettid)) + "/comm");
  std::string name;
  std::getline(file, name);
  return name;
}

sigset_t maskOfThisThread() {
  sigset_t mask;
  ::sigemptyset(&mask);
  ::pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  return mask;
}

TEST(Threads, RunsTheBodyOnAnotherThread) {
  EXPECT_NE(resultOnThread("test", [] { return ::syscall(SYS_gettid); }), ::syscall(SYS_gettid));
}

TEST(Threads, GivesTheThreadItsName) {
  EXPECT_EQ(resultOnThread("pxa.sender", nameOfThisThread), "pxa.sender");
}

TEST(Threads, CutsANameToFifteenCharacters) {
  EXPECT_EQ(resultOnThread("123456789012345", nameOfThisThread), "123456789012345");
  EXPECT_EQ(resultOnThread("1234567890123456789", nameOfThisThread), "123456789012345");
}

TEST(Threads, LeavesTheNameOfTheStartingThread) {
  const std::string before = nameOfThisThread();
  resultOnThread("other", nameOfThisThread);
  EXPECT_EQ(nameOfThisThread(), before);
}

TEST(Threads, AreDeafToSignalsThatAreMeantForTheProgram) {
  const sigset_t mask = resultOnThread("test", maskOfThisThread);
  for (const int signal : {SIGHUP,    SIGINT,  SIGQUIT,  SIGPIPE, SIGALRM, SIGTERM,  SIGUSR1, SIGUSR2,
                           SIGCHLD,   SIGCONT, SIGTSTP,  SIGTTIN, SIGTTOU, SIGURG,   SIGXCPU, SIGXFSZ,
                           SIGVTALRM, SIGPROF, SIGWINCH, SIGIO,   SIGPWR,  SIGRTMIN, SIGRTMAX})
    EXPECT_EQ(::sigismember(&mask, signal), 1) << signal;
}

TEST(Threads, HearSignalsThatReportAFaultOfTheirOwn) {
  const sigset_t mask = resultOnThread("test", maskOfThisThread);
  for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT})
    EXPECT_EQ(::sigismember(&mask, signal), 0) << signal;
}

TEST(Threads, HearFaultsEvenIfTheStartingThreadIsDeafToThem) {
  sigset_t faults;
  sigset_t before;
  ::sigemptyset(&faults);
  ::sigaddset(&faults, SIGSEGV);
  ::pthread_sigmask(SIG_BLOCK, &faults, &before);
  const sigset_t mask = resultOnThread("test", maskOfThisThread);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  EXPECT_EQ(::sigismember(&mask, SIGSEGV), 0);
}

TEST(Threads, LeaveTheStartingThreadItsSignals) {
  const sigset_t before = maskOfThisThread();
  resultOnThread("test", maskOfThisThread);
  const sigset_t after = maskOfThisThread();
  for (int signal = 1; signal <= SIGRTMAX; ++signal)
    EXPECT_EQ(::sigismember(&after, signal), ::sigismember(&before, signal)) << signal;
}

TEST(Threads, LetTheBodyGoWhenItHasEnded) {
  auto held = std::make_shared<std::promise<void>>();
  std::future<void> letGo = held->get_future();
  LinuxThreads().start("test", [held = std::move(held)] {});
  EXPECT_THROW(letGo.get(), std::future_error) << "the promise is broken when the body is destroyed";
}

}  // namespace
}  // namespace pxa
