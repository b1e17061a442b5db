#include "api/handle/host_address.h"

#include <atomic>
#include <string>

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

}  // namespace

String PXALog::getIPAddress() {
  std::string wifiAddress;
  std::string cellularAddress;
  const auto interfaces = Platform::current().interfaces.list();
  if (!interfaces) return "0.0.0.0"_text;
  for (const NetworkInterface& interface : *interfaces) {
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

String PXALog::getHost() {
  if (!gs_isHostEnabled) return "-"_text;
  String address = getIPAddress();
  return address.isEmpty() || address.view() == kNoAddress ? "localhost"_text : address;
}

void PXALog::storeHostSwitch(bool isEnabled) {
  gs_isHostEnabled = isEnabled;
}

}  // namespace pxa
