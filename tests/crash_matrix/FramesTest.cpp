#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <sys/types.h>
#include <vector>

#include "crash_matrix/CrashRunner.h"
#include "support/TemporaryDirectory.h"
#include "support/wait.h"

// The frames of a report, held against those that a debugger finds in the same process.

namespace pxa::test {
namespace {

using Address = std::uint64_t;
using Addresses = std::vector<Address>;  ///< of one thread, innermost first
using Functions = std::vector<std::string>;

/// The number in base 16 in a text; 0 without one.
Address addressIn(const std::string& text) {
  const std::size_t start = text.find("0x");
  return start == std::string::npos ? 0 : std::strtoull(text.c_str() + start, nullptr, 16);
}

struct Threads {
  std::vector<Addresses> all;
  std::size_t crashed = 0;  ///< which of them, where that is known

  /// The thread that has a frame at that address; none is an empty one.
  [[nodiscard]] Addresses with(Address address) const {
    for (const Addresses& thread : all)
      if (std::find(thread.begin(), thread.end(), address) != thread.end()) return thread;
    return {};
  }
};

Threads threadsIn(const std::string& report) {
  Threads threads;
  std::istringstream lines(report.substr(report.find("\nThread 0")));
  bool isInThread = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("Thread ") && line.ends_with(':') && !line.ends_with(" State:")) {
      isInThread = true;
      if (line.ends_with(" Crashed:")) threads.crashed = threads.all.size();
      threads.all.emplace_back();
    } else if (isInThread && !line.empty()) {
      threads.all.back().push_back(addressIn(line));
    } else {
      isInThread = false;
    }
  }
  return threads;
}

/// A look into a process, with all its threads stopped at one moment.
class Debugger {
 public:
  Debugger(pid_t process, const TemporaryDirectory& directory) {
    std::ofstream(directory.path() / "gdb")
        << "set backtrace past-main on\n"
           "define show\n  printf \"frame %#lx \", $pc\n  info symbol $pc\nend\n"
           "thread apply all frame apply all -q show\n";
    // With what is known of the system's libraries beside their code it would make up frames of functions that
    // are left already.
    read(outputOf("gdb -nx -batch -iex 'set debug-file-directory' -p " + std::to_string(process) + " -x " +
                  (directory.path() / "gdb").string() + " </dev/null 2>&1"));
  }

  [[nodiscard]] const Threads& threads() const { return threads_; }
  /// The innermost frame of a function; 0 when no thread is in it.
  [[nodiscard]] Address frameIn(const std::string& name) const {
    for (const auto& [address, function] : functions_)
      if (function.find(name) != std::string::npos) return address;
    return 0;
  }
  [[nodiscard]] Functions functionsOf(const Addresses& thread) const {
    Functions functions;
    for (const Address address : thread) {
      const auto found = functions_.find(address);
      functions.push_back(found == functions_.end() ? "not seen" : found->second);
    }
    return functions;
  }
  [[nodiscard]] const std::string& output() const { return output_; }

 private:
  static std::string outputOf(const std::string& command) {
    FILE* const pipe = ::popen(command.c_str(), "r");
    std::string output;
    std::array<char, 4096> chunk;
    while (std::fgets(chunk.data(), chunk.size(), pipe) != nullptr) output += chunk.data();
    ::pclose(pipe);
    return output;
  }

  void read(const std::string& output) {
    output_ = output;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with("Thread ")) threads_.all.emplace_back();
      if (line.starts_with("frame ") && !threads_.all.empty()) add(addressIn(line), line);
    }
  }
  /// "frame 0x1234 name + 12 in section .text of /lib/library.so"
  void add(Address address, const std::string& line) {
    Addresses& thread = threads_.all.back();
    // A function that was put into another one has no frame of its own.
    if (!thread.empty() && thread.back() == address) return;
    thread.push_back(address);
    const std::size_t start = line.find(' ', line.find("0x")) + 1;
    functions_[address] = line.substr(start, std::min(line.find(" + "), line.find(" in section ")) - start);
  }

  std::string output_;
  Threads threads_;
  std::map<Address, std::string> functions_;
};

class Frames : public testing::Test {
 protected:
  void SetUp() override {
    event_ = collector_.takeEvent().value_or(CrashEvent());
    ASSERT_NE(event_.report, "");
    ASSERT_TRUE(waitUntil([this] { return subject_.output().find("look at me") != std::string::npos; }));
    debugger_.emplace(subject_.id(), directory_);
    if (debugger_->threads().all.empty())
      GTEST_SKIP() << "no debugger may look here: " << debugger_->output();
    reported_ = threadsIn(event_.report);
  }

  const TemporaryDirectory directory_;
  CrashCollector collector_{Answer::Ok};
  Subject subject_{"known-chain", collector_.port(), directory_.path()};
  CrashEvent event_;
  std::optional<Debugger> debugger_;
  Threads reported_;
};

TEST_F(Frames, OfCrashedThreadAreThoseThatTheDebuggerFinds) {
  const Addresses reported = reported_.all.at(reported_.crashed);
  Addresses seen = debugger_->threads().with(reported.at(0));
  // By now the thread is in a handler.
  seen.erase(seen.begin(), std::find(seen.begin(), seen.end(), reported[0]));
  EXPECT_EQ(debugger_->functionsOf(reported), debugger_->functionsOf(seen));
  EXPECT_EQ(reported, seen);
  const Functions functions = debugger_->functionsOf(reported);
  const char* const chain[] = {"writeTo(", "innermost(", "inner(", "outer(", "outermost("};
  for (std::size_t i = 0; i < std::size(chain); ++i)
    EXPECT_NE(functions.at(i).find(chain[i]), std::string::npos) << functions.at(i);
}

TEST_F(Frames, OfThreadsBlockedInSystemCallsAreThoseThatTheDebuggerFinds) {
  for (const char* const blocked :
       {"blockInRead", "blockInPoll", "blockInSleep", "blockInFutex", "blockInCondition", "blockInAccept"}) {
    const Address frame = debugger_->frameIn(blocked);
    ASSERT_NE(frame, 0U) << blocked << "\n" << debugger_->output();
    const Addresses seen = debugger_->threads().with(frame);
    const Addresses reported = reported_.with(frame);
    EXPECT_EQ(debugger_->functionsOf(reported), debugger_->functionsOf(seen)) << blocked;
    EXPECT_EQ(reported, seen) << blocked;
  }
}

}  // namespace
}  // namespace pxa::test
