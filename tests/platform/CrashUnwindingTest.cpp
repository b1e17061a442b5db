#include <algorithm>
#include <atomic>
#include <csetjmp>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "platform/linux/crash/unwinding.h"

namespace pxa::crash {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Addresses = std::vector<std::uint64_t>;

Addresses addressesOf(const FrameList& frames) {
  return {frames.addresses().begin(), frames.addresses().end()};
}

// The list.

TEST(FrameList, LosesItsFirstAddresses) {
  FrameList frames;
  for (std::uint64_t address = 1; address <= 5; ++address) frames.push(address);
  frames.removeFirst(2);
  EXPECT_THAT(addressesOf(frames), ElementsAre(3, 4, 5));
  frames.removeFirst(0);
  EXPECT_THAT(addressesOf(frames), ElementsAre(3, 4, 5));
  frames.removeFirst(100);
  EXPECT_THAT(addressesOf(frames), IsEmpty());
}

TEST(FrameList, IsFullAtItsMost) {
  FrameList frames;
  for (std::size_t i = 0; i < FrameList::kMost; ++i) {
    EXPECT_FALSE(frames.isFull());
    frames.push(i);
  }
  EXPECT_TRUE(frames.isFull());
  frames.clear();
  EXPECT_FALSE(frames.isFull());
  EXPECT_THAT(addressesOf(frames), IsEmpty());
}

// Stacks.

using Work = void (*)();

std::atomic<int> steps = 0;  // keeps the functions below from ending in a jump
Addresses expected;
FrameList found;

#define PXA_NOTE_CALLER() \
  expected.insert(expected.begin(), reinterpret_cast<std::uint64_t>(__builtin_return_address(0)))

[[gnu::noinline]] void innermost(Work work) {
  PXA_NOTE_CALLER();
  work();
  ++steps;
}
[[gnu::noinline]] void middle(Work work) {
  PXA_NOTE_CALLER();
  innermost(work);
  ++steps;
}
[[gnu::noinline]] void outermost(Work work) {
  PXA_NOTE_CALLER();
  middle(work);
  ++steps;
}

/// Does the work at the end of a known chain of calls.
void doAtTheEndOfAChain(Work work) {
  expected.clear();
  found.clear();
  outermost(work);
}

/// Whether the chain of calls stands in the frames, each directly behind the one that it called.
bool hasFoundTheChain() {
  const auto frames = found.addresses();
  return expected.size() == 3 &&
         std::search(frames.begin(), frames.end(), expected.begin(), expected.end()) != frames.end();
}

TEST(Unwinding, FindsTheCallersOfThisThread) {
  doAtTheEndOfAChain([] { unwindHere(found); });
  EXPECT_TRUE(hasFoundTheChain());
}

TEST(Unwinding, FindsTheCallersOfAnotherThread) {
  std::thread([] { doAtTheEndOfAChain([] { unwindHere(found); }); }).join();
  EXPECT_TRUE(hasFoundTheChain());
}

[[gnu::noinline]] void unwindHereNow() {
  PXA_NOTE_CALLER();
  unwindHere(found);
  ++steps;
}

TEST(Unwinding, BeginsWithTheFunctionThatAsks) {
  expected.clear();
  unwindHereNow();
  ASSERT_GE(found.addresses().size(), 2U);
  EXPECT_EQ(found.addresses()[1], expected[0]);
}

TEST(Unwinding, MayBePreparedMoreThanOnce) {
  prepareUnwinding();
  prepareUnwinding();
  doAtTheEndOfAChain([] { unwindHere(found); });
  EXPECT_TRUE(hasFoundTheChain());
}

[[gnu::noinline]] void recurse(int depth) {  // NOLINT(misc-no-recursion)
  if (depth > 0)
    recurse(depth - 1);
  else
    unwindHere(found);
  ++steps;
}

TEST(Unwinding, LeavesOutTheOutermostOfADeepStack) {
  found.clear();
  recurse(5000);
  const auto frames = found.addresses();
  EXPECT_GE(frames.size(), FrameList::kMost - 1);
  EXPECT_EQ(frames[10], frames[frames.size() - 1]) << "they are all calls of the same place";
}

/// Handles a signal for a scope.
class Handler {
 public:
  Handler(int signal, void (*handle)(int, siginfo_t*, void*)) : signal_(signal) {
    struct sigaction action {};
    action.sa_sigaction = handle;
    action.sa_flags = SA_SIGINFO | SA_NODEFER;
    ::sigaction(signal, &action, &before_);
  }
  Handler(const Handler&) = delete;
  Handler& operator=(const Handler&) = delete;
  ~Handler() { ::sigaction(signal_, &before_, nullptr); }

 private:
  const int signal_;
  struct sigaction before_ {};
};

TEST(Unwinding, FindsTheCallersOfWhereASignalCame) {
  const Handler handler(
      SIGUSR1, [](int, siginfo_t*, void* context) { unwind(*static_cast<ucontext_t*>(context), found); });
  doAtTheEndOfAChain([] { ::raise(SIGUSR1); });
  EXPECT_TRUE(hasFoundTheChain());
}

sigjmp_buf wayOut;

TEST(Unwinding, BeginsWithTheInstructionThatFaulted) {
  static std::uint64_t faultingInstruction;
  const Handler handler(SIGTRAP, [](int, siginfo_t*, void* context) {
    auto& interrupted = *static_cast<ucontext_t*>(context);
#if defined(__x86_64__)
    faultingInstruction = static_cast<std::uint64_t>(interrupted.uc_mcontext.gregs[REG_RIP]);
#else
    faultingInstruction = interrupted.uc_mcontext.pc;
#endif
    unwind(interrupted, found);
    ::siglongjmp(wayOut, 1);  // NOLINT(cert-err52-cpp)
  });
  if (::sigsetjmp(wayOut, 1) == 0)  // NOLINT(cert-err52-cpp)
    doAtTheEndOfAChain([] {
#if defined(__x86_64__)
      __asm__ volatile("int3");
#else
      __asm__ volatile("brk #0");
#endif
    });
  ASSERT_FALSE(found.addresses().empty());
  EXPECT_EQ(found.addresses()[0], faultingInstruction);
  EXPECT_TRUE(hasFoundTheChain());
}

Work volatile nothing = nullptr;

/// A sanitizer would read what stands in front of the function.
__attribute__((no_sanitize("undefined"))) void callNothing() {
  nothing();
}

TEST(Unwinding, FindsTheCallersOfACallOfNothing) {
  const Handler handler(SIGSEGV, [](int, siginfo_t*, void* context) {
    unwindFromCallOfNothing(*static_cast<ucontext_t*>(context), found);
    ::siglongjmp(wayOut, 1);  // NOLINT(cert-err52-cpp)
  });
  if (::sigsetjmp(wayOut, 1) == 0) doAtTheEndOfAChain(&callNothing);  // NOLINT(cert-err52-cpp)
  ASSERT_FALSE(found.addresses().empty());
  EXPECT_EQ(found.addresses()[0], 0U);
  EXPECT_TRUE(hasFoundTheChain());
}

}  // namespace
}  // namespace pxa::crash
