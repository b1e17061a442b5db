#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>

#include "queue/VeskBlockQueue.h"
#include "support/BackgroundCall.h"
#include "support/queued_events.h"

namespace pxa {
namespace {

using test::BackgroundCall;
using test::eventAt;
using test::keptForGood;

VeskBlockQueue& newQueue() {
  return keptForGood<VeskBlockQueue>();
}

/// A queue with the ids "0" to "9".
VeskBlockQueue& fullQueue() {
  VeskBlockQueue& queue = newQueue();
  for (int id = 0; id < 10; ++id) queue.enqueue_handler(std::to_string(id));
  return queue;
}

/// A full queue to which another thread has brought an eleventh id.
VeskBlockQueue& overfullQueue() {
  VeskBlockQueue& queue = fullQueue();
  EXPECT_TRUE(BackgroundCall([&] { queue.enqueue_handler("10"); }).returns());
  return queue;
}

TEST(HandlerQueue, GivesIdsInTheOrderInWhichTheyCame) {
  VeskBlockQueue queue;
  for (const char* id : {"2", "0", "1"}) queue.enqueue_handler(id);
  EXPECT_EQ(queue.dequeue_handler(), "2");
  EXPECT_EQ(queue.dequeue_handler(), "0");
  EXPECT_EQ(queue.dequeue_handler(), "1");
}

TEST(HandlerQueue, SharesTheIds) {
  VeskBlockQueue queue;
  const String id("a handle");
  queue.enqueue_handler(id);
  EXPECT_EQ(queue.dequeue_handler().view().data(), id.view().data());
}

TEST(HandlerQueue, TellsAtOnceThatItIsEmpty) {
  VeskBlockQueue queue;
  EXPECT_EQ(queue.queueSize_handler(), 0);
}

TEST(HandlerQueue, TellsItsSizeWithoutTakingAnything) {
  VeskBlockQueue queue;
  queue.enqueue_handler("0");
  queue.enqueue_handler("1");
  EXPECT_EQ(queue.queueSize_handler(), 2);
  EXPECT_EQ(queue.queueSize_handler(), 2);
  queue.dequeue_handler();
  EXPECT_EQ(queue.queueSize_handler(), 1);
}

TEST(HandlerQueue, IgnoresNoId) {
  VeskBlockQueue queue;
  queue.enqueue_handler(nullptr);
  EXPECT_EQ(queue.queueSize_handler(), 0);
}

TEST(HandlerQueue, TakesAnEmptyId) {
  VeskBlockQueue queue;
  queue.enqueue_handler("");
  EXPECT_EQ(queue.dequeue_handler(), "");
}

TEST(HandlerQueue, GivesAWaitingThreadTheIdThatComes) {
  VeskBlockQueue& queue = newQueue();
  BackgroundCall taking([&] { return queue.dequeue_handler(); });
  ASSERT_TRUE(taking.blocks());
  queue.enqueue_handler("7");
  EXPECT_EQ(taking.result(), "7");
}

TEST(HandlerQueue, WakesNobodyForNoId) {
  VeskBlockQueue& queue = newQueue();
  const BackgroundCall taking([&] { return queue.dequeue_handler(); });
  ASSERT_TRUE(taking.blocks());
  queue.enqueue_handler(nullptr);
  EXPECT_TRUE(taking.blocks());
}

TEST(HandlerQueue, WakesNobodyForWhatEntersOtherQueues) {
  VeskBlockQueue& queue = newQueue();
  const BackgroundCall taking([&] { return queue.dequeue_handler(); });
  ASSERT_TRUE(taking.blocks());
  queue.enqueue(eventAt(1));
  queue.frontEnqueue(eventAt(2));
  queue.enqueueFile(eventAt(3));
  queue.enqueue_network(std::make_shared<NetworkData>());
  EXPECT_TRUE(taking.blocks());
}

TEST(HandlerQueue, GivesOneIdToOneOfTwoWaitingThreads) {
  VeskBlockQueue& queue = newQueue();
  const BackgroundCall first([&] { return queue.dequeue_handler(); });
  const BackgroundCall second([&] { return queue.dequeue_handler(); });
  ASSERT_TRUE(first.blocks());
  ASSERT_TRUE(second.blocks());
  queue.enqueue_handler("0");
  ASSERT_TRUE(test::waitUntil([&] { return first.isDone() || second.isDone(); }));
  EXPECT_TRUE((first.isDone() ? second : first).blocks());
}

TEST(HandlerQueue, CanBeAskedForItsSizeWhileAThreadWaits) {
  VeskBlockQueue& queue = newQueue();
  const BackgroundCall taking([&] { return queue.dequeue_handler(); });
  ASSERT_TRUE(taking.blocks());
  EXPECT_EQ(BackgroundCall([&] { return queue.queueSize_handler(); }).result(), 0);
}

// Ten ids

TEST(HandlerQueue, HoldsTenIds) {
  VeskBlockQueue& queue = fullQueue();
  EXPECT_EQ(BackgroundCall([&] { return queue.queueSize_handler(); }).result(), 10);
  for (int id = 0; id < 10; ++id)
    EXPECT_EQ(BackgroundCall([&] { return queue.dequeue_handler(); }).result(), std::to_string(id).c_str());
}

TEST(HandlerQueue, HasRoomAgainWhenOneOfTenIdsWasTaken) {
  VeskBlockQueue& queue = fullQueue();
  EXPECT_EQ(queue.dequeue_handler(), "0");
  queue.enqueue_handler("10");
  EXPECT_EQ(BackgroundCall([&] { return queue.queueSize_handler(); }).result(), 10);
}

TEST(HandlerQueue, ReturnsToTheThreadThatBringsAnEleventhId) {
  VeskBlockQueue& queue = fullQueue();
  EXPECT_TRUE(BackgroundCall([&] { queue.enqueue_handler("10"); }).returns());
}

TEST(HandlerQueue, BlocksEveryOperationOfOtherThreadsAfterAnEleventhId) {
  VeskBlockQueue& queue = overfullQueue();
  const BackgroundCall bringing([&] { queue.enqueue_handler("11"); });
  const BackgroundCall taking([&] { return queue.dequeue_handler(); });
  const BackgroundCall asking([&] { return queue.queueSize_handler(); });
  EXPECT_TRUE(bringing.blocks());
  EXPECT_TRUE(taking.blocks());
  EXPECT_TRUE(asking.blocks());
}

TEST(HandlerQueue, BlocksEveryOperationOfTheThreadThatBroughtAnEleventhId) {
  void (*const operations[])(VeskBlockQueue&) = {
      [](VeskBlockQueue& queue) { queue.enqueue_handler("11"); },
      [](VeskBlockQueue& queue) { queue.dequeue_handler(); },
      [](VeskBlockQueue& queue) { queue.queueSize_handler(); },
  };
  for (const auto operation : operations) {
    VeskBlockQueue& queue = fullQueue();
    auto& hasBrought = keptForGood<std::atomic<bool>>(false);
    const BackgroundCall same([&queue, &hasBrought, operation] {
      queue.enqueue_handler("10");
      hasBrought = true;
      operation(queue);
    });
    EXPECT_TRUE(same.blocks());
    EXPECT_TRUE(hasBrought);
  }
}

TEST(HandlerQueue, StaysBlockedWhenTheThreadThatBroughtAnEleventhIdIsGone) {
  VeskBlockQueue& queue = fullQueue();
  std::thread([&] { queue.enqueue_handler("10"); }).join();
  EXPECT_TRUE(BackgroundCall([&] { return queue.queueSize_handler(); }).blocks());
}

TEST(HandlerQueue, IgnoresNoIdEvenAfterAnEleventhId) {
  VeskBlockQueue& queue = overfullQueue();
  EXPECT_TRUE(BackgroundCall([&] { queue.enqueue_handler(nullptr); }).returns());
}

TEST(HandlerQueue, MindsNoEleventhIdOfAnotherQueue) {
  overfullQueue();
  VeskBlockQueue& other = fullQueue();
  EXPECT_EQ(BackgroundCall([&] { return other.queueSize_handler(); }).result(), 10);
}

TEST(HandlerQueue, KeepsEveryIdThatSeveralThreadsBringAndTake) {
  constexpr int kEach = 2000;
  VeskBlockQueue& queue = newQueue();
  std::atomic<int> room = 10;
  std::atomic<int> sum = 0;
  const auto bring = [&] {
    for (int id = 1; id <= kEach; ++id) {
      while (--room < 0) {
        ++room;
        std::this_thread::yield();
      }
      queue.enqueue_handler(std::to_string(id));
    }
  };
  const auto take = [&] {
    for (int i = 0; i < kEach; ++i) {
      sum += queue.dequeue_handler().intValue();
      ++room;
    }
  };
  std::thread threads[] = {std::thread(bring), std::thread(bring), std::thread(take), std::thread(take)};
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(sum, kEach * (kEach + 1));
  EXPECT_EQ(queue.queueSize_handler(), 0);
}

}  // namespace
}  // namespace pxa
