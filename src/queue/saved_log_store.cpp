#include <algorithm>
#include <exception>
#include <stdexcept>
#include <string>

#include "diagnostics/Ledger.h"
#include "event/error_rate.h"
#include "event/event_keys.h"
#include "foundation/Mutex.h"
#include "foundation/integer_text.h"
#include "platform/Platform.h"
#include "platform/console.h"
#include "queue/VeskBlockQueue.h"

// The part of VeskBlockQueue that keeps events in files. Each operation works in two guarded sections, the
// log queue's and the file queue's; a failure in one is told on the console and does not keep the other from
// its work.

namespace pxa {

using namespace literals;
using Events = Ledger::Events;
using Dropped = Ledger::Dropped;

namespace {

String logArrayKey() {
  return "logArray"_text;
}
String fileArrayKey() {
  return "fileArray"_text;
}

String pathOf(const char* fileName) {
  return std::string(Platform::current().files.documentsDirectory().view()) + "/" + fileName;
}

/// Writes the queue to the file and empties it. The events of this process that an older file held are gone
/// then.
void save(EventQueue& queue, Ledger::Place place, const String& path, const String& key,
          std::uint64_t& savedHere) {
  if (queue.empty()) return;
  const Data archive = archiveOfEvents(queue, key);
  Platform::current().files.writeAtomically(path, archive);
  ledger().drop(&Events::saved, &Dropped::fileReplaced, savedHere);
  savedHere = queue.size();
  ledger().move(place, &Events::saved, savedHere);
  queue.clear();
}

/// The events of a file that is there. Throws when it cannot be read as an archive of events.
EventQueue readEvents(const String& path, const String& key) {
  const std::optional<Data> content = Platform::current().files.read(path);
  if (!content) throw std::runtime_error("the file cannot be read");
  std::optional<EventQueue> events = eventsOfArchive(*content, key);
  if (!events) throw std::runtime_error("the file holds no archive of events");
  return *std::move(events);
}

/// Puts reloaded events behind those of the queue, which then drops its oldest until there is room for one
/// more.
void append(EventQueue& queue, Ledger::Place place, const EventQueue& events, std::uint64_t& savedHere) {
  queue.insert(queue.end(), events.begin(), events.end());
  const std::uint64_t ours = std::min<std::uint64_t>(savedHere, events.size());
  ledger().move(&Events::saved, place, ours);
  ledger().drop(&Events::saved, &Dropped::fileReplaced, savedHere - ours);
  ledger().enter(place, events.size() - ours);
  savedHere = 0;
  while (queue.size() >= VeskBlockQueue::kMostEvents) {
    queue.pop_front();
    ledger().drop(place, &Dropped::trimmedOnReload);
  }
}

}  // namespace

String VeskBlockQueue::dataFilePath() {
  return pathOf("Vesk2SavedLog");
}

String VeskBlockQueue::fileFilePath() {
  return pathOf("fileVesk2SavedLog");
}

void VeskBlockQueue::runGuarded(Section section, const char* failureText) {
  try {
    (this->*section)();
  } catch (const std::exception& failure) {
    console::write(failureText, failure.what());
  }
}

void VeskBlockQueue::saveToFile() {
  const Guard monitor(persistenceMonitor_);
  runGuarded(&VeskBlockQueue::saveLogs, "[saveToFile] logArray : ");
  runGuarded(&VeskBlockQueue::saveFailedEvents, "[saveToFile] fileArray : ");
}

void VeskBlockQueue::saveFailedToFile() {
  const Guard monitor(persistenceMonitor_);
  runGuarded(&VeskBlockQueue::reloadFailedEvents, "[FileToMemory] fileArray: ");
  runGuarded(&VeskBlockQueue::saveFailedEvents, "[saveToFile] fileArray : ");
}

void VeskBlockQueue::saveLogs() {
  const Guard guard(condition_);
  save(logArray_, &Events::waiting, dataFilePath(), logArrayKey(), savedLogs_);
}

void VeskBlockQueue::saveFailedEvents() {
  const Guard guard(filecondition_);
  save(fileArray_, &Events::failed, fileFilePath(), fileArrayKey(), savedFailedEvents_);
}

void VeskBlockQueue::FileToMemory() {
  const Guard monitor(persistenceMonitor_);
  runGuarded(&VeskBlockQueue::reloadLogs, "[FileToMemory] logArray : ");
  runGuarded(&VeskBlockQueue::reloadFailedEvents, "[FileToMemory] fileArray: ");
}

void VeskBlockQueue::loadFromFile() {
  const Guard monitor(persistenceMonitor_);
  runGuarded(&VeskBlockQueue::reloadLogs, "[loadFromFile] logArray: ");
  runGuarded(&VeskBlockQueue::reloadFailedEventsAsLogs, "[loadFromFile] logArray: ");
}

void VeskBlockQueue::reloadLogs() {
  const String path = dataFilePath();
  if (!Platform::current().files.fileExists(path)) return;
  {
    const Guard guard(condition_);
    append(logArray_, &Events::waiting, readEvents(path, logArrayKey()), savedLogs_);
    if (!logArray_.empty()) condition_.broadcast();
  }
  Platform::current().files.removeFile(path);
}

void VeskBlockQueue::reloadFailedEvents() {
  const String path = fileFilePath();
  if (!Platform::current().files.fileExists(path)) return;
  {
    const Guard guard(filecondition_);
    append(fileArray_, &Events::failed, readEvents(path, fileArrayKey()), savedFailedEvents_);
    if (!fileArray_.empty()) filecondition_.broadcast();
  }
  Platform::current().files.removeFile(path);
}

void VeskBlockQueue::reloadFailedEventsAsLogs() {
  const String path = fileFilePath();
  if (!Platform::current().files.fileExists(path)) return;
  {
    const Guard guard(condition_);
    append(logArray_, &Events::waiting, readEvents(path, fileArrayKey()), savedFailedEvents_);
    if (!logArray_.empty()) condition_.broadcast();
    countFailedDelivery();
  }
  Platform::current().files.removeFile(path);
}

void VeskBlockQueue::countFailedDelivery() {
  for (const VeskEventRef& event : logArray_) {
    const std::int64_t deliveries = std::int64_t{errorRateOf(*event)} + 1;
    event->fields().dictionary().set(key::errorRate(), std::to_string(saturatedToInt32(deliveries)));
  }
}

}  // namespace pxa
