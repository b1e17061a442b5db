#include "event/send_time.h"

#include <pxalog/Number.h>

#include "platform/Platform.h"

namespace pxa {

std::int64_t currentSendTime() {
  // A clock may say anything: what does not fit becomes the nearest limit.
  return Number(Platform::current().clock.secondsSince1970() * 1000.0).longLongValue();
}

}  // namespace pxa
