#include <csignal>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <functional>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <thread>
#include <vector>

#include <pxalog/Host.h>

#include "platform/Platform.h"
#include "platform/linux/crash/AlternateStack.h"
#include "support/wait.h"

namespace pxa {
namespace {

using crash::prepareAlternateStack;

stack_t currentStack() {
  stack_t stack{};
  ::sigaltstack(nullptr, &stack);
  return stack;
}

bool hasStack() {
  return (currentStack().ss_flags & SS_DISABLE) == 0;
}

void removeStack() {
  stack_t none{};
  none.ss_flags = SS_DISABLE;
  ::sigaltstack(&none, nullptr);
}

/// The rights of the memory there, as "rw-p"; "" where there is none.
std::string rightsAt(std::uintptr_t address) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    std::size_t end = 0;
    const std::uintptr_t first = std::stoull(line, &end, 16);
    const std::uintptr_t behind = std::stoull(line.substr(end + 1), nullptr, 16);
    if (first <= address && address < behind) return line.substr(line.find(' ') + 1, 4);
  }
  return {};
}

std::uintptr_t startOf(const stack_t& stack) {
  return reinterpret_cast<std::uintptr_t>(stack.ss_sp);
}

/// Runs on a new thread without such a stack, and returns when that thread has ended.
void onNewThread(const std::function<void()>& body) {
  std::thread([&] {
    removeStack();
    body();
  }).join();
}

TEST(AlternateStack, IsGivenToAThread) {
  onNewThread([] {
    EXPECT_TRUE(prepareAlternateStack());
    EXPECT_TRUE(hasStack());
    EXPECT_GE(currentStack().ss_size, 64U * 1024);
  });
}

TEST(AlternateStack, IsGivenByTheHost) {
  onNewThread([] {
    EXPECT_TRUE(Host::prepareThread());
    EXPECT_TRUE(hasStack());
  });
}

TEST(AlternateStack, IsGivenToEveryThreadOfTheLibrary) {
  auto promise = std::make_shared<std::promise<bool>>();
  std::future<bool> result = promise->get_future();
  systemPlatform().threads.start("test", [promise] { promise->set_value(hasStack()); });
  ASSERT_EQ(result.wait_for(test::kPatience), std::future_status::ready);
  EXPECT_TRUE(result.get());
}

TEST(AlternateStack, IsEachThreadsOwn) {
  onNewThread([] {
    prepareAlternateStack();
    const void* outer = currentStack().ss_sp;
    onNewThread([outer] {
      prepareAlternateStack();
      EXPECT_NE(currentStack().ss_sp, outer);
    });
    EXPECT_EQ(currentStack().ss_sp, outer);
  });
}

TEST(AlternateStack, StaysTheOneThatTheThreadHad) {
  onNewThread([] {
    std::vector<std::byte> memory(64U * 1024);
    stack_t own{};
    own.ss_sp = memory.data();
    own.ss_size = memory.size();
    ASSERT_EQ(::sigaltstack(&own, nullptr), 0);
    EXPECT_TRUE(prepareAlternateStack());
    EXPECT_EQ(currentStack().ss_sp, memory.data());
    removeStack();
  });
}

TEST(AlternateStack, StaysTheSameWhenItIsAskedForAgain) {
  onNewThread([] {
    prepareAlternateStack();
    const void* first = currentStack().ss_sp;
    EXPECT_TRUE(prepareAlternateStack());
    EXPECT_EQ(currentStack().ss_sp, first);
  });
}

TEST(AlternateStack, ComesBackWhenTheHostHasRemovedIt) {
  onNewThread([] {
    prepareAlternateStack();
    removeStack();
    EXPECT_TRUE(prepareAlternateStack());
    EXPECT_TRUE(hasStack());
  });
}

TEST(AlternateStack, HasAPageBeneathItThatNobodyMayTouch) {
  onNewThread([] {
    ASSERT_TRUE(prepareAlternateStack());
    const std::uintptr_t start = startOf(currentStack());
    EXPECT_EQ(rightsAt(start), "rw-p");
    EXPECT_EQ(rightsAt(start + currentStack().ss_size - 1), "rw-p");
    EXPECT_EQ(rightsAt(start - 1), "---p");
  });
}

TEST(AlternateStack, IsFreedWithItsThread) {
  // As many as a process could not keep.
  constexpr int kThreads = 200;
  std::uintptr_t last = 0;
  const auto countMappings = [] {
    std::ifstream maps("/proc/self/maps");
    int lines = 0;
    for (std::string line; std::getline(maps, line);) ++lines;
    return lines;
  };
  onNewThread([] { prepareAlternateStack(); });
  const int before = countMappings();
  for (int i = 0; i < kThreads; ++i)
    onNewThread([&last] {
      ASSERT_TRUE(prepareAlternateStack());
      last = startOf(currentStack());
    });
  EXPECT_LT(countMappings(), before + kThreads);
  EXPECT_NE(last, 0U);
}

TEST(AlternateStack, LeavesAnotherOneThatTheHostHasPutInItsPlace) {
  constexpr std::size_t kSize = 64U * 1024;
  // Mapped, for a sanitizer unmaps what it finds in its own one's place.
  static void* const memory =
      ::mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(memory, MAP_FAILED);
  static stack_t atEnd;
  /// Destroyed after what prepareAlternateStack keeps, for it is older.
  struct Last {
    ~Last() { atEnd = currentStack(); }
  };
  onNewThread([] {
    thread_local Last last;
    static_cast<void>(&last);
    ASSERT_TRUE(prepareAlternateStack());
    stack_t own{};
    own.ss_sp = memory;
    own.ss_size = kSize;
    ASSERT_EQ(::sigaltstack(&own, nullptr), 0);
  });
  EXPECT_EQ(atEnd.ss_sp, memory);
  EXPECT_EQ(atEnd.ss_flags & SS_DISABLE, 0);
}

// On it.

volatile std::uintptr_t addressInHandler = 0;

TEST(AlternateStack, ServesTheHandlersThatAskForIt) {
  onNewThread([] {
    ASSERT_TRUE(prepareAlternateStack());
    struct sigaction action {};
    struct sigaction before {};
    action.sa_flags = SA_ONSTACK;
    action.sa_handler = [](int) {
      int here = 0;
      addressInHandler = reinterpret_cast<std::uintptr_t>(&here);
    };
    ASSERT_EQ(::sigaction(SIGUSR1, &action, &before), 0);
    ::raise(SIGUSR1);
    ::sigaction(SIGUSR1, &before, nullptr);
    const std::uintptr_t start = startOf(currentStack());
    EXPECT_GE(addressInHandler, start);
    EXPECT_LT(addressInHandler, start + currentStack().ss_size);
  });
}

}  // namespace
}  // namespace pxa
