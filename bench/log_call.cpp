// What one log call costs its caller while the send loop drains the queue, beside an asynchronous logger that
// drops its oldest lines too, and beside the least that a queue of events can cost. The send loop takes at most
// 2000 events a second: nearly every call finds the queue full and also pays for the oldest event.

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <spdlog/async.h>
#include <spdlog/sinks/null_sink.h>
#include <string>
#include <thread>
#include <vector>

#include <pxalog/PXALog.h>

#include "costs.h"
#include "draining_platform.h"

namespace {

using pxa::bench::Run;
using pxa::bench::Samples;

constexpr std::size_t kQueueSize = 2000;
constexpr int kCalls = 200'000;
const std::string kMessage = "payment 4711 was refused by the provider after three tries..";
const std::string kErrorCode = "E42";

/// An event that shares its strings, in a queue that drops its oldest.
class Floor {
 public:
  void log(const std::string& errorCode, const std::string& message) {
    auto event = std::make_shared<Event>();
    event->errorCode = std::make_shared<const std::string>(errorCode);
    event->message = std::make_shared<const std::string>(message);
    const std::lock_guard lock(mutex_);
    if (events_.size() >= kQueueSize) events_.pop_front();
    events_.push_back(std::move(event));
  }

 private:
  struct Event {
    std::shared_ptr<const std::string> errorCode;
    std::shared_ptr<const std::string> message;
  };

  std::mutex mutex_;
  std::deque<std::shared_ptr<Event>> events_;
};

void call() {
  pxa::PXALog::error_Keepcell_withMessage(kErrorCode, kMessage);
}

void callPeer() {
  static const auto logger = [] {
    auto pool = std::make_shared<spdlog::details::thread_pool>(kQueueSize, 1);
    static auto& keptPool = *new std::shared_ptr(pool);
    return std::make_shared<spdlog::async_logger>("peer", std::make_shared<spdlog::sinks::null_sink_mt>(),
                                                  keptPool, spdlog::async_overflow_policy::overrun_oldest);
  }();
  logger->error("{} {}", kErrorCode, kMessage);
}

void callFloor() {
  static auto& floor = *new Floor;
  floor.log(kErrorCode, kMessage);
}

/// Nanoseconds that each call of so many threads takes its thread.
template <void (*oneCall)()>
Run onThreads(int count) {
  return [count] {
    return pxa::bench::nanosecondsOf([count] {
             const auto work = [] {
               for (int i = 0; i < kCalls; ++i) oneCall();
             };
             std::vector<std::thread> others;
             for (int i = 1; i < count; ++i) others.emplace_back(work);
             work();
             for (std::thread& other : others) other.join();
           }) /
           kCalls;
  };
}

}  // namespace

int main() {
  pxa::bench::installDrainingPlatform();
  if (!pxa::PXALog::init_ofAppKey_withVersion_forUserId_forHandleId("http://127.0.0.1", "bench", "1.0",
                                                                    nullptr, "Keepcell"))
    return 1;
  constexpr const char* kPeer = "spdlog, async";
  const auto one =
      pxa::bench::inTurn({onThreads<&call>(1), onThreads<&callPeer>(1), onThreads<&callFloor>(1)});
  pxa::bench::report({.name = "a log call, 1 thread",
                      .unit = "ns",
                      .measured = one[0],
                      .peer = kPeer,
                      .peerMeasured = one[1],
                      .mostRatio = 0.5});
  pxa::bench::report({.name = "a log call, 1 thread",
                      .unit = "ns",
                      .measured = one[0],
                      .peer = "the floor",
                      .peerMeasured = one[2],
                      .mostRatio = 2.0});
  const auto four = pxa::bench::inTurn({onThreads<&call>(4), onThreads<&callPeer>(4)});
  pxa::bench::report({.name = "a log call, 4 threads",
                      .unit = "ns",
                      .measured = four[0],
                      .peer = kPeer,
                      .peerMeasured = four[1],
                      .mostRatio = 1.0});
}
