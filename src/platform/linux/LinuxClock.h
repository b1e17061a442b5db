#pragma once

#include "platform/Clock.h"

namespace pxa {

class LinuxClock final : public Clock {
 public:
  double secondsSince1970() override;
  double monotonicSeconds() override;
  void sleepForSeconds(double seconds) override;
};

}  // namespace pxa
