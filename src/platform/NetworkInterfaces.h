#pragma once

#include <array>
#include <cstdint>
#include <optional>
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

class NetworkInterfaces {
 public:
  virtual ~NetworkInterfaces() = default;
  /// The addresses of all interfaces, as fresh as if listed now; nothing when they cannot be listed.
  /// Thread-safe.
  virtual std::optional<std::vector<NetworkInterface>> list() = 0;
};

}  // namespace pxa
