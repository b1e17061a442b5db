#include <pxalog/VeskDeviceInfo.h>

#include "device/device_models.h"
#include "platform/Platform.h"

namespace pxa {

using namespace literals;

namespace {

constexpr std::string_view kMachineModel = "hw.machine";
constexpr double kNarrowestTablet = 768.0;

}  // namespace

VeskDeviceInfo& VeskDeviceInfo::getInstance() {
  static auto& instance = *new VeskDeviceInfo;
  return instance;
}

String VeskDeviceInfo::getSysInfoByName(const char* name) const {
  if (name == nullptr) return ""_text;
  DeviceFacts& device = Platform::current().device;
  String value = name == kMachineModel ? device.machineModel() : device.systemControl(name);
  return value.isNil() ? ""_text : value;
}

String VeskDeviceInfo::platform() const {
  return getSysInfoByName(kMachineModel.data());
}

std::uint32_t VeskDeviceInfo::platformType() const {
  const String machine = platform();
  const std::uint32_t code = deviceModelCode(machine.view());
  if (code != 0 || !isSimulatorMachine(machine.view())) return code;
  return Platform::current().device.screenWidth() < kNarrowestTablet ? kPhoneSimulator : kTabletSimulator;
}

String VeskDeviceInfo::platformString() const {
  return deviceModelName(platformType());
}

}  // namespace pxa
