#include "platform/linux/Rtnetlink.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

namespace pxa {

namespace {

constexpr std::size_t kLongestAnswer = 32768;
constexpr int kMostAttempts = 5;
constexpr timeval kLongestWait{.tv_sec = 1, .tv_usec = 0};

/// Room for a request with its attributes.
struct Request {
  alignas(nlmsghdr) std::array<char, 256> bytes{};

  Request(std::uint16_t type, std::uint16_t flags) {
    nlmsghdr* header = mnl_nlmsg_put_header(bytes.data());
    header->nlmsg_type = type;
    header->nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | flags);
  }
  nlmsghdr& header() { return *reinterpret_cast<nlmsghdr*>(bytes.data()); }
  template <class Body>
  Body& body() {
    return *static_cast<Body*>(mnl_nlmsg_put_extra_header(&header(), sizeof(Body)));
  }
};

/// The attributes of one message by their type; those that it lacks are null.
template <std::size_t Last, class Body>
std::array<const nlattr*, Last + 1> attributesOf(const nlmsghdr& message) {
  std::array<const nlattr*, Last + 1> attributes{};
  const auto* attribute = static_cast<const nlattr*>(mnl_nlmsg_get_payload_offset(&message, sizeof(Body)));
  const auto* tail = static_cast<const char*>(mnl_nlmsg_get_payload_tail(&message));
  for (; mnl_attr_ok(attribute, static_cast<int>(tail - reinterpret_cast<const char*>(attribute)));
       attribute = mnl_attr_next(attribute))
    if (mnl_attr_get_type(attribute) <= Last) attributes[mnl_attr_get_type(attribute)] = attribute;
  return attributes;
}

template <class Body>
const Body* bodyOf(const nlmsghdr& message) {
  return mnl_nlmsg_get_payload_len(&message) < sizeof(Body)
             ? nullptr
             : static_cast<const Body*>(mnl_nlmsg_get_payload(&message));
}

std::uint32_t numberOr(std::uint32_t otherwise, const nlattr* attribute) {
  return attribute != nullptr && mnl_attr_get_payload_len(attribute) >= sizeof(std::uint32_t)
             ? mnl_attr_get_u32(attribute)
             : otherwise;
}

void addLink(const nlmsghdr& message, std::vector<Link>& links) {
  const auto* body = bodyOf<ifinfomsg>(message);
  if (body == nullptr || message.nlmsg_type != RTM_NEWLINK) return;
  const auto attributes = attributesOf<IFLA_IFNAME, ifinfomsg>(message);
  const nlattr* name = attributes[IFLA_IFNAME];
  if (name == nullptr || mnl_attr_validate(name, MNL_TYPE_NUL_STRING) < 0) return;
  constexpr unsigned kCarries = IFF_UP | IFF_RUNNING;
  links.push_back({.index = body->ifi_index,
                   .name = mnl_attr_get_str(name),
                   .isUp = (body->ifi_flags & IFF_UP) != 0,
                   .carriesTraffic = (body->ifi_flags & kCarries) == kCarries});
}

void addAddress(const nlmsghdr& message, std::vector<LinkAddress>& addresses) {
  const auto* body = bodyOf<ifaddrmsg>(message);
  if (body == nullptr || message.nlmsg_type != RTM_NEWADDR) return;
  const auto attributes = attributesOf<IFA_LOCAL, ifaddrmsg>(message);
  // Of a point-to-point link, the local end; IFA_ADDRESS is the other one.
  const nlattr* attribute =
      attributes[IFA_LOCAL] != nullptr ? attributes[IFA_LOCAL] : attributes[IFA_ADDRESS];
  LinkAddress found{.linkIndex = static_cast<int>(body->ifa_index), .address = {body->ifa_family, {}}};
  if (attribute == nullptr || mnl_attr_get_payload_len(attribute) != found.address.size()) return;
  std::memcpy(found.address.bytes.data(), mnl_attr_get_payload(attribute), found.address.size());
  addresses.push_back(found);
}

bool leadsSomewhere(std::uint8_t type) {
  return type == RTN_UNICAST || type == RTN_LOCAL || type == RTN_BROADCAST || type == RTN_ANYCAST ||
         type == RTN_MULTICAST;
}

/// One route for each of the links that a route leads over.
void addHops(const nlattr& multipath, const Route& route, std::vector<Route>& routes) {
  const void* next = mnl_attr_get_payload(&multipath);
  int rest = mnl_attr_get_payload_len(&multipath);
  for (const auto* hop = static_cast<const rtnexthop*>(next); RTNH_OK(hop, rest);
       hop = static_cast<const rtnexthop*>(next)) {
    if ((hop->rtnh_flags & RTNH_F_DEAD) == 0) {
      routes.push_back(route);
      routes.back().linkIndex = hop->rtnh_ifindex;
      routes.back().isDirect = hop->rtnh_len == sizeof(*hop);  // no attributes: no gateway
    }
    rest -= static_cast<int>(RTNH_ALIGN(hop->rtnh_len));
    next = static_cast<const char*>(next) + RTNH_ALIGN(hop->rtnh_len);
  }
}

void addRoute(const nlmsghdr& message, std::vector<Route>& routes) {
  const auto* body = bodyOf<rtmsg>(message);
  if (body == nullptr || message.nlmsg_type != RTM_NEWROUTE || !leadsSomewhere(body->rtm_type)) return;
  const auto attributes = attributesOf<RTA_VIA, rtmsg>(message);
  const Route route{.linkIndex = static_cast<int>(numberOr(0, attributes[RTA_OIF])),
                    .isLocal = body->rtm_type == RTN_LOCAL,
                    .isDirect = attributes[RTA_GATEWAY] == nullptr && attributes[RTA_VIA] == nullptr,
                    .metric = numberOr(0, attributes[RTA_PRIORITY])};
  if (attributes[RTA_MULTIPATH] != nullptr)
    addHops(*attributes[RTA_MULTIPATH], route, routes);
  else
    routes.push_back(route);
}

bool isDefaultRoute(const nlmsghdr& message, int family) {
  const auto* body = bodyOf<rtmsg>(message);
  return body != nullptr && body->rtm_family == family && body->rtm_dst_len == 0 &&
         body->rtm_table == RT_TABLE_MAIN && body->rtm_type == RTN_UNICAST;
}

/// What the kernel says of a link that is not there, of a route that is not, or that refuses its traffic, and
/// of a family that it does not know.
bool saysThereIsNone(int error) {
  return error == ENODEV || error == ENETUNREACH || error == EHOSTUNREACH || error == EACCES ||
         error == EINVAL || error == EAGAIN || error == EOPNOTSUPP || error == EAFNOSUPPORT;
}

}  // namespace

