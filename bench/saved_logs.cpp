// What it costs to keep 2,000 events over a restart: the save, beside writing the same bytes to the same
// disk; the load; and how long a log call waits while a save is under way.

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>

#include "costs.h"
#include "platform/Platform.h"
#include "queue/VeskBlockQueue.h"

namespace {

constexpr int kEvents = 2000;
constexpr double kNanosecondsInAMillisecond = 1e6;

double millisecondsOf(const std::function<void()>& work) {
  return pxa::bench::nanosecondsOf(work) / kNanosecondsInAMillisecond;
}

/// An event as it is in the log queue: its level and error code, nothing of the common fields.
pxa::VeskEventRef newEvent(int number) {
  using namespace pxa::literals;
  const pxa::Dictionary fields{{"errorCode", "E42"_text.utf8()}, {"logLevel", "ERROR"_text.utf8()}};
  const pxa::String message = "payment " + std::to_string(number) + " was refused after 3 tries";
  return pxa::VeskEvent::
      initWithProjectName_projectVersion_logType_logSource_body_sendTime_host_fields_handleId(
          "bench"_text, "1.0"_text, "vesk2-log"_text, "ios-log"_text, message.utf8(),
          1'700'000'000'000 + number, ""_text, fields, "0"_text);
}

void fill(pxa::VeskBlockQueue& queue) {
  for (int number = 0; number < kEvents; ++number) queue.enqueue(newEvent(number));
}

double save() {
  pxa::VeskBlockQueue queue;
  fill(queue);
  return millisecondsOf([&] { queue.saveToFile(); });
}

/// The same number of bytes, to the same disk, with the same care.
double writeSameBytes() {
  pxa::VeskBlockQueue queue;
  fill(queue);
  queue.saveToFile();
  const pxa::String path = pxa::VeskBlockQueue::dataFilePath();
  pxa::FileSystem& files = pxa::systemPlatform().files;
  const pxa::Data content = files.read(path).value_or(nullptr);
  return millisecondsOf([&] { files.writeAtomically(path, content); });
}

double load() {
  pxa::VeskBlockQueue queue;
  fill(queue);
  queue.saveToFile();
  return millisecondsOf([&] { queue.FileToMemory(); });
}

/// The longest that one of many log calls in a row takes while another thread saves.
double longestLogCallDuringASave() {
  pxa::VeskBlockQueue queue;
  fill(queue);
  std::atomic<bool> isSaving = true;
  double longest = 0;
  std::thread logger([&] {
    for (int number = 0; isSaving; ++number) {
      const pxa::VeskEventRef event = newEvent(number);
      longest = std::max(longest, millisecondsOf([&] { queue.enqueue(event); }));
    }
  });
  queue.saveToFile();
  isSaving = false;
  logger.join();
  return longest;
}

}  // namespace

int main() {
  const auto samples = pxa::bench::inTurn({&save, &writeSameBytes, &load, &longestLogCallDuringASave}, 25);
  pxa::bench::report({.name = "a save of 2,000 events",
                      .unit = "ms",
                      .measured = samples[0],
                      .peer = "the same bytes written",
                      .peerMeasured = samples[1]});
  pxa::bench::report({.name = "a load of 2,000 events", .unit = "ms", .measured = samples[2]});
  pxa::bench::report({.name = "longest log call during a save", .unit = "ms", .measured = samples[3]});
}
