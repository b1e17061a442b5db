#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <numeric>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <pxalog/Array.h>
#include <pxalog/Dictionary.h>

#include "api/handle/process_state.h"
#include "platform/Platform.h"
#include "queue/VeskBlockQueue.h"
#include "support/FakePlatform.h"
#include "support/values.h"

namespace pxa::test {

/// Send times; they tell the events of a test apart.
using Times = std::vector<std::int64_t>;

inline constexpr const char* kLogFile = "Vesk2SavedLog";
inline constexpr const char* kFailedFile = "fileVesk2SavedLog";

/// The times first, first + 1, … first + count - 1.
inline Times timesFrom(std::int64_t first, std::size_t count) {
  Times times(count);
  std::iota(times.begin(), times.end(), first);
  return times;
}

/// An event of that send time with fields of its own.
inline VeskEventRef eventAt(std::int64_t time, const Dictionary& fields = Dictionary()) {
  auto event = std::make_shared<VeskEvent>();
  event->setSendTime(time);
  event->setFields(fields);
  return event;
}

inline void enqueueAll(VeskBlockQueue& queue, const Times& times) {
  for (const std::int64_t time : times) queue.enqueue(eventAt(time));
}

inline void enqueueAllAsFailed(VeskBlockQueue& queue, const Times& times) {
  for (const std::int64_t time : times) queue.enqueueFile(eventAt(time));
}

/// Takes every event out of a log queue, oldest first.
inline std::vector<VeskEventRef> takeEvents(VeskBlockQueue& queue) {
  std::vector<VeskEventRef> events;
  while (VeskEventRef event = queue.dequeueIfAny()) events.push_back(std::move(event));
  return events;
}

/// The same for the queue of the process; none before there is one.
inline std::vector<VeskEventRef> takeEvents() {
  const auto queue = gs_blockQueue();
  return queue == nullptr ? std::vector<VeskEventRef>() : takeEvents(*queue);
}

/// Takes the events out of the queue of the process and returns those that are no session logs.
inline std::vector<VeskEventRef> takeLogs() {
  std::vector<VeskEventRef> logs = takeEvents();
  std::erase_if(logs, [](const VeskEventRef& event) { return text(event->logType()) == "SESSION"; });
  return logs;
}

inline std::vector<std::string> bodiesOf(const std::vector<VeskEventRef>& events) {
  std::vector<std::string> bodies;
  for (const VeskEventRef& event : events) bodies.push_back(text(event->body()));
  return bodies;
}

inline Times timesOf(const std::vector<VeskEventRef>& events) {
  Times times;
  for (const VeskEventRef& event : events) times.push_back(event->sendTime());
  return times;
}

inline Times takeTimes(VeskBlockQueue& queue) {
  return timesOf(takeEvents(queue));
}

/// The send times of the events that a file holds under its one key; nothing when it holds no such archive.
inline std::optional<Times> timesInFile(FakePlatform& fakes, const char* name, const char* key) {
  const std::optional<std::string> content = fakes.files.contentOf(name);
  if (!content) return std::nullopt;
  const std::optional<Dictionary> root = Platform::current().keyedArchive.unarchive(Data(*content));
  if (!root || root->size() != 1 || root->value(key).kind() != Value::Kind::Array) return std::nullopt;
  Times times;
  for (const Value& event : root->value(key).array())
    times.push_back(event.dictionary().value("sendTime").number().longLongValue());
  return times;
}

inline std::optional<Times> timesInLogFile(FakePlatform& fakes) {
  return timesInFile(fakes, kLogFile, "logArray");
}

inline std::optional<Times> timesInFailedFile(FakePlatform& fakes) {
  return timesInFile(fakes, kFailedFile, "fileArray");
}

}  // namespace pxa::test
