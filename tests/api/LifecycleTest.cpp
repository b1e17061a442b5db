#include <gtest/gtest.h>
#include <string>

#include <pxalog/Host.h>
#include <pxalog/NotificationCenter.h>
#include <pxalog/PXALog.h>

#include "api/handle/process_state.h"
#include "support/handles.h"
#include "support/queued_events.h"
#include "support/values.h"

namespace pxa {
namespace {

using test::FakePlatform;
using test::openHandle;
using test::text;

constexpr const char* kLogFile = "Vesk2SavedLog";

TEST(Lifecycle, SavesQueuedLogsWhenTheApplicationGoesToTheBackground) {
  FakePlatform& p = test::installWithHandle();
  PXALog::info_withMessage(nullptr, "message");
  Host::didEnterBackground();
  EXPECT_TRUE(p.files.contentOf(kLogFile).has_value());
  EXPECT_TRUE(test::takeEvents().empty());
}

TEST(Lifecycle, ReadsSavedLogsBackWhenTheApplicationReturns) {
  FakePlatform& p = test::installWithHandle();
  PXALog::info_withMessage("E42", "message");
  Host::didEnterBackground();
  Host::willEnterForeground();
  const auto logs = test::takeLogs();
  ASSERT_EQ(logs.size(), 1U);
  EXPECT_EQ(text(logs[0]->body()), "message");
  EXPECT_EQ(p.files.contentOf(kLogFile), std::nullopt);
}

TEST(Lifecycle, DoesNothingBeforeInitialisation) {
  FakePlatform& p = FakePlatform::install();
  p.files.put(kLogFile, "saved");
  Host::didEnterBackground();
  Host::willEnterForeground();
  PXALog::applicationDidEnterBackground(nullptr);
  PXALog::applicationWillEnterForeground(nullptr);
  EXPECT_EQ(p.files.contentOf(kLogFile), "saved");
  EXPECT_EQ(gs_blockQueue(), nullptr);
}

TEST(Lifecycle, DoesNotLookAtTheNotification) {
  FakePlatform& p = test::installWithHandle();
  const Notification other{"another notification"};
  PXALog::applicationDidEnterBackground(&other);
  EXPECT_TRUE(p.files.contentOf(kLogFile).has_value());
  PXALog::applicationWillEnterForeground(nullptr);
  EXPECT_EQ(p.files.contentOf(kLogFile), std::nullopt);
}

TEST(Lifecycle, HearsTheNotificationsOfTheCentre) {
  FakePlatform& p = test::installWithHandle();
  NotificationCenter::defaultCenter().post({kDidEnterBackgroundNotification});
  EXPECT_TRUE(p.files.contentOf(kLogFile).has_value());
  NotificationCenter::defaultCenter().post({kWillEnterForegroundNotification});
  EXPECT_EQ(p.files.contentOf(kLogFile), std::nullopt);
}

TEST(Lifecycle, HearsNothingElse) {
  FakePlatform& p = test::installWithHandle();
  NotificationCenter::defaultCenter().post({"another notification"});
  NotificationCenter::defaultCenter().post({nullptr});
  EXPECT_EQ(p.files.contentOf(kLogFile), std::nullopt);
}

/// How many console lines the work writes, with files that fail. Each observer of a notification writes its
/// own.
template <class Work>
std::size_t failuresOf(FakePlatform& p, Work work) {
  p.files.throws = true;
  const std::size_t before = p.log.lines().size();
  work();
  return p.log.lines().size() - before;
}

TEST(Lifecycle, IsObservedOnceAfterSeveralInitialisations) {
  FakePlatform& p = test::installWithHandle();
  openHandle();
  const std::size_t once = failuresOf(p, [] { PXALog::applicationWillEnterForeground(nullptr); });
  ASSERT_GT(once, 0U);
  EXPECT_EQ(failuresOf(p, [] { Host::willEnterForeground(); }), once);
}

TEST(Lifecycle, IsObservedOnceForTheForegroundAfterASharedSetUpThatFailed) {
  FakePlatform& p = FakePlatform::install();
  p.reachability.startsNotifiers = false;
  openHandle();
  p.reachability.startsNotifiers = true;
  openHandle();
  const std::size_t once = failuresOf(p, [] { PXALog::applicationWillEnterForeground(nullptr); });
  ASSERT_GT(once, 0U);
  EXPECT_EQ(failuresOf(p, [] { Host::willEnterForeground(); }), once);
}

TEST(Lifecycle, IsObservedOnceForTheBackgroundAfterASharedSetUpThatFailed) {
  FakePlatform& p = FakePlatform::install();
  p.reachability.startsNotifiers = false;
  openHandle();
  p.reachability.startsNotifiers = true;
  openHandle();
  const std::size_t once = failuresOf(p, [] { PXALog::applicationDidEnterBackground(nullptr); });
  ASSERT_GT(once, 0U);
  PXALog::info_withMessage(nullptr, "message");
  EXPECT_EQ(failuresOf(p, [] { Host::didEnterBackground(); }), once);
}

TEST(Lifecycle, IsObservedEvenAfterASharedSetUpThatFailed) {
  FakePlatform& p = FakePlatform::install();
  p.reachability.startsNotifiers = false;
  openHandle();
  EXPECT_GT(failuresOf(p, [] { Host::willEnterForeground(); }), 0U);
}

}  // namespace
}  // namespace pxa
