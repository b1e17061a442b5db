#include "device/VeskDeviceInfo.h"

#include "platform/Platform.h"

namespace pxa {

VeskDeviceInfo& VeskDeviceInfo::getInstance() {
  static auto& instance = *new VeskDeviceInfo;
  return instance;
}

String VeskDeviceInfo::platform() const {
  using namespace literals;
  String model = Platform::current().device.machineModel();
  return model.isNil() ? ""_text : model;
}

}  // namespace pxa
