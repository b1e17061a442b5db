#include <chrono>
#include <gtest/gtest.h>
#include <memory>
#include <thread>

#include "platform/RunLoop.h"
#include "support/BackgroundCall.h"
#include "support/wait.h"

namespace pxa {
namespace {

using namespace std::chrono_literals;
using test::BackgroundCall;

TEST(RunLoop, RunsUntilItIsStopped) {
  const auto runLoop = std::make_shared<RunLoop>();
  BackgroundCall call([runLoop] { return runLoop->run(test::kPatience); });
  EXPECT_TRUE(call.blocks());
  runLoop->stop();
  EXPECT_TRUE(call.result());
}

TEST(RunLoop, DoesNotRunOnceItWasStopped) {
  RunLoop runLoop;
  runLoop.stop();
  EXPECT_TRUE(runLoop.run(0ms));
  EXPECT_TRUE(runLoop.run(0ms));
}

TEST(RunLoop, RunsNoLongerThanItIsTold) {
  RunLoop runLoop;
  EXPECT_FALSE(runLoop.run(1ms));
}

TEST(RunLoop, MayRunAgainWhenItsTimeWasOver) {
  RunLoop runLoop;
  EXPECT_FALSE(runLoop.run(1ms));
  runLoop.stop();
  EXPECT_TRUE(runLoop.run(0ms));
}

TEST(CurrentRunLoop, IsThereForAScopeOfItsThread) {
  EXPECT_EQ(RunLoop::current(), nullptr);
  {
    const CurrentRunLoop runLoop;
    EXPECT_NE(RunLoop::current(), nullptr);
  }
  EXPECT_EQ(RunLoop::current(), nullptr);
}

TEST(CurrentRunLoop, IsNoOtherThreads) {
  const CurrentRunLoop runLoop;
  BackgroundCall call([] { return RunLoop::current() == nullptr; });
  EXPECT_TRUE(call.result());
}

TEST(CurrentRunLoop, IsStoppedByWhoeverKeepsIt) {
  CurrentRunLoop runLoop;
  std::thread([kept = RunLoop::current()] { kept->stop(); }).join();
  EXPECT_TRUE(runLoop.run(0ms));
}

TEST(CurrentRunLoop, MayBeStoppedAfterItsScope) {
  std::shared_ptr<RunLoop> kept;
  {
    const CurrentRunLoop runLoop;
    kept = RunLoop::current();
  }
  kept->stop();
  EXPECT_TRUE(kept->run(0ms));
}

TEST(CurrentRunLoop, IsNotStoppedByTheEndOfAnEarlierOne) {
  std::shared_ptr<RunLoop> earlier;
  {
    const CurrentRunLoop runLoop;
    earlier = RunLoop::current();
  }
  CurrentRunLoop runLoop;
  earlier->stop();
  EXPECT_FALSE(runLoop.run(0ms));
}

}  // namespace
}  // namespace pxa
