#include "json/JsonKeyCache.h"

#include "foundation/bodies.h"

namespace pxa {

namespace {

String newString(std::string_view text) {
  return detail::Adopt::text(detail::SharedBytes::copyOf(text, detail::SharedBytes::Encoding::Utf8));
}

}  // namespace

const String& JsonKeyCache::shared(std::string_view key, std::uint32_t hash) {
  if (key.size() > kLongestKey) return uncached_ = newString(key);
  String& slot = slots_[hash % kSlots];
  if (slot.isNil() || slot.view() != key) slot = newString(key);
  return slot;
}

}  // namespace pxa
