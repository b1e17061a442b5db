// The smallest whole host application: opens two handles, writes a line at each level, and waits until
// everything has arrived.
//
//   hello COLLECTOR-ADDRESS PORT SETTINGS-HOST[:PORT]

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <thread>

#include <pxalog/Diagnostics.h>
#include <pxalog/Host.h>
#include <pxalog/PXALog.h>

namespace PXALog = pxa::PXALog;

namespace {

constexpr std::int32_t kHttps = 0;

bool isEverythingDecided() {
  const pxa::Diagnostics::Events events = pxa::Diagnostics::snapshot().events;
  return events.waiting + events.gathered + events.inFlight == 0;
}

bool waitUntilEverythingIsDecided(std::chrono::seconds patience) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!isEverythingDecided() && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  return isEverythingDecided();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: hello COLLECTOR-ADDRESS PORT SETTINGS-HOST[:PORT]\n";
    return 2;
  }
  const char* collector = argv[1];
  const std::int32_t port = std::atoi(argv[2]);
  pxa::Host::setSettingsService(
      {.defaultHost = argv[3], .alternateHost = nullptr, .alternateForCollector = nullptr});

  // All handles first, so that no event has to wait for one.
  const bool isOpen = PXALog::init_onPort_byProtocol_ofAppKey_withVersion_forUserId(
                          collector, port, kHttps, "hello", "1.0.0", "ada") &&
                      PXALog::init_onPort_ofAppKey_withVersion_forUserId_forHandleId(
                          collector, port, "hello-cell", "1.0.0", nullptr, "Keepcell");
  if (!isOpen) {
    std::cerr << "hello: no handle could be opened\n";
    return 1;
  }

  PXALog::setCustomField_forKey("checkout", "screen");
  PXALog::setCustomField_forKey("42", "cart_id");

  PXALog::debug_withMessage(nullptr, "cache warmed in 12 ms");
  PXALog::info_withMessage(nullptr, "hello, collector");
  PXALog::warn_withMessage("W17", "payment provider is slow");
  PXALog::error_withMessage("E42", "payment was refused");
  PXALog::fatal_withMessage("F1", "cart is corrupt");
  PXALog::error_withMessage("E42", "payment was refused");  // a repeat: held back
  PXALog::info_Keepcell_withMessage(nullptr, "a line on the second channel");

  const bool isDone = waitUntilEverythingIsDecided(std::chrono::seconds(30));
  const pxa::Diagnostics::Snapshot snapshot = pxa::Diagnostics::snapshot();
  std::cout << "hello: " << snapshot.events.delivered << " events delivered, "
            << snapshot.events.dropped.duplicate << " held back as a repeat\n";
  return isDone && snapshot.events.failed == 0 ? 0 : 1;
}
