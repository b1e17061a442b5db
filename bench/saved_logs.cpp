// What it costs to keep 2,000 events over a restart: the save, beside writing the same bytes to the same
// disk; the load; the bytes of an event in the file; and how long a log call waits while a save is under way.

#include <atomic>
#include <benchmark/benchmark.h>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include "platform/Platform.h"
#include "queue/VeskBlockQueue.h"
#include "queue/event_archive.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kEvents = 2000;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
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

double bytesOfFile() {
  return static_cast<double>(std::filesystem::file_size(pxa::VeskBlockQueue::dataFilePath().c_str()));
}

void save(benchmark::State& state) {
  pxa::VeskBlockQueue queue;
  for (auto _ : state) {
    fill(queue);
    const auto start = Clock::now();
    queue.saveToFile();
    state.SetIterationTime(secondsSince(start));
  }
  state.counters["bytes_per_event"] = bytesOfFile() / kEvents;
}

/// The floor: the same number of bytes, to the same disk, with the same care.
void writeSameBytes(benchmark::State& state) {
  pxa::VeskBlockQueue queue;
  fill(queue);
  queue.saveToFile();
  const pxa::String path = pxa::VeskBlockQueue::dataFilePath();
  pxa::FileSystem& files = pxa::systemPlatform().files;
  const pxa::Data content = files.read(path).value_or(nullptr);
  for (auto _ : state) benchmark::DoNotOptimize(files.writeAtomically(path, content));
}

void load(benchmark::State& state) {
  pxa::VeskBlockQueue queue;
  for (auto _ : state) {
    fill(queue);
    queue.saveToFile();
    const auto start = Clock::now();
    queue.FileToMemory();
    state.SetIterationTime(secondsSince(start));
    while (queue.dequeueIfAny() != nullptr) continue;
  }
}

/// The longest that one of many log calls in a row takes while another thread saves.
void longestLogCallDuringASave(benchmark::State& state) {
  pxa::VeskBlockQueue queue;
  for (auto _ : state) {
    fill(queue);
    std::atomic<bool> isSaving = true;
    double longest = 0;
    std::thread logger([&] {
      for (int number = 0; isSaving; ++number) {
        const pxa::VeskEventRef event = newEvent(number);
        const auto start = Clock::now();
        queue.enqueue(event);
        longest = std::max(longest, secondsSince(start));
      }
    });
    queue.saveToFile();
    isSaving = false;
    logger.join();
    while (queue.dequeueIfAny() != nullptr) continue;
    state.SetIterationTime(longest);
  }
}

BENCHMARK(save)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(writeSameBytes)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(load)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(longestLogCallDuringASave)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(50);

}  // namespace

BENCHMARK_MAIN();
