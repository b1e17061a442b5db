#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "platform/NotificationCenter.h"

namespace pxa {
namespace {

std::vector<std::string>& heard() {
  static auto& names = *new std::vector<std::string>;
  return names;
}

void firstObserver(const Notification* notification) {
  heard().push_back("first " + std::string(notification->name.view()));
}

void secondObserver(const Notification* notification) {
  heard().push_back("second " + std::string(notification->name.view()));
}

class NotificationCenterTest : public testing::Test {
 protected:
  NotificationCenterTest() { heard().clear(); }
  NotificationCenter center_;
};

TEST_F(NotificationCenterTest, PassesANotificationToWhoAskedForItsName) {
  center_.addObserver("name", firstObserver);
  center_.post({"name"});
  EXPECT_EQ(heard(), std::vector<std::string>{"first name"});
}

TEST_F(NotificationCenterTest, PassesNoOtherNotification) {
  center_.addObserver("name", firstObserver);
  center_.post({"other"});
  EXPECT_TRUE(heard().empty());
}

TEST_F(NotificationCenterTest, PassesANotificationThatNobodyAskedFor) {
  center_.post({"name"});
  EXPECT_TRUE(heard().empty());
}

TEST_F(NotificationCenterTest, PassesANotificationToEveryObserverOfItsName) {
  center_.addObserver("name", firstObserver);
  center_.addObserver("name", secondObserver);
  center_.post({"name"});
  EXPECT_EQ(heard(), (std::vector<std::string>{"first name", "second name"}));
}

TEST_F(NotificationCenterTest, AddsAnObserverOnceForAName) {
  center_.addObserver("name", firstObserver);
  center_.addObserver("name", firstObserver);
  center_.post({"name"});
  EXPECT_EQ(heard().size(), 1U);
}

TEST_F(NotificationCenterTest, AddsAnObserverForSeveralNames) {
  center_.addObserver("name", firstObserver);
  center_.addObserver("other", firstObserver);
  center_.post({"name"});
  center_.post({"other"});
  EXPECT_EQ(heard(), (std::vector<std::string>{"first name", "first other"}));
}

TEST_F(NotificationCenterTest, PassesEveryNotification) {
  center_.addObserver("name", firstObserver);
  for (int i = 0; i < 3; ++i) center_.post({"name"});
  EXPECT_EQ(heard().size(), 3U);
}

std::thread::id& hearingThread() {
  static auto& thread = *new std::thread::id;
  return thread;
}

TEST_F(NotificationCenterTest, PassesNotificationsOnTheThreadThatPosts) {
  center_.addObserver("name", [](const Notification*) { hearingThread() = std::this_thread::get_id(); });
  std::thread::id postingThread;
  std::thread([&] {
    postingThread = std::this_thread::get_id();
    center_.post({"name"});
  }).join();
  EXPECT_EQ(hearingThread(), postingThread);
}

TEST_F(NotificationCenterTest, LetsAnObserverUseTheCentre) {
  static NotificationCenter* center = nullptr;
  center = &center_;
  center_.addObserver("name", [](const Notification*) {
    center->addObserver("other", firstObserver);
    center->post({"other"});
  });
  center_.post({"name"});
  EXPECT_EQ(heard(), std::vector<std::string>{"first other"});
}

TEST_F(NotificationCenterTest, MayBeUsedByManyThreadsAtOnce) {
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&, name = String(std::to_string(i))] {
      for (int k = 0; k < 200; ++k) {
        center_.addObserver(
            name, [](const Notification* notification) { EXPECT_EQ(notification->name.size(), 1U); });
        center_.post({name});
      }
    });
  for (std::thread& thread : threads) thread.join();
}

TEST_F(NotificationCenterTest, IsOneForTheWholeProcess) {
  NotificationCenter::defaultCenter().addObserver("name", firstObserver);
  NotificationCenter::defaultCenter().post({"name"});
  EXPECT_EQ(heard().size(), 1U);
}

}  // namespace
}  // namespace pxa
