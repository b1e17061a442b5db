#include "collector/Connection.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace pxa::tools {
namespace {

// A client that stops in the middle of a request or an answer is given up after this time.
constexpr timeval kTransferTimeout{30, 0};
constexpr std::chrono::milliseconds kForever{-1};

void prepare(int socket) {
  const int on = 1;
  ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &kTransferTimeout, sizeof kTransferTimeout);
  ::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &kTransferTimeout, sizeof kTransferTimeout);
  ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

int clamped(std::size_t size) {
  return static_cast<int>(std::min<std::size_t>(size, std::numeric_limits<int>::max()));
}

}  // namespace

Connection::Connection(int socket, SSL_CTX* tls)
    : socket_(socket), tls_(tls != nullptr ? SSL_new(tls) : nullptr) {
  prepare(socket_);
  if (tls_ != nullptr) SSL_set_fd(tls_.get(), socket_);
}

Connection::~Connection() {
  ::close(socket_);
}

bool Connection::handshake(std::chrono::milliseconds patience) {
  if (tls_ == nullptr) return true;
  ERR_clear_error();
  isHandshakeDone_ = poll(POLLIN, patience) && SSL_accept(tls_.get()) == 1;
  return isHandshakeDone_;
}

bool Connection::waitForBytes(std::chrono::milliseconds patience) {
  if (begin_ < end_) return true;
  const bool hasDecrypted = tls_ != nullptr && SSL_pending(tls_.get()) > 0;
  return (hasDecrypted || poll(POLLIN, patience)) && fill();
}

ssize_t Connection::read(char* target, std::size_t size) {
  if (begin_ == end_ && !fill()) return 0;
  const std::size_t count = std::min(size, end_ - begin_);
  std::copy_n(buffer_.data() + begin_, count, target);
  begin_ += count;
  return static_cast<ssize_t>(count);
}

ssize_t Connection::write(const char* source, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count = isCut_ ? -1 : send(source + done, size - done);
    if (count <= 0) return -1;
    done += static_cast<std::size_t>(count);
  }
  return static_cast<ssize_t>(done);
}

void Connection::waitUntilGone() {
  poll(POLLRDHUP, kForever);
}

// Without POLLRDHUP: a client that has only finished sending still waits for its answer.
void Connection::pause(std::chrono::milliseconds duration) {
  poll(0, duration);
}

void Connection::sayFarewell() {
  if (!isHandshakeDone_ || isCut_) return;
  ERR_clear_error();
  SSL_shutdown(tls_.get());
}

void Connection::cut() {
  isCut_ = true;
  ::shutdown(socket_, SHUT_RDWR);
}

bool Connection::poll(short events, std::chrono::milliseconds patience) const {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  pollfd watched{socket_, events, 0};
  auto rest = patience;
  int count = 0;
  do {
    count = ::poll(&watched, 1, static_cast<int>(rest.count()));
    if (patience == kForever) continue;
    rest = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    rest = std::max(rest, std::chrono::milliseconds{0});
  } while (count < 0 && errno == EINTR);
  return count > 0;
}

bool Connection::fill() {
  const ssize_t count = isCut_ ? -1 : receive(buffer_.data(), buffer_.size());
  begin_ = 0;
  end_ = count > 0 ? static_cast<std::size_t>(count) : 0;
  return count > 0;
}

ssize_t Connection::receive(char* target, std::size_t size) {
  if (tls_ == nullptr) return ::recv(socket_, target, size, 0);
  ERR_clear_error();
  return SSL_read(tls_.get(), target, clamped(size));
}

ssize_t Connection::send(const char* source, std::size_t size) {
  if (tls_ == nullptr) return ::send(socket_, source, size, MSG_NOSIGNAL);
  ERR_clear_error();
  return SSL_write(tls_.get(), source, clamped(size));
}

}  // namespace pxa::tools
