#include "platform/linux/NetworkWatcher.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <exception>
#include <libmnl/libmnl.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <new>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>
#include <utility>

#include "platform/Platform.h"

namespace pxa {

namespace {

constexpr std::chrono::milliseconds kSilence{50};
constexpr std::chrono::milliseconds kLongestChange{500};

/// A socket that hears of changes; not open, with errno set, when there is none to be had.
FileDescriptor openSocket() {
  FileDescriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups =
      RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_IFADDR | RTMGRP_IPV6_ROUTE;
  if (socket.isOpen() && ::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
    const int error = errno;
    socket = FileDescriptor();
    errno = error;
  }
  return socket;
}

bool holdsMoreThanLinks(const void* messages, std::size_t size) {
  int rest = static_cast<int>(size);
  const auto* message = static_cast<const nlmsghdr*>(messages);
  for (; mnl_nlmsg_ok(message, rest); message = mnl_nlmsg_next(message, &rest))
    if (message->nlmsg_type != RTM_NEWLINK && message->nlmsg_type != RTM_DELLINK) return true;
  return false;
}

}  // namespace

int NetworkWatcher::start() {
  if (isWatching_) return 0;
  const Guard guard(mutex_);
  if (isWatching_) return 0;
  FileDescriptor socket = openSocket();
  if (!socket.isOpen()) return errno;
  socket_ = std::move(socket);
  ++generation_;
  isWatching_ = true;
  try {
    Platform::current().threads.start("pxa-routes", [this] { run(); });
    return 0;
  } catch (const std::system_error& failure) {
    isWatching_ = false;
    return failure.code().value();
  } catch (const std::exception&) {
    isWatching_ = false;
    return ENOMEM;
  }
}

std::optional<std::uint64_t> NetworkWatcher::generation() {
  if (start() != 0) return std::nullopt;
  return generation_.load();
}

void NetworkWatcher::addListener(std::weak_ptr<NetworkListener> listener) {
  const Guard guard(mutex_);
  std::erase_if(listeners_, [](const auto& other) { return other.expired(); });
  listeners_.push_back(std::move(listener));
}

void NetworkWatcher::run() noexcept {
  do {
    while (const std::optional<NetworkChange> change = hearOneChange()) tellListeners(*change);
    // Something has closed the socket. What was missed meanwhile may be anything.
    socket_ = openSocket();
    ++generation_;
    tellListeners({.isOfRoutes = true});
  } while (socket_.isOpen());
  isWatching_ = false;
}

std::optional<NetworkChange> NetworkWatcher::hearOneChange() {
  using std::chrono::steady_clock;
  NetworkChange change;
  if (!receiveInto(change)) return std::nullopt;
  const auto deadline = steady_clock::now() + kLongestChange;
  pollfd more{.fd = socket_.get(), .events = POLLIN, .revents = 0};
  while (steady_clock::now() < deadline && ::poll(&more, 1, static_cast<int>(kSilence.count())) > 0)
    if (!receiveInto(change)) return std::nullopt;
  return change;
}

bool NetworkWatcher::receiveInto(NetworkChange& change) {
  alignas(nlmsghdr) std::array<char, 8192> messages;
  ssize_t size = 0;
  do size = ::recv(socket_.get(), messages.data(), messages.size(), 0);
  while (size < 0 && errno == EINTR);
  // ENOBUFS says that messages were lost, of whatever kind; anything else, that none will come any more.
  if (size <= 0 && errno != ENOBUFS) return false;
  if (size <= 0 || holdsMoreThanLinks(messages.data(), static_cast<std::size_t>(size)))
    change.isOfRoutes = true;
  ++generation_;
  return true;
}

void NetworkWatcher::tellListeners(NetworkChange change) noexcept {
  try {
    for (const auto& weak : listeners())
      if (const auto listener = weak.lock()) listener->networkChanged(change);
  } catch (const std::bad_alloc&) {
    // The next change tells them.
  }
}

std::vector<std::weak_ptr<NetworkListener>> NetworkWatcher::listeners() {
  const Guard guard(mutex_);
  return listeners_;
}

}  // namespace pxa
