#include <atomic>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include <pxalog/Diagnostics.h>
#include <pxalog/Host.h>
#include <pxalog/PXALog.h>

#include "api/handle/GlobalLock.h"
#include "api/handle/handle_table.h"
#include "api/handle/process_state.h"
#include "platform/BackgroundThread.h"
#include "settings/settings_thread.h"
#include "support/FakePlatform.h"
#include "support/delivery.h"
#include "support/lock_probe.h"
#include "support/wait.h"

namespace pxa {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;
using testing::SizeIs;

constexpr const char* kFile = "RDM_iOS_SETTING_FILE";
constexpr const char* kAllOn =
    R"({"status":200,"result":{"networkinsights":{"enable":true,"urls":["http://a","http://b"]},)"
    R"("log":{"enable":true},"crash":{"enable":true},"session":{"enable":true}}})";
constexpr const char* kOnlyCrashes = R"({"status":200,"result":{"crash":{"enable":true}}})";

UrlAnswer answerWith(const char* text, int httpStatus = 200) {
  return {Error(), {httpStatus}, Data(std::string_view(text))};
}
UrlAnswer noNetwork() {
  return {Error::withDescription("test", 1, "no network"), {}, nullptr};
}

/// One letter for each switch that is on: insight, crash, log, session.
std::string switchesOf(const VeskHandle& handle) {
  std::string letters;
  if (handle.isNetworkInsight()) letters += 'i';
  if (handle.isCrash()) letters += 'c';
  if (handle.isLog()) letters += 'l';
  if (handle.isSession()) letters += 's';
  return letters;
}

/// A process with one open handle, "h", and the settings thread alone. Its id waits for that thread.
class SettingsThread : public testing::Test {
 protected:
  void SetUp() override {
    Host::setSettingsService({"settings.example", "alternate.example", "special.example"});
    handle_ = test::openWithoutSessionLog("h");
    ASSERT_NE(handle_, nullptr);
    threads_ = p_.threads.startedNames().size();
  }

  void answerWithText(const char* text, int httpStatus = 200) {
    p_.urlLoader.setSynchronousAnswer([=](const UrlRequest&) { return answerWith(text, httpStatus); });
  }
  static void start() {
    std::thread([] { PXALog::performanceThread(nullptr); }).detach();
  }
  /// Waits until the handle had its round; its last step leaves the global lock after it said so.
  static bool waitForRound(const VeskHandle& handle) {
    if (!test::waitUntil([&] { return handle.isSettings(); })) return false;
    const GlobalGuard guard;
    return true;
  }
  bool runRound() {
    start();
    return waitForRound(*handle_);
  }
  std::vector<std::string> jobs() {
    const auto end = std::make_shared<NetworkData>();
    gs_blockQueue()->enqueue_network(end);
    std::vector<std::string> urls;
    for (auto job = gs_blockQueue()->dequeue_network(); job != end; job = gs_blockQueue()->dequeue_network())
      urls.emplace_back(job->url().view());
    return urls;
  }

