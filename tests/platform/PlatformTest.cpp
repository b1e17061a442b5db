#include <cstddef>
#include <functional>
#include <future>
#include <gtest/gtest.h>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <pxalog/Host.h>

#include "platform/Platform.h"
#include "support/wait.h"

namespace pxa {
namespace {

TEST(Platform, IsTheSystemsUntilAnotherIsInstalled) {
  EXPECT_EQ(&Platform::current(), &systemPlatform());
}

TEST(Platform, IsTheOneThatWasInstalled) {
  const Platform other = systemPlatform();
  Platform::install(other);
  EXPECT_EQ(&Platform::current(), &other);
  Platform::install(systemPlatform());
}

// The main queue.

DispatchQueue& mainQueue() {
  return systemPlatform().queues.mainQueue();
}

TEST(MainQueue, RunsTasksOneAfterAnotherOnAThreadOfItsOwnWhereTheHostGaveNone) {
  std::vector<std::thread::id> threads;
  std::promise<void> ended;
  for (int i = 0; i < 3; ++i) mainQueue().async([&] { threads.push_back(std::this_thread::get_id()); });
  mainQueue().async([&] { ended.set_value(); });
  ASSERT_EQ(ended.get_future().wait_for(test::kPatience), std::future_status::ready);
  ASSERT_EQ(threads.size(), 3U);
  EXPECT_EQ(threads, std::vector(3, threads[0]));
  EXPECT_NE(threads[0], std::this_thread::get_id());
}

/// A host that keeps what it is to run on its main thread, which is the test's.
class HostWithMainThread {
 public:
  HostWithMainThread() {
    const auto self = std::this_thread::get_id();
    Host::setMainThread([this](std::function<void()> task) { tasks_.push_back(std::move(task)); },
                        [self] { return std::this_thread::get_id() == self; });
  }
  HostWithMainThread(const HostWithMainThread&) = delete;
  HostWithMainThread& operator=(const HostWithMainThread&) = delete;
  ~HostWithMainThread() { Host::setMainThread(nullptr, nullptr); }

  /// How many there were.
  std::size_t run() {
    const auto tasks = std::exchange(tasks_, {});
    for (const auto& task : tasks) task();
    return tasks.size();
  }

 private:
  std::vector<std::function<void()>> tasks_;
};

TEST(MainQueue, RunsTasksOnTheHostsMainThread) {
  HostWithMainThread host;
  std::vector<int> runs;
  for (int i = 0; i < 3; ++i) mainQueue().async([&runs, i] { runs.push_back(i); });
  EXPECT_TRUE(runs.empty());
  EXPECT_EQ(host.run(), 3U);
  EXPECT_EQ(runs, (std::vector{0, 1, 2}));
}

TEST(MainQueue, DropsWhatATaskThrowsOnTheHostsMainThread) {
  HostWithMainThread host;
  mainQueue().async([] { throw std::runtime_error("out of the task"); });
  EXPECT_NO_THROW(host.run());
}

TEST(MainQueue, GoesBackToAThreadOfItsOwnWhenTheHostTakesItsMainThreadBack) {
  HostWithMainThread host;
  int heard = 0;
  mainQueue().async([&] { ++heard; });
  Host::setMainThread(nullptr, nullptr);
  std::promise<void> ended;
  mainQueue().async([&] { ended.set_value(); });
  EXPECT_EQ(ended.get_future().wait_for(test::kPatience), std::future_status::ready)
      << "a task that came after the host had taken its main thread back";
  EXPECT_EQ(host.run(), 1U);
  EXPECT_EQ(heard, 1);
}

TEST(MainQueue, DropsTasksThatTheHostDoesNotTake) {
  Host::setMainThread([](const std::function<void()>&) { throw std::runtime_error("no work"); },
                      [] { return false; });
  bool hasRun = false;
  EXPECT_NO_THROW(mainQueue().async([&] { hasRun = true; }));
  Host::setMainThread(nullptr, nullptr);
  EXPECT_FALSE(hasRun);
}

TEST(UuidSource, GivesAUuidInItsCanonicalForm) {
  const String uuid = systemPlatform().uuids.createUuid();
  ASSERT_EQ(uuid.size(), 36U);
  for (std::size_t i = 0; i < uuid.size(); ++i) {
    const char character = uuid.view()[i];
    const bool isDash = i == 8 || i == 13 || i == 18 || i == 23;
    EXPECT_TRUE(isDash ? character == '-'
                       : std::string("0123456789ABCDEF").find(character) != std::string::npos)
        << uuid.view();
  }
}

TEST(UuidSource, GivesARandomUuid) {
  EXPECT_EQ(systemPlatform().uuids.createUuid().view().at(14), '4');
}

TEST(UuidSource, GivesANewUuidEachTime) {
  std::set<std::string> uuids;
  for (int i = 0; i < 100; ++i) uuids.emplace(systemPlatform().uuids.createUuid().view());
  EXPECT_EQ(uuids.size(), 100U);
}

}  // namespace
}  // namespace pxa
