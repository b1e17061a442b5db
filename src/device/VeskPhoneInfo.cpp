#include <cstdint>
#include <limits>
#include <string>

#include <pxalog/VeskPhoneInfo.h>

#include "platform/Platform.h"

namespace pxa {

using namespace literals;

namespace {

String kilobytes(std::uint32_t count) {
  return std::to_string(count) + " kB";
}

/// Saturates, for a conversion of a number that does not fit has no defined result.
std::uint32_t saturatedToUint32(double number) {
  constexpr double kMost = std::numeric_limits<std::uint32_t>::max();
  return number < kMost ? static_cast<std::uint32_t>(number) : std::numeric_limits<std::uint32_t>::max();
}

}  // namespace

VeskPhoneInfo& VeskPhoneInfo::sharedInstance() {
  static auto& instance = *new VeskPhoneInfo;
  return instance;
}

String VeskPhoneInfo::preferedLanguage() const {
  const std::vector<String> languages = Platform::current().device.preferredLanguages();
  return languages.empty() ? String(nullptr) : languages.front();
}

String VeskPhoneInfo::freeMemory() const {
  const auto free = Platform::current().device.freeMemory();
  if (!free) return nullptr;
  return kilobytes(static_cast<std::uint32_t>(free->pages * free->pageSize >> 10U));
}

String VeskPhoneInfo::freeSpace() const {
  const auto bytes = Platform::current().device.freeBytesForDocuments();
  if (!bytes) return nullptr;
  return kilobytes(saturatedToUint32(static_cast<float>(*bytes) / 1024.0));
}

bool VeskPhoneInfo::isJailbroken() const {
  static const bool isJailbroken = Platform::current().device.canStartShell();
  return isJailbroken;
}

String VeskPhoneInfo::locale() const {
  String locale = Platform::current().device.localeDisplayName();
  return locale.isNil() ? ""_text : locale;
}

}  // namespace pxa
