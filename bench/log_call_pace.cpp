// How long a log call keeps its caller that makes one each millisecond, beside formatting the same line into
// memory of its own: what a host does that keeps its lines itself.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include <pxalog/PXALog.h>

#include "costs.h"
#include "draining_platform.h"

namespace {

using pxa::bench::Samples;

constexpr int kCallsOfARun = 1000;
constexpr long kNanosecondsBetweenCalls = 1'000'000;
const std::string kMessage = "payment 4711 was refused by the provider after three tries..";

void call() {
  pxa::PXALog::error_Keepcell_withMessage("E42", kMessage);
}

void callPeer() {
  char line[256];
  std::snprintf(line, sizeof line, "%s %s %s", "ERROR", "E42", kMessage.c_str());
  char* volatile copy = ::strdup(line);
  std::free(copy);
}

/// The nanoseconds of each of many calls.
Samples callsInARun(void (*oneCall)()) {
  Samples calls;
  timespec next{};
  ::clock_gettime(CLOCK_MONOTONIC, &next);
  for (int i = 0; i < kCallsOfARun; ++i) {
    next.tv_nsec += kNanosecondsBetweenCalls;
    if (next.tv_nsec >= 1'000'000'000) {
      ++next.tv_sec;
      next.tv_nsec -= 1'000'000'000;
    }
    ::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr);
    calls.add(pxa::bench::nanosecondsOf(oneCall));
  }
  return calls;
}

struct Quantiles {
  Samples half;
  Samples most;

  void add(const Samples& calls) {
    half.add(calls.quantile(0.5));
    most.add(calls.quantile(0.99));
  }
};

}  // namespace

int main() {
  pxa::bench::installDrainingPlatform();
  if (!pxa::PXALog::init_ofAppKey_withVersion_forUserId_forHandleId("http://127.0.0.1", "bench", "1.0",
                                                                    nullptr, "Keepcell"))
    return 1;
  Quantiles own;
  Quantiles peer;
  for (int run = 0; run < pxa::bench::kRuns; ++run) {
    own.add(callsInARun(&call));
    peer.add(callsInARun(&callPeer));
  }
  constexpr const char* kPeer = "snprintf, strdup, free";
  pxa::bench::report({.name = "a log call, one each ms, p50",
                      .unit = "ns",
                      .measured = own.half,
                      .peer = kPeer,
                      .peerMeasured = peer.half,
                      .mostRatio = 0.7});
  pxa::bench::report({.name = "a log call, one each ms, p99",
                      .unit = "ns",
                      .measured = own.most,
                      .peer = kPeer,
                      .peerMeasured = peer.most,
                      .mostRatio = 1.5});
}
