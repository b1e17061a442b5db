#pragma once

namespace pxa {

class Clock {
 public:
  virtual ~Clock() = default;
  /// Seconds since 1970-01-01 00:00 UTC.
  virtual double secondsSince1970() = 0;
  /// Seconds of a clock that never jumps.
  virtual double monotonicSeconds() = 0;
  virtual void sleepForSeconds(double seconds) = 0;
};

}  // namespace pxa
