#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct mnl_socket;
struct nlmsghdr;
struct sockaddr;

namespace pxa {

struct IpAddress {
  int family;                          ///< AF_INET or AF_INET6
  std::array<std::uint8_t, 16> bytes;  ///< in network order; an IPv4 address fills the first four
  std::uint32_t scope = 0;             ///< link of a link-local IPv6 address; 0 elsewhere

  [[nodiscard]] std::size_t size() const;
  /// Whether it is 0.0.0.0 or ::.
  [[nodiscard]] bool isAny() const;
  /// Nothing for another family.
  static std::optional<IpAddress> of(const sockaddr& address);

  bool operator==(const IpAddress&) const = default;
};

/// A network interface.
struct Link {
  int index;
  std::string name;
  bool isUp;            ///< switched on
  bool carriesTraffic;  ///< and neither without a carrier nor dormant

  /// Whether its name is that of a cellular modem's or a dial-up link.
  [[nodiscard]] bool isCellular() const;
};

struct LinkAddress {
  int linkIndex;
  IpAddress address;
};

struct Route {
  int linkIndex;
  bool isLocal;   ///< leads to this machine itself
  bool isDirect;  ///< without a gateway
  std::uint32_t metric;
};

/// A conversation with the kernel about links, addresses and routes. Every question gives nothing when the
/// kernel does not answer it. Not thread-safe.
class Rtnetlink {
 public:
  /// Nothing where the kernel does not talk to this process.
  static std::optional<Rtnetlink> open();

  std::optional<std::vector<Link>> links();
  std::optional<std::vector<LinkAddress>> addresses();
  /// The default routes of one family, those with the lowest metric first. A route over several links counts
  /// once for each that is not dead.
  std::optional<std::vector<Route>> defaultRoutes(int family);
  /// The link of that index; none when it is gone.
  std::optional<std::vector<Link>> link(int index);
  /// The route that a packet to the address would take; none when there is none.
  std::optional<std::vector<Route>> routeTo(const IpAddress& destination);

 private:
  struct Close {
    void operator()(mnl_socket* socket) const;
  };
  using Socket = std::unique_ptr<mnl_socket, Close>;

  explicit Rtnetlink(Socket socket) : socket_(std::move(socket)) {}
  /// Sends the request and hands every message of its answer to the reader; 0, or the error.
  int ask(nlmsghdr& request, const std::function<void(const nlmsghdr& message)>& reader);
  /// What the reader finds in the messages of the answer.
  template <class T>
  std::optional<std::vector<T>> collect(nlmsghdr& request,
                                        const std::function<void(const nlmsghdr&, std::vector<T>&)>& reader);

  Socket socket_;
  std::uint32_t sequence_ = 0;
};

}  // namespace pxa
