#include "api/handle/common_fields.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include <pxalog/VeskDeviceInfo.h>
#include <pxalog/VeskPhoneInfo.h>

#include "api/handle/GlobalLock.h"
#include "api/handle/handle_table.h"
#include "event/event_keys.h"
#include "foundation/Mutex.h"
#include "foundation/ascii.h"
#include "foundation/bodies.h"
#include "platform/Platform.h"

namespace pxa {

using namespace literals;

namespace {

constexpr std::array<std::string_view, 26> kReservedFields = {
    "projectName",     "projectVersion", "host",        "logType",    "logSource",  "sendTime",
    "logTime",         "logLevel",       "UserID",      "Platform",   "DeviceType", "DeviceModel",
    "NetworkType",     "Carrier",        "CountryCode", "DmpData",    "errorCode",  "body",
    "PreferdLanguage", "FreeDiskSpace",  "FreeMemory",  "Jailbroken", "SessionID",  "Locale",
    "SdkVersion",      "DeviceID"};

constexpr std::array<std::string_view, 7> kProtectedFields = {
    "logVersion", "SymMethod", "CrashStyle", "SdkVersion", "SessionID", "DeviceID", "Unity"};

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kWhiteSpaceAndLineEnds = " \t\n\v\f\r";
  const std::size_t first = text.find_first_not_of(kWhiteSpaceAndLineEnds);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kWhiteSpaceAndLineEnds) - first + 1);
}

/// The library speaks the name of the phone's system on every platform.
String platformText() {
  const String systemVersion = Platform::current().device.systemVersion();
  return trimmed("iOS " + std::string(systemVersion.view()));
}

std::string lowerCase(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), ascii::lower);
  return lower;
}

Dictionary readDeviceFacts() {
  DeviceFacts& device = Platform::current().device;
  Dictionary fields;
  fields.set(key::platform(), platformText().utf8());
  if (const String model = VeskDeviceInfo::getInstance().platform(); !model.isEmpty())
    fields.set(key::deviceModel(), model.utf8());
  setOrUnknown(fields, key::carrier(), device.carrierName());
  setOrUnknown(fields, key::countryCode(), lowerCase(device.carrierCountryCode().view()));
  setOrUnknown(fields, key::locale(), VeskPhoneInfo::sharedInstance().locale());
  return fields;
}

/// The device's facts as fields, as of one moment.
struct KnownDeviceFacts {
  Mutex mutex;
  std::optional<std::uint64_t> generation GUARDED_BY(mutex);
  Dictionary fields GUARDED_BY(mutex) = nullptr;
};

/// Not to be changed: others hold it too.
Dictionary deviceFacts() {
  static auto& known = *new KnownDeviceFacts;
  // Asked before the facts are read, so that what changes meanwhile is read next time.
  const std::optional<std::uint64_t> generation = Platform::current().device.generation();
  {
    const Guard guard(known.mutex);
    if (generation && known.generation == generation) return known.fields;
  }
  Dictionary fields = readDeviceFacts();
  const Guard guard(known.mutex);
  known.generation = generation;
  known.fields = fields;
  return fields;
}

/// The caller holds the global lock.
String currentNetworkType() {
  if (const VeskHandleRef& network = networkRecord(); network != nullptr)
    if (const String& known = network->networkType(); !known.isNil() && known.view() != "NONE") return known;
  return "No Connection"_text;
}

bool isOneDictionary(const Dictionary& left, const Dictionary& right) {
  return &detail::Borrow::dictionary(left) == &detail::Borrow::dictionary(right);
}

}  // namespace

bool PXALog::copyCommonFields(Dictionary fields) {
  return copyCommonFields_forHandlerId(std::move(fields), defaultHandleId());
}

bool PXALog::copyCommonFields_forHandlerId(Dictionary fields, const String& handleId) {
  const std::optional<CommonFacts> facts = CommonFacts::of(handleId);
  if (facts) facts->copyTo(std::move(fields));
  return facts.has_value();
}

std::optional<CommonFacts> CommonFacts::of(const String& handleId) {
  Dictionary deviceFields = deviceFacts();
  const GlobalGuard guard;
  VeskHandle* const handle = findHandle(handleId);
  if (handle == nullptr) return std::nullopt;
  return CommonFacts{std::move(deviceFields), currentNetworkType(), handle->userId(), handle->customTexts()};
}

void CommonFacts::copyTo(Dictionary fields) const {
  fields.setAll(deviceFields);
  fields.set(key::networkType(), networkType.utf8());
  if (!userId.isNil()) fields.set(key::userId(), userId.utf8());
  fields.setMissing(customTexts);
}

bool CommonFacts::isKnownToEqual(const CommonFacts& other) const {
  return isOneDictionary(deviceFields, other.deviceFields) &&
         isOneDictionary(customTexts, other.customTexts) && networkType == other.networkType &&
         userId == other.userId;
}

void setOrUnknown(Dictionary& fields, const String& key, const String& text) {
  fields.set(key, text.isEmpty() ? "Unknown"_text.utf8() : text.utf8());
}

bool isReservedField(std::string_view key) {
  return std::find(kReservedFields.begin(), kReservedFields.end(), key) != kReservedFields.end();
}

bool isProtectedField(std::string_view key) {
  return std::find(kProtectedFields.begin(), kProtectedFields.end(), key) != kProtectedFields.end();
}

}  // namespace pxa
