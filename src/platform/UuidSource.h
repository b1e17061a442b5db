#pragma once

#include <pxalog/String.h>

namespace pxa {

class UuidSource {
 public:
  virtual ~UuidSource() = default;
  /// A new random UUID in its canonical upper-case form; nil when none could be made. Thread-safe.
  virtual String createUuid() = 0;
};

}  // namespace pxa
