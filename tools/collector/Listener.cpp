#include "collector/Listener.h"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <netinet/in.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace pxa::tools {
namespace {

constexpr int kBacklog = 128;
constexpr std::chrono::milliseconds kPauseWhenOutOfDescriptors{10};

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

bool bindTo(int socket, int port) {
  const int on = 1;
  // A port whose old connections still linger may be taken again; one that is being listened on may not.
  ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  const sockaddr_in address = loopback(port);
  return ::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

int portOf(int socket) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size);
  return ntohs(address.sin_port);
}

bool isOutOfDescriptors(int error) {
  return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

}  // namespace

Listener::Listener(int port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  if (socket_ >= 0 && bindTo(socket_, port) && ::listen(socket_, kBacklog) == 0) {
    port_ = portOf(socket_);
    return;
  }
  const std::string reason = std::generic_category().message(errno);
  if (socket_ >= 0) ::close(socket_);
  throw std::runtime_error("cannot listen on 127.0.0.1:" + std::to_string(port) + ": " + reason);
}

Listener::~Listener() {
  ::close(socket_);
}

int Listener::accept() {
  while (!isStopped_) {
    const int accepted = ::accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC);
    if (accepted >= 0) return accepted;
    if (isOutOfDescriptors(errno)) std::this_thread::sleep_for(kPauseWhenOutOfDescriptors);
  }
  return -1;
}

void Listener::stop() {
  isStopped_ = true;
  ::shutdown(socket_, SHUT_RDWR);
}

}  // namespace pxa::tools
