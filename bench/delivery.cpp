// The processor time that the library's threads take while they deliver 2,000 events a second to a collector on
// this machine.

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <pxalog/Diagnostics.h>
#include <pxalog/Host.h>
#include <pxalog/PXALog.h>

#include "collector/Collector.h"
#include "costs.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kHttp = 1;
constexpr int kEventsEachMillisecond = 2;
constexpr auto kWindow = std::chrono::seconds(4);

/// Seconds that the threads of this process but the calling one have run.
double processorSecondsOfOtherThreads() {
  std::uint64_t nanoseconds = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    if (task.path().filename() == std::to_string(::gettid())) continue;
    std::uint64_t ofThread = 0;
    std::ifstream(task.path() / "schedstat") >> ofThread;
    nanoseconds += ofThread;
  }
  return static_cast<double>(nanoseconds) / 1e9;
}

void logFor(Clock::duration time) {
  static std::int64_t line = 0;
  const auto start = Clock::now();
  for (auto next = start; next < start + time; next += std::chrono::milliseconds(1)) {
    std::this_thread::sleep_until(next);
    for (int i = 0; i < kEventsEachMillisecond; ++i)
      pxa::PXALog::error_Keepcell_withMessage(
          "E42", "payment " + std::to_string(line++) + " was refused after 3 tries");
  }
}

/// Percent of a core, in a window of some passes.
double percentOfACore() {
  const double before = processorSecondsOfOtherThreads();
  logFor(kWindow);
  return (processorSecondsOfOtherThreads() - before) * 100 / std::chrono::duration<double>(kWindow).count();
}

int runChild(int port) {
  pxa::Host::setLogSink([](const pxa::String&) {});
  if (!pxa::PXALog::
          init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart_withUnityVersion_forHandleId(
              "http://127.0.0.1", port, kHttp, "bench", "1.0", "ada", false, false, nullptr, "Keepcell"))
    return 1;
  const auto samples = pxa::bench::inTurn({&percentOfACore}, 7);
  const pxa::Diagnostics::Events events = pxa::Diagnostics::snapshot().events;
  // The loop takes 2,000 events in a little over a second: some are pushed out of the full queue.
  if (events.delivered == 0 || events.dropped.total() != events.dropped.queueFull) return 1;
  pxa::bench::report({.name = "delivery of 2,000 events a second",
                      .unit = "% of a core",
                      .measured = samples[0],
                      .most = 2});
  return 0;
}

}  // namespace

int main() {
  int ends[2];
  if (::pipe(ends) != 0) return 1;
  const pid_t child = ::fork();
  if (child == 0) {
    int port = 0;
    if (::read(ends[0], &port, sizeof port) != sizeof port) return 1;
    return runChild(port);
  }
  pxa::tools::Options options;
  options.keepsRequests = false;
  const pxa::tools::Collector collector(std::move(options));
  const int port = collector.httpPort();
  if (::write(ends[1], &port, sizeof port) != sizeof port) return 1;
  int status = 1;
  ::waitpid(child, &status, 0);
  return status == 0 ? 0 : 1;
}
