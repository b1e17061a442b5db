#include <atomic>
#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <pxalog/NotificationCenter.h>
#include <pxalog/VeskReachability.h>

#include "support/FakePlatform.h"
#include "support/values.h"
#include "support/wait.h"

// What a monitor does while it notifies, and its life.

namespace pxa {
namespace {

using test::FakeReachability;
using test::text;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

using Texts = std::vector<std::string>;

constexpr std::uint32_t kReachable = kReachabilityReachable;
constexpr std::uint32_t kCellular = kReachabilityReachable | kReachabilityIsWWAN;
constexpr std::uint32_t kNotYetReachable =
    kReachabilityReachable | kReachabilityConnectionRequired | kReachabilityTransientConnection;

/// A monitor whose callbacks, and notifications, are noted.
class ReachabilityNotifier : public testing::Test {
 protected:
  ReachabilityNotifier() {
    monitor_->setReachableBlock(note("reachable"));
    monitor_->setUnreachableBlock(note("unreachable"));
    NotificationCenter::defaultCenter().addObserver(this, vesk_kReachabilityChangedNotification,
                                                    [this](const Notification& notification) {
                                                      heard_.emplace_back("notification");
                                                      notifier_ = notification.object.get();
                                                    });
  }
  ~ReachabilityNotifier() override {
    NotificationCenter::defaultCenter().removeObserver(this);
    if (const VeskReachabilityRef left = watched_.lock()) left->stopNotifier();
  }

  VeskReachability::Callback note(const char* what) {
    return [this, what](VeskReachability& monitor) {
      heard_.emplace_back(what);
      calledWith_ = &monitor;
    };
  }
  /// The target of the monitor, to look into; nullptr when it is gone.
  std::shared_ptr<FakeReachability::Target> target() { return system_.targets.at(0).lock(); }
  /// Whether changes reach no callback of the monitor.
  bool isTargetIdle() { return !target()->callback && target()->queue == nullptr; }
  /// The queue of the last start.
  test::FakeQueue& serialQueue() { return *p_.queues.queues.back(); }
  test::FakeQueue& mainQueue() { return p_.queues.main; }
  /// Lets a change arrive and all that follows from it happen; what was heard of it.
  Texts change(std::uint32_t flags) {
    heard_.clear();
    system_.change(flags);
    runQueues();
    return heard_;
  }
  void runQueues() {
    for (const auto& queue : p_.queues.queues) queue->run();
    mainQueue().run();
  }

