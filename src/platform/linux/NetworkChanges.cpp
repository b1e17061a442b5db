#include "platform/linux/NetworkChanges.h"

#include <array>
#include <cerrno>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

namespace pxa {

NetworkChanges::NetworkChanges()
    : socket_(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE)) {
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups =
      RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_IFADDR | RTMGRP_IPV6_ROUTE;
  if (socket_.isOpen() && ::bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0)
    socket_ = FileDescriptor();
}

bool NetworkChanges::happened() {
  if (!socket_.isOpen()) return true;
  bool changed = false;
  std::array<char, 8192> message;
  for (;;) {
    const ssize_t size = ::recv(socket_.get(), message.data(), message.size(), 0);
    if (size < 0 && errno == EINTR) continue;
    if (size < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return changed;
    changed = true;
    // ENOBUFS says that messages were lost; anything else, that none will come any more.
    if (size <= 0 && errno != ENOBUFS) {
      socket_ = FileDescriptor();
      return true;
    }
  }
}

}  // namespace pxa
