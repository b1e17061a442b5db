#pragma once

#include <pxalog/String.h>

namespace pxa {

/// What the system knows of the device; nil for what it does not know. Thread-safe.
class DeviceFacts {
 public:
  virtual ~DeviceFacts() = default;
  virtual String systemVersion() = 0;
  virtual String machineModel() = 0;
  virtual String vendorIdentifier() = 0;
  virtual String carrierName() = 0;
  /// ISO country code of the cellular provider.
  virtual String carrierCountryCode() = 0;
  /// Display name of the user's locale.
  virtual String localeDisplayName() = 0;
};

}  // namespace pxa
