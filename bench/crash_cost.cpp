// What a crash takes, and what being ready for one costs while nothing crashes: really crashes child processes
// of this program, against a local collector.
//
//   crash_cost [RUNS]

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <pxalog/Host.h>
#include <pxalog/PXALog.h>

#include "collector/Collector.h"

namespace {

using Clock = std::chrono::steady_clock;

double millisecondsNow() {
  return std::chrono::duration<double, std::milli>(Clock::now().time_since_epoch()).count();
}

long residentKib() {
  long pages = 0;
  long resident = 0;
  std::ifstream("/proc/self/statm") >> pages >> resident;
  return resident * ::sysconf(_SC_PAGESIZE) / 1024;
}

/// The child: tells what its start has cost, waits until the library's threads have settled, crashes.
int runChild(int port, bool isReporting) {
  const rlimit noCore{0, 0};
  ::setrlimit(RLIMIT_CORE, &noCore);
  const std::string settings = "127.0.0.1:" + std::to_string(port);
  pxa::Host::setSettingsService({settings, nullptr, nullptr});
  pxa::Host::setLogSink([](const pxa::String&) {});
  const double start = millisecondsNow();
  pxa::PXALog::
      init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart_withUnityVersion(
          "http://127.0.0.1", port, 1, "bench", "1.0", nullptr, isReporting, false, nullptr);
  const double startUp = millisecondsNow() - start;
  ::usleep(300'000);
  const long resident = residentKib();
  std::printf("%f %ld %f\n", startUp, resident, millisecondsNow());
  std::fflush(stdout);
  volatile int* nothing = nullptr;
  *nothing = 1;
  return 1;
}

struct Run {
  double startUp = 0;    // milliseconds
  double resident = 0;   // KiB
  double delivered = 0;  // milliseconds after the signal
  double ended = 0;      // milliseconds after the signal
};

Run crashOnce(const pxa::tools::Collector& collector, const std::atomic<double>& arrival, bool isReporting) {
  int ends[2];
  if (::pipe(ends) != 0) std::abort();
  const std::string port = std::to_string(collector.httpPort());
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(ends[1], STDOUT_FILENO);
    ::execl("/proc/self/exe", "crash_cost", "--child", port.c_str(), isReporting ? "1" : "0", nullptr);
    ::_exit(2);
  }
  ::close(ends[1]);
  ::waitpid(child, nullptr, 0);
  const double end = millisecondsNow();
  char text[128] = {};
  if (::read(ends[0], text, sizeof text - 1) <= 0) std::abort();
  ::close(ends[0]);
  Run run;
  double signal = 0;
  if (std::sscanf(text, "%lf %lf %lf", &run.startUp, &run.resident, &signal) != 3) std::abort();
  run.delivered = arrival - signal;
  run.ended = end - signal;
  return run;
}

void print(const char* what, const std::vector<Run>& runs, const std::function<double(const Run&)>& figure) {
  std::vector<double> values;
  for (const Run& run : runs) values.push_back(figure(run));
  std::sort(values.begin(), values.end());
  std::printf("%-52s %9.2f %9.2f %9.2f\n", what, values.front(), values[values.size() / 2], values.back());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::string(argv[1]) == "--child") return runChild(std::atoi(argv[2]), *argv[3] == '1');
  const int count = argc == 2 ? std::max(1, std::atoi(argv[1])) : 11;

  std::atomic<double> arrival = 0;
  pxa::tools::Options options;
  options.onRequest = [&](const pxa::tools::ReceivedRequest&) { arrival = millisecondsNow(); };
  const pxa::tools::Collector collector(std::move(options));
  std::vector<Run> reporting;
  std::vector<Run> silent;
  for (int i = 0; i < count; ++i) {
    reporting.push_back(crashOnce(collector, arrival, true));
    silent.push_back(crashOnce(collector, arrival, false));
  }
  std::printf("%-52s %9s %9s %9s\n", "", "least", "median", "most");
  print("signal to request at the collector, ms", reporting, [](const Run& run) { return run.delivered; });
  print("signal to end of the process, ms", reporting, [](const Run& run) { return run.ended; });
  print("  without crash reporting, ms", silent, [](const Run& run) { return run.ended; });
  print("initialisation with crash reporting, ms", reporting, [](const Run& run) { return run.startUp; });
  print("  without, ms", silent, [](const Run& run) { return run.startUp; });
  print("memory with crash reporting, KiB", reporting, [](const Run& run) { return run.resident; });
  print("  without, KiB", silent, [](const Run& run) { return run.resident; });
}