  test::FakePlatform& p_ = test::FakePlatform::install();
  FakeReachability& system_ = p_.reachability;
  VeskReachabilityRef monitor_ = VeskReachability::reachabilityWithHostname("logs.example.com");
  const VeskReachability* const identity_ = monitor_.get();
  const std::weak_ptr<VeskReachability> watched_ = monitor_;
  Texts heard_;
  const VeskReachability* calledWith_ = nullptr;  ///< the monitor that the last callback was given
  const VeskReachability* notifier_ = nullptr;    ///< the object of the last notification
};

// Starting.

TEST_F(ReachabilityNotifier, StartsOnASerialQueueOfItsOwn) {
  EXPECT_TRUE(monitor_->startNotifier());
  EXPECT_EQ(monitor_->reachabilityObject(), monitor_);
  ASSERT_EQ(p_.queues.queues.size(), 1U);
  EXPECT_EQ(monitor_->reachabilitySerialQueue(), p_.queues.queues[0]);
  EXPECT_EQ(target()->queue, p_.queues.queues[0]);
  EXPECT_THAT(p_.log.lines(), IsEmpty());
}

TEST_F(ReachabilityNotifier, LabelsItsQueue) {
  monitor_->startNotifier();
  EXPECT_THAT(p_.queues.labels, ElementsAre(MatchesRegex("([a-z]+\\.)+[a-z]*reachability")));
}

TEST_F(ReachabilityNotifier, CallsNothingForTheFlagsAsTheyAre) {
  monitor_->startNotifier();
  runQueues();
  EXPECT_THAT(heard_, IsEmpty());
}

struct Failure {
  const char* name;
  void (*arrange)(test::FakePlatform&);
  Texts lines;
};

class ReachabilityNotifierFailure : public ReachabilityNotifier, public testing::WithParamInterface<Failure> {
 protected:
  ReachabilityNotifierFailure() { GetParam().arrange(p_); }
};

INSTANTIATE_TEST_SUITE_P(
    Starts, ReachabilityNotifierFailure,
    testing::Values(
        Failure{"WithoutAQueue", [](test::FakePlatform& p) { p.queues.createsQueues = false; }, {}},
        Failure{"WithoutACallback",
                [](test::FakePlatform& p) { p.reachability.startsNotifiers = false; },
                {"SCNetworkReachabilitySetCallback() failed: the system's words"}},
        Failure{"WithoutAnAttachedQueue",
                [](test::FakePlatform& p) { p.reachability.attachesQueues = false; },
                {"SCNetworkReachabilitySetDispatchQueue() failed: the system's words"}}),
    [](const auto& start) { return start.param.name; });

TEST_P(ReachabilityNotifierFailure, IsToldByTheResultAndOnTheConsole) {
  EXPECT_FALSE(monitor_->startNotifier());
  EXPECT_EQ(p_.log.lines(), GetParam().lines);
}

TEST_P(ReachabilityNotifierFailure, LeavesTheMonitorIdle) {
  monitor_->startNotifier();
  EXPECT_EQ(monitor_->reachabilitySerialQueue(), nullptr);
  EXPECT_EQ(monitor_->reachabilityObject(), nullptr);
  EXPECT_TRUE(isTargetIdle());
  EXPECT_THAT(change(0), IsEmpty());
}

TEST_P(ReachabilityNotifierFailure, DoesNotKeepTheMonitorAlive) {
  monitor_->startNotifier();
  monitor_.reset();
  EXPECT_TRUE(watched_.expired());
}

TEST_P(ReachabilityNotifierFailure, MayBeFollowedByASuccess) {
  monitor_->startNotifier();
  p_.queues.createsQueues = system_.startsNotifiers = system_.attachesQueues = true;
  EXPECT_TRUE(monitor_->startNotifier());
  EXPECT_THAT(change(kReachable), ElementsAre("reachable", "notification"));
}

TEST_F(ReachabilityNotifier, IsIdleAfterALaterStartThatFails) {
  monitor_->startNotifier();
  p_.queues.createsQueues = false;
  EXPECT_FALSE(monitor_->startNotifier());
  EXPECT_EQ(monitor_->reachabilityObject(), nullptr);
  EXPECT_THAT(change(0), IsEmpty());
}

TEST_F(ReachabilityNotifier, SaysInThePlatformsWordsOfTheMomentWhyItDoesNotStart) {
  system_.startsNotifiers = false;
  for (const char* words : {"Permission denied", ""}) {
    system_.error = words;
    monitor_->startNotifier();
    EXPECT_EQ(p_.log.lines().back(), std::string("SCNetworkReachabilitySetCallback() failed: ") + words);
  }
}

TEST_F(ReachabilityNotifier, DoesNotStartWithoutATarget) {
  monitor_->setReachabilityRef(nullptr);
  EXPECT_FALSE(monitor_->startNotifier());
  EXPECT_EQ(monitor_->reachabilityObject(), nullptr);
  EXPECT_EQ(monitor_->reachabilitySerialQueue(), nullptr);
  EXPECT_THAT(p_.log.lines(),
              ElementsAre(testing::StartsWith("SCNetworkReachabilitySetCallback() failed: ")));
}

TEST_F(ReachabilityNotifier, TellsAChangeOnceThoughItWasStartedTwice) {
  monitor_->startNotifier();
  EXPECT_TRUE(monitor_->startNotifier());
  EXPECT_THAT(change(0), ElementsAre("unreachable", "notification"));
}

// Changes.

TEST_F(ReachabilityNotifier, RunsTheCallbackForTheNewFlagsAlone) {
  const struct {
    std::uint32_t flags;
    bool reachableOnWWAN;
    const char* callback;
  } rows[] = {
      {kReachable, true, "reachable"},
      {0, true, "unreachable"},
      {kCellular, true, "reachable"},
      {kNotYetReachable, true, "unreachable"},
      {kCellular, false, "unreachable"},
      {kReachable, false, "reachable"},
      {kReachabilityIsWWAN, true, "unreachable"},
  };
  monitor_->startNotifier();
  for (const auto& row : rows) {
    monitor_->setReachableOnWWAN(row.reachableOnWWAN);
    EXPECT_THAT(change(row.flags), ElementsAre(row.callback, "notification")) << std::hex << row.flags;
    EXPECT_EQ(calledWith_, monitor_.get());
  }
}

TEST_F(ReachabilityNotifier, RunsTheCallbackOnTheSerialQueueAndPostsOnTheMainQueue) {
  monitor_->startNotifier();
  system_.change(0);
  EXPECT_THAT(heard_, IsEmpty());
  serialQueue().run();
  EXPECT_THAT(heard_, ElementsAre("unreachable"));
  mainQueue().run();
  EXPECT_THAT(heard_, ElementsAre("unreachable", "notification"));
}

TEST_F(ReachabilityNotifier, PostsItselfAsTheObject) {
  EXPECT_STREQ(vesk_kReachabilityChangedNotification, "vesk_kReachabilityChangedNotification");
  monitor_->startNotifier();
  change(0);
  EXPECT_EQ(notifier_, monitor_.get());
}

TEST_F(ReachabilityNotifier, TellsEveryChangeInOrder) {
  monitor_->startNotifier();
  for (const std::uint32_t flags : {0U, kReachable, kCellular, 0U}) system_.change(flags);
  serialQueue().run();
  EXPECT_THAT(heard_, ElementsAre("unreachable", "reachable", "reachable", "unreachable"));
  heard_.clear();
  EXPECT_EQ(mainQueue().run(), 4U);
  EXPECT_THAT(heard_, ElementsAre("notification", "notification", "notification", "notification"));
}

TEST_F(ReachabilityNotifier, TellsAChangeThatItIsHandedDirectly) {
  monitor_->reachabilityChanged(kReachable);
  EXPECT_THAT(heard_, ElementsAre("reachable"));
  mainQueue().run();
  EXPECT_THAT(heard_, ElementsAre("reachable", "notification"));
}

TEST_F(ReachabilityNotifier, PostsThoughNoCallbackIsSet) {
  const auto silent = VeskReachability::reachabilityWithHostname("other.example");
  for (const std::uint32_t flags : {0U, kReachable}) {
    heard_.clear();
    silent->reachabilityChanged(flags);
    mainQueue().run();
    EXPECT_THAT(heard_, ElementsAre("notification"));
    EXPECT_EQ(notifier_, silent.get());
  }
}

TEST_F(ReachabilityNotifier, PostsThoughTheCallbackIsEmpty) {
  monitor_->startNotifier();
  monitor_->setReachableBlock({});
  EXPECT_THAT(change(kReachable), ElementsAre("notification"));
  EXPECT_THAT(change(0), ElementsAre("unreachable", "notification"));
}

TEST_F(ReachabilityNotifier, PostsThoughTheCallbackThrows) {
  monitor_->startNotifier();
  monitor_->setReachableBlock([](VeskReachability&) { throw std::runtime_error("the host's failure"); });
  EXPECT_THAT(change(kReachable), ElementsAre("notification"));
  monitor_->setUnreachableBlock([](VeskReachability&) { throw 7; });
  EXPECT_THAT(change(0), ElementsAre("notification"));
}

TEST_F(ReachabilityNotifier, RunsTheCallbackThatIsSetWhenTheChangeArrives) {
  monitor_->startNotifier();
  system_.change(kReachable);
  monitor_->setReachableBlock(note("replaced"));
  serialQueue().run();
  EXPECT_THAT(heard_, ElementsAre("replaced"));
}

TEST_F(ReachabilityNotifier, LetsACallbackTakeItselfAway) {
  monitor_->startNotifier();
  monitor_->setReachableBlock([this, own = std::string("captured by the callback")](VeskReachability& its) {
    its.setReachableBlock({});
    heard_.push_back(own);
  });
  EXPECT_THAT(change(kReachable), ElementsAre("captured by the callback", "notification"));
  EXPECT_THAT(change(kReachable), ElementsAre("notification"));
}

TEST_F(ReachabilityNotifier, LetsACallbackAskTheMonitor) {
  Texts answers;
  monitor_->setReachableBlock([&answers](VeskReachability& its) {
    answers.push_back(text(its.currentReachabilityString()) + ", " + text(its.currentReachabilityFlags()));
  });
  monitor_->startNotifier();
  change(kCellular);
  EXPECT_THAT(answers, ElementsAre("Cellular, WR -------"));
}

// Stopping.

TEST_F(ReachabilityNotifier, IsIdleOnceItWasStopped) {
  monitor_->startNotifier();
  monitor_->stopNotifier();
  EXPECT_EQ(monitor_->reachabilitySerialQueue(), nullptr);
  EXPECT_EQ(monitor_->reachabilityObject(), nullptr);
  EXPECT_TRUE(isTargetIdle());
  EXPECT_THAT(change(0), IsEmpty());
}

TEST_F(ReachabilityNotifier, KeepsTargetAndCallbacksWhenItIsStopped) {
  monitor_->startNotifier();
  monitor_->stopNotifier();
  EXPECT_NE(monitor_->reachabilityRef(), nullptr);
  EXPECT_TRUE(monitor_->reachableBlock());
  EXPECT_TRUE(monitor_->unreachableBlock());
  EXPECT_TRUE(monitor_->isReachable());
}

TEST_F(ReachabilityNotifier, MayBeStoppedWithoutAStartAndTwice) {
  monitor_->stopNotifier();
  EXPECT_TRUE(monitor_->startNotifier());
  monitor_->stopNotifier();
  monitor_->stopNotifier();
  EXPECT_EQ(monitor_->reachabilityObject(), nullptr);
}

TEST_F(ReachabilityNotifier, StartsAgainOnANewQueue) {
  monitor_->startNotifier();
  monitor_->stopNotifier();
  EXPECT_TRUE(monitor_->startNotifier());
  ASSERT_EQ(p_.queues.queues.size(), 2U);
  EXPECT_EQ(monitor_->reachabilitySerialQueue(), p_.queues.queues[1]);
  EXPECT_THAT(change(0), ElementsAre("unreachable", "notification"));
}

TEST_F(ReachabilityNotifier, RunsNoCallbackForAChangeThatArrivesAfterTheStop) {
  monitor_->startNotifier();
  system_.change(0);
  monitor_->stopNotifier();
  runQueues();
  EXPECT_THAT(heard_, IsEmpty());
}

TEST_F(ReachabilityNotifier, PostsWhatWasOnItsWayToTheMainQueueWhenItStopped) {
  monitor_->startNotifier();
  system_.change(0);
  serialQueue().run();
  monitor_->stopNotifier();
  mainQueue().run();
  EXPECT_THAT(heard_, ElementsAre("unreachable", "notification"));
}

TEST_F(ReachabilityNotifier, MayLoseItsTargetWhileItNotifies) {
  monitor_->startNotifier();
  monitor_->setReachabilityRef(nullptr);
  EXPECT_EQ(target(), nullptr);
  EXPECT_EQ(monitor_->reachabilityFlags(), 0U);
  EXPECT_THAT(change(kReachable), IsEmpty());
  monitor_->stopNotifier();
  monitor_.reset();
  EXPECT_TRUE(watched_.expired());
}

// Dropping.

TEST_F(ReachabilityNotifier, LivesAndTellsWithoutAnybodyElseUntilItIsStopped) {
  monitor_->startNotifier();
  monitor_.reset();
  EXPECT_THAT(change(0), ElementsAre("unreachable", "notification"));
  ASSERT_FALSE(watched_.expired());
  watched_.lock()->stopNotifier();
  EXPECT_TRUE(watched_.expired());
}

TEST_F(ReachabilityNotifier, MayEndWithItsStop) {
  VeskReachability& unowned = *monitor_;
  monitor_->startNotifier();
  monitor_.reset();
  unowned.stopNotifier();
  EXPECT_TRUE(watched_.expired());
}

TEST_F(ReachabilityNotifier, DiesWhenItIsDroppedAfterTheStop) {
  monitor_->startNotifier();
  monitor_->stopNotifier();
  EXPECT_FALSE(watched_.expired());
  monitor_.reset();
  EXPECT_TRUE(watched_.expired());
}

TEST_F(ReachabilityNotifier, LetsGoOfTargetAndCallbacksWhenItDies) {
  const auto captured = std::make_shared<int>();
  monitor_->setReachableBlock([captured](VeskReachability&) {});
  monitor_->setUnreachableBlock([captured](VeskReachability&) {});
  monitor_.reset();
  EXPECT_EQ(target(), nullptr);
  EXPECT_EQ(captured.use_count(), 1);
}

TEST_F(ReachabilityNotifier, StopsWhenItDies) {
  const auto target = this->target();
  monitor_->startNotifier();
  monitor_->setReachabilityObject(nullptr);
  monitor_.reset();
  EXPECT_TRUE(watched_.expired());
  EXPECT_TRUE(isTargetIdle());
}

TEST_F(ReachabilityNotifier, RunsNoCallbackForAChangeThatArrivesAfterItsEnd) {
  monitor_->startNotifier();
  system_.change(0);
  monitor_->stopNotifier();
  monitor_.reset();
  EXPECT_TRUE(watched_.expired());
  runQueues();
  EXPECT_THAT(heard_, IsEmpty());
}

TEST_F(ReachabilityNotifier, LivesUntilItsLastNotificationIsPosted) {
  monitor_->startNotifier();
  system_.change(0);
  serialQueue().run();
  monitor_->stopNotifier();
  monitor_.reset();
  EXPECT_FALSE(watched_.expired());
  mainQueue().run();
  EXPECT_EQ(notifier_, identity_);
  EXPECT_TRUE(watched_.expired());
}

TEST_F(ReachabilityNotifier, MayBeStoppedAndDroppedByItsOwnCallback) {
  monitor_->setUnreachableBlock([this](VeskReachability& its) {
    monitor_.reset();
    its.stopNotifier();
    heard_.push_back(text(its.currentReachabilityFlags()));
  });
  monitor_->startNotifier();
  EXPECT_THAT(change(0), ElementsAre("-- -------", "notification"));
  EXPECT_TRUE(watched_.expired());
}

TEST_F(ReachabilityNotifier, MayBeStartedAgainByItsOwnCallback) {
  monitor_->setUnreachableBlock([](VeskReachability& its) {
    its.stopNotifier();
    EXPECT_TRUE(its.startNotifier());
  });
  monitor_->startNotifier();
  EXPECT_THAT(change(0), ElementsAre("notification"));
  EXPECT_THAT(change(kReachable), ElementsAre("reachable", "notification"));
}

TEST_F(ReachabilityNotifier, MayBeStoppedAndDroppedByTheObserverOfItsNotification) {
  monitor_->startNotifier();
  NotificationCenter::defaultCenter().addObserver(this, vesk_kReachabilityChangedNotification,
                                                  [this](const Notification& notification) {
                                                    monitor_.reset();
                                                    notification.object->stopNotifier();
                                                  });
  change(0);
  EXPECT_TRUE(watched_.expired());
}

TEST_F(ReachabilityNotifier, MayBeStoppedAndDroppedOnAnotherThread) {
  monitor_->startNotifier();
  std::thread([monitor = std::move(monitor_)] { monitor->stopNotifier(); }).join();
  EXPECT_TRUE(watched_.expired());
}

// Threads, with the system's own queues.

/// A target that many threads use at once.
class SharedTarget final : public ReachabilityTarget {
 public:
  std::optional<std::uint32_t> flags() override { return flags_.load(); }
  bool setCallback(Callback callback) override {
    const std::lock_guard lock(mutex_);
    callback_.swap(callback);
    return true;
  }
  bool setDispatchQueue(std::shared_ptr<DispatchQueue> queue) override {
    const std::lock_guard lock(mutex_);
    queue_.swap(queue);
    return true;
  }
  String lastError() override { return nullptr; }

