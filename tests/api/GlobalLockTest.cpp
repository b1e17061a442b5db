#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "api/handle/GlobalLock.h"
#include "support/BackgroundCall.h"
#include "support/FakePlatform.h"
#include "support/HookedFiles.h"
#include "support/lock_probe.h"
#include "support/wait.h"

namespace pxa {
namespace {

using namespace std::chrono_literals;
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

// Opening it.

/// Holds the lock on a thread of its own until the test says so.
class Holder {
 public:
  Holder()
      : call_([&gate = gate_] {
          const GlobalGuard guard;
          gate.pass();
        }) {
    EXPECT_TRUE(gate_.waitForArrival());
  }

  /// Whether the thread can leave the lock, and does.
  bool leaves() {
    gate_.open();
    return call_.returns();
  }

 private:
  test::Gate& gate_ = test::keptForGood<test::Gate>();
  BackgroundCall<void> call_;
};

bool open() {
  return globalLock().openUnlessFreeWithin(1ms);
}

TEST(OpenGlobalLock, IsNotOpenedWhereItIsFree) {
  EXPECT_FALSE(open());
  EXPECT_TRUE(test::waitsForGlobalLock(take));
}

TEST(OpenGlobalLock, IsNotOpenedWhereItBecomesFreeInTime) {
  Holder holder;
  BackgroundCall opening([] { return globalLock().openUnlessFreeWithin(test::kPatience); });
  EXPECT_TRUE(opening.blocks());
  EXPECT_TRUE(holder.leaves());
  EXPECT_FALSE(opening.result());
  EXPECT_TRUE(test::waitsForGlobalLock(take));
}

TEST(OpenGlobalLock, IsNotOpenedByTheThreadThatHoldsIt) {
  const GlobalGuard guard;
  EXPECT_FALSE(open());
}

TEST(OpenGlobalLock, LetsThoseInThatComeLater) {
  Holder holder;
  EXPECT_TRUE(open());
  EXPECT_TRUE(BackgroundCall(takeTwice).returns());
  EXPECT_TRUE(holder.leaves());
}

TEST(OpenGlobalLock, LetsThoseInThatWait) {
  Holder holder;
  const BackgroundCall waiting(takeTwice);
  EXPECT_TRUE(waiting.blocks());
  EXPECT_TRUE(open());
  EXPECT_TRUE(waiting.returns());
  EXPECT_TRUE(holder.leaves());
}

TEST(OpenGlobalLock, LetsOneInBesideTheOtherThatItLetIn) {
  Holder holder;
  EXPECT_TRUE(open());
  {
    const GlobalGuard guard;
    EXPECT_TRUE(isGlobalLockFree());
  }
  EXPECT_TRUE(holder.leaves());
}

TEST(OpenGlobalLock, StaysTheHoldersUntilThatLeavesIt) {
  Holder holder;
  EXPECT_TRUE(open());
  take();
  EXPECT_TRUE(open()) << "one that was let in has left a lock that is not its own";
  EXPECT_TRUE(holder.leaves());
  EXPECT_FALSE(open());
}

TEST(OpenGlobalLock, LetsTheHolderTakeItAgain) {
  auto& gate = test::keptForGood<test::Gate>();
  const BackgroundCall holding([&gate] {
    const GlobalGuard guard;
    gate.pass();
    takeTwice();
  });
  ASSERT_TRUE(gate.waitForArrival());
  EXPECT_TRUE(open());
  gate.open();
  EXPECT_TRUE(holding.returns());
  EXPECT_FALSE(open());
}

TEST(OpenGlobalLock, LetsTheHolderLeaveWhileAnotherIsIn) {
  Holder holder;
  EXPECT_TRUE(open());
  {
    const GlobalGuard guard;
    EXPECT_TRUE(holder.leaves());
    take();
  }
  EXPECT_TRUE(BackgroundCall(takeTwice).returns());
}

}  // namespace
}  // namespace pxa
