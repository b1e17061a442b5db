// A host application that keeps its events across a restart: opens its handle, logs the lines that it is
// given, lets the library try to deliver them, and tells it before the process ends that the application goes
// to the background. What could not be delivered is then in files, and the next start sends it.
//
//   lifecycle COLLECTOR-ADDRESS PORT SETTINGS-HOST[:PORT] [LINE...]

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <thread>

#include <pxalog/Diagnostics.h>
#include <pxalog/Host.h>
#include <pxalog/PXALog.h>

namespace PXALog = pxa::PXALog;

namespace {

constexpr std::int32_t kHttp = 1;

pxa::Diagnostics::Events eventsNow() {
  return pxa::Diagnostics::snapshot().events;
}

/// Waits until every event was delivered, or came back, or was given up.
void waitUntilEverythingWasTried(std::chrono::seconds patience) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  const auto isTried = [](const pxa::Diagnostics::Events& events) {
    return events.waiting + events.gathered + events.inFlight == 0;
  };
  while (!isTried(eventsNow()) && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::cerr << "usage: lifecycle COLLECTOR-ADDRESS PORT SETTINGS-HOST[:PORT] [LINE...]\n";
    return 2;
  }
  pxa::Host::setSettingsService(
      {.defaultHost = argv[3], .alternateHost = nullptr, .alternateForCollector = nullptr});

  // The first handle of the process also takes up what an earlier run has left.
  if (!PXALog::init_onPort_byProtocol_ofAppKey_withVersion_forUserId(argv[1], std::atoi(argv[2]), kHttp,
                                                                     "lifecycle", "1.0.0", nullptr)) {
    std::cerr << "lifecycle: the handle could not be opened\n";
    return 1;
  }
  for (int line = 4; line < argc; ++line) PXALog::info_withMessage(nullptr, argv[line]);

  waitUntilEverythingWasTried(std::chrono::seconds(30));
  pxa::Host::didEnterBackground();
  const pxa::Diagnostics::Events events = eventsNow();
  std::cout << "lifecycle: " << events.delivered << " events delivered, " << events.saved
            << " kept for the next start\n";
  return 0;
}
