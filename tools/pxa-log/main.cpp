// pxa-log: sends the lines of files or standard input to a log collector.

#include <chrono>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <unistd.h>

#include <pxalog/Diagnostics.h>

#include "CommandLine.h"
#include "LineSender.h"

namespace {

using pxa::Diagnostics::Events;
using pxa::Diagnostics::Snapshot;
using pxa::tools::LineSender;

constexpr int kUnusable = 2;

/// A line on the terminal that shows how far things are; nothing elsewhere.
class ProgressLine {
 public:
  void show(const LineSender& sender) {
    const auto now = std::chrono::steady_clock::now();
    if (!isTerminal_ || now - lastShown_ < std::chrono::milliseconds(200)) return;
    lastShown_ = now;
    const Events events = pxa::Diagnostics::snapshot().events;
    std::cerr << "\r\x1b[K" << sender.lineCount() << " lines read, " << events.delivered
              << " events delivered, " << events.waiting << " waiting" << std::flush;
  }
  void clear() const {
    if (isTerminal_) std::cerr << "\r\x1b[K" << std::flush;
  }

 private:
  const bool isTerminal_ = ::isatty(STDERR_FILENO) == 1;
  std::chrono::steady_clock::time_point lastShown_;
};

/// The files, each opened once and before anything is sent; a closed stream stands for standard input.
/// Nothing when one of them cannot be read.
std::optional<std::deque<std::ifstream>> openFiles(const std::vector<std::string>& paths) {
  std::deque<std::ifstream> files;
  for (const std::string& path : paths) {
    std::ifstream& file = files.emplace_back();
    if (path == "-") continue;
    file.open(path, std::ios::binary);
    if (file.is_open() && !std::filesystem::is_directory(path)) continue;
    std::cerr << "pxa-log: cannot read " << path << "\n";
    return std::nullopt;
  }
  return files;
}

/// False when not every line could be read and sent.
bool sendFiles(LineSender& sender, std::deque<std::ifstream>& files) {
  for (std::ifstream& file : files) {
    std::istream& input = file.is_open() ? file : std::cin;
    if (!sender.sendLines(input) || input.bad()) return false;
  }
  return true;
}

void printSummary(const LineSender& sender, const Snapshot& snapshot) {
  const Events& events = snapshot.events;
  std::cout << sender.lineCount() << " lines";
  if (events.entered > sender.lineCount())
    std::cout << " and " << events.entered - sender.lineCount() << " events of the library's own";
  std::cout << ": " << events.delivered << " delivered, " << LineSender::refusedByGate(events)
            << " refused by the gate (" << events.dropped.duplicate << " repeats), "
            << LineSender::lostOrUndelivered(events) << " lost or undelivered\n";
  if (snapshot.requests.lastHttpStatus != 0 && snapshot.requests.refused > 0)
    std::cout << "last status of the collector: " << snapshot.requests.lastHttpStatus << "\n";
  if (!snapshot.requests.lastTransportError.isNil())
    std::cout << "last transport error: " << snapshot.requests.lastTransportError.view() << "\n";
}

}  // namespace

int main(int argc, char** argv) {
  const pxa::tools::SendOptions options = pxa::tools::readCommandLine(argc, argv);
  std::optional<std::deque<std::ifstream>> files = openFiles(options.files);
  if (!files) return kUnusable;
  ProgressLine progress;
  LineSender sender(options, [&](const LineSender& current) { progress.show(current); });
  if (!sender.open()) {
    std::cerr << "pxa-log: the collector address, application key or version cannot be used\n";
    return kUnusable;
  }
  const bool isSent = sendFiles(sender, *files);
  const bool isDecided = sender.waitUntilDecided();
  progress.clear();

  const Snapshot snapshot = pxa::Diagnostics::snapshot();
  printSummary(sender, snapshot);
  return isSent && isDecided && LineSender::lostOrUndelivered(snapshot.events) == 0 ? 0 : 1;
}
