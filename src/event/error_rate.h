#pragma once

#include <cstdint>

#include "event/VeskEvent.h"

namespace pxa {

/// How often the event was carried over from a failed delivery, as its "errorRate" says: a text's leading
/// integer or a number, 0 without one. Throws std::invalid_argument for bytes, a container or any other value
/// that has no integer.
std::int32_t errorRateOf(const VeskEvent& event);

}  // namespace pxa
