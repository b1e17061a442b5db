#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <pxalog/NotificationCenter.h>
#include <pxalog/VeskReachability.h>

#include "support/FakePlatform.h"
#include "support/values.h"

namespace pxa {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class NotificationCenterTest : public testing::Test {
 protected:
  /// A callback that notes what it hears under its own name.
  NotificationCenter::Callback note(const std::string& who) {
    return [this, who](const Notification& notification) {
      heard_.push_back(who + " " + test::text(notification.name));
    };
  }

  NotificationCenter center_;
  std::vector<std::string> heard_;
  // Observers are addresses.
  const int first_ = 0;
  const int second_ = 0;
};

TEST_F(NotificationCenterTest, PassesANotificationToWhoAskedForItsName) {
  center_.addObserver(&first_, "name", note("first"));
  center_.post({"name"});
  EXPECT_THAT(heard_, ElementsAre("first name"));
}

TEST_F(NotificationCenterTest, PassesNoOtherNotification) {
  center_.addObserver(&first_, "name", note("first"));
  for (const String& other : {String("other"), String("Name"), String("name "), String(""), String(nullptr)})
    center_.post({other});
  EXPECT_THAT(heard_, IsEmpty());
}

TEST_F(NotificationCenterTest, PassesANotificationThatNobodyAskedFor) {
  center_.post({"name"});
  EXPECT_THAT(heard_, IsEmpty());
}

TEST_F(NotificationCenterTest, PassesTheObjectOfANotification) {
  test::FakePlatform::install();
  const auto monitor = VeskReachability::reachabilityForInternetConnection();
  std::vector<VeskReachabilityRef> objects;
  center_.addObserver(&first_, "name", [&objects](const Notification& notification) {
    objects.push_back(notification.object);
  });
  center_.post({"name", monitor});
  center_.post({"name"});
  EXPECT_THAT(objects, ElementsAre(monitor, nullptr));
}

TEST_F(NotificationCenterTest, PassesANotificationToEveryObserverOfItsNameInTheirOrder) {
  center_.addObserver(&second_, "name", note("second"));
  center_.addObserver(&first_, "name", note("first"));
  center_.post({"name"});
  EXPECT_THAT(heard_, ElementsAre("second name", "first name"));
}

TEST_F(NotificationCenterTest, AddsAnObserverOnceForAName) {
  center_.addObserver(&first_, "name", note("first"));
  center_.addObserver(&first_, "name", note("first"));
  center_.post({"name"});
  EXPECT_THAT(heard_, ElementsAre("first name"));
}

TEST_F(NotificationCenterTest, AddsAnObserverForSeveralNames) {
  center_.addObserver(&first_, "name", note("first"));
  center_.addObserver(&first_, "other", note("first"));
  center_.post({"name"});
  center_.post({"other"});
  EXPECT_THAT(heard_, ElementsAre("first name", "first other"));
}

TEST_F(NotificationCenterTest, PassesEveryNotification) {
  center_.addObserver(&first_, "name", note("first"));
  for (int i = 0; i < 3; ++i) center_.post({"name"});
  EXPECT_EQ(heard_.size(), 3U);
}

TEST_F(NotificationCenterTest, ReplacesTheCallbackForThatNameAlone) {
  center_.addObserver(&first_, "name", note("old"));
  center_.addObserver(&first_, "other", note("old"));
  center_.addObserver(&second_, "name", note("second"));
  center_.addObserver(&first_, "name", note("new"));
  center_.post({"name"});
  center_.post({"other"});
  EXPECT_THAT(heard_, testing::UnorderedElementsAre("new name", "second name", "old other"));
}

TEST_F(NotificationCenterTest, AddsNoEmptyCallback) {
  center_.addObserver(&first_, "name", {});
  center_.post({"name"});
  center_.addObserver(&first_, "name", note("first"));
  center_.addObserver(&first_, "name", {});
  center_.post({"name"});
  EXPECT_THAT(heard_, ElementsAre("first name"));
}

TEST_F(NotificationCenterTest, RemovesAnObserverFromAllItsNames) {
  center_.addObserver(&first_, "name", note("first"));
  center_.addObserver(&second_, "name", note("second"));
  center_.addObserver(&first_, "other", note("first"));
  center_.removeObserver(&first_);
  center_.post({"name"});
  center_.post({"other"});
  EXPECT_THAT(heard_, ElementsAre("second name"));
}

TEST_F(NotificationCenterTest, AddsAnObserverAgainThatItRemoved) {
  center_.addObserver(&first_, "name", note("first"));
  center_.removeObserver(&first_);
  center_.addObserver(&first_, "name", note("again"));
  center_.post({"name"});
  EXPECT_THAT(heard_, ElementsAre("again name"));
}

TEST_F(NotificationCenterTest, IgnoresTheRemovalOfAnObserverThatItDoesNotKnow) {
  center_.removeObserver(&second_);
  center_.addObserver(&first_, "name", note("first"));
  center_.removeObserver(&second_);
  center_.post({"name"});
  EXPECT_THAT(heard_, ElementsAre("first name"));
}

TEST_F(NotificationCenterTest, LetsGoOfACallbackThatIsReplacedOrRemoved) {
  auto captured = std::make_shared<int>();
  const std::weak_ptr watched = captured;
  center_.addObserver(&first_, "name", [captured](const Notification&) {});
  center_.addObserver(&second_, "name", [captured = std::move(captured)](const Notification&) {});
  center_.addObserver(&first_, "name", note("first"));
  EXPECT_FALSE(watched.expired());
  center_.removeObserver(&second_);
  EXPECT_TRUE(watched.expired());
}

TEST_F(NotificationCenterTest, DropsWhatAnObserverThrows) {
  const int third = 0;
  center_.addObserver(&first_, "name", [](const Notification&) { throw std::runtime_error("failed"); });
  center_.addObserver(&second_, "name", [](const Notification&) { throw 7; });
  center_.addObserver(&third, "name", note("third"));
  EXPECT_NO_THROW(center_.post({"name"}));
  EXPECT_THAT(heard_, ElementsAre("third name"));
}

TEST_F(NotificationCenterTest, PassesNotificationsOnTheThreadThatPosts) {
  std::thread::id hearingThread;
  center_.addObserver(&first_, "name",
                      [&](const Notification&) { hearingThread = std::this_thread::get_id(); });
  std::thread::id postingThread;
  std::thread([&] {
    postingThread = std::this_thread::get_id();
    center_.post({"name"});
  }).join();
  EXPECT_EQ(hearingThread, postingThread);
}

TEST_F(NotificationCenterTest, LetsAnObserverUseTheCentre) {
  center_.addObserver(&first_, "name", [this](const Notification&) {
    center_.addObserver(&second_, "other", note("second"));
    center_.post({"other"});
  });
  center_.post({"name"});
  EXPECT_THAT(heard_, ElementsAre("second other"));
}

TEST_F(NotificationCenterTest, LetsAnObserverRemoveItselfWhileItIsCalled) {
  center_.addObserver(&first_, "name", [this, own = std::string("captured")](const Notification&) {
    center_.removeObserver(&first_);
    heard_.push_back(own);
  });
  center_.addObserver(&second_, "name", note("second"));
  center_.post({"name"});
  center_.post({"name"});
  EXPECT_THAT(heard_, ElementsAre("captured", "second name", "second name"));
}

TEST_F(NotificationCenterTest, LetsAnObserverReplaceItsCallbackWhileItIsCalled) {
  center_.addObserver(&first_, "name", [this, own = std::string("captured")](const Notification&) {
    center_.addObserver(&first_, "name", note("new"));
    heard_.push_back(own);
  });
  center_.post({"name"});
  center_.post({"name"});
  EXPECT_THAT(heard_, ElementsAre("captured", "new name"));
}

TEST_F(NotificationCenterTest, CallsNoObserverThatWasRemovedBeforeItsTurn) {
  center_.addObserver(&first_, "name", [this](const Notification&) { center_.removeObserver(&second_); });
  center_.addObserver(&second_, "name", note("second"));
  center_.post({"name"});
  EXPECT_THAT(heard_, IsEmpty());
}

TEST_F(NotificationCenterTest, MayBeUsedByManyThreadsAtOnce) {
  constexpr int kRounds = 200;
  struct User {
    std::thread thread;
    int heard = 0;
  };
  std::vector<User> users(4);
  for (User& user : users) {
    user.thread = std::thread([&center = center_, &user, name = String(std::to_string(&user - &users[0]))] {
      for (int round = 0; round < kRounds; ++round) {
        center.addObserver(&user, name, [&user](const Notification&) { ++user.heard; });
        center.post({name});
        center.removeObserver(&user);
        center.post({name});
      }
    });
  }
  for (User& user : users) user.thread.join();
  for (const User& user : users) EXPECT_EQ(user.heard, kRounds);
}

TEST_F(NotificationCenterTest, IsOneForTheWholeProcess) {
  NotificationCenter::defaultCenter().addObserver(&first_, "name", note("first"));
  NotificationCenter::defaultCenter().post({"name"});
  NotificationCenter::defaultCenter().removeObserver(&first_);
  EXPECT_THAT(heard_, ElementsAre("first name"));
}

}  // namespace
}  // namespace pxa
