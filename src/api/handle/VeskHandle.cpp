#include "api/handle/VeskHandle.h"

namespace pxa {

using namespace literals;

VeskHandle::VeskHandle()
    : logType_("vesk2-log"_text), logSource_("ios-log"_text), networkType_("Wi-Fi"_text) {}

VeskHandle::~VeskHandle() = default;

const Dictionary& VeskHandle::customTexts() {
  if (!customTexts_.isNil()) return customTexts_;
  Dictionary texts(customFields_.size());
  for (const Dictionary::Entry& custom : customFields_) {
    if (custom.value.kind() == Value::Kind::String)
      texts.set(custom.key, custom.value);
    else if (custom.value.kind() == Value::Kind::Data)
      texts.set(custom.key, String::fromUtf8(custom.value.data()));
  }
  customTexts_ = std::move(texts);
  return customTexts_;
}

const EventOriginRef& VeskHandle::eventOrigin(const String& handleId) {
  if (eventOrigin_ == nullptr)
    eventOrigin_ = std::make_shared<const EventOrigin>(
        EventOrigin{projectName_, projectVersion_, logType_, logSource_, handleId});
  return eventOrigin_;
}

}  // namespace pxa
