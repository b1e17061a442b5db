#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>

#include <pxalog/Diagnostics.h>

#include "queue/VeskBlockQueue.h"
#include "support/BackgroundCall.h"
#include "support/queued_events.h"

namespace pxa {
namespace {

using test::BackgroundCall;
using test::enqueueAll;
using test::eventAt;
using test::keptForGood;
using test::takeTimes;
using test::Times;
using test::timesFrom;

constexpr std::size_t kMost = 2000;

VeskBlockQueue& newQueue() {
  return keptForGood<VeskBlockQueue>();
}

TEST(LogQueue, GivesTheVeryEventThatWasPutIn) {
  VeskBlockQueue queue;
  const VeskEventRef event = eventAt(1);
  queue.enqueue(event);
  EXPECT_EQ(queue.dequeue(), event);
}

TEST(LogQueue, GivesEventsInTheOrderInWhichTheyCame) {
  VeskBlockQueue queue;
  enqueueAll(queue, {3, 1, 2});
  EXPECT_EQ(queue.dequeue()->sendTime(), 3);
  EXPECT_EQ(queue.dequeue()->sendTime(), 1);
  EXPECT_EQ(queue.dequeue()->sendTime(), 2);
}

TEST(LogQueue, TakesOneEventTwice) {
  VeskBlockQueue queue;
  const VeskEventRef event = eventAt(1);
  queue.enqueue(event);
  queue.enqueue(event);
  EXPECT_EQ(queue.dequeue(), event);
  EXPECT_EQ(queue.dequeue(), event);
}

TEST(LogQueue, PutsAnEventInFrontOfAllOthers) {
  VeskBlockQueue queue;
  enqueueAll(queue, {1, 2});
  queue.frontEnqueue(eventAt(3));
  queue.frontEnqueue(eventAt(4));
  enqueueAll(queue, {5});
  EXPECT_EQ(takeTimes(queue), (Times{4, 3, 1, 2, 5}));
}

TEST(LogQueue, PutsAnEventInFrontOfNone) {
  VeskBlockQueue queue;
  queue.frontEnqueue(eventAt(1));
  EXPECT_EQ(takeTimes(queue), Times{1});
}

TEST(LogQueue, LetsGoOfItsEventsWhenItIsDestroyed) {
  const VeskEventRef event = eventAt(1);
  {
    VeskBlockQueue queue;
    queue.enqueue(event);
    queue.enqueueFile(event);
    EXPECT_EQ(event.use_count(), 3);
  }
  EXPECT_EQ(event.use_count(), 1);
}

TEST(LogQueue, LetsGoOfAnEventThatItGivesOut) {
  VeskBlockQueue queue;
  const VeskEventRef event = eventAt(1);
  queue.enqueue(event);
  queue.dequeue();
  EXPECT_EQ(event.use_count(), 1);
}

// Its limit

TEST(LogQueue, KeepsTwoThousandEvents) {
  VeskBlockQueue queue;
  enqueueAll(queue, timesFrom(0, kMost));
  EXPECT_EQ(queue.queueSize(), 2000);
  EXPECT_EQ(takeTimes(queue), timesFrom(0, kMost));
}

TEST(LogQueue, GivesBackTheEventThatHadToGo) {
  VeskBlockQueue queue;
  const VeskEventRef first = eventAt(1);
  EXPECT_EQ(queue.enqueue(first), nullptr);
  for (std::size_t i = 1; i < kMost; ++i) ASSERT_EQ(queue.enqueue(eventAt(2)), nullptr);
  EXPECT_EQ(queue.enqueue(eventAt(3)), first);
  EXPECT_EQ(first.use_count(), 1);
}

TEST(LogQueue, DropsTheOldestEventWhenTheTwoThousandAndFirstArrives) {
  VeskBlockQueue queue;
  enqueueAll(queue, timesFrom(0, kMost + 1));
  EXPECT_EQ(queue.queueSize(), 2000);
  EXPECT_EQ(takeTimes(queue), timesFrom(1, kMost));
}

TEST(LogQueue, DropsTheNewestEventWhenTheTwoThousandAndFirstArrivesInFront) {
  VeskBlockQueue queue;
  enqueueAll(queue, timesFrom(0, kMost));
  queue.frontEnqueue(eventAt(-1));
  EXPECT_EQ(queue.queueSize(), 2000);
  EXPECT_EQ(takeTimes(queue), timesFrom(-1, kMost));
}

TEST(LogQueue, KeepsTheTwoThousandthEventThatArrivesInFront) {
  VeskBlockQueue queue;
  enqueueAll(queue, timesFrom(0, kMost - 1));
  queue.frontEnqueue(eventAt(-1));
  EXPECT_EQ(takeTimes(queue), timesFrom(-1, kMost));
}

TEST(LogQueue, KeepsTheNewestOfManyEvents) {
  VeskBlockQueue queue;
  enqueueAll(queue, timesFrom(0, 3 * kMost));
  EXPECT_EQ(takeTimes(queue), timesFrom(2 * kMost, kMost));
}

TEST(LogQueue, KeepsTheLastOfManyEventsThatArriveInFront) {
  VeskBlockQueue queue;
  for (std::int64_t time = 0; time < 2 * static_cast<std::int64_t>(kMost); ++time)
    queue.frontEnqueue(eventAt(-time));
  EXPECT_EQ(takeTimes(queue), timesFrom(-3999, kMost));
}

TEST(LogQueue, LetsGoOfDroppedEvents) {
  VeskBlockQueue queue;
  const VeskEventRef event = eventAt(0);
  queue.enqueue(event);
  enqueueAll(queue, timesFrom(1, kMost));
  EXPECT_EQ(event.use_count(), 1);
}

TEST(LogQueue, DropsNothingForNoEvent) {
  VeskBlockQueue queue;
  enqueueAll(queue, timesFrom(0, kMost));
  queue.enqueue(nullptr);
  queue.frontEnqueue(nullptr);
  EXPECT_EQ(takeTimes(queue), timesFrom(0, kMost));
}

// Waiting

TEST(LogQueue, GivesAWaitingThreadTheEventThatComes) {
  VeskBlockQueue& queue = newQueue();
  BackgroundCall taking([&] { return queue.dequeue(); });
  ASSERT_TRUE(taking.blocks());
  const VeskEventRef event = eventAt(1);
  queue.enqueue(event);
  EXPECT_EQ(taking.result(), event);
}

TEST(LogQueue, GivesAWaitingThreadTheEventThatComesInFront) {
  VeskBlockQueue& queue = newQueue();
  BackgroundCall taking([&] { return queue.dequeue(); });
  ASSERT_TRUE(taking.blocks());
  const VeskEventRef event = eventAt(1);
  queue.frontEnqueue(event);
  EXPECT_EQ(taking.result(), event);
}

TEST(LogQueue, TellsItsSizeOnceThereIsAnEvent) {
  VeskBlockQueue& queue = newQueue();
  BackgroundCall asking([&] { return queue.queueSize(); });
  ASSERT_TRUE(asking.blocks());
  queue.enqueue(eventAt(1));
  EXPECT_EQ(asking.result(), 1);
}

TEST(LogQueue, TellsItsSizeOnceThereIsAnEventInFront) {
  VeskBlockQueue& queue = newQueue();
  BackgroundCall asking([&] { return queue.queueSize(); });
  ASSERT_TRUE(asking.blocks());
  queue.frontEnqueue(eventAt(1));
  EXPECT_EQ(asking.result(), 1);
}

TEST(LogQueue, TellsItsSizeWithoutTakingAnything) {
  VeskBlockQueue queue;
  enqueueAll(queue, {1, 2, 3});
  EXPECT_EQ(queue.queueSize(), 3);
  EXPECT_EQ(queue.queueSize(), 3);
  EXPECT_EQ(takeTimes(queue), (Times{1, 2, 3}));
}

TEST(LogQueue, WaitsAgainAfterItsLastEventWasTaken) {
  VeskBlockQueue& queue = newQueue();
  queue.enqueue(eventAt(1));
  queue.dequeue();
  const BackgroundCall taking([&] { return queue.dequeue(); });
  const BackgroundCall asking([&] { return queue.queueSize(); });
  EXPECT_TRUE(taking.blocks());
  EXPECT_TRUE(asking.blocks());
}

TEST(LogQueue, WakesNobodyForNoEvent) {
  VeskBlockQueue& queue = newQueue();
  BackgroundCall taking([&] { return queue.dequeue(); });
  ASSERT_TRUE(taking.blocks());
  queue.enqueue(nullptr);
  queue.frontEnqueue(nullptr);
  EXPECT_TRUE(taking.blocks());
  const VeskEventRef event = eventAt(1);
  queue.enqueue(event);
  EXPECT_EQ(taking.result(), event);
}

TEST(LogQueue, StaysEmptyForNoEvent) {
  VeskBlockQueue queue;
  queue.enqueue(nullptr);
  queue.frontEnqueue(nullptr);
  EXPECT_EQ(queue.dequeueIfAny(), nullptr);
}

TEST(LogQueue, GivesOneEventToOneOfTwoWaitingThreads) {
  VeskBlockQueue& queue = newQueue();
  BackgroundCall first([&] { return queue.dequeue(); });
  BackgroundCall second([&] { return queue.dequeue(); });
  ASSERT_TRUE(first.blocks());
  ASSERT_TRUE(second.blocks());
  queue.enqueue(eventAt(1));
  ASSERT_TRUE(test::waitUntil([&] { return first.isDone() || second.isDone(); }));
  EXPECT_TRUE((first.isDone() ? second : first).blocks());
  queue.enqueue(eventAt(2));
  EXPECT_EQ(first.result()->sendTime() + second.result()->sendTime(), 3);
}

TEST(LogQueue, WakesOneOfTwoThreadsThatAskForItsSize) {
  VeskBlockQueue& queue = newQueue();
  BackgroundCall first([&] { return queue.queueSize(); });
  BackgroundCall second([&] { return queue.queueSize(); });
  ASSERT_TRUE(first.blocks());
  ASSERT_TRUE(second.blocks());
  queue.enqueue(eventAt(1));
  ASSERT_TRUE(test::waitUntil([&] { return first.isDone() || second.isDone(); }));
  EXPECT_TRUE((first.isDone() ? second : first).blocks());
  queue.enqueue(eventAt(2));
  EXPECT_EQ(first.result() + second.result(), 3);
}

TEST(LogQueue, WakesNobodyForWhatEntersOtherQueues) {
  VeskBlockQueue& queue = newQueue();
  const BackgroundCall taking([&] { return queue.dequeue(); });
  const BackgroundCall asking([&] { return queue.queueSize(); });
  ASSERT_TRUE(taking.blocks());
  ASSERT_TRUE(asking.blocks());
  queue.enqueueFile(eventAt(1));
  queue.enqueue_handler("0");
  queue.enqueue_network(std::make_shared<NetworkData>());
  EXPECT_TRUE(taking.blocks());
  EXPECT_TRUE(asking.blocks());
}

TEST(LogQueue, GivesAnEventIfThereIsOneWithoutWaiting) {
  VeskBlockQueue queue;
  EXPECT_EQ(queue.dequeueIfAny(), nullptr);
  enqueueAll(queue, {1, 2});
  EXPECT_EQ(queue.dequeueIfAny()->sendTime(), 1);
  EXPECT_EQ(queue.dequeueIfAny()->sendTime(), 2);
  EXPECT_EQ(queue.dequeueIfAny(), nullptr);
}

// Its books

TEST(LogQueue, CountsTheEventsThatWait) {
  VeskBlockQueue queue;
  enqueueAll(queue, {1, 2});
  queue.frontEnqueue(eventAt(3));
  queue.enqueue(nullptr);
  const Diagnostics::Events events = Diagnostics::snapshot().events;
  EXPECT_EQ(events.entered, 3U);
  EXPECT_EQ(events.waiting, 3U);
  EXPECT_EQ(events.total(), 3U);
}

TEST(LogQueue, CountsTheEventsThatAreTaken) {
  VeskBlockQueue queue;
  enqueueAll(queue, {1, 2, 3});
  queue.dequeue();
  queue.dequeueIfAny();
  const Diagnostics::Events events = Diagnostics::snapshot().events;
  EXPECT_EQ(events.waiting, 1U);
  EXPECT_EQ(events.gathered, 2U);
  EXPECT_EQ(events.total(), 3U);
}

TEST(LogQueue, CountsTheEventsThatFellOutOfAFullQueue) {
  VeskBlockQueue queue;
  enqueueAll(queue, timesFrom(0, kMost + 3));
  queue.frontEnqueue(eventAt(-1));
  const Diagnostics::Events events = Diagnostics::snapshot().events;
  EXPECT_EQ(events.entered, kMost + 4);
  EXPECT_EQ(events.waiting, kMost);
  EXPECT_EQ(events.dropped.queueFull, 4U);
  EXPECT_EQ(events.total(), events.entered);
}

}  // namespace
}  // namespace pxa
