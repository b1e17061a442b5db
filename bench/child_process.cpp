#include "child_process.h"

#include <arpa/inet.h>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <netinet/in.h>
#include <spawn.h>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace pxa::bench {

namespace {

constexpr std::string_view kDocuments = "XDG_DATA_HOME=";

std::vector<std::string> environmentWith(const std::string& documents) {
  std::vector<std::string> variables{std::string(kDocuments) + documents};
  for (char** variable = ::environ; *variable != nullptr; ++variable)
    if (!std::string_view(*variable).starts_with(kDocuments)) variables.emplace_back(*variable);
  return variables;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

int run(const std::function<void()>& work) {
  try {
    work();
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
  }
}

std::string programPath() {
  return std::filesystem::read_symlink("/proc/self/exe");
}

TemporaryDirectory::TemporaryDirectory()
    : path_(std::filesystem::temp_directory_path() / "pxalog-bench-XXXXXX") {
  if (::mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no temporary directory");
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code error;
  std::filesystem::remove_all(path_, error);
}

RefusingPort::RefusingPort() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  auto* any = reinterpret_cast<sockaddr*>(&address);
  if (::bind(socket_, any, size) != 0 || ::getsockname(socket_, any, &size) != 0)
    throw std::runtime_error("no free port");
  number_ = ::ntohs(address.sin_port);
}

RefusingPort::~RefusingPort() {
  ::close(socket_);
}

ChildProcess::ChildProcess(const std::vector<std::string>& command) : name_(command.front()) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  output_ = ends[0];
  std::vector<std::string> arguments = command;
  std::vector<std::string> environment = environmentWith(documents_.path());
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  const int error = ::posix_spawnp(&id_, name_.c_str(), &actions, nullptr, pointersTo(arguments).data(),
                                   pointersTo(environment).data());
  ::posix_spawn_file_actions_destroy(&actions);
  ::close(ends[1]);
  if (error != 0) throw std::runtime_error("cannot start " + name_);
}

ChildProcess::~ChildProcess() {
  ::close(output_);
  if (id_ != 0) ::waitpid(id_, nullptr, 0);
}

std::string ChildProcess::output() {
  std::string text;
  std::array<char, 4096> part{};
  for (ssize_t size = 1; size > 0;) {
    size = ::read(output_, part.data(), part.size());
    if (size > 0) text.append(part.data(), static_cast<std::size_t>(size));
  }
  int status = 0;
  ::waitpid(id_, &status, 0);
  id_ = 0;
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
    throw std::runtime_error(name_ + " has not ended well: " + text);
  return text;
}

double ChildProcess::number() {
  const std::string text = output();
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  if (end == text.c_str()) throw std::runtime_error(name_ + " wrote no number");
  return value;
}

}  // namespace pxa::bench
