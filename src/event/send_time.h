#pragma once

#include <cstdint>

namespace pxa {

/// The current time in milliseconds since 1970-01-01 00:00 UTC, as events carry it.
std::int64_t currentSendTime();

}  // namespace pxa
