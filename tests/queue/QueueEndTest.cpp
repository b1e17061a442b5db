#include <gtest/gtest.h>

#include <pxalog/Diagnostics.h>

#include "diagnostics/Ledger.h"
#include "queue/VeskBlockQueue.h"
#include "support/queued_events.h"

namespace pxa {
namespace {

TEST(BlockQueueEnd, GivesUpWhatTheQueueAndItsFilesHold) {
  test::FakePlatform::install();
  {
    VeskBlockQueue queue;
    queue.enqueue(test::eventAt(1));
    queue.saveToFile();
    queue.enqueue(test::eventAt(2));
    ledger().enter(&Ledger::Events::failed);  // whoever files a failed event says where it came from
    test::enqueueAllAsFailed(queue, {3});
  }
  const Diagnostics::Events events = Diagnostics::snapshot().events;
  EXPECT_EQ(events.dropped.listReplaced, 3U);
  EXPECT_EQ(events.waiting + events.saved + events.failed, 0U);
  EXPECT_EQ(events.total(), events.entered);
}

}  // namespace
}  // namespace pxa
