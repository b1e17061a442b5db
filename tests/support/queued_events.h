#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include <pxalog/Array.h>
#include <pxalog/Dictionary.h>

#include "platform/Platform.h"
#include "queue/VeskBlockQueue.h"
#include "support/FakePlatform.h"

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

/// Takes every event out of the log queue, oldest first.
inline std::vector<VeskEventRef> takeAll(VeskBlockQueue& queue) {
  std::vector<VeskEventRef> events;
  while (VeskEventRef event = queue.dequeueIfAny()) events.push_back(std::move(event));
  return events;
}

inline Times timesOf(const std::vector<VeskEventRef>& events) {
  Times times;
  for (const VeskEventRef& event : events) times.push_back(event->sendTime());
  return times;
}

inline Times takeTimes(VeskBlockQueue& queue) {
  return timesOf(takeAll(queue));
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
