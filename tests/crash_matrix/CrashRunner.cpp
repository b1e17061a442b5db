#include "crash_matrix/CrashRunner.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <poll.h>
#include <spawn.h>
#include <string_view>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "platform/linux/FileDescriptor.h"
#include "support/wait.h"

namespace pxa::test {

namespace {

using namespace std::chrono_literals;

// Not every compiler defines the other's macros for its sanitizers.
#if !defined(__has_feature)
#define __has_feature(feature) 0  // NOLINT(bugprone-reserved-identifier)
#endif
#if defined(__SANITIZE_ADDRESS__) || __has_feature(address_sanitizer)
constexpr unsigned kTools = kAddressSanitizer;
#elif defined(__SANITIZE_THREAD__)
constexpr unsigned kTools = kThreadSanitizer;
#else
constexpr unsigned kTools = kNoTool;
#endif

tools::Options optionsFor(Answer answer) {
  tools::Options options;
  if (answer == Answer::Slow) options.behaviour.delay = 5s;
  if (answer == Answer::Never) options.behaviour.fault = tools::Fault::Silent;
  if (answer == Answer::Error) options.behaviour.status = 500;
  options.keepsRequests = false;
  return options;
}

std::string fromBase64(std::string_view text) {
  constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  std::uint32_t bits = 0;
  int count = 0;
  for (const char character : text) {
    const std::size_t value = kAlphabet.find(character);
    if (value == std::string_view::npos) break;
    bits = bits << 6 | static_cast<std::uint32_t>(value);
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes += static_cast<char>(bits >> count & 0xFF);
  }
  return bytes;
}

/// The sanitizers' own handlers must not stand in the way of the library's.
std::vector<std::string> environment() {
  constexpr std::string_view kOptions =
      "handle_segv=0:handle_abort=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0:handle_sigtrap=0:"
      "allow_user_segv_handler=1:use_sigaltstack=0:detect_leaks=0";
  std::vector<std::string> variables;
  for (char** variable = environ; *variable != nullptr; ++variable) variables.emplace_back(*variable);
  std::erase_if(variables, [](const std::string& variable) {
    return variable.starts_with("ASAN_OPTIONS=") || variable.starts_with("TSAN_OPTIONS=");
  });
  variables.push_back("ASAN_OPTIONS=" + std::string(kOptions));
  variables.push_back("TSAN_OPTIONS=" + std::string(kOptions));
  return variables;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

/// Starts a program in a process group of its own, with its output in a file.
pid_t spawn(std::vector<std::string> arguments, const std::string& outputPath) {
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outputPath.c_str(),
                                     O_WRONLY | O_CREAT | O_APPEND, 0600);
  ::posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
  posix_spawnattr_t attributes;
  ::posix_spawnattr_init(&attributes);
  ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  std::vector<std::string> variables = environment();
  pid_t id = 0;
  const int error = ::posix_spawn(&id, arguments.front().c_str(), &actions, &attributes,
                                  pointersTo(arguments).data(), pointersTo(variables).data());
  ::posix_spawn_file_actions_destroy(&actions);
  ::posix_spawnattr_destroy(&attributes);
  if (error != 0) throw std::system_error(error, std::generic_category(), arguments.front());
  return id;
}

std::string nameOf(int signal) {
  return "SIG" + std::string(::sigabbrev_np(signal));
}

}  // namespace

CrashCollector::CrashCollector(Answer answer) {
  if (answer == Answer::Down) return;
  tools::Options options = optionsFor(answer);
  options.onRequest = [this](const tools::ReceivedRequest& request) { keepEventsOf(request); };
  collector_.emplace(std::move(options));
}

void CrashCollector::keepEventsOf(const tools::ReceivedRequest& request) {
  const std::lock_guard lock(mutex_);
  for (const tools::Element& element : request.elements)
    if (const auto dump = element.members.find("DmpData"); dump != element.members.end())
      events_.push_back({element.members, fromBase64(dump->second)});
}

std::vector<CrashEvent> CrashCollector::takeEvents() {
  const std::lock_guard lock(mutex_);
  return std::exchange(events_, {});
}

std::optional<CrashEvent> CrashCollector::takeEvent() {
  std::vector<CrashEvent> events;
  waitUntil([&] {
    events = takeEvents();
    return !events.empty();
  });
  if (events.empty()) return std::nullopt;
  return std::move(events.front());
}

bool Ending::isBySignal(int signal) const {
  return isInTime && WIFSIGNALED(status) && WTERMSIG(status) == signal;
}

bool Ending::isNotPermitted() const {
  return isInTime && WIFEXITED(status) && WEXITSTATUS(status) == kNotPermitted;
}

std::string Ending::text() const {
  if (!isInTime) return "did not end";
  if (WIFSIGNALED(status)) return "ended by " + nameOf(WTERMSIG(status));
  return "ended with status " + std::to_string(WEXITSTATUS(status));
}

Subject::Subject(const std::string& way, int port, const std::filesystem::path& directory)
    : outputPath_((directory / "output").string()) {
  const std::filesystem::path documents = directory / "documents";
  std::filesystem::create_directories(documents);
  id_ = spawn({CRASH_SUBJECT, way, std::to_string(port), documents.string()}, outputPath_);
}

Subject::~Subject() {
  ::kill(-id_, SIGKILL);
  reap();
}

void Subject::reap() {
  if (!isReaped_) ::waitpid(id_, &status_, 0);
  isReaped_ = true;
}

std::string Subject::output() const {
  std::ifstream file(outputPath_);
  return {std::istreambuf_iterator<char>(file), {}};
}

Ending Subject::waitForEnd(std::chrono::seconds longest) {
  const FileDescriptor process(static_cast<int>(::syscall(SYS_pidfd_open, id_, 0)));
  pollfd end{process.get(), POLLIN, 0};
  Ending ending;
  ending.isInTime = ::poll(&end, 1, static_cast<int>(std::chrono::milliseconds(longest).count())) == 1;
  ending.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  if (!ending.isInTime) return ending;
  reap();
  ending.status = status_;
  return ending;
}

bool Outcome::hasStacks() const {
  if (events.empty()) return false;
  const std::string& report = events.front().report;
  const std::size_t crashed = report.find(" Crashed:\n0   ");
  const std::size_t second = report.find('\n', report.find('\n', crashed) + 1) + 1;
  const bool hasOtherThread =
      report.find(":\n0   ", crashed + std::strlen(" Crashed:")) != std::string::npos ||
      report.rfind(":\n0   ", crashed) != std::string::npos;
  return crashed != std::string::npos && report.compare(second, 2, "1 ") == 0 && hasOtherThread;
}

Outcome crash(const Way& way, CrashCollector& collector) {
  const TemporaryDirectory directory;
  Outcome run;
  Subject subject(way.name, collector.port(), directory.path());
  run.process = subject.id();
  run.ending = subject.waitForEnd(kLongestRun);
  run.output = subject.output();
  run.events = collector.takeEvents();
  return run;
}

std::string faultsOf(const Way& way, const Outcome& run) {
  std::string faults;
  const auto expect = [&faults](bool holds, const std::string& fault) {
    if (!holds) faults += fault + "\n";
  };
  expect(run.ending.isBySignal(way.signal), "it " + run.ending.text() + " and not by " + nameOf(way.signal));
  expect(run.output.find(way.says) != std::string::npos, std::string("it did not write: ") + way.says);
  expect(run.events.size() <= 1, "more than one report has arrived");
  expect(way.report != Report::Arrives || run.isDelivered(), "no report has arrived");
  expect(way.report != Report::IsNotSent || !run.isDelivered(), "a report has arrived");
  for (const CrashEvent& event : run.events) {
    const bool isFirstProcess = std::string_view(way.name).starts_with("process-one");
    const std::string process = " [" + std::to_string(isFirstProcess ? 1 : run.process) + "]\n";
    const std::string signal = "Exception Type:  " + nameOf(way.reported) + "\n";
    for (const std::string& piece : {process, signal, std::string(" Crashed:\n0   "), std::string(way.holds)})
      expect(event.report.find(piece) != std::string::npos, "the report does not hold: " + piece);
  }
  if (faults.empty()) return faults;
  if (!run.output.empty()) faults += "it wrote: " + run.output + "\n";
  for (const CrashEvent& event : run.events) faults += event.report + "\n";
  return faults;
}

std::optional<std::string> reasonToSkip(const Way& way) {
  if ((way.notUnder & kTools) == 0) return std::nullopt;
  return kTools == kAddressSanitizer ? "AddressSanitizer needs for itself what this way breaks"
                                     : "ThreadSanitizer needs for itself what this way breaks";
}

}  // namespace pxa::test
