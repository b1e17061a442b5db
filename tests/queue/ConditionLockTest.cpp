#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "foundation/Mutex.h"
#include "queue/ConditionLock.h"
#include "support/BackgroundCall.h"

namespace pxa {
namespace {

using test::BackgroundCall;
using test::keptForGood;

/// A flag, and the lock that guards it.
struct Flag {
  ConditionLock lock;
  bool isSet GUARDED_BY(lock) = false;

  void waitUntilSet() {
    const Guard guard(lock);
    while (!isSet) lock.wait();
  }
  void set() {
    const Guard guard(lock);
    isSet = true;
  }
};

void keepForGood(ConditionLock& lock) {
  lock.lock();
  lock.keepForGood();
}

TEST(ConditionLock, LetsOneThreadInAtATime) {
  ConditionLock lock;
  int count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&] {
      for (int pass = 0; pass < 5000; ++pass) {
        const Guard guard(lock);
        ++count;
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, 20'000);
}

TEST(ConditionLock, MakesOthersWaitWhileItIsHeld) {
  auto& lock = keptForGood<ConditionLock>();
  lock.lock();
  const BackgroundCall other([&] { const Guard guard(lock); });
  EXPECT_TRUE(other.blocks());
  lock.unlock();
  EXPECT_TRUE(other.returns());
}

TEST(ConditionLock, WakesOneWaitingThreadBySignal) {
  auto& flag = keptForGood<Flag>();
  const BackgroundCall first([&] { flag.waitUntilSet(); });
  const BackgroundCall second([&] { flag.waitUntilSet(); });
  ASSERT_TRUE(first.blocks());
  ASSERT_TRUE(second.blocks());
  flag.set();
  flag.lock.signal();
  ASSERT_TRUE(test::waitUntil([&] { return first.isDone() || second.isDone(); }));
  EXPECT_TRUE((first.isDone() ? second : first).blocks());
}

TEST(ConditionLock, WakesAllWaitingThreadsByBroadcast) {
  auto& flag = keptForGood<Flag>();
  const BackgroundCall first([&] { flag.waitUntilSet(); });
  const BackgroundCall second([&] { flag.waitUntilSet(); });
  ASSERT_TRUE(first.blocks());
  ASSERT_TRUE(second.blocks());
  flag.set();
  flag.lock.broadcast();
  EXPECT_TRUE(first.returns());
  EXPECT_TRUE(second.returns());
}

TEST(ConditionLock, IsFreeWhileAThreadWaits) {
  auto& flag = keptForGood<Flag>();
  const BackgroundCall waiting([&] { flag.waitUntilSet(); });
  ASSERT_TRUE(waiting.blocks());
  EXPECT_TRUE(BackgroundCall([&] { flag.set(); }).returns());
}

TEST(ConditionLock, ReturnsToTheThreadThatKeepsItForGood) {
  auto& lock = keptForGood<ConditionLock>();
  EXPECT_TRUE(BackgroundCall([&] { keepForGood(lock); }).returns());
}

TEST(ConditionLock, BlocksOtherThreadsOnceItIsKeptForGood) {
  auto& lock = keptForGood<ConditionLock>();
  keepForGood(lock);
  const BackgroundCall first([&] { const Guard guard(lock); });
  const BackgroundCall second([&] { const Guard guard(lock); });
  EXPECT_TRUE(first.blocks());
  EXPECT_TRUE(second.blocks());
}

TEST(ConditionLock, BlocksTheThreadThatKeepsItForGoodToo) {
  auto& lock = keptForGood<ConditionLock>();
  auto& isKept = keptForGood<std::atomic<bool>>(false);
  const BackgroundCall same([&] {
    keepForGood(lock);
    isKept = true;
    const Guard guard(lock);
  });
  EXPECT_TRUE(same.blocks());
  EXPECT_TRUE(isKept);
}

TEST(ConditionLock, BlocksThreadsThatWantItWhileItIsKeptForGood) {
  auto& lock = keptForGood<ConditionLock>();
  lock.lock();
  const BackgroundCall other([&] { const Guard guard(lock); });
  EXPECT_TRUE(other.blocks());
  lock.keepForGood();
  EXPECT_TRUE(other.blocks());
}

TEST(ConditionLock, GivesAWokenThreadNothingOnceItIsKeptForGood) {
  auto& flag = keptForGood<Flag>();
  const BackgroundCall waiting([&] { flag.waitUntilSet(); });
  ASSERT_TRUE(waiting.blocks());
  flag.set();
  keepForGood(flag.lock);
  flag.lock.broadcast();
  EXPECT_TRUE(waiting.blocks());
}

}  // namespace
}  // namespace pxa