  test::FakePlatform& p_ = test::FakePlatform::install();
  VeskHandleRef handle_;
  std::size_t threads_ = 0;  // started by opening the handle
};

// The request.

TEST_F(SettingsThread, AsksForTheProjectsSettingsOnce) {
  answerWithText(kAllOn);
  ASSERT_TRUE(runRound());
  const std::vector<UrlRequest> requests = p_.urlLoader.synchronousRequests();
  ASSERT_THAT(requests, SizeIs(1));
  EXPECT_EQ(requests[0].url, "http://settings.example/v2/project/logsconf");
  EXPECT_EQ(requests[0].method, "GET");
  EXPECT_EQ(requests[0].body.size(), 0U);
  EXPECT_EQ(requests[0].timeoutSeconds, 10.0);
}

TEST_F(SettingsThread, AsksTheAlternateServiceForOneCollector) {
  const VeskHandleRef special =
      test::openWithoutSessionLog("special", {.url = "https://special.example", .appKey = "s"});
  start();
  ASSERT_TRUE(waitForRound(*special));
  EXPECT_EQ(p_.urlLoader.synchronousRequests().back().url,
            "http://alternate.example:10092/v2/settings/s/logsconf");
}

TEST_F(SettingsThread, HoldsTheSendLoopWhileItAsks) {
  std::atomic<bool> wasHeld = false;
  p_.urlLoader.setSynchronousAnswer([&](const UrlRequest&) {
    wasHeld = processFlags().isSettingsPending && !handle_->isSettings();
    return answerWith(kAllOn);
  });
  ASSERT_TRUE(runRound());
  EXPECT_TRUE(wasHeld);
  EXPECT_FALSE(processFlags().isSettingsPending);
}

TEST_F(SettingsThread, ShowsInTheDiagnosticsThatSendingWaits) {
  std::atomic<bool> wasHeld = false;
  p_.urlLoader.setSynchronousAnswer([&](const UrlRequest&) {
    wasHeld = Diagnostics::snapshot().isHeldBySettings;
    return answerWith(kAllOn);
  });
  ASSERT_TRUE(runRound());
  EXPECT_TRUE(wasHeld);
  EXPECT_FALSE(Diagnostics::snapshot().isHeldBySettings);
}

TEST_F(SettingsThread, AsksWithoutTheGlobalLock) {
  std::atomic<bool> wasFree = false;
  p_.urlLoader.setSynchronousAnswer([&](const UrlRequest&) {
    wasFree = test::isGlobalLockFree();
    return answerWith(kAllOn);
  });
  ASSERT_TRUE(runRound());
  EXPECT_TRUE(wasFree);
}

// Outcomes. Every one ends the round.

struct Outcome {
  const char* name;
  std::string before;  ///< letters of the switches that are on
  UrlAnswer answer;
  const char* savedText;  ///< nullptr for none
  std::string expected;
  std::vector<std::string> jobs;
  const char* savedAfter;  ///< nullptr for none

