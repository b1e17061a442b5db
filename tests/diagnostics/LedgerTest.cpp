#include <atomic>
#include <cstdint>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "diagnostics/Ledger.h"

namespace pxa {
namespace {

using Events = Ledger::Events;
using Dropped = Ledger::Dropped;

constexpr Ledger::Reason kReasons[] = {
    &Dropped::queueFull,       &Dropped::noHandleId,      &Dropped::unknownHandle,
    &Dropped::noProjectList,   &Dropped::listReplaced,    &Dropped::sessionSwitch,
    &Dropped::crashSwitch,     &Dropped::logSwitch,       &Dropped::duplicate,
    &Dropped::tooManyFailures, &Dropped::noJsonForm,      &Dropped::noHandleForRequest,
    &Dropped::unreadableBody,  &Dropped::trimmedOnReload, &Dropped::fileReplaced,
    &Dropped::outOfMemory,
};
static_assert(sizeof(kReasons) / sizeof(*kReasons) == sizeof(Dropped) / sizeof(std::uint64_t));

constexpr Ledger::Place kPlaces[] = {
    &Events::waiting, &Events::gathered, &Events::inFlight,
    &Events::failed,  &Events::saved,    &Events::delivered,
};
static_assert(sizeof(kPlaces) / sizeof(*kPlaces) + 1 ==
              (sizeof(Events) - sizeof(Dropped)) / sizeof(std::uint64_t));

TEST(Ledger, IsEmptyAtFirst) {
  const Ledger ledger;
  EXPECT_EQ(ledger.snapshot().events.entered, 0U);
  EXPECT_EQ(ledger.snapshot().events.total(), 0U);
}

TEST(Ledger, SumsUpEveryReason) {
  Dropped dropped;
  std::uint64_t expected = 0;
  for (const Ledger::Reason reason : kReasons) {
    dropped.*reason = expected + 1;
    expected += expected + 1;
    EXPECT_EQ(dropped.total(), expected);
  }
}

TEST(Ledger, SumsUpEveryPlace) {
  Events events;
  std::uint64_t expected = 0;
  for (const Ledger::Place place : kPlaces) {
    events.*place = expected + 1;
    expected += expected + 1;
    EXPECT_EQ(events.total(), expected);
  }
  events.dropped.queueFull = 1000;
  EXPECT_EQ(events.total(), expected + 1000);
}

TEST(Ledger, CountsWhatEnters) {
  for (const Ledger::Place place : kPlaces) {
    Ledger ledger;
    ledger.enter(place);
    ledger.enter(place, 4);
    EXPECT_EQ(ledger.snapshot().events.*place, 5U);
    EXPECT_EQ(ledger.snapshot().events.entered, 5U);
    EXPECT_EQ(ledger.snapshot().events.total(), 5U);
  }
}

TEST(Ledger, KeepsTheSumWhenEventsMove) {
  Ledger ledger;
  ledger.enter(&Events::waiting, 5);
  ledger.move(&Events::waiting, &Events::gathered, 3);
  ledger.move(&Events::gathered, &Events::inFlight);
  const Events events = ledger.snapshot().events;
  EXPECT_EQ(events.waiting, 2U);
  EXPECT_EQ(events.gathered, 2U);
  EXPECT_EQ(events.inFlight, 1U);
  EXPECT_EQ(events.total(), events.entered);
}

TEST(Ledger, KeepsTheSumWhenEventsAreDropped) {
  for (const Ledger::Reason reason : kReasons) {
    Ledger ledger;
    ledger.enter(&Events::waiting, 5);
    ledger.drop(&Events::waiting, reason, 2);
    ledger.drop(&Events::waiting, reason);
    EXPECT_EQ(ledger.snapshot().events.dropped.*reason, 3U);
    EXPECT_EQ(ledger.snapshot().events.waiting, 2U);
    EXPECT_EQ(ledger.snapshot().events.total(), ledger.snapshot().events.entered);
  }
}

TEST(Ledger, CountsRequestsByTheirOutcome) {
  Ledger ledger;
  for (int i = 0; i < 6; ++i) ledger.requestStarted();
  for (const int status : {200, 200, 201, 500}) ledger.requestAnswered(status);
  ledger.requestFailed("no connection");
  const Diagnostics::Requests requests = ledger.snapshot().requests;
  EXPECT_EQ(requests.started, 6U);
  EXPECT_EQ(requests.delivered, 2U);
  EXPECT_EQ(requests.refused, 2U);
  EXPECT_EQ(requests.failed, 1U);
}

TEST(Ledger, KnowsNoStatusBeforeTheFirstAnswer) {
  Ledger ledger;
  ledger.requestStarted();
  ledger.requestFailed("no connection");
  EXPECT_EQ(ledger.snapshot().requests.lastHttpStatus, 0);
}

TEST(Ledger, RemembersTheLastStatus) {
  Ledger ledger;
  ledger.requestAnswered(200);
  ledger.requestAnswered(503);
  EXPECT_EQ(ledger.snapshot().requests.lastHttpStatus, 503);
}

TEST(Ledger, KnowsNoFailureBeforeTheFirst) {
  Ledger ledger;
  ledger.requestAnswered(500);
  EXPECT_TRUE(ledger.snapshot().requests.lastTransportError.isNil());
}

TEST(Ledger, RemembersTheLastFailure) {
  Ledger ledger;
  ledger.requestFailed("first");
  ledger.requestFailed("second");
  EXPECT_EQ(ledger.snapshot().requests.lastTransportError, "second");
}

TEST(Ledger, IsRightInEverySnapshotWhileThreadsKeepTheBooks) {
  Ledger ledger;
  std::atomic<int> running = 3;
  std::vector<std::thread> threads;
  threads.reserve(3);
  for (int i = 0; i < 3; ++i)
    threads.emplace_back([&] {
      for (int event = 0; event < 2000; ++event) {
        ledger.enter(&Events::waiting);
        ledger.move(&Events::waiting, &Events::inFlight);
        ledger.drop(&Events::inFlight, &Dropped::duplicate);
      }
      --running;
    });
  while (running > 0) {
    const Events events = ledger.snapshot().events;
    EXPECT_EQ(events.total(), events.entered);
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(ledger.snapshot().events.dropped.duplicate, 6000U);
}

TEST(Ledger, IsOneForTheWholeProcess) {
  ledger().requestStarted();
  EXPECT_EQ(ledger().snapshot().requests.started, 1U);
}

}  // namespace
}  // namespace pxa
