#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <pxalog/Diagnostics.h>

#include "diagnostics/Ledger.h"
#include "queue/VeskBlockQueue.h"
#include "support/FakePlatform.h"
#include "support/queued_events.h"

namespace pxa {
namespace {

using test::eventAt;
using test::FakePlatform;
using test::timesInFailedFile;
using test::timesInLogFile;

constexpr int kProducers = 3;
constexpr int kConsumers = 3;
/// Stands in an event that ends the consumer that takes it.
constexpr std::int64_t kLast = -1;

/// How often each of the events 0, 1, … was taken.
using Taken = std::vector<std::atomic<int>>;

/// Checks, until it is told to stop, that every snapshot adds up.
class Auditor {
 public:
  Auditor()
      : thread_([this] {
          while (!stops_) {
            const Diagnostics::Events events = Diagnostics::snapshot().events;
            if (events.total() != events.entered || isWrapped(events)) ++faults_;
            std::this_thread::yield();
          }
        }) {}
  Auditor(const Auditor&) = delete;
  Auditor& operator=(const Auditor&) = delete;
  ~Auditor() {
    stops_ = true;
    thread_.join();
    EXPECT_EQ(faults_, 0);
  }

 private:
  /// Whether a place has lost more events than it had.
  static bool isWrapped(const Diagnostics::Events& events) {
    for (const std::uint64_t place :
         {events.waiting, events.gathered, events.failed, events.saved, events.dropped.queueFull,
          events.dropped.trimmedOnReload, events.dropped.fileReplaced})
      if (place > events.entered) return true;
    return false;
  }

