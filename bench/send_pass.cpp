// What one event costs on its way out: taken from the queue, completed, judged, gathered, encoded into the
// body.

#include <benchmark/benchmark.h>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include <pxalog/Diagnostics.h>
#include <pxalog/PXALog.h>

#include "draining_platform.h"

namespace {

constexpr int kEventsOfAPass = 2000;

/// Lets the send loop begin a pass only when told to.
class PassClock final : public pxa::Clock {
 public:
  double secondsSince1970() override { return pxa::systemPlatform().clock.secondsSince1970(); }
  double monotonicSeconds() override { return pxa::systemPlatform().clock.monotonicSeconds(); }
  void sleepForSeconds(double) override {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return passes_ > 0; });
    --passes_;
  }
  void beginPass() {
    const std::lock_guard lock(mutex_);
    ++passes_;
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int passes_ = 0;
};

bool isDrained() {
  const pxa::Diagnostics::Events events = pxa::Diagnostics::snapshot().events;
  return events.waiting + events.gathered + events.inFlight == 0;
}

void sendPass(benchmark::State& state) {
  static auto& clock = *new PassClock;
  static const bool isOpen = [] {
    pxa::bench::installDrainingPlatform(clock);
    return pxa::PXALog::init_ofAppKey_withVersion_forUserId_forHandleId("http://127.0.0.1", "bench", "1.0",
                                                                        "ada", "Keepcell");
  }();
  if (!isOpen) state.SkipWithError("no handle");
  for (int field = 0; field < 4; ++field)
    pxa::PXALog::setCustomField_Keepcell_forKey("a value of some length", "field" + std::to_string(field));
  std::int64_t line = 0;
  for (auto _ : state) {
    for (int i = 0; i < kEventsOfAPass; ++i)
      pxa::PXALog::error_Keepcell_withMessage(
          "E42", "payment " + std::to_string(line++) + " was refused after 3 tries");
    const auto start = std::chrono::steady_clock::now();
    clock.beginPass();
    while (!isDrained()) std::this_thread::sleep_for(std::chrono::microseconds(50));
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  state.counters["us_per_event"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * kEventsOfAPass / 1e6,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

BENCHMARK(sendPass)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
