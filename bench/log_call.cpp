// // What one log call costs its caller while the send loop drains the queue. The loop takes at most 2000
// events a second: nearly every call finds the queue full and also pays for the oldest event, which the
// counter "overrun" shows.

#include <benchmark/benchmark.h>
#include <cstdint>
#include <string>

#include <pxalog/Diagnostics.h>
#include <pxalog/PXALog.h>

#include "draining_platform.h"

namespace {

void logCall(benchmark::State& state) {
  static const bool isOpen = [] {
    pxa::bench::installDrainingPlatform();
    return pxa::PXALog::init_ofAppKey_withVersion_forUserId_forHandleId("http://127.0.0.1", "bench", "1.0",
                                                                        nullptr, "Keepcell");
  }();
  if (!isOpen) state.SkipWithError("no handle");
  const std::string message = "payment 4711 was refused by the provider after three tries ...";
  for (auto _ : state) pxa::PXALog::error_Keepcell_withMessage("E42", message);
  state.SetItemsProcessed(state.iterations());
  const pxa::Diagnostics::Events events = pxa::Diagnostics::snapshot().events;
  state.counters["overrun"] =
      benchmark::Counter(static_cast<double>(events.dropped.queueFull) / static_cast<double>(events.entered),
                         benchmark::Counter::kAvgThreads);
}

BENCHMARK(logCall)->Threads(1)->Threads(4)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
