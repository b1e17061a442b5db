#pragma once

#include <cstdint>

#include <pxalog/String.h>

namespace pxa::PXALog {

/// Whether the whole text is one character of a first set and then any number of a second one; false for nil.
/// Selectors: isValidAppKey: (letters and digits; also "-", "_"), isValidField: (letters; also digits, "-",
/// "_"), isValidVersion: (letters and digits; also "-", "_", ".")
bool isValidAppKey(const String& text);
bool isValidField(const String& text);
bool isValidVersion(const String& text);

/// nil or "". Selector: isStringEmpty:
bool isStringEmpty(const String& text);

/// 443 for https, 80 for http, in any case; -1 for other addresses. Selector: getDefaultPortFromURL:
std::int32_t getDefaultPortFromURL(const String& url);

/// What stands behind the first "://". Throws std::out_of_range without one. Selector: removeURLPrefix:
String removeURLPrefix(const String& url);

}  // namespace pxa::PXALog
