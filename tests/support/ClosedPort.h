#pragma once

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace pxa::test {

/// A port of 127.0.0.1 that refuses every connection for as long as this object lives: bound, and not
/// listened to.
class ClosedPort {
 public:
  ClosedPort() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    ::bind(socket_, reinterpret_cast<sockaddr*>(&address), size);
    ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size);
    number_ = ntohs(address.sin_port);
  }
  ~ClosedPort() { ::close(socket_); }
  ClosedPort(const ClosedPort&) = delete;
  ClosedPort& operator=(const ClosedPort&) = delete;

  [[nodiscard]] int number() const { return number_; }

 private:
  int socket_;
  int number_ = 0;
};

}  // namespace pxa::test
