#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <sys/types.h>
#include <vector>

#include "collector/Collector.h"
#include "crash_matrix/ways.h"
#include "support/ClosedPort.h"
#include "support/TemporaryDirectory.h"

namespace pxa::test {

/// For the names of tests.
inline void PrintTo(const Way& way, std::ostream* out) {
  *out << way.name;
}

/// A crash event, as the collector got it.
struct CrashEvent {
  std::map<std::string, std::string> members;
  std::string report;  ///< the text that "DmpData" holds
};

/// Where subjects send their crashes.
class CrashCollector {
 public:
  explicit CrashCollector(Answer answer);

  [[nodiscard]] int port() const { return collector_ ? collector_->httpPort() : nobody_.number(); }
  /// The crash events since the last call.
  std::vector<CrashEvent> takeEvents();
  /// Waits for the first of them; nothing when none comes in time.
  std::optional<CrashEvent> takeEvent();

 private:
  void keepEventsOf(const tools::ReceivedRequest& request);

  std::mutex mutex_;
  std::vector<CrashEvent> events_;
  ClosedPort nobody_;
  std::optional<tools::Collector> collector_;  // its threads end before what they use goes
};

/// How a subject has ended.
struct Ending {
  bool isInTime = false;  ///< otherwise it had to be killed
  int status = 0;         ///< as waitpid gives it
  double seconds = 0;     ///< from start to end

  [[nodiscard]] bool isBySignal(int signal) const;
  [[nodiscard]] bool isNotPermitted() const;
  [[nodiscard]] std::string text() const;
};

/// A running subject. It is killed, with every process of its group, at the end of the scope.
class Subject {
 public:
  /// Takes the way by its name, with these files, and sends to that port of this machine. Throws
  /// std::system_error when it cannot be started.
  Subject(const std::string& way, int port, const std::filesystem::path& directory);
  Subject(const Subject&) = delete;
  Subject& operator=(const Subject&) = delete;
  ~Subject();

  [[nodiscard]] pid_t id() const { return id_; }
  /// Everything that it has written so far.
  [[nodiscard]] std::string output() const;
  /// Waits for its end. Once.
  Ending waitForEnd(std::chrono::seconds longest);

 private:
  void reap();

  const std::string outputPath_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  pid_t id_ = 0;
  bool isReaped_ = false;
  int status_ = 0;
};

/// One crash, from the start of the subject to what came of it.
struct Outcome {
  pid_t process = 0;
  Ending ending;
  std::string output;
  std::vector<CrashEvent> events;

  [[nodiscard]] bool isDelivered() const { return !events.empty(); }
  /// Whether the report has the callers of the crashed thread, and other threads.
  [[nodiscard]] bool hasStacks() const;
};
Outcome crash(const Way& way, CrashCollector& collector);

/// What is wrong with a run, line by line; empty when nothing is.
std::string faultsOf(const Way& way, const Outcome& run);

/// Why the way cannot be taken in this build; nothing when it can.
std::optional<std::string> reasonToSkip(const Way& way);

/// How long a subject may take before it is taken for one that hangs.
inline constexpr std::chrono::seconds kLongestRun{40};

}  // namespace pxa::test
