#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <istream>
#include <string>

#include <pxalog/Diagnostics.h>
#include <pxalog/String.h>

#include "CommandLine.h"

namespace pxa::tools {

/// Sends lines through the library, never faster than it can queue them. Used by one thread.
class LineSender {
 public:
  using Progress = std::function<void(const LineSender&)>;

  /// Called while lines are read and while their delivery is waited for.
  LineSender(const SendOptions& options, Progress progress);

  /// Opens the handle; false when the library refuses it.
  bool open();
  /// Sends every line of the stream. False when the collector stopped taking events: the rest was not read.
  bool sendLines(std::istream& input);
  /// Waits until every event is delivered, refused or failed; false when there was no progress for too long.
  bool waitUntilDecided();

  [[nodiscard]] std::uint64_t lineCount() const { return lineCount_; }

  /// Events that were neither delivered nor held back by the gate.
  static std::uint64_t lostOrUndelivered(const Diagnostics::Events& events);
  /// Events that the gate held back.
  static std::uint64_t refusedByGate(const Diagnostics::Events& events);

 private:
  void send(const std::string& line);
  bool waitForRoom();
  bool hasRoom(std::uint64_t waiting, std::uint64_t undecided);
  bool isStuck(const Diagnostics::Events& events);

  const SendOptions& options_;
  const Progress progress_;
  const String handleId_;
  std::uint64_t lineCount_ = 0;
  std::deque<std::size_t> undecidedSizes_;  // of the latest lines, as many as are undecided
  std::size_t undecidedBytes_ = 0;
  std::uint64_t lastDecided_ = 0;
  std::chrono::steady_clock::time_point lastProgress_ = std::chrono::steady_clock::now();
};

}  // namespace pxa::tools
