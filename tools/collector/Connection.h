#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <openssl/ssl.h>
#include <sys/types.h>

namespace pxa::tools {

/// One accepted connection, plain or with TLS. One thread uses it; only `cut` and `isCut` are for any thread.
class Connection {
 public:
  /// Owns the socket. A nil `tls` means plain.
  Connection(int socket, SSL_CTX* tls);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection();

  /// The TLS handshake; nothing on a plain connection. False when it failed or the patience ran out.
  bool handshake(std::chrono::milliseconds patience);

  /// Waits for bytes to read. False when none came in time or the connection is over.
  bool waitForBytes(std::chrono::milliseconds patience);

  /// Reads at most `size` bytes; 0 at the end, negative on failure.
  ssize_t read(char* target, std::size_t size);

  /// Writes all the bytes; negative on failure.
  ssize_t write(const char* source, std::size_t size);

  /// Returns when the client has gone, or the connection was cut.
  void waitUntilGone();

  /// Waits; returns early when the connection breaks or is cut.
  void pause(std::chrono::milliseconds duration);

  /// Tells the client that nothing more will be sent; nothing on a cut connection.
  void sayFarewell();

  /// Ends the connection at once, without a TLS farewell; whatever waits on it returns.
  void cut();
  bool isCut() const { return isCut_; }

  int socket() const { return socket_; }
  bool isHttps() const { return tls_ != nullptr; }

 private:
  struct FreeTls {
    void operator()(SSL* tls) const { SSL_free(tls); }
  };

  bool poll(short events, std::chrono::milliseconds patience) const;
  bool fill();
  ssize_t receive(char* target, std::size_t size);
  ssize_t send(const char* source, std::size_t size);

  int socket_;
  std::unique_ptr<SSL, FreeTls> tls_;
  bool isHandshakeDone_ = false;
  std::array<char, std::size_t{16} * 1024> buffer_{};
  std::size_t begin_ = 0;  // the part of the buffer that holds bytes not yet handed out
  std::size_t end_ = 0;
  std::atomic<bool> isCut_ = false;
};

}  // namespace pxa::tools
