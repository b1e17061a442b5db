#include <algorithm>
#include <atomic>
#include <functional>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/SerialQueue.h"
#include "support/BackgroundCall.h"
#include "support/FakePlatform.h"
#include "support/wait.h"

namespace pxa {
namespace {

using test::waitUntil;
using testing::ElementsAre;
using testing::IsEmpty;

using Texts = std::vector<std::string>;

/// Adds a task whose run the result tells of.
std::future<void> addMark(DispatchQueue& queue) {
  const auto mark = std::make_shared<std::promise<void>>();
  queue.async([mark] { mark->set_value(); });
  return mark->get_future();
}

template <class Result>
bool comes(const std::future<Result>& result) {
  return result.wait_for(test::kPatience) == std::future_status::ready;
}

/// Waits until the queue has run all that it was given; false when it has not in time.
bool runsAll(DispatchQueue& queue) {
  return comes(addMark(queue));
}

/// The thread that runs the queue's next task.
std::thread::id threadOf(DispatchQueue& queue) {
  const auto id = std::make_shared<std::promise<std::thread::id>>();
  auto future = id->get_future();
  queue.async([id] { id->set_value(std::this_thread::get_id()); });
  return comes(future) ? future.get() : std::this_thread::get_id();
}

/// A queue on threads that a test counts. What its tasks use is never destroyed.
class SerialQueueTest : public testing::Test {
 protected:
  SerialQueueTest() { threads_.runs = true; }

  /// Adds a task that notes the text.
  void add(const std::string& text) {
    queue_->async([&ran = ran_, text] { ran.push_back(text); });
  }
  /// Adds a task that holds its queue up until the function that it gives is called.
  static std::function<void()> holdUp(DispatchQueue& queue) {
    const auto mayGoOn = std::make_shared<std::promise<void>>();
    queue.async([future = mayGoOn->get_future().share()] { future.wait(); });
    return [mayGoOn] { mayGoOn->set_value(); };
  }
  /// Waits until no thread holds the queue any more.
  bool isWithoutThread() {
    return waitUntil([this] { return queue_.use_count() == 1; });
  }