  void change(std::uint32_t flags) {
    flags_ = flags;
    const std::lock_guard lock(mutex_);
    if (callback_ && queue_ != nullptr) queue_->async([callback = callback_, flags] { callback(flags); });
  }
  bool isIdle() {
    const std::lock_guard lock(mutex_);
    return !callback_ && queue_ == nullptr;
  }

 private:
  std::atomic<std::uint32_t> flags_ = kReachabilityReachable;
  std::mutex mutex_;
  Callback callback_;
  std::shared_ptr<DispatchQueue> queue_;
};

class ReachabilityThreads : public testing::Test {
 protected:
  ReachabilityThreads() { Platform::install(systemPlatform()); }

  /// Waits until nobody holds the monitor any more, so that nothing of it runs.
  static bool hasEnded(const std::weak_ptr<VeskReachability>& monitor) {
    return test::waitUntil([&] { return monitor.expired(); });
  }

  const std::shared_ptr<SharedTarget> target_ = std::make_shared<SharedTarget>();
  VeskReachabilityRef monitor_ = VeskReachability::initWithReachabilityRef(target_);
  const std::weak_ptr<VeskReachability> watched_ = monitor_;
};

TEST_F(ReachabilityThreads, RunCallbacksAndObserversButNeverTheOneThatBringsTheChange) {
  std::atomic<std::thread::id> calling;
  std::atomic<std::thread::id> posting;
  monitor_->setReachableBlock([&](VeskReachability&) { calling = std::this_thread::get_id(); });
  NotificationCenter::defaultCenter().addObserver(
      this, vesk_kReachabilityChangedNotification,
      [&](const Notification&) { posting = std::this_thread::get_id(); });
  ASSERT_TRUE(monitor_->startNotifier());
  target_->change(kReachable);
  const std::thread::id nobody;
  EXPECT_TRUE(test::waitUntil([&] { return posting.load() != nobody; }));
  EXPECT_NE(calling.load(), nobody);
  EXPECT_NE(calling.load(), std::this_thread::get_id());
  EXPECT_NE(posting.load(), std::this_thread::get_id());
  EXPECT_NE(posting.load(), calling.load());
  monitor_->stopNotifier();
  monitor_.reset();
  EXPECT_TRUE(hasEnded(watched_));
  NotificationCenter::defaultCenter().removeObserver(this);
}

TEST_F(ReachabilityThreads, MayUseAMonitorAtOnce) {
  std::atomic<int> wrongCalls = 0;
  std::vector<std::thread> users;
  for (int i = 0; i < 4; ++i) {
    users.emplace_back([&] {
      for (int round = 0; round < 100; ++round) {
        monitor_->setReachableOnWWAN(round % 2 == 0);
        monitor_->setReachableBlock([&wrongCalls, expected = monitor_.get()](VeskReachability& its) {
          if (&its != expected) ++wrongCalls;
        });
        monitor_->setUnreachableBlock(monitor_->reachableBlock());
        EXPECT_TRUE(monitor_->startNotifier());
        target_->change(round % 3 == 0 ? 0 : kCellular);
        EXPECT_EQ(monitor_->currentReachabilityFlags().size(), 10U);
        EXPECT_FALSE(monitor_->isReachableViaWiFi());
        EXPECT_NE(monitor_->currentReachabilityStatus(), VeskReachability::ReachableViaWiFi);
        monitor_->setReachabilityRef(monitor_->reachabilityRef());
        monitor_->stopNotifier();
      }
    });
  }
  for (std::thread& user : users) user.join();
  EXPECT_EQ(monitor_->reachabilityObject(), nullptr);
  EXPECT_EQ(monitor_->reachabilitySerialQueue(), nullptr);
  EXPECT_TRUE(target_->isIdle());
  monitor_.reset();
  EXPECT_TRUE(hasEnded(watched_));
  EXPECT_EQ(wrongCalls, 0);
}

TEST_F(ReachabilityThreads, MayEndAMonitorWhileAChangeArrives) {
  for (int round = 0; round < 100; ++round) {
    const auto target = std::make_shared<SharedTarget>();
    VeskReachabilityRef monitor = VeskReachability::initWithReachabilityRef(target);
    const std::weak_ptr watched = monitor;
    monitor->setReachableBlock([](VeskReachability& its) { its.stopNotifier(); });
    monitor->startNotifier();
    std::thread bringer([&target] { target->change(kReachable); });
    monitor->stopNotifier();
    monitor.reset();
    bringer.join();
    ASSERT_TRUE(hasEnded(watched));
    EXPECT_TRUE(target->isIdle());
  }
}

}  // namespace
}  // namespace pxa
