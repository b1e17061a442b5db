#pragma once

#include <atomic>

namespace pxa::tools {

/// A listening TCP socket on 127.0.0.1, closed by the destructor.
class Listener {
 public:
  /// Port 0 takes any free port. Throws std::runtime_error when the port cannot be had.
  explicit Listener(int port);
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;
  ~Listener();

  /// The port that it listens on. Thread-safe.
  int port() const { return port_; }

  /// Waits for the next connection and returns its socket, which the caller owns; -1 once stopped.
  /// For one thread.
  int accept();

  /// Ends the accept that waits and every later one. Thread-safe.
  void stop();

 private:
  int socket_;
  int port_ = 0;
  std::atomic<bool> isStopped_ = false;
};

}  // namespace pxa::tools
