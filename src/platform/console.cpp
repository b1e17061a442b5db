#include "platform/console.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/Platform.h"

namespace pxa::console {

namespace {

thread_local int locksHeld = 0;
// No object with a destructor: the thread that ends the process may still write.
thread_local std::vector<String>* waitingLines = nullptr;

void writeNow(const String& line) noexcept {
  try {
    Platform::current().log.writeLine(line);
  } catch (...) {
    // A sink that fails loses the line.
  }
}

}  // namespace

void write(const String& line) noexcept {
  if (locksHeld == 0) return writeNow(line);
  try {
    if (waitingLines == nullptr) waitingLines = new std::vector<String>;
    waitingLines->push_back(line);
  } catch (...) {
    // No memory for the line: it is lost.
  }
}

void write(std::string_view text, std::string_view detail) noexcept {
  try {
    write(String(std::string(text).append(detail)));
  } catch (...) {
    // No memory for the line: it is lost.
  }
}

void lockTaken() noexcept {
  ++locksHeld;
}

void lockLeft() noexcept {
  if (--locksHeld > 0 || waitingLines == nullptr) return;
  const std::unique_ptr<std::vector<String>> lines(std::exchange(waitingLines, nullptr));
  for (const String& line : *lines) writeNow(line);
}

}  // namespace pxa::console
