// The memory that the library holds ten seconds after many log calls while no collector is there, beyond
// what a process has that begins curl and does nothing else.

#include <chrono>
#include <cstdio>
#include <curl/curl.h>
#include <fstream>
#include <list>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <pxalog/Diagnostics.h>
#include <pxalog/Host.h>
#include <pxalog/PXALog.h>

#include "child_process.h"
#include "costs.h"

namespace {

using namespace std::chrono_literals;

constexpr int kHttp = 1;
constexpr int kPairs = 7;
constexpr int kLogCalls = 100'000;
constexpr std::size_t kMessageSize = 60;
constexpr auto kTimeToSettle = 10s;

/// Mebibytes.
double residentMemory() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with("VmRSS:")) return std::stod(line.substr(line.find_first_of("0123456789"))) / 1024;
  throw std::runtime_error("the system does not tell the resident memory");
}

void writeResidentMemory() {
  std::printf("%f", residentMemory());
}

void runCurlAlone() {
  curl_global_init(CURL_GLOBAL_DEFAULT);
  writeResidentMemory();
}

std::string messageOf(int number) {
  std::string message =
      "payment " + std::to_string(number) + " was refused by the provider after three tries";
  message.resize(kMessageSize, '.');
  return message;
}

void requireThatSendingWasTried() {
  const pxa::Diagnostics::Snapshot state = pxa::Diagnostics::snapshot();
  if (state.events.entered < kLogCalls || state.requests.failed == 0 || state.requests.delivered > 0)
    throw std::runtime_error("the library has not done what shall be measured");
}

void runLibrary(int port) {
  pxa::Host::setSettingsService({"127.0.0.1:" + std::to_string(port), nullptr, nullptr});
  pxa::Host::setLogSink([](const pxa::String&) {});
  if (!pxa::PXALog::init_onPort_byProtocol_ofAppKey_withVersion_forUserId("http://127.0.0.1", port, kHttp,
                                                                          "bench", "1.0", nullptr))
    throw std::runtime_error("no handle");
  for (int number = 0; number < kLogCalls; ++number) pxa::PXALog::error_withMessage("E42", messageOf(number));
  std::this_thread::sleep_for(kTimeToSettle);
  writeResidentMemory();
  requireThatSendingWasTried();
}

std::list<pxa::bench::ChildProcess> startAll(const std::vector<std::string>& arguments) {
  std::vector<std::string> command = {pxa::bench::programPath()};
  command.insert(command.end(), arguments.begin(), arguments.end());
  std::list<pxa::bench::ChildProcess> children;
  for (int pair = 0; pair < kPairs; ++pair) children.emplace_back(command);
  return children;
}

void measure() {
  const pxa::bench::RefusingPort port;
  auto libraries = startAll({"--library", std::to_string(port.number())});
  auto curls = startAll({"--curl"});
  pxa::bench::Samples above;
  auto curl = curls.begin();
  for (pxa::bench::ChildProcess& library : libraries) {
    const double curlAlone = (curl++)->number();
    above.add(library.number() - curlAlone);
  }
  pxa::bench::report({.name = "memory 10 s after 100,000 log calls, collector down",
                      .unit = "MiB",
                      .measured = above,
                      .most = 8});
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view role = argc > 1 ? argv[1] : "";
  return pxa::bench::run([&] {
    if (role == "--curl")
      runCurlAlone();
    else if (role == "--library")
      runLibrary(std::stoi(argv[2]));
    else
      measure();
  });
}
