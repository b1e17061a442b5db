#include <array>
#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>

#include "collector/Collector.h"
#include "support/ClosedPort.h"
#include "support/TemporaryDirectory.h"

namespace pxa {
namespace {

using tools::Collector;

struct Ended {
  int exitStatus;
  std::string output;
};

/// Runs pxa-log with these arguments and files of its own.
class PxaLog : public testing::Test {
 protected:
  Ended run(const std::string& arguments, const std::string& input = "/dev/null") const {
    const std::string command = "XDG_DATA_HOME=" + directory_.path().string() + " " + PXA_LOG_PROGRAM + " " +
                                arguments + " <" + input + " 2>&1";
    FILE* pipe = ::popen(command.c_str(), "r");
    std::string output;
    std::array<char, 4096> chunk;
    while (std::fgets(chunk.data(), chunk.size(), pipe) != nullptr) output += chunk.data();
    return {WEXITSTATUS(::pclose(pipe)), output};
  }

  std::string toCollector() const {
    const std::string port = std::to_string(collector_.httpPort());
    return "--collector http://127.0.0.1 --port " + port + " --settings 127.0.0.1:" + port + " ";
  }

  std::string fileWith(const std::string& text) const {
    const std::string path = (directory_.path() / "lines.txt").string();
    std::ofstream(path) << text;
    return path;
  }

  test::TemporaryDirectory directory_;
  Collector collector_;
};

TEST_F(PxaLog, SendsTheLinesOfAFileWithLevelErrorCodeFieldsAndUser) {
  const Ended result = run(toCollector() + "--level WARN --error-code E7 --field room=attic --user ada " +
                           fileWith("one\ntwo\n"));
  EXPECT_EQ(result.exitStatus, 0) << result.output;
  EXPECT_EQ(collector_.acceptedElements(), 3u);
  const auto event = collector_.requests().back().elements.back().members;
  EXPECT_EQ(event.at("body"), "two");
  EXPECT_EQ(event.at("logLevel"), "WARN");
  EXPECT_EQ(event.at("errorCode"), "E7");
  EXPECT_EQ(event.at("room"), "attic");
  EXPECT_EQ(event.at("UserID"), "ada");
}

TEST_F(PxaLog, ReadsStandardInputOnTheKeepcellHandle) {
  const Ended result = run(toCollector() + "--handle Keepcell", fileWith("only\n"));
  EXPECT_EQ(result.exitStatus, 0) << result.output;
  EXPECT_EQ(collector_.acceptedElements(), 1u);
}

TEST_F(PxaLog, CountsRepeatsAsRefusedByTheGateAndStillSucceeds) {
  const Ended result = run(toCollector() + fileWith("same\nsame\nsame\n"));
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_NE(result.output.find("2 refused by the gate (2 repeats), 0 lost or undelivered"), std::string::npos)
      << result.output;
}

TEST_F(PxaLog, SendsRepeatsWhenAskedTo) {
  const Ended result = run(toCollector() + "--keep-repeats " + fileWith("same\nsame\n"));
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(collector_.acceptedElements(), 3u);
}

TEST_F(PxaLog, LosesNothingOfAFileLongerThanTheQueue) {
  std::string lines;
  for (int i = 0; i < 5000; ++i) lines += "line " + std::to_string(i) + "\n";
  const Ended result = run(toCollector() + fileWith(lines));
  EXPECT_EQ(result.exitStatus, 0) << result.output;
  EXPECT_EQ(collector_.acceptedElements(), 5001u);
}

TEST_F(PxaLog, FailsAndNamesTheErrorWhenTheCollectorCannotBeReached) {
  const test::ClosedPort port;
  const Ended result = run("--collector http://127.0.0.1 --port " + std::to_string(port.number()) +
                           " --handle Keepcell " + fileWith("one\n"));
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_NE(result.output.find("last transport error"), std::string::npos) << result.output;
}

TEST_F(PxaLog, FailsWhenTheCollectorRefuses) {
  collector_.setBehaviour({.status = 500});
  const Ended result = run(toCollector() + fileWith("one\n"));
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_NE(result.output.find("last status of the collector: 500"), std::string::npos) << result.output;
}

TEST_F(PxaLog, RefusesWhatItCannotUseWithStatusTwo) {
  for (const char* arguments :
       {"", "--collector no-scheme", "--collector ftp://127.0.0.1 --app-key -bad",
        "--collector http://127.0.0.1 nofile", "--collector http://127.0.0.1 --level LOUD",
        "--collector http://127.0.0.1 --field novalue", "--collector http://127.0.0.1 --field 1bad=x"})
    EXPECT_EQ(run(arguments).exitStatus, 2) << arguments;
}

TEST_F(PxaLog, RefusesADirectoryInAFilesPlace) {
  EXPECT_EQ(run(toCollector() + directory_.path().string()).exitStatus, 2);
}

TEST_F(PxaLog, ReadsAPipe) {
  const std::string pipe = (directory_.path() / "pipe").string();
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  std::thread writer([&] { std::ofstream(pipe) << "through the pipe\n"; });
  const Ended result = run(toCollector() + pipe);
  writer.join();
  EXPECT_EQ(result.exitStatus, 0) << result.output;
  EXPECT_EQ(collector_.acceptedElements(), 2u);
}

TEST_F(PxaLog, ExplainsItself) {
  const Ended result = run("--help");
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_NE(result.output.find("--collector"), std::string::npos);
}

}  // namespace
}  // namespace pxa
