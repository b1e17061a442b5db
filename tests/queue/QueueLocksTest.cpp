#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "queue/VeskBlockQueue.h"
#include "support/BackgroundCall.h"
#include "support/HookedFiles.h"
#include "support/queued_events.h"

namespace pxa {
namespace {

using test::BackgroundCall;
using test::eventAt;
using test::Gate;
using test::HookedFiles;
using test::HookedPlatform;
using test::keptForGood;
using test::kFailedFile;
using test::kLogFile;
using test::Times;
using Operation = HookedFiles::Operation;

VeskBlockQueue& newQueue() {
  return keptForGood<VeskBlockQueue>();
}

/// From now on whoever does that to the file waits at the gate first.
Gate& holdUp(HookedFiles& files, Operation operation, const char* fileName) {
  Gate& gate = keptForGood<Gate>();
  files.before = [&gate, held = HookedFiles::Call{operation, fileName}](const HookedFiles::Call& call) {
    if (call == held) gate.pass();
  };
  return gate;
}

bool areLogsFree(VeskBlockQueue& queue) {
  return BackgroundCall([&] {
           queue.enqueue(eventAt(90));
           queue.frontEnqueue(eventAt(91));
           queue.queueSize();
           queue.dequeue();
           queue.dequeueIfAny();
         })
      .returns();
}

bool areFailedEventsFree(VeskBlockQueue& queue) {
  return BackgroundCall([&] { queue.enqueueFile(eventAt(92)); }).returns();
}

bool areHandlersFree(VeskBlockQueue& queue) {
  return BackgroundCall([&] {
           queue.enqueue_handler("x");
           queue.queueSize_handler();
           queue.dequeue_handler();
         })
      .returns();
}

bool areJobsFree(VeskBlockQueue& queue) {
  return BackgroundCall([&] {
           queue.enqueue_network(std::make_shared<NetworkData>());
           queue.dequeue_network();
         })
      .returns();
}

TEST(QueueLocks, KeepTheLogQueueAloneWhileItIsWritten) {
  const auto [fakes, files] = HookedPlatform::install();
  VeskBlockQueue& queue = newQueue();
  queue.enqueue(eventAt(1));
  Gate& gate = holdUp(files, Operation::WriteAtomically, kLogFile);
  const BackgroundCall saving([&queue] { queue.saveToFile(); });
  ASSERT_TRUE(gate.waitForArrival());
  const BackgroundCall bringing([&queue] { queue.enqueue(eventAt(2)); });
  const BackgroundCall pushing([&queue] { queue.frontEnqueue(eventAt(3)); });
  const BackgroundCall trying([&queue] { return queue.dequeueIfAny(); });
  EXPECT_TRUE(bringing.blocks());
  EXPECT_TRUE(pushing.blocks());
  EXPECT_TRUE(trying.blocks());
  EXPECT_TRUE(areFailedEventsFree(queue));
  EXPECT_TRUE(areHandlersFree(queue));
  EXPECT_TRUE(areJobsFree(queue));
  gate.open();
  EXPECT_TRUE(saving.returns());
  EXPECT_TRUE(bringing.returns());
  EXPECT_TRUE(pushing.returns());
  EXPECT_TRUE(trying.returns());
  EXPECT_EQ(test::timesInLogFile(fakes), Times{1});
}

TEST(QueueLocks, KeepTheFailedEventsAloneWhileTheyAreWritten) {
  const auto [fakes, files] = HookedPlatform::install();
  VeskBlockQueue& queue = newQueue();
  queue.enqueueFile(eventAt(1));
  Gate& gate = holdUp(files, Operation::WriteAtomically, kFailedFile);
  const BackgroundCall saving([&queue] { queue.saveToFile(); });
  ASSERT_TRUE(gate.waitForArrival());
  const BackgroundCall bringing([&queue] { queue.enqueueFile(eventAt(2)); });
  EXPECT_TRUE(bringing.blocks());
  EXPECT_TRUE(areLogsFree(queue));
  EXPECT_TRUE(areHandlersFree(queue));
  EXPECT_TRUE(areJobsFree(queue));
  gate.open();
  EXPECT_TRUE(saving.returns());
  EXPECT_TRUE(bringing.returns());
  EXPECT_EQ(test::timesInFailedFile(fakes), Times{1});
}

TEST(QueueLocks, KeepTheLogQueueAloneWhileItIsReadBack) {
  for (void (VeskBlockQueue::*const reload)() :
       {&VeskBlockQueue::FileToMemory, &VeskBlockQueue::loadFromFile}) {
    const auto [fakes, files] = HookedPlatform::install();
    VeskBlockQueue& queue = newQueue();
    queue.enqueue(eventAt(1));
    queue.saveToFile();
    Gate& gate = holdUp(files, Operation::Read, kLogFile);
    const BackgroundCall loading([&queue, reload] { (queue.*reload)(); });
    ASSERT_TRUE(gate.waitForArrival());
    const BackgroundCall bringing([&queue] { queue.enqueue(eventAt(2)); });
    EXPECT_TRUE(bringing.blocks());
    EXPECT_TRUE(areFailedEventsFree(queue));
    EXPECT_TRUE(areHandlersFree(queue));
    EXPECT_TRUE(areJobsFree(queue));
    gate.open();
    EXPECT_TRUE(loading.returns());
    EXPECT_TRUE(bringing.returns());
    EXPECT_EQ(test::takeTimes(queue), (Times{1, 2}));
  }
}

TEST(QueueLocks, KeepTheFailedEventsAloneWhileTheyAreReadBackToTheirQueue) {
  const auto [fakes, files] = HookedPlatform::install();
  VeskBlockQueue& queue = newQueue();
  queue.enqueueFile(eventAt(1));
  queue.saveToFile();
  Gate& gate = holdUp(files, Operation::Read, kFailedFile);
  const BackgroundCall loading([&queue] { queue.FileToMemory(); });
  ASSERT_TRUE(gate.waitForArrival());
  const BackgroundCall bringing([&queue] { queue.enqueueFile(eventAt(2)); });
  EXPECT_TRUE(bringing.blocks());
  EXPECT_TRUE(areLogsFree(queue));
  EXPECT_TRUE(areHandlersFree(queue));
  gate.open();
  EXPECT_TRUE(loading.returns());
  EXPECT_TRUE(bringing.returns());
}

TEST(QueueLocks, KeepTheLogQueueAloneWhileFailedEventsAreReadIntoIt) {
  const auto [fakes, files] = HookedPlatform::install();
  VeskBlockQueue& queue = newQueue();
  queue.enqueueFile(eventAt(1));
  queue.saveToFile();
  Gate& gate = holdUp(files, Operation::Read, kFailedFile);
  const BackgroundCall loading([&queue] { queue.loadFromFile(); });
  ASSERT_TRUE(gate.waitForArrival());
  const BackgroundCall bringing([&queue] { queue.enqueue(eventAt(2)); });
  EXPECT_TRUE(bringing.blocks());
  EXPECT_TRUE(areFailedEventsFree(queue));
  EXPECT_TRUE(areHandlersFree(queue));
  gate.open();
  EXPECT_TRUE(loading.returns());
  EXPECT_TRUE(bringing.returns());
}

TEST(QueueLocks, AreFreeWhenAFileThatWasReadBackIsDeleted) {
  const auto [fakes, files] = HookedPlatform::install();
  VeskBlockQueue& queue = newQueue();
  queue.enqueue(eventAt(1));
  queue.saveToFile();
  Gate& gate = holdUp(files, Operation::Remove, kLogFile);
  const BackgroundCall loading([&queue] { queue.FileToMemory(); });
  ASSERT_TRUE(gate.waitForArrival());
  EXPECT_EQ(BackgroundCall([&queue] { return queue.dequeue(); }).result()->sendTime(), 1);
  EXPECT_TRUE(areLogsFree(queue));
  EXPECT_TRUE(areFailedEventsFree(queue));
  gate.open();
  EXPECT_TRUE(loading.returns());
}

TEST(QueueLocks, LetNoEventOrJobThatIsMissingWait) {
  const auto [fakes, files] = HookedPlatform::install();
  VeskBlockQueue& queue = newQueue();
  queue.enqueue(eventAt(1));
  Gate& gate = holdUp(files, Operation::WriteAtomically, kLogFile);
  const BackgroundCall saving([&queue] { queue.saveToFile(); });
  ASSERT_TRUE(gate.waitForArrival());
  EXPECT_TRUE(BackgroundCall([&queue] {
                queue.enqueue(nullptr);
                queue.frontEnqueue(nullptr);
                queue.enqueueFile(nullptr);
                queue.enqueue_network(nullptr);
              }).returns());
  gate.open();
  EXPECT_TRUE(saving.returns());
}

TEST(QueueLocks, LetOneOperationOnTheFilesFollowTheOther) {
  const auto [fakes, files] = HookedPlatform::install();
  VeskBlockQueue& queue = newQueue();
  queue.enqueue(eventAt(1));
  queue.enqueueFile(eventAt(2));
  Gate& gate = holdUp(files, Operation::WriteAtomically, kFailedFile);
  const BackgroundCall saving([&queue] { queue.saveToFile(); });
  ASSERT_TRUE(gate.waitForArrival());
  const BackgroundCall loading([&queue] { queue.FileToMemory(); });
  const BackgroundCall loadingAll([&queue] { queue.loadFromFile(); });
  const BackgroundCall savingToo([&queue] { queue.saveToFile(); });
  EXPECT_TRUE(loading.blocks());
  EXPECT_TRUE(loadingAll.blocks());
  EXPECT_TRUE(savingToo.blocks());
  gate.open();
  EXPECT_TRUE(saving.returns());
  EXPECT_TRUE(loading.returns());
  EXPECT_TRUE(loadingAll.returns());
  EXPECT_TRUE(savingToo.returns());
}

TEST(QueueLocks, LetTheFilesOfTwoQueuesBeUsedAtOnce) {
  const auto [fakes, files] = HookedPlatform::install();
  VeskBlockQueue& queue = newQueue();
  VeskBlockQueue& other = newQueue();
  queue.enqueue(eventAt(1));
  other.enqueueFile(eventAt(2));
  Gate& gate = holdUp(files, Operation::WriteAtomically, kLogFile);
  const BackgroundCall saving([&queue] { queue.saveToFile(); });
  ASSERT_TRUE(gate.waitForArrival());
  EXPECT_TRUE(BackgroundCall([&other] { other.saveToFile(); }).returns());
  gate.open();
  EXPECT_TRUE(saving.returns());
}

TEST(QueueLocks, MindNoHandlerQueueThatIsHeldForGood) {
  HookedPlatform::install();
  VeskBlockQueue& queue = newQueue();
  for (int id = 0; id < 11; ++id) queue.enqueue_handler(std::to_string(id));
  ASSERT_TRUE(BackgroundCall([&queue] { return queue.queueSize_handler(); }).blocks());
  EXPECT_TRUE(areLogsFree(queue));
  EXPECT_TRUE(areFailedEventsFree(queue));
  EXPECT_TRUE(areJobsFree(queue));
  EXPECT_TRUE(BackgroundCall([&queue] {
                queue.saveToFile();
                queue.FileToMemory();
                queue.loadFromFile();
              }).returns());
}

TEST(QueueLocks, MindNoThreadsThatWait) {
  VeskBlockQueue& queue = newQueue();
  const BackgroundCall log([&queue] { return queue.dequeue(); });
  const BackgroundCall handler([&queue] { return queue.dequeue_handler(); });
  const BackgroundCall network([&queue] { return queue.dequeue_network(); });
  ASSERT_TRUE(log.blocks());
  ASSERT_TRUE(handler.blocks());
  ASSERT_TRUE(network.blocks());
  EXPECT_TRUE(areFailedEventsFree(queue));
  EXPECT_EQ(BackgroundCall([&queue] { return queue.queueSize_handler(); }).result(), 0);
  EXPECT_TRUE(BackgroundCall([&queue] {
                queue.enqueue_network(std::make_shared<NetworkData>());
                queue.enqueue_handler("0");
                queue.enqueue(eventAt(1));
              }).returns());
  EXPECT_TRUE(log.returns());
  EXPECT_TRUE(handler.returns());
  EXPECT_TRUE(network.returns());
}

TEST(QueueLocks, LetAThreadThatKeptTheHandlerQueueForGoodWriteToTheConsole) {
  const auto [fakes, files] = HookedPlatform::install();
  VeskBlockQueue& queue = newQueue();
  for (int id = 0; id < 11; ++id) queue.enqueue_handler(std::to_string(id));
  fakes.files.put(kLogFile, "no archive");
  queue.FileToMemory();
  EXPECT_EQ(fakes.log.lines().size(), 1U);
}

}  // namespace
}  // namespace pxa
