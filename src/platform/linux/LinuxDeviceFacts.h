#pragma once

#include "platform/DeviceFacts.h"

namespace pxa {

/// What the kernel and the user's environment say; asked once, for it does not change while a process runs.
/// What the host says comes first.
class LinuxDeviceFacts final : public DeviceFacts {
 public:
  String systemVersion() override;
  String machineModel() override;
  String vendorIdentifier() override;
  String carrierName() override;
  String carrierCountryCode() override;
  String localeDisplayName() override;
};

}  // namespace pxa
