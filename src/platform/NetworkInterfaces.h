#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace pxa {

struct NetworkInterface {
  /// As a phone names its links: "en0" and "en1" for Wi-Fi, "pdp_ip0" for cellular.
  std::string name;
  enum class Family : std::uint8_t { IPv4, IPv6, Other };
  Family family = Family::Other;
  /// The four bytes that follow the port in the socket address: the address of an IPv4 entry, the flow
  /// information of an IPv6 entry.
  std::array<std::uint8_t, 4> word{};
};

using InterfaceList = std::shared_ptr<const std::vector<NetworkInterface>>;

class NetworkInterfaces {
 public:
  virtual ~NetworkInterfaces() = default;
  /// The addresses of all interfaces, as fresh as if listed now; nullptr when they cannot be listed. May be the
  /// very list of the last call if nothing has changed since. Thread-safe.
  virtual InterfaceList list() = 0;
};

}  // namespace pxa
