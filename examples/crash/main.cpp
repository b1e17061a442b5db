// A host application that crashes, in the way that its argument names, with crash reporting switched on.
//
//   crash WAY COLLECTOR-ADDRESS PORT SETTINGS-HOST[:PORT]

#include <cstdlib>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>

#include <pxalog/Host.h>
#include <pxalog/PXALog.h>

namespace PXALog = pxa::PXALog;

namespace {

constexpr std::int32_t kHttp = 1;

[[gnu::noinline]] void writeToNull() {
  volatile int* nothing = nullptr;
  *nothing = 1;  // NOLINT(clang-analyzer-core.NullDereference): that is the point
}

[[gnu::noinline]] int descend(int depth) {
  volatile int kept = depth;
  return depth < 0 ? 0 : descend(depth + 1) + kept;
}

void overflowTheStack() {
  descend(0);
}

void throwOutOfMain() {
  throw std::out_of_range("no such row: 17");
}

void throwOutOfAThread() {
  std::thread([] { throw std::runtime_error("the worker has lost its way"); }).join();
}

void letAnExceptionOutOfNoexcept() noexcept {
  throwOutOfMain();
}

const std::map<std::string, void (*)()> kWays = {
    {"null", &writeToNull},
    {"overflow", &overflowTheStack},
    {"abort", &std::abort},
    {"illegal-instruction", [] { __builtin_trap(); }},
    {"exception", &throwOutOfMain},
    {"exception-in-thread", &throwOutOfAThread},
    {"noexcept", &letAnExceptionOutOfNoexcept},
};

int usage() {
  std::cerr << "usage: crash WAY COLLECTOR-ADDRESS PORT SETTINGS-HOST[:PORT]\n\nways:";
  for (const auto& [name, way] : kWays) std::cerr << ' ' << name;
  std::cerr << '\n';
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5 || !kWays.contains(argv[1])) return usage();
  pxa::Host::setSettingsService(
      {.defaultHost = argv[4], .alternateHost = nullptr, .alternateForCollector = nullptr});
  // What could not be delivered is sent by the next start.
  pxa::Host::setKeepUndeliveredCrashes(true);
  PXALog::setCrashBlock([] { std::cout << "crash: the crash block runs\n" << std::flush; });
  if (!PXALog::
          init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart_withUnityVersion(
              argv[2], std::atoi(argv[3]), kHttp, "crash", "1.0.0", "ada", true, false, nullptr)) {
    std::cerr << "crash: the handle could not be opened\n";
    return 1;
  }
  kWays.at(argv[1])();
  return 1;
}
