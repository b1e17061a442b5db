#include <cstddef>
#include <gtest/gtest.h>
#include <optional>

#include <pxalog/Diagnostics.h>

#include "diagnostics/Ledger.h"
#include "queue/VeskBlockQueue.h"
#include "support/queued_events.h"

namespace pxa {
namespace {

using test::enqueueAllAsFailed;
using test::eventAt;
using test::FakePlatform;
using test::Times;
using test::timesFrom;
using test::timesInFailedFile;

constexpr std::size_t kMost = 2000;

TEST(FailedEventQueue, KeepsEventsInTheOrderInWhichTheyCame) {
  FakePlatform& fakes = FakePlatform::install();
  VeskBlockQueue queue;
  enqueueAllAsFailed(queue, {3, 1, 2});
  queue.saveToFile();
  EXPECT_EQ(timesInFailedFile(fakes), (Times{3, 1, 2}));
}

TEST(FailedEventQueue, KeepsTwoThousandEvents) {
  FakePlatform& fakes = FakePlatform::install();
  VeskBlockQueue queue;
  enqueueAllAsFailed(queue, timesFrom(0, kMost));
  queue.saveToFile();
  EXPECT_EQ(timesInFailedFile(fakes), timesFrom(0, kMost));
}

TEST(FailedEventQueue, DropsTheOldestEventWhenTheTwoThousandAndFirstArrives) {
  FakePlatform& fakes = FakePlatform::install();
  VeskBlockQueue queue;
  enqueueAllAsFailed(queue, timesFrom(0, kMost + 1));
  queue.saveToFile();
  EXPECT_EQ(timesInFailedFile(fakes), timesFrom(1, kMost));
}

TEST(FailedEventQueue, KeepsTheNewestOfManyEvents) {
  FakePlatform& fakes = FakePlatform::install();
  VeskBlockQueue queue;
  enqueueAllAsFailed(queue, timesFrom(0, 2 * kMost + 5));
  queue.saveToFile();
  EXPECT_EQ(timesInFailedFile(fakes), timesFrom(kMost + 5, kMost));
}

TEST(FailedEventQueue, IgnoresNoEvent) {
  FakePlatform& fakes = FakePlatform::install();
  VeskBlockQueue queue;
  queue.enqueueFile(nullptr);
  queue.saveToFile();
  EXPECT_EQ(timesInFailedFile(fakes), std::nullopt);
}

TEST(FailedEventQueue, DropsNothingForNoEvent) {
  FakePlatform& fakes = FakePlatform::install();
  VeskBlockQueue queue;
  enqueueAllAsFailed(queue, timesFrom(0, kMost));
  queue.enqueueFile(nullptr);
  queue.saveToFile();
  EXPECT_EQ(timesInFailedFile(fakes), timesFrom(0, kMost));
}

TEST(FailedEventQueue, HasNoPartInTheLogQueue) {
  VeskBlockQueue queue;
  queue.enqueueFile(eventAt(1));
  EXPECT_EQ(queue.dequeueIfAny(), nullptr);
}

TEST(FailedEventQueue, LeavesTheLogQueueItsOwnLimit) {
  VeskBlockQueue queue;
  enqueueAllAsFailed(queue, timesFrom(0, kMost));
  test::enqueueAll(queue, timesFrom(0, kMost));
  EXPECT_EQ(queue.queueSize(), 2000);
  EXPECT_EQ(Diagnostics::snapshot().events.dropped.queueFull, 0U);
}

TEST(FailedEventQueue, CountsTheEventsThatFellOutOfAFullQueue) {
  VeskBlockQueue queue;
  ledger().enter(&Ledger::Events::failed, kMost + 4);
  enqueueAllAsFailed(queue, timesFrom(0, kMost + 4));
  const Diagnostics::Events events = Diagnostics::snapshot().events;
  EXPECT_EQ(events.failed, kMost);
  EXPECT_EQ(events.dropped.queueFull, 4U);
  EXPECT_EQ(events.total(), events.entered);
}

}  // namespace
}  // namespace pxa
