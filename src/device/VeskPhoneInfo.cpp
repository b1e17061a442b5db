#include "device/VeskPhoneInfo.h"

#include "platform/Platform.h"

namespace pxa {

VeskPhoneInfo& VeskPhoneInfo::sharedInstance() {
  static auto& instance = *new VeskPhoneInfo;
  return instance;
}

String VeskPhoneInfo::locale() const {
  using namespace literals;
  String locale = Platform::current().device.localeDisplayName();
  return locale.isNil() ? ""_text : locale;
}

}  // namespace pxa
