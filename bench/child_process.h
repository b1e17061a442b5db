#pragma once

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace pxa::bench {

/// Does the work of a program and returns its exit status: 1 when the work throws, which is told on standard
/// error. A cost that could not be measured must not look like one that was.
int run(const std::function<void()>& work);

/// The path of this program.
std::string programPath();

/// A directory that is gone, with all that is in it, when this goes.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;
};

/// A port of 127.0.0.1 that refuses every connection while this lives: it is taken, but nobody listens.
class RefusingPort {
 public:
  RefusingPort();
  ~RefusingPort();
  RefusingPort(const RefusingPort&) = delete;
  RefusingPort& operator=(const RefusingPort&) = delete;
  [[nodiscard]] int number() const { return number_; }

 private:
  int socket_;
  int number_ = 0;
};

/// A process that runs a command, with an empty documents directory of its own.
class ChildProcess {
 public:
  explicit ChildProcess(const std::vector<std::string>& command);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// What it has written to its standard output, once it has ended. Throws if it has not ended well.
  std::string output();
  /// The same of a child that writes one number.
  double number();

 private:
  const TemporaryDirectory documents_;
  const std::string name_;
  int output_ = -1;
  pid_t id_ = 0;
};

}  // namespace pxa::bench