std::size_t IpAddress::size() const {
  return family == AF_INET ? sizeof(in_addr) : sizeof(in6_addr);
}

bool IpAddress::isAny() const {
  return std::all_of(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size()),
                     [](std::uint8_t byte) { return byte == 0; });
}

std::optional<IpAddress> IpAddress::of(const sockaddr& address) {
  IpAddress result{address.sa_family, {}};
  if (address.sa_family == AF_INET) {
    const auto& internet = reinterpret_cast<const sockaddr_in&>(address);
    std::memcpy(result.bytes.data(), &internet.sin_addr, sizeof(internet.sin_addr));
    return result;
  }
  if (address.sa_family == AF_INET6) {
    const auto& internet = reinterpret_cast<const sockaddr_in6&>(address);
    if (IN6_IS_ADDR_V4MAPPED(&internet.sin6_addr)) {
      result.family = AF_INET;
      std::memcpy(result.bytes.data(), &internet.sin6_addr.s6_addr[12], sizeof(in_addr));
      return result;
    }
    std::memcpy(result.bytes.data(), &internet.sin6_addr, sizeof(internet.sin6_addr));
    result.scope = internet.sin6_scope_id;
    return result;
  }
  return std::nullopt;
}

bool Link::isCellular() const {
  return name.starts_with("ww") || name.starts_with("ppp");
}

void Rtnetlink::Close::operator()(mnl_socket* socket) const {
  mnl_socket_close(socket);
}

