#pragma once

#include <pxalog/String.h>

namespace pxa {

/// Facts about the hardware. Thread-safe.
class VeskDeviceInfo {
 public:
  static VeskDeviceInfo& getInstance();

  /// The raw machine model; "" when it is not known.
  [[nodiscard]] String platform() const;
};

}  // namespace pxa