  test::FakeThreads& threads_ = test::FakePlatform::install().threads;
  std::shared_ptr<SerialQueue> queue_ = std::make_shared<SerialQueue>("name");
  Texts& ran_ = test::keptForGood<Texts>();  ///< what the tasks noted, without a lock of its own
};

TEST_F(SerialQueueTest, RunsATaskOnAThreadOfItsName) {
  EXPECT_NE(threadOf(*queue_), std::this_thread::get_id());
  EXPECT_THAT(threads_.startedNames(), ElementsAre("name"));
}

TEST_F(SerialQueueTest, RunsTasksInTheirOrder) {
  Texts expected;
  for (int i = 0; i < 100; ++i) add(expected.emplace_back(std::to_string(i)));
  ASSERT_TRUE(runsAll(*queue_));
  EXPECT_EQ(ran_, expected);
}

TEST_F(SerialQueueTest, ReturnsWhileAnEarlierTaskRuns) {
  const auto goOn = holdUp(*queue_);
  EXPECT_TRUE(test::BackgroundCall([queue = queue_] { queue->async([] {}); }).returns());
  goOn();
  EXPECT_TRUE(runsAll(*queue_));
}

TEST_F(SerialQueueTest, RunsATaskThatATaskAddsAfterThoseThatWait) {
  const auto goOn = holdUp(*queue_);
  queue_->async([&ran = ran_, queue = queue_.get()] {
    queue->async([&ran] { ran.emplace_back("added"); });
    ran.emplace_back("adding");
  });
  add("waiting");
  goOn();
  ASSERT_TRUE(runsAll(*queue_));  // perhaps before the added one
  ASSERT_TRUE(runsAll(*queue_));
  EXPECT_THAT(ran_, ElementsAre("adding", "waiting", "added"));
}

TEST_F(SerialQueueTest, RunsTheNextTaskThoughOneThrows) {
  queue_->async([] { throw std::runtime_error("failed"); });
  add("after an exception");
  queue_->async([] { throw 7; });
  add("after something else");
  ASSERT_TRUE(runsAll(*queue_));
  EXPECT_THAT(ran_, ElementsAre("after an exception", "after something else"));
}

TEST_F(SerialQueueTest, RunsItsTasksThoughItIsDropped) {
  const auto goOn = holdUp(*queue_);
  const auto mark = addMark(*queue_);
  const std::weak_ptr watched = queue_;
  queue_.reset();
  goOn();
  EXPECT_TRUE(comes(mark));
  EXPECT_TRUE(waitUntil([&] { return watched.expired(); }));
}

TEST_F(SerialQueueTest, LetsGoOfATaskThatHasRun) {
  auto captured = std::make_shared<int>();
  const std::weak_ptr watched = captured;
  queue_->async([captured = std::move(captured)] {});
  EXPECT_TRUE(waitUntil([&] { return watched.expired(); }));
}

TEST_F(SerialQueueTest, LetsATaskAddOneWhenItGoes) {
  const auto ran = std::make_shared<std::promise<void>>();
  std::shared_ptr<void> atItsEnd(
      nullptr, [ran, queue = queue_.get()](void*) { queue->async([ran] { ran->set_value(); }); });
  queue_->async([atItsEnd = std::move(atItsEnd)] {});
  EXPECT_TRUE(comes(ran->get_future()));
}

TEST_F(SerialQueueTest, HasNoThreadBeforeItsFirstTask) {
  EXPECT_THAT(threads_.startedNames(), IsEmpty());
}

TEST_F(SerialQueueTest, NeedsOneThreadForTasksThatFollowEachOther) {
  const auto goOn = holdUp(*queue_);
  for (int i = 0; i < 10; ++i) add("task");
  const auto mark = addMark(*queue_);
  goOn();
  ASSERT_TRUE(comes(mark));
  EXPECT_EQ(ran_.size(), 10U);
  EXPECT_EQ(threads_.startedNames().size(), 1U);
}

TEST_F(SerialQueueTest, HasAThreadOnlyWhileThereAreTasks) {
  for (std::size_t times = 1; times <= 3; ++times) {
    ASSERT_TRUE(runsAll(*queue_));
    ASSERT_TRUE(isWithoutThread());
    EXPECT_EQ(threads_.startedNames().size(), times);
  }
}

TEST_F(SerialQueueTest, KeepsATaskForTheNextCallWhenThereIsNoThread) {
  threads_.hasThreads = false;
  EXPECT_NO_THROW(add("first"));
  EXPECT_NO_THROW(add("second"));
  EXPECT_THAT(ran_, IsEmpty());
  threads_.hasThreads = true;
  add("third");
  ASSERT_TRUE(runsAll(*queue_));
  EXPECT_THAT(ran_, ElementsAre("first", "second", "third"));
}

TEST_F(SerialQueueTest, MayBeDroppedWithATaskThatFoundNoThread) {
  threads_.hasThreads = false;
  const auto captured = std::make_shared<int>();
  queue_->async([captured] {});
  queue_.reset();
  EXPECT_EQ(captured.use_count(), 1);
}

TEST_F(SerialQueueTest, DoesNotHoldUpAnotherQueue) {
  const auto goOn = holdUp(*queue_);
  EXPECT_TRUE(runsAll(*std::make_shared<SerialQueue>("other")));
  goOn();
  EXPECT_TRUE(runsAll(*queue_));
}

TEST_F(SerialQueueTest, RunsTheTasksOfManyThreadsOneAtATimeInEachThreadsOrder) {
  constexpr std::size_t kThreads = 4;
  constexpr std::size_t kTasks = 250;
  auto& ran = test::keptForGood<std::vector<std::vector<std::size_t>>>(kThreads);
  auto& running = test::keptForGood<std::atomic<int>>(0);
  auto& mostRunning = test::keptForGood<int>(0);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      for (std::size_t k = 0; k < kTasks; ++k) {
        queue_->async([&, i, k] {
          mostRunning = std::max(mostRunning, ++running);
          ran[i].push_back(k);
          --running;
        });
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  ASSERT_TRUE(runsAll(*queue_));
  EXPECT_EQ(mostRunning, 1);
  std::vector<std::size_t> inOrder(kTasks);
  std::iota(inOrder.begin(), inOrder.end(), 0U);
  EXPECT_THAT(ran, testing::Each(inOrder));
}

TEST(SystemQueues, RunTasksOnOtherThreads) {
  DispatchQueues& queues = systemPlatform().queues;
  const auto serial = queues.createSerialQueue("a.label");
  ASSERT_NE(serial, nullptr);
  EXPECT_NE(threadOf(*serial), std::this_thread::get_id());
  EXPECT_NE(threadOf(queues.mainQueue()), std::this_thread::get_id());
}

TEST(SystemQueues, AreOneForTheMainThreadAndNewOnesOtherwise) {
  DispatchQueues& queues = systemPlatform().queues;
  EXPECT_EQ(&queues.mainQueue(), &queues.mainQueue());
  const auto one = queues.createSerialQueue("a.label");
  EXPECT_NE(one, queues.createSerialQueue("a.label"));
  EXPECT_NE(one.get(), &queues.mainQueue());
}

TEST(SystemQueues, RunTheTasksOfAQueueThatNobodyHoldsAnyMore) {
  const auto mark = addMark(*systemPlatform().queues.createSerialQueue("a.label"));
  EXPECT_TRUE(comes(mark));
}

}  // namespace
}  // namespace pxa