  std::atomic<bool> stops_ = false;
  std::atomic<int> faults_ = 0;
  std::thread thread_;
};

void joinAll(std::vector<std::thread>& threads) {
  for (std::thread& thread : threads) thread.join();
}

/// Takes events the way the send loop does until it takes a last one.
void consume(VeskBlockQueue& queue, Taken& taken) {
  while (true) {
    for (std::int32_t left = queue.queueSize(); left > 0; --left) {
      const VeskEventRef event = queue.dequeueIfAny();
      if (event == nullptr) break;
      if (event->sendTime() == kLast) return;
      ++taken[static_cast<std::size_t>(event->sendTime())];
    }
  }
}

int sumOf(const Taken& taken) {
  int sum = 0;
  for (const std::atomic<int>& times : taken) sum += times;
  return sum;
}

TEST(QueueStress, AccountsForEveryEventOfManyProducersAndConsumers) {
  constexpr int kEach = 5000;
  VeskBlockQueue queue;
  Taken taken(kProducers * kEach);
  {
    const Auditor auditor;
    std::vector<std::thread> consumers;
    for (int i = 0; i < kConsumers; ++i) consumers.emplace_back([&] { consume(queue, taken); });
    std::vector<std::thread> producers;
    for (int producer = 0; producer < kProducers; ++producer)
      producers.emplace_back([&queue, producer] {
        for (int i = 0; i < kEach; ++i) {
          const VeskEventRef event = eventAt(producer * kEach + i);
          if (i % 4 == 3)
            queue.frontEnqueue(event);
          else
            queue.enqueue(event);
        }
      });
    joinAll(producers);
    for (int i = 0; i < kConsumers; ++i) queue.enqueue(eventAt(kLast));
    joinAll(consumers);
  }
  for (const std::atomic<int>& times : taken) ASSERT_LE(times, 1);
  const Diagnostics::Events events = Diagnostics::snapshot().events;
  EXPECT_EQ(events.entered, kProducers * kEach + kConsumers);
  EXPECT_EQ(events.gathered, static_cast<std::uint64_t>(sumOf(taken) + kConsumers));
  EXPECT_EQ(events.waiting, test::takeEvents(queue).size());
  EXPECT_EQ(events.gathered + events.waiting + events.dropped.queueFull, events.entered);
}

TEST(QueueStress, KeepsTheOrderOfEachProducer) {
  constexpr int kEach = 5000;
  VeskBlockQueue queue;
  std::vector<std::thread> producers;
  for (int producer = 0; producer < kProducers; ++producer)
    producers.emplace_back([&queue, producer] {
      for (int i = 0; i < kEach; ++i) queue.enqueue(eventAt(producer * kEach + i));
    });
  std::thread consumer([&queue] {
    std::array<std::int64_t, kProducers> last{-1, -1, -1};
    while (true) {
      const VeskEventRef event = queue.dequeue();
      if (event->sendTime() == kLast) return;
      std::int64_t& before = last[static_cast<std::size_t>(event->sendTime() / kEach)];
      EXPECT_LT(before, event->sendTime());
      before = event->sendTime();
    }
  });
  joinAll(producers);
  queue.enqueue(eventAt(kLast));
  consumer.join();
}

TEST(QueueStress, GivesEveryEventToOneOfManyConsumersWhileNoneIsDropped) {
  constexpr int kEach = 2000;
  VeskBlockQueue queue;
  Taken taken(kProducers * kEach);
  std::atomic<int> room = 1500;
  std::vector<std::thread> consumers;
  for (int i = 0; i < kConsumers; ++i)
    consumers.emplace_back([&] {
      while (true) {
        const VeskEventRef event = queue.dequeue();
        if (event->sendTime() == kLast) return;
        ++room;
        ++taken[static_cast<std::size_t>(event->sendTime())];
      }
    });
  std::vector<std::thread> producers;
  for (int producer = 0; producer < kProducers; ++producer)
    producers.emplace_back([&, producer] {
      for (int i = 0; i < kEach; ++i) {
        while (--room < 0) {
          ++room;
          std::this_thread::yield();
        }
        queue.enqueue(eventAt(producer * kEach + i));
      }
    });
  joinAll(producers);
  for (int i = 0; i < kConsumers; ++i) queue.enqueue(eventAt(kLast));
  joinAll(consumers);
  for (const std::atomic<int>& times : taken) ASSERT_EQ(times, 1);
}

TEST(QueueStress, AccountsForEveryEventWhileThreadsSaveAndReload) {
  constexpr int kEach = 3000;
  FakePlatform& fakes = FakePlatform::install();
  VeskBlockQueue queue;
  std::atomic<int> running = kProducers;
  std::atomic<std::uint64_t> taken = 0;
  {
    const Auditor auditor;
    std::vector<std::thread> threads;
    for (int producer = 0; producer < kProducers; ++producer)
      threads.emplace_back([&] {
        for (int i = 0; i < kEach; ++i) {
          if (i % 5 == 4) {
            ledger().enter(&Ledger::Events::failed);
            queue.enqueueFile(eventAt(i));
          } else {
            queue.enqueue(eventAt(i));
          }
        }
        --running;
      });
    threads.emplace_back([&] {
      while (running > 0) {
        if (queue.dequeueIfAny() != nullptr) ++taken;
        std::this_thread::yield();
      }
    });
    for (void (VeskBlockQueue::*const operation)() :
         {&VeskBlockQueue::saveToFile, &VeskBlockQueue::saveToFile, &VeskBlockQueue::FileToMemory,
          &VeskBlockQueue::loadFromFile})
      threads.emplace_back([&queue, &running, operation] {
        while (running > 0) {
          (queue.*operation)();
          std::this_thread::yield();
        }
      });
    joinAll(threads);
  }
  const Diagnostics::Events events = Diagnostics::snapshot().events;
  EXPECT_EQ(events.entered, kProducers * kEach);
  EXPECT_EQ(events.gathered, taken);
  EXPECT_EQ(events.total(), events.entered);
  const std::size_t logsInFile = timesInLogFile(fakes).value_or(test::Times()).size();
  const std::size_t failedInFile = timesInFailedFile(fakes).value_or(test::Times()).size();
  EXPECT_EQ(events.saved, logsInFile + failedInFile);
  EXPECT_EQ(events.waiting, test::takeEvents(queue).size());
  fakes.files.removeFile(VeskBlockQueue::fileFilePath());
  queue.saveToFile();
  EXPECT_EQ(events.failed, timesInFailedFile(fakes).value_or(test::Times()).size());
  EXPECT_EQ(fakes.log.lines(), std::vector<std::string>{});
}

TEST(QueueStress, LosesNoEventToSavingAndReloadingAlone) {
  constexpr int kEvents = 1000;
  FakePlatform::install();
  VeskBlockQueue queue;
  for (int i = 0; i < kEvents; ++i) queue.enqueue(eventAt(i));
  std::atomic<int> running = 2;
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i)
    threads.emplace_back([&] {
      for (int pass = 0; pass < 30; ++pass) {
        queue.saveToFile();
        queue.FileToMemory();
      }
      --running;
    });
  threads.emplace_back([&] {
    while (running > 0) {
      queue.loadFromFile();
      std::this_thread::yield();
    }
  });
  joinAll(threads);
  queue.FileToMemory();
  EXPECT_EQ(test::takeTimes(queue), test::timesFrom(0, kEvents));
  EXPECT_EQ(Diagnostics::snapshot().events.dropped.total(), 0U);
}

}  // namespace
}  // namespace pxa
