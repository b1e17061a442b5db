#include "api/handle/host_address.h"

#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "foundation/Mutex.h"
#include "platform/Platform.h"

namespace pxa {

using namespace literals;

namespace {

std::atomic<bool> gs_isHostEnabled = true;

constexpr std::string_view kNoAddress = "0.0.0.0";

std::string dottedQuad(const std::array<std::uint8_t, 4>& word) {
  std::string text;
  for (const std::uint8_t byte : word) {
    if (!text.empty()) text += '.';
    text += std::to_string(byte);
  }
  return text;
}

/// Of Wi-Fi, else of the mobile link, else none.
String addressIn(const std::vector<NetworkInterface>& interfaces) {
  std::string wifiAddress;
  std::string cellularAddress;
  for (const NetworkInterface& interface : interfaces) {
    if (interface.family == NetworkInterface::Family::Other) continue;
    std::string address = dottedQuad(interface.word);
    if (address == kNoAddress) continue;
    if (interface.name == "en0" || interface.name == "en1")
      wifiAddress = std::move(address);
    else if (interface.name == "pdp_ip0")
      cellularAddress = std::move(address);
  }
  if (!wifiAddress.empty()) return wifiAddress;
  return cellularAddress.empty() ? "0.0.0.0"_text : String(cellularAddress);
}

/// The address that was last found, and in which list.
struct KnownAddress {
  Mutex mutex;
  InterfaceList interfaces GUARDED_BY(mutex);
  String address GUARDED_BY(mutex);
};

KnownAddress& knownAddress() {
  static auto& known = *new KnownAddress;
  return known;
}

}  // namespace

String PXALog::getIPAddress() {
  InterfaceList interfaces = Platform::current().interfaces.list();
  if (interfaces == nullptr) return "0.0.0.0"_text;
  KnownAddress& known = knownAddress();
  const Guard guard(known.mutex);
  if (known.interfaces != interfaces) {
    known.address = addressIn(*interfaces);
    known.interfaces = std::move(interfaces);
  }
  return known.address;
}

String PXALog::getHost() {
  if (!gs_isHostEnabled) return "-"_text;
  String address = getIPAddress();
  return address.isEmpty() || address.view() == kNoAddress ? "localhost"_text : address;
}

void PXALog::storeHostSwitch(bool isEnabled) {
  gs_isHostEnabled = isEnabled;
}

}  // namespace pxa
