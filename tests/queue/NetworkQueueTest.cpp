#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "queue/VeskBlockQueue.h"
#include "support/BackgroundCall.h"
#include "support/queued_events.h"

namespace pxa {
namespace {

using test::BackgroundCall;
using test::eventAt;
using test::keptForGood;

std::shared_ptr<NetworkData> jobFor(const std::string& url) {
  auto job = std::make_shared<NetworkData>();
  job->setUrl(url);
  return job;
}

TEST(NetworkData, IsEmptyAtFirst) {
  const NetworkData job;
  EXPECT_TRUE(job.handlerId().isNil());
  EXPECT_TRUE(job.url().isNil());
}

TEST(NetworkData, SharesWhatItIsGiven) {
  const String handlerId("a handle");
  const String url("https://example.com");
  NetworkData job;
  job.setHandlerId(handlerId);
  job.setUrl(url);
  EXPECT_EQ(job.handlerId().view().data(), handlerId.view().data());
  EXPECT_EQ(job.url().view().data(), url.view().data());
}

TEST(NetworkData, CanBeEmptiedAgain) {
  NetworkData job;
  job.setHandlerId("0");
  job.setUrl("u");
  job.setHandlerId(nullptr);
  job.setUrl(nullptr);
  EXPECT_TRUE(job.handlerId().isNil());
  EXPECT_TRUE(job.url().isNil());
}

TEST(NetworkQueue, GivesTheVeryJobThatWasPutIn) {
  VeskBlockQueue queue;
  const auto job = jobFor("u");
  queue.enqueue_network(job);
  EXPECT_EQ(queue.dequeue_network(), job);
}

TEST(NetworkQueue, GivesAnyNumberOfJobsInTheOrderInWhichTheyCame) {
  constexpr int kMany = 20'000;
  VeskBlockQueue queue;
  for (int i = 0; i < kMany; ++i) queue.enqueue_network(jobFor(std::to_string(i)));
  for (int i = 0; i < kMany; ++i) ASSERT_EQ(queue.dequeue_network()->url(), std::to_string(i).c_str());
}

TEST(NetworkQueue, GivesAWaitingThreadTheJobThatComes) {
  VeskBlockQueue& queue = keptForGood<VeskBlockQueue>();
  BackgroundCall taking([&] { return queue.dequeue_network(); });
  ASSERT_TRUE(taking.blocks());
  const auto job = jobFor("u");
  queue.enqueue_network(job);
  EXPECT_EQ(taking.result(), job);
}

TEST(NetworkQueue, IgnoresNoJobAndWakesNobodyForIt) {
  VeskBlockQueue& queue = keptForGood<VeskBlockQueue>();
  BackgroundCall taking([&] { return queue.dequeue_network(); });
  ASSERT_TRUE(taking.blocks());
  queue.enqueue_network(nullptr);
  EXPECT_TRUE(taking.blocks());
  const auto job = jobFor("u");
  queue.enqueue_network(job);
  EXPECT_EQ(taking.result(), job);
}

TEST(NetworkQueue, WakesNobodyForWhatEntersOtherQueues) {
  VeskBlockQueue& queue = keptForGood<VeskBlockQueue>();
  const BackgroundCall taking([&] { return queue.dequeue_network(); });
  ASSERT_TRUE(taking.blocks());
  queue.enqueue(eventAt(1));
  queue.frontEnqueue(eventAt(2));
  queue.enqueueFile(eventAt(3));
  queue.enqueue_handler("0");
  EXPECT_TRUE(taking.blocks());
}

TEST(NetworkQueue, GivesOneJobToOneOfTwoWaitingThreads) {
  VeskBlockQueue& queue = keptForGood<VeskBlockQueue>();
  const BackgroundCall first([&] { return queue.dequeue_network(); });
  const BackgroundCall second([&] { return queue.dequeue_network(); });
  ASSERT_TRUE(first.blocks());
  ASSERT_TRUE(second.blocks());
  queue.enqueue_network(jobFor("u"));
  ASSERT_TRUE(test::waitUntil([&] { return first.isDone() || second.isDone(); }));
  EXPECT_TRUE((first.isDone() ? second : first).blocks());
}

}  // namespace
}  // namespace pxa