std::optional<Rtnetlink> Rtnetlink::open() {
  Socket socket(mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC));
  if (socket == nullptr || mnl_socket_bind(socket.get(), 0, MNL_SOCKET_AUTOPID) != 0) return std::nullopt;
  const int descriptor = mnl_socket_get_fd(socket.get());
  ::setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &kLongestWait, sizeof(kLongestWait));
  return Rtnetlink(std::move(socket));
}

std::optional<std::vector<Link>> Rtnetlink::links() {
  Request request(RTM_GETLINK, NLM_F_DUMP);
  request.body<ifinfomsg>().ifi_family = AF_UNSPEC;
  return collect<Link>(request.header(), addLink);
}

std::optional<std::vector<Link>> Rtnetlink::link(int index) {
  Request request(RTM_GETLINK, NLM_F_ACK);
  request.body<ifinfomsg>().ifi_index = index;
  return collect<Link>(request.header(), addLink);
}

std::optional<std::vector<LinkAddress>> Rtnetlink::addresses() {
  Request request(RTM_GETADDR, NLM_F_DUMP);
  request.body<ifaddrmsg>().ifa_family = AF_UNSPEC;
  return collect<LinkAddress>(request.header(), addAddress);
}

std::optional<std::vector<Route>> Rtnetlink::defaultRoutes(int family) {
  Request request(RTM_GETROUTE, NLM_F_DUMP);
  request.body<rtmsg>().rtm_family = static_cast<std::uint8_t>(family);
  auto routes =
      collect<Route>(request.header(), [family](const nlmsghdr& message, std::vector<Route>& found) {
        if (isDefaultRoute(message, family)) addRoute(message, found);
      });
  if (routes)
    std::stable_sort(routes->begin(), routes->end(),
                     [](const Route& left, const Route& right) { return left.metric < right.metric; });
  return routes;
}

std::optional<std::vector<Route>> Rtnetlink::routeTo(const IpAddress& destination) {
  Request request(RTM_GETROUTE, NLM_F_ACK);
  auto& body = request.body<rtmsg>();
  body.rtm_family = static_cast<std::uint8_t>(destination.family);
  body.rtm_dst_len = static_cast<std::uint8_t>(destination.size() * 8);
  mnl_attr_put(&request.header(), RTA_DST, destination.size(), destination.bytes.data());
  if (destination.scope != 0) mnl_attr_put_u32(&request.header(), RTA_OIF, destination.scope);
  return collect<Route>(request.header(), addRoute);
}

template <class T>
std::optional<std::vector<T>> Rtnetlink::collect(
    nlmsghdr& request, const std::function<void(const nlmsghdr&, std::vector<T>&)>& reader) {
  for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
    std::vector<T> found;
    const int error = ask(request, [&](const nlmsghdr& message) { reader(message, found); });
    if (error == 0 || saysThereIsNone(error)) return found;
    if (error != EINTR) return std::nullopt;
    // The list changed while it was read: once more, without the rest of this answer.
    std::optional<Rtnetlink> fresh = open();
    if (!fresh) return std::nullopt;
    *this = std::move(*fresh);
  }
  return std::nullopt;
}

int Rtnetlink::ask(nlmsghdr& request, const std::function<void(const nlmsghdr& message)>& reader) {
  request.nlmsg_seq = ++sequence_;
  if (mnl_socket_sendto(socket_.get(), &request, request.nlmsg_len) < 0) return errno;
  const auto passOn = [](const nlmsghdr* message, void* to) {
    (*static_cast<const std::function<void(const nlmsghdr&)>*>(to))(*message);
    return MNL_CB_OK;
  };
  void* const to = const_cast<std::function<void(const nlmsghdr&)>*>(&reader);
  const unsigned port = mnl_socket_get_portid(socket_.get());
  alignas(nlmsghdr) std::array<char, kLongestAnswer> answer;
  for (;;) {
    const ssize_t size = mnl_socket_recvfrom(socket_.get(), answer.data(), answer.size());
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) return errno == EAGAIN ? ETIMEDOUT : errno;
    const int outcome =
        mnl_cb_run(answer.data(), static_cast<std::size_t>(size), sequence_, port, passOn, to);
    if (outcome < 0) return errno;
    if (outcome == MNL_CB_STOP) return 0;
  }
}

}  // namespace pxa
