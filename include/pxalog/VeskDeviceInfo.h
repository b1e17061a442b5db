#pragma once

#include <cstdint>

#include <pxalog/Export.h>
#include <pxalog/String.h>

namespace pxa {

/// Facts about the hardware. Thread-safe; a system's model is asked for once, the host's each time.
class PXALOG_EXPORT VeskDeviceInfo {
 public:
  /// The one instance, which lives as long as the process.
  static VeskDeviceInfo& getInstance();

  VeskDeviceInfo(const VeskDeviceInfo&) = delete;
  VeskDeviceInfo& operator=(const VeskDeviceInfo&) = delete;

  /// The value of a system control: "hw.machine" is the machine model, every other name one of the system's
  /// own ("kernel.ostype"). "" for a null pointer and for a name that the system does not know.
  /// Selector: getSysInfoByName:
  [[nodiscard]] String getSysInfoByName(const char* name) const;
  /// The raw machine model, for example "iPhone8,2"; "" when it is not known.
  [[nodiscard]] String platform() const;
  /// Code of the machine model; 0 for an unknown one.
  [[nodiscard]] std::uint32_t platformType() const;
  /// Display name of the machine model; "Unknown iOS device" for one without a name.
  [[nodiscard]] String platformString() const;

 private:
  VeskDeviceInfo() = default;
};

}  // namespace pxa
