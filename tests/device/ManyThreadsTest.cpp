#include <atomic>
#include <gtest/gtest.h>
#include <set>
#include <thread>
#include <vector>

#include <pxalog/VeskDeviceInfo.h>
#include <pxalog/VeskPhoneInfo.h>

#include "support/FakePlatform.h"

/// Tests of many threads that ask at once.
namespace pxa {
namespace {

constexpr int kThreads = 8;

/// Runs the function on many threads, all started before the first goes on.
template <class Function>
void onManyThreads(Function function) {
  std::atomic<int> started = 0;
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i)
    threads.emplace_back([&, i] {
      ++started;
      while (started < kThreads) std::this_thread::yield();
      function(i);
    });
  for (std::thread& thread : threads) thread.join();
}

/// What the function gives on many threads, each answer once.
template <class Answer>
std::set<Answer> answersOnManyThreads(Answer (*function)()) {
  std::vector<Answer> answers(kThreads);
  onManyThreads([&](int i) { answers.at(static_cast<std::size_t>(i)) = function(); });
  return {answers.begin(), answers.end()};
}

TEST(ManyThreads, GetOneDeviceInfo) {
  const auto instance = [] { return &VeskDeviceInfo::getInstance(); };
  EXPECT_EQ(answersOnManyThreads<VeskDeviceInfo*>(instance), std::set{instance()});
}

TEST(ManyThreads, GetOnePhoneInfo) {
  const auto instance = [] { return &VeskPhoneInfo::sharedInstance(); };
  EXPECT_EQ(answersOnManyThreads<VeskPhoneInfo*>(instance), std::set{instance()});
}

TEST(ManyThreads, StartOneShell) {
  test::FakeDeviceFacts& facts = test::FakePlatform::install().device;
  facts.startsShells = true;
  onManyThreads([](int) { EXPECT_TRUE(VeskPhoneInfo::sharedInstance().isJailbroken()); });
  EXPECT_EQ(facts.shellStarts, 1);
}

TEST(ManyThreads, GetTheFacts) {
  test::FakeDeviceFacts& facts = test::FakePlatform::install().device;
  facts.memory = FreeMemory{.pages = 1000, .pageSize = 16384};
  facts.freeBytes = 5 * 1024;
  facts.languages = {"ko-KR"};
  onManyThreads([](int) {
    for (int i = 0; i < 100; ++i) {
      EXPECT_EQ(VeskDeviceInfo::getInstance().platformString(), "iPhone 6s Plush");
      EXPECT_EQ(VeskPhoneInfo::sharedInstance().freeMemory(), "16000 kB");
      EXPECT_EQ(VeskPhoneInfo::sharedInstance().freeSpace(), "5 kB");
      EXPECT_EQ(VeskPhoneInfo::sharedInstance().preferedLanguage(), "ko-KR");
      EXPECT_EQ(VeskPhoneInfo::sharedInstance().locale(), "English (United States)");
    }
  });
}

}  // namespace
}  // namespace pxa
