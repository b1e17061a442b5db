#include <csignal>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <latch>
#include <sstream>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <utility>

#include "collector/Collector.h"
#include "collector/CommandLine.h"
#include "collector/EventReport.h"
#include "collector/EventTable.h"

namespace {

using pxa::tools::Collector;
using pxa::tools::CommandLine;
using pxa::tools::EventReport;
using pxa::tools::EventTable;

/// The signals that end the program. Blocked before any thread starts, they wait for `waitForEnd`.
sigset_t endSignals() {
  sigset_t signals;
  ::sigemptyset(&signals);
  ::sigaddset(&signals, SIGINT);
  ::sigaddset(&signals, SIGTERM);
  return signals;
}

void blockSignals() {
  sigset_t signals = endSignals();
  // A reader of our output that goes away does not end the collector.
  ::sigaddset(&signals, SIGPIPE);
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

void waitForEnd() {
  const sigset_t signals = endSignals();
  int received = 0;
  while (::sigwait(&signals, &received) != 0) {
  }
}

bool isColourWanted() {
  return ::isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr;
}

std::ofstream openOutput(const std::string& path) {
  std::ofstream file;
  if (path.empty()) return file;
  file.open(path, std::ios::app | std::ios::binary);
  if (!file) throw std::runtime_error("cannot write to " + path);
  return file;
}

void run(CommandLine line) {
  std::ofstream output = openOutput(line.output);
  EventTable table;
  const bool showsLines = !line.isQuiet && !line.isTable;
  std::ostringstream crashesBelowTable;
  EventReport report({.lines = showsLines ? &std::cout : nullptr,
                      .crashes = line.isTable ? &crashesBelowTable
                                 : showsLines ? &std::cout
                                              : nullptr,
                      .ndjson = line.output.empty() ? nullptr : &output,
                      .isColoured = isColourWanted()});
  line.options.keepsRequests = false;
  const bool isTable = line.isTable;
  std::latch isAnnounced(1);  // scripts read the address from the first line
  line.options.onRequest = [&](const pxa::tools::ReceivedRequest& request) {
    isAnnounced.wait();
    report.add(request);
    if (isTable) table.add(request);
  };
  {
    const Collector collector(std::move(line.options));
    std::cout << "listening http=127.0.0.1:" << collector.httpPort()
              << " https=127.0.0.1:" << collector.httpsPort() << std::endl;
    isAnnounced.count_down();
    waitForEnd();
  }
  if (isTable) std::cout << table.text() << '\n' << crashesBelowTable.str();
  std::cout << report.summary() << std::endl;
  if (!line.output.empty() && !output)
    throw std::runtime_error("not everything could be written to " + line.output);
}

}  // namespace

int main(int argc, char** argv) {
  blockSignals();
  try {
    int exitCode = EXIT_SUCCESS;
    auto line = pxa::tools::parseCommandLine(argc, argv, exitCode);
    if (line) run(std::move(*line));
    return exitCode;
  } catch (const std::exception& error) {
    std::cerr << "pxa-collector: " << error.what() << '\n';
    return EXIT_FAILURE;
  }
}
