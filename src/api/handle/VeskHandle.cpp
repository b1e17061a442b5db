#include "api/handle/VeskHandle.h"

namespace pxa {

using namespace literals;

VeskHandle::VeskHandle()
    : logType_("vesk2-log"_text), logSource_("ios-log"_text), networkType_("Wi-Fi"_text) {}

VeskHandle::~VeskHandle() = default;

const EventOriginRef& VeskHandle::eventOrigin(const String& handleId) {
  if (eventOrigin_ == nullptr)
    eventOrigin_ = std::make_shared<const EventOrigin>(
        EventOrigin{projectName_, projectVersion_, logType_, logSource_, handleId});
  return eventOrigin_;
}

}  // namespace pxa
