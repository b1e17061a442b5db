#pragma once

#include <deque>
#include <memory_resource>
#include <optional>

#include "event/VeskEvent.h"

namespace pxa {

using EventQueue = std::pmr::deque<VeskEventRef>;

/// The archive of an array of events under one key. Throws std::invalid_argument when an event has no
/// archived form.
Data archiveOfEvents(const EventQueue& events, const String& key);

/// The events under the key of an archive, none when it lacks the key; nothing when it is not an archive of
/// events.
std::optional<EventQueue> eventsOfArchive(const Data& archive, const String& key);

}  // namespace pxa
