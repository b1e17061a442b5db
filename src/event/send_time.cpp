#include "event/send_time.h"

#include "platform/Platform.h"

namespace pxa {

std::int64_t currentSendTime() {
  return static_cast<std::int64_t>(Platform::current().clock.secondsSince1970() * 1000.0);
}

}  // namespace pxa
