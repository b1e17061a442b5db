#include "queue/event_archive.h"

#include <pxalog/Array.h>

#include "platform/Platform.h"

namespace pxa {

Data archiveOfEvents(const EventQueue& events, const String& key) {
  Array archived;
  for (const VeskEventRef& event : events) {
    Dictionary coder;
    event->encodeWithCoder(coder);
    archived.append(coder);
  }
  return Platform::current().keyedArchive.archive(Dictionary{{key, archived}});
}

std::optional<EventQueue> eventsOfArchive(const Data& archive, const String& key) {
  const std::optional<Dictionary> root = Platform::current().keyedArchive.unarchive(archive);
  if (!root) return std::nullopt;
  const Value archived = root->value(key.view());
  if (!archived.isNull() && archived.kind() != Value::Kind::Array) return std::nullopt;

  EventQueue events;
  for (const Value& coder : archived.array()) {
    if (coder.kind() != Value::Kind::Dictionary) return std::nullopt;
    events.push_back(VeskEvent::initWithCoder(coder.dictionary()));
  }
  return events;
}

}  // namespace pxa
