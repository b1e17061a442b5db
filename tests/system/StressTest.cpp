#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include <pxalog/Diagnostics.h>
#include <pxalog/Host.h>
#include <pxalog/PXALog.h>

#include "collector/Collector.h"
#include "support/OwnDocuments.h"
#include "support/wait.h"

namespace pxa {
namespace {

using Diagnostics::Snapshot;

constexpr int kLoggers = 8;
const char* const kHandles[] = {"0", "second", "Keepcell"};

std::chrono::seconds duration() {
  const char* seconds = std::getenv("PXALOG_STRESS_SECONDS");
  return std::chrono::seconds(seconds == nullptr ? 10 : std::atoi(seconds));
}

bool open(const tools::Collector& collector, const char* handleId) {
  return PXALog::
      init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart_withUnityVersion_forHandleId(
          "http://127.0.0.1", collector.httpPort(), 1, std::string("stress-") + handleId, "1.0", nullptr,
          false, false, nullptr, handleId);
}

/// Threads that repeat their work until told to stop, and are joined at the end of the scope.
class Crew {
 public:
  ~Crew() { stop(); }
  void add(std::function<void(int round)> work) {
    threads_.emplace_back([this, work = std::move(work)] {
      for (int round = 0; !isStopped_; ++round) work(round);
    });
  }
  void stop() {
    isStopped_ = true;
    for (std::thread& thread : threads_) thread.join();
    threads_.clear();
  }

 private:
  std::atomic<bool> isStopped_ = false;
  std::vector<std::thread> threads_;
};

TEST(Stress, AccountsForEveryEventWhileEverythingHappensAtOnce) {
  const test::OwnDocuments documents;
  tools::Collector collector({.keepsRequests = false});
  Host::setLogSink([](const String&) {});
  Host::setSettingsService({"127.0.0.1:" + std::to_string(collector.httpPort()), nullptr, nullptr});
  for (const char* handle : kHandles) ASSERT_TRUE(open(collector, handle));
  constexpr std::uint64_t kSessionLogs = 2;

  std::atomic<std::uint64_t> logged = 0;
  std::atomic<std::uint64_t> wrongSums = 0;
  Crew crew;
  for (int logger = 0; logger < kLoggers; ++logger) {
    crew.add([&, logger](int round) {
      PXALog::info_withMessage_atLocation_forHandleId(
          "E1", "logger " + std::to_string(logger) + " line " + std::to_string(round), nullptr,
          kHandles[round % 3]);
      ++logged;
      if (round % 64 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    });
  }
  crew.add([&](int round) {
    EXPECT_FALSE(open(collector, kHandles[round % 3]));
    std::this_thread::sleep_for(std::chrono::milliseconds(3));
  });
  crew.add([](int round) {
    const std::string key = "field" + std::to_string(round % 20);
    PXALog::setCustomField_forKey("value", key);
    PXALog::setUserId_forHandlerId(round % 2 == 0 ? String("ada") : String(), "second");
    if (round % 3 == 0) PXALog::removeCustomFieldForKey(key);
    if (round % 50 == 0) PXALog::removeAllCustomFields();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  });
  crew.add([](int) {
    Host::didEnterBackground();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    Host::willEnterForeground();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  });
  crew.add([&](int) {
    const Diagnostics::Events events = Diagnostics::snapshot().events;
    if (events.total() != events.entered) ++wrongSums;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  });
  std::this_thread::sleep_for(duration());
  crew.stop();
  Host::willEnterForeground();

  ASSERT_TRUE(test::waitForSnapshot([](const Snapshot& now) {
    return now.events.waiting + now.events.gathered + now.events.inFlight == 0;
  }));
  const Diagnostics::Events events = Diagnostics::snapshot().events;
  EXPECT_EQ(wrongSums, 0u);
  EXPECT_EQ(events.entered, logged + kSessionLogs);
  EXPECT_EQ(events.total(), events.entered);
  EXPECT_EQ(events.delivered, collector.acceptedElements());
  EXPECT_GT(events.delivered, 0u);
}

}  // namespace
}  // namespace pxa
