#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <memory>
#include <semaphore>
#include <stdexcept>
#include <thread>

#include "platform/BackgroundThread.h"

namespace pxa {
namespace {

using namespace std::chrono_literals;

/// Longer than anything here takes; a test that waits so long has failed.
constexpr auto kPatience = 60s;

// What the bodies use; without destructors, for a body may outlive its test.
std::binary_semaphore gs_ran{0};
std::binary_semaphore gs_cancelledRan{0};
std::binary_semaphore gs_mayLook{0};
std::binary_semaphore gs_mayLookToo{0};
std::atomic<bool> gs_wasCancelled = false;
std::atomic<bool> gs_otherWasCancelled = false;

/// Waits until the thread has ended, when its run lets go of it.
bool hasEnded(const std::weak_ptr<BackgroundThread>& thread) {
  for (const auto end = std::chrono::steady_clock::now() + kPatience;
       std::chrono::steady_clock::now() < end;) {
    if (thread.expired()) return true;
    std::this_thread::yield();
  }
  return false;
}

TEST(BackgroundThread, RunsItsBodyOnAnotherThread) {
  static std::atomic<std::thread::id> id;
  const auto thread = std::make_shared<BackgroundThread>("test", [] {
    id = std::this_thread::get_id();
    gs_ran.release();
  });
  ASSERT_TRUE(thread->start());
  ASSERT_TRUE(gs_ran.try_acquire_for(kPatience));
  EXPECT_NE(id.load(), std::this_thread::get_id());
}

TEST(BackgroundThread, DoesNothingBeforeItIsStarted) {
  std::make_shared<BackgroundThread>("test", [] { gs_ran.release(); });
  EXPECT_FALSE(gs_ran.try_acquire());
}

TEST(BackgroundThread, IsKeptAliveByItsOwnRun) {
  auto thread = std::make_shared<BackgroundThread>("test", [] {
    gs_mayLook.acquire();
    gs_ran.release();
  });
  const std::weak_ptr<BackgroundThread> watched = thread;
  ASSERT_TRUE(thread->start());
  thread.reset();
  EXPECT_FALSE(watched.expired());
  gs_mayLook.release();
  EXPECT_TRUE(gs_ran.try_acquire_for(kPatience));
}

TEST(BackgroundThread, IsLetGoWhenItsRunHasEnded) {
  auto thread = std::make_shared<BackgroundThread>("test", [] {});
  const std::weak_ptr<BackgroundThread> watched = thread;
  ASSERT_TRUE(thread->start());
  thread.reset();
  EXPECT_TRUE(hasEnded(watched));
}

TEST(BackgroundThread, IsNotCancelledAtFirst) {
  const auto thread = std::make_shared<BackgroundThread>("test", [] {
    gs_wasCancelled = BackgroundThread::currentIsCancelled();
    gs_ran.release();
  });
  ASSERT_TRUE(thread->start());
  ASSERT_TRUE(gs_ran.try_acquire_for(kPatience));
  EXPECT_FALSE(gs_wasCancelled);
}

TEST(BackgroundThread, SeesThatItWasCancelled) {
  const auto thread = std::make_shared<BackgroundThread>("test", [] {
    gs_mayLook.acquire();
    gs_wasCancelled = BackgroundThread::currentIsCancelled();
    gs_ran.release();
  });
  ASSERT_TRUE(thread->start());
  thread->cancel();
  gs_mayLook.release();
  ASSERT_TRUE(gs_ran.try_acquire_for(kPatience));
  EXPECT_TRUE(gs_wasCancelled);
}

TEST(BackgroundThread, SeesThatItWasCancelledBeforeItStarted) {
  const auto thread = std::make_shared<BackgroundThread>("test", [] {
    gs_wasCancelled = BackgroundThread::currentIsCancelled();
    gs_ran.release();
  });
  thread->cancel();
  ASSERT_TRUE(thread->start());
  ASSERT_TRUE(gs_ran.try_acquire_for(kPatience));
  EXPECT_TRUE(gs_wasCancelled);
}

TEST(BackgroundThread, DoesNotSeeThatAnotherWasCancelled) {
  const auto cancelled = std::make_shared<BackgroundThread>("test", [] {
    gs_mayLook.acquire();
    gs_wasCancelled = BackgroundThread::currentIsCancelled();
    gs_cancelledRan.release();
  });
  const auto other = std::make_shared<BackgroundThread>("test", [] {
    gs_mayLookToo.acquire();
    gs_otherWasCancelled = BackgroundThread::currentIsCancelled();
    gs_ran.release();
  });
  ASSERT_TRUE(cancelled->start());
  ASSERT_TRUE(other->start());
  cancelled->cancel();
  gs_mayLook.release();
  gs_mayLookToo.release();
  ASSERT_TRUE(gs_cancelledRan.try_acquire_for(kPatience));
  ASSERT_TRUE(gs_ran.try_acquire_for(kPatience));
  EXPECT_TRUE(gs_wasCancelled);
  EXPECT_FALSE(gs_otherWasCancelled);
}

TEST(BackgroundThread, CountsNoOtherThreadAsCancelled) {
  std::make_shared<BackgroundThread>("test", [] {})->cancel();
  EXPECT_FALSE(BackgroundThread::currentIsCancelled());
  std::thread([] { EXPECT_FALSE(BackgroundThread::currentIsCancelled()); }).join();
}

TEST(BackgroundThread, EndsAloneWhenItsBodyThrows) {
  auto thread = std::make_shared<BackgroundThread>("test", [] { throw std::runtime_error("failed"); });
  const std::weak_ptr<BackgroundThread> watched = thread;
  ASSERT_TRUE(thread->start());
  thread.reset();
  EXPECT_TRUE(hasEnded(watched));
}

TEST(BackgroundThread, EndsAloneWhenItsBodyThrowsWhatIsNoException) {
  auto thread = std::make_shared<BackgroundThread>("test", [] { throw 7; });
  const std::weak_ptr<BackgroundThread> watched = thread;
  ASSERT_TRUE(thread->start());
  thread.reset();
  EXPECT_TRUE(hasEnded(watched));
}

}  // namespace
}  // namespace pxa
