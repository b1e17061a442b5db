// How often the library's threads run while it has nothing to do: it has delivered what there was, and its
// connection to the collector is kept alive. Curl closes a connection that it no longer wants only when it
// makes another request, so that there is no end of it to wait for.

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <list>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <unistd.h>
#include <vector>

#include <pxalog/Diagnostics.h>
#include <pxalog/Host.h>
#include <pxalog/PXALog.h>

#include "child_process.h"
#include "collector/Collector.h"
#include "costs.h"

namespace {

using namespace std::chrono_literals;

constexpr int kHttp = 1;
constexpr int kProcesses = 7;
constexpr int kEvents = 5;
constexpr auto kLongestDelivery = 30s;
constexpr auto kTimeToSettle = 5s;
constexpr auto kIdleness = 60s;

/// How often each thread was given a processor, by its name and number.
using WakeUps = std::map<std::string, long>;

/// Of one thread, from its status.
void addThread(const std::filesystem::path& thread, WakeUps& wakeUps) {
  std::ifstream status(thread / "status");
  std::string name;
  long switches = 0;
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("Name:")) name = line.substr(line.find('\t') + 1);
    if (line.find("voluntary_ctxt_switches:") != std::string::npos)
      switches += std::stol(line.substr(line.find('\t') + 1));
  }
  wakeUps[name + " " + thread.filename().string()] = switches;
}

/// Of all threads but the calling one.
WakeUps wakeUpsOfOthers() {
  WakeUps wakeUps;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task"))
    if (thread.path().filename() != std::to_string(::gettid())) addThread(thread.path(), wakeUps);
  return wakeUps;
}

long sumOf(const WakeUps& wakeUps) {
  long sum = 0;
  for (const auto& [thread, count] : wakeUps) sum += count;
  return sum;
}

/// Writes to standard error which threads they were.
long wakeUpsBetween(const WakeUps& before, const WakeUps& after) {
  long sum = 0;
  for (const auto& [thread, count] : after) {
    const auto earlier = before.find(thread);
    const long added = earlier == before.end() ? count : count - earlier->second;
    if (added > 0) std::fprintf(stderr, "%s: %ld wake-ups\n", thread.c_str(), added);
    sum += added;
  }
  return sum;
}

void waitUntilDelivered() {
  const auto deadline = std::chrono::steady_clock::now() + kLongestDelivery;
  while (pxa::Diagnostics::snapshot().events.delivered < kEvents) {
    if (std::chrono::steady_clock::now() > deadline)
      throw std::runtime_error("the events were not delivered");
    std::this_thread::sleep_for(10ms);
  }
}

/// Writes the wake-ups.
void runChild(int port) {
  pxa::Host::setSettingsService({"127.0.0.1:" + std::to_string(port), nullptr, nullptr});
  pxa::Host::setLogSink([](const pxa::String&) {});
  if (!pxa::PXALog::init_onPort_byProtocol_ofAppKey_withVersion_forUserId("http://127.0.0.1", port, kHttp,
                                                                          "bench", "1.0", nullptr))
    throw std::runtime_error("no handle");
  for (int number = 0; number < kEvents; ++number)
    pxa::PXALog::error_withMessage("E42", "payment " + std::to_string(number) + " was refused");
  waitUntilDelivered();
  std::this_thread::sleep_for(kTimeToSettle);
  const WakeUps before = wakeUpsOfOthers();
  if (sumOf(before) == 0) throw std::runtime_error("the wake-ups of the library's threads are not seen");
  std::this_thread::sleep_for(kIdleness);
  std::printf("%ld", wakeUpsBetween(before, wakeUpsOfOthers()));
}

void measure() {
  const pxa::tools::Collector collector;
  const std::vector<std::string> command = {pxa::bench::programPath(), "--child",
                                            std::to_string(collector.httpPort())};
  std::list<pxa::bench::ChildProcess> children;
  for (int process = 0; process < kProcesses; ++process) children.emplace_back(command);
  pxa::bench::Samples wakeUps;
  for (pxa::bench::ChildProcess& child : children) wakeUps.add(child.number());
  pxa::bench::report({.name = "wake-ups in 60 s of idleness", .unit = "", .measured = wakeUps, .most = 0});
}

}  // namespace

int main(int argc, char** argv) {
  const bool isChild = argc == 3 && std::string_view(argv[1]) == "--child";
  return pxa::bench::run([&] { isChild ? runChild(std::stoi(argv[2])) : measure(); });
}
