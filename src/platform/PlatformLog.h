#pragma once

#include <pxalog/String.h>

namespace pxa {

/// The platform's log of console lines. Thread-safe.
class PlatformLog {
 public:
  virtual ~PlatformLog() = default;
  virtual void writeLine(const String& line) = 0;
};

}  // namespace pxa
