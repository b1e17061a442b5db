#pragma once

#include "platform/DeviceFacts.h"
#include "platform/linux/user_locale.h"

namespace pxa {

/// What the host says, else what the system says. The environment is read when this is made, which is on the
/// application's thread, and the system's model and version are asked once, for they do not change while a
/// process runs.
class LinuxDeviceFacts final : public DeviceFacts {
 public:
  /// Of the distribution, else of the kernel.
  std::optional<std::uint64_t> generation() override;
  String systemVersion() override;
  /// Of the device tree, else the product name that the firmware gives, else the kind of processor.
  String machineModel() override;
  String systemControl(const String& name) override;
  /// Made of the machine's id and the documents directory: the same as long as both are, and another one for
  /// each user and program of one machine.
  String vendorIdentifier() override;
  String carrierName() override;
  String carrierCountryCode() override;
  String localeDisplayName() override;
  std::vector<String> preferredLanguages() override;
  double screenWidth() override;
  std::optional<FreeMemory> freeMemory() override;
  std::optional<std::uint64_t> freeBytesForDocuments() override;
  bool canStartShell() override;

 private:
  const LocaleSettings locale_ = LocaleSettings::ofEnvironment();
};

}  // namespace pxa
