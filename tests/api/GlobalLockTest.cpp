#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "api/handle/GlobalLock.h"
#include "support/BackgroundCall.h"
#include "support/FakePlatform.h"
#include "support/lock_probe.h"

namespace pxa {
namespace {

using test::BackgroundCall;
using test::isGlobalLockFree;

void take() {
  const GlobalGuard guard;
}

void takeTwice() {
  const GlobalGuard guard;
  take();
}

TEST(GlobalLock, IsOneForTheWholeProcess) {
  EXPECT_EQ(&globalLock(), &globalLock());
}

TEST(GlobalLock, MayBeTakenAgainByTheThreadThatHoldsIt) {
  EXPECT_TRUE(BackgroundCall(takeTwice).returns());
}

TEST(GlobalLock, IsFreeAfterItWasLeftAsOftenAsTaken) {
  takeTwice();
  EXPECT_TRUE(isGlobalLockFree());
}

TEST(GlobalLock, IsHeldUntilTheOutermostScopeEnds) {
  EXPECT_TRUE(test::waitsForGlobalLock(take));
}

TEST(GlobalLock, IsLeftWhenAnExceptionLeavesTheScope) {
  EXPECT_THROW(
      {
        const GlobalGuard guard;
        throw std::runtime_error("out of here");
      },
      std::runtime_error);
  EXPECT_TRUE(isGlobalLockFree());
}

TEST(GlobalLock, LetsOneThreadInAtATime) {
  int count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&count] {
      for (int turn = 0; turn < 1000; ++turn) {
        const GlobalGuard guard;
        ++count;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, 4000);
}

TEST(GlobalLock, IsNotKeptFromAWaitingThreadByOneThatTakesItAgainAndAgain) {
  test::FakePlatform::install();
  const auto isDone = std::make_shared<std::atomic<bool>>(false);
  const BackgroundCall taking([isDone] {
    while (!*isDone) {
      take();
      globalLock().letOthersIn();
    }
  });
  for (int i = 0; i < 100; ++i) EXPECT_TRUE(isGlobalLockFree());
  *isDone = true;
  EXPECT_TRUE(taking.returns());
}

TEST(GlobalLock, ReturnsFromLettingOthersInWhereNobodyWaits) {
  test::FakePlatform::install();
  EXPECT_TRUE(BackgroundCall([] { globalLock().letOthersIn(); }).returns());
}

}  // namespace
}  // namespace pxa
