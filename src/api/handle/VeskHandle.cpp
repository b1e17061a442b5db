#include "api/handle/VeskHandle.h"

namespace pxa {

using namespace literals;

VeskHandle::VeskHandle()
    : logType_("vesk2-log"_text), logSource_("ios-log"_text), networkType_("Wi-Fi"_text) {}

VeskHandle::~VeskHandle() = default;

}  // namespace pxa