  friend std::ostream& operator<<(std::ostream& out, const Outcome& one) { return out << one.name; }
};

class SettingsThreadOutcome : public SettingsThread, public testing::WithParamInterface<Outcome> {
 protected:
  void SetUp() override {
    SettingsThread::SetUp();
    const auto wasOn = [](char letter) { return GetParam().before.find(letter) != std::string::npos; };
    handle_->setIsNetworkInsight(wasOn('i'));
    handle_->setIsCrash(wasOn('c'));
    handle_->setIsLog(wasOn('l'));
    handle_->setIsSession(wasOn('s'));
    if (GetParam().savedText != nullptr) p_.files.put(kFile, GetParam().savedText);
    p_.urlLoader.setSynchronousAnswer([](const UrlRequest&) { return GetParam().answer; });
  }
};

TEST_P(SettingsThreadOutcome, SetsTheSwitches) {
  ASSERT_TRUE(runRound());
  EXPECT_EQ(switchesOf(*handle_), GetParam().expected);
}

TEST_P(SettingsThreadOutcome, QueuesTheProbes) {
  ASSERT_TRUE(runRound());
  EXPECT_EQ(jobs(), GetParam().jobs);
}

TEST_P(SettingsThreadOutcome, LeavesTheFile) {
  ASSERT_TRUE(runRound());
  if (GetParam().savedAfter == nullptr) {
    EXPECT_EQ(p_.files.contentOf(kFile), std::nullopt);
  } else {
    EXPECT_THAT(p_.files.contentOf(kFile), Optional(std::string(GetParam().savedAfter)));
  }
}

TEST_P(SettingsThreadOutcome, LetsSendingGoOn) {
  ASSERT_TRUE(runRound());
  EXPECT_FALSE(processFlags().isSettingsPending);
}

TEST_P(SettingsThreadOutcome, StartsTheSendThreadOnce) {
  ASSERT_TRUE(runRound());
  ASSERT_TRUE(test::waitUntil([&] { return p_.threads.startedNames().size() > threads_; }));
  EXPECT_EQ(p_.threads.startedNames().size(), threads_ + 1);
}

constexpr const char* kNot200 = R"({"status":500})";
constexpr const char* kNot200WithResult = R"({"status":404,"result":{"log":{"enable":true}}})";
constexpr const char* kWrongShape = R"({"status":200,"result":[]})";
constexpr const char* kNot200WrongShape = R"({"status":500,"result":[]})";
constexpr const char* kWrongStatus = R"({"status":[],"result":{"log":{"enable":true}}})";

INSTANTIATE_TEST_SUITE_P(
    Answers, SettingsThreadOutcome,
    testing::Values(
        Outcome{"AllOn", "", answerWith(kAllOn), nullptr, "icls", {"http://a", "http://b"}, kAllOn},
        Outcome{"SomeOff", "icls", answerWith(kOnlyCrashes), kAllOn, "c", {}, kOnlyCrashes},
        Outcome{"StatusIsNot200", "icls", answerWith(kNot200), nullptr, "", {}, kNot200},
        Outcome{"StatusIsNot200ButThereIsAResult",
                "",
                answerWith(kNot200WithResult),
                kAllOn,
                "l",
                {},
                kNot200WithResult},
        Outcome{"NotJson", "icls", answerWith("<html>"), kAllOn, "", {}, "<html>"},
        Outcome{"Empty", "icls", answerWith(""), kAllOn, "", {}, ""},
        Outcome{"WrongShape", "", answerWith(kWrongShape), nullptr, "cls", {}, kWrongShape},
        Outcome{"WrongShapeAtTheTop", "", answerWith("[]"), nullptr, "cls", {}, "[]"},
        Outcome{"WrongShapeLeavesInsight", "i", answerWith(kWrongShape), nullptr, "icls", {}, kWrongShape},
        Outcome{"StatusIsNot200SwitchesInsightOffFirst",
                "i",
                answerWith(kNot200WrongShape),
                nullptr,
                "cls",
                {},
                kNot200WrongShape},
        Outcome{"StatusOfTheWrongShape", "", answerWith(kWrongStatus), nullptr, "l", {}, kWrongStatus},
        Outcome{"HttpStatusIsNotLookedAt",
                "",
                answerWith(kAllOn, 500),
                nullptr,
                "icls",
                {"http://a", "http://b"},
                kAllOn}),
    [](const auto& param) { return std::string(param.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Errors, SettingsThreadOutcome,
    testing::Values(Outcome{"NothingSaved", "i", noNetwork(), nullptr, "cls", {}, nullptr},
                    Outcome{"AllOnSaved", "", noNetwork(), kAllOn, "icls", {"http://a", "http://b"}, kAllOn},
                    Outcome{"SomeOffSaved", "icls", noNetwork(), kOnlyCrashes, "c", {}, kOnlyCrashes},
                    Outcome{"BadStatusSaved", "icls", noNetwork(), kNot200, "", {}, kNot200},
                    Outcome{"EmptyTextSaved", "icls", noNetwork(), "", "", {}, ""},
                    Outcome{"WrongShapeSaved", "i", noNetwork(), kWrongShape, "cls", {}, kWrongShape},
                    Outcome{"NoTextSaved", "i", noNetwork(), "\xff", "cls", {}, "\xff"}),
    [](const auto& param) { return std::string(param.param.name); });

TEST_F(SettingsThread, LooksAtTheErrorEvenIfThereIsAnAnswer) {
  p_.urlLoader.setSynchronousAnswer([](const UrlRequest&) {
    UrlAnswer answer = answerWith(kOnlyCrashes);
    answer.error = Error::withDescription("test", 1, "broken off");
    return answer;
  });
  ASSERT_TRUE(runRound());
  EXPECT_EQ(switchesOf(*handle_), "cls");
  EXPECT_EQ(p_.files.contentOf(kFile), std::nullopt);
}

TEST_F(SettingsThread, SwitchesEverythingOffForAnAnswerThatIsNotUtf8) {
  answerWithText("\xff{}");
  ASSERT_TRUE(runRound());
  EXPECT_EQ(switchesOf(*handle_), "");
}

TEST_F(SettingsThread, GoesOnWhenTheFileCannotBeWritten) {
  answerWithText(kOnlyCrashes);
  p_.files.throws = true;
  ASSERT_TRUE(runRound());
  EXPECT_EQ(switchesOf(*handle_), "c");
  EXPECT_THAT(p_.log.lines(), ElementsAre("[NetworkInsight] Save Error : the disk is on fire"));
}

TEST_F(SettingsThread, SendsEverythingWhenTheFileCannotBeRead) {
  p_.files.throws = true;
  ASSERT_TRUE(runRound());
  EXPECT_EQ(switchesOf(*handle_), "cls");
  EXPECT_THAT(p_.log.lines(), ElementsAre("[NetworkInsight] Save Load : the disk is on fire"));
}

TEST_F(SettingsThread, WritesItsConsoleLinesAfterTheLocksAreLeft) {
  std::atomic<bool> wasFree = false;
  p_.log.setListener([&wasFree](const std::string&) { wasFree = test::isGlobalLockFree(); });
  answerWithText(kOnlyCrashes);
  p_.files.throws = true;
  start();
  EXPECT_TRUE(test::waitUntil([&] { return wasFree.load(); }));
}

TEST_F(SettingsThread, EndsTheRoundWhenTheSystemHasNoThreadToGive) {
  answerWithText(kAllOn);
  p_.threads.hasThreads = false;
  ASSERT_TRUE(runRound());
  EXPECT_FALSE(processFlags().isSettingsPending);
}

TEST_F(SettingsThread, StartsTheSendThreadWhenTheSystemHasOneAgain) {
  answerWithText(kAllOn);
  p_.threads.hasThreads = false;
  ASSERT_TRUE(runRound());
  p_.threads.hasThreads = true;
  const VeskHandleRef second = test::openWithoutSessionLog("second");
  ASSERT_TRUE(waitForRound(*second));
  EXPECT_TRUE(test::waitUntil([&] { return p_.threads.startedNames().size() > threads_; }));
}

// Several handles.

TEST_F(SettingsThread, ServesHandlesInTheOrderInWhichTheyWereOpened) {
  test::openWithoutSessionLog("second", {.appKey = "b"});
  const VeskHandleRef third = test::openWithoutSessionLog("third", {.appKey = "a"});
  start();
  ASSERT_TRUE(waitForRound(*third));
  std::vector<std::string> urls;
  for (const UrlRequest& request : p_.urlLoader.synchronousRequests()) urls.emplace_back(request.url.view());
  EXPECT_THAT(urls,
              ElementsAre("http://settings.example/v2/project/logsconf",
                          "http://settings.example/v2/b/logsconf", "http://settings.example/v2/a/logsconf"));
}

TEST_F(SettingsThread, GivesEachHandleItsOwnSettings) {
  const VeskHandleRef second = test::openWithoutSessionLog("second", {.appKey = "b"});
  p_.urlLoader.setSynchronousAnswer([](const UrlRequest& request) {
    const bool isSecond = request.url == "http://settings.example/v2/b/logsconf";
    return answerWith(isSecond ? kOnlyCrashes : kAllOn);
  });
  start();
  ASSERT_TRUE(waitForRound(*second));
  EXPECT_EQ(switchesOf(*handle_), "icls");
  EXPECT_EQ(switchesOf(*second), "c");
}

TEST_F(SettingsThread, KeepsTheLastAnswerOfAnyHandleInTheFile) {
  const VeskHandleRef second = test::openWithoutSessionLog("second", {.appKey = "b"});
  p_.urlLoader.setSynchronousAnswer([](const UrlRequest& request) {
    const bool isSecond = request.url == "http://settings.example/v2/b/logsconf";
    return answerWith(isSecond ? kOnlyCrashes : kAllOn);
  });
  start();
  ASSERT_TRUE(waitForRound(*second));
  EXPECT_THAT(p_.files.contentOf(kFile), Optional(std::string(kOnlyCrashes)));
}

TEST_F(SettingsThread, ServesAHandleThatIsOpenedLater) {
  answerWithText(kAllOn);
  ASSERT_TRUE(runRound());
  const VeskHandleRef second = test::openWithoutSessionLog("second", {.appKey = "b"});
  ASSERT_TRUE(waitForRound(*second));
  EXPECT_THAT(p_.urlLoader.synchronousRequests(), SizeIs(2));
}

TEST_F(SettingsThread, StartsOneSendThreadForAllHandles) {
  const VeskHandleRef second = test::openWithoutSessionLog("second", {.appKey = "b"});
  start();
  ASSERT_TRUE(waitForRound(*second));
  EXPECT_TRUE(test::waitUntil([&] { return p_.threads.startedNames().size() > threads_; }));
  EXPECT_EQ(p_.threads.startedNames().size(), threads_ + 1);
}

TEST_F(SettingsThread, DoesNotAskForKeepcell) {
  test::openWithoutSessionLog("Keepcell", {.appKey = "k"});
  const VeskHandleRef last = test::openWithoutSessionLog("last", {.appKey = "z"});
  start();
  ASSERT_TRUE(waitForRound(*last));
  EXPECT_THAT(p_.urlLoader.synchronousRequests(), SizeIs(2));
}

// How it ends.

TEST_F(SettingsThread, EndsAtAnIdWithoutAHandle) {
  gs_blockQueue()->enqueue_handler("unknown");
  PXALog::performanceThread(nullptr);
  EXPECT_THAT(p_.urlLoader.synchronousRequests(), SizeIs(1));
}

TEST_F(SettingsThread, LeavesTheSendLoopHeldWhenItEndsAtAnIdWithoutAHandle) {
  gs_blockQueue()->enqueue_handler("unknown");
  PXALog::performanceThread(nullptr);
  EXPECT_TRUE(processFlags().isSettingsPending);
  EXPECT_TRUE(Diagnostics::snapshot().isHeldBySettings);
}

TEST_F(SettingsThread, ServesNobodyBehindAnIdWithoutAHandle) {
  gs_blockQueue()->enqueue_handler("unknown");
  const VeskHandleRef late = test::openWithoutSessionLog("late");
  PXALog::performanceThread(nullptr);
  EXPECT_FALSE(late->isSettings());
  EXPECT_EQ(gs_blockQueue()->queueSize_handler(), 1);
}

TEST_F(SettingsThread, LeavesTheLockWhenItEnds) {
  gs_blockQueue()->enqueue_handler("unknown");
  PXALog::performanceThread(nullptr);
  EXPECT_TRUE(test::isGlobalLockFree());
}

TEST_F(SettingsThread, EndsAfterTheRoundUnderWayWhenItIsCancelled) {
  static std::shared_ptr<BackgroundThread> thread =
      std::make_shared<BackgroundThread>("test", [] { PXALog::performanceThread(nullptr); });
  p_.urlLoader.setSynchronousAnswer([](const UrlRequest&) {
    thread->cancel();
    return answerWith(kAllOn);
  });
  test::openWithoutSessionLog("second", {.appKey = "b"});
  p_.threads.runs = true;
  p_.clock.holdSleepers();
  const std::weak_ptr<BackgroundThread> watched = thread;
  ASSERT_TRUE(thread->start());
  ASSERT_TRUE(waitForRound(*handle_));
  thread.reset();
  EXPECT_TRUE(test::waitUntil([&] { return watched.expired(); }));
  EXPECT_THAT(p_.urlLoader.synchronousRequests(), SizeIs(1));
}

// How it begins.

TEST(SettingsThreads, AreTwoAndStartedOnce) {
  test::FakePlatform& platform = test::FakePlatform::install();
  const GlobalGuard guard;
  EXPECT_TRUE(PXALog::createPerformanceThread());
  EXPECT_THAT(platform.threads.startedNames(), SizeIs(2));
  EXPECT_FALSE(PXALog::createPerformanceThread());
  EXPECT_THAT(platform.threads.startedNames(), SizeIs(2));
}

TEST(SettingsThreads, SendALogAfterTheHandlesSettingsCame) {
  test::FakePlatform& platform = test::FakePlatform::install();
  platform.clock.holdSleepers();
  platform.threads.runs = true;
  platform.urlLoader.setSynchronousAnswer([](const UrlRequest&) { return answerWith(kAllOn); });
  ASSERT_TRUE(test::openHandle());
  PXALog::info_withMessage(nullptr, "message");
  ASSERT_TRUE(test::letOnePassHappen(platform));
  ASSERT_THAT(platform.urlLoader.started(), SizeIs(1));
  EXPECT_THAT(test::textsOf(platform, 0, "body"), testing::IsSupersetOf({"SESSION", "message"}));
}

TEST(SettingsThreads, HoldASessionBackThatTheSettingsSwitchOff) {
  test::FakePlatform& platform = test::FakePlatform::install();
  platform.clock.holdSleepers();
  platform.threads.runs = true;
  platform.urlLoader.setSynchronousAnswer([](const UrlRequest&) { return answerWith(kOnlyCrashes); });
  ASSERT_TRUE(test::openHandle());
  ASSERT_TRUE(test::letOnePassHappen(platform));
  EXPECT_THAT(platform.urlLoader.started(), IsEmpty());
  EXPECT_EQ(Diagnostics::snapshot().events.dropped.sessionSwitch, 1U);
}

}  // namespace
}  // namespace pxa
