#pragma once

#include <optional>
#include <string_view>

#include <pxalog/Dictionary.h>
#include <pxalog/String.h>

namespace pxa {

namespace PXALog {

/// Completes an event's fields with the facts that every event carries, as known now, and with the handle's
/// custom fields, which never replace a field that is there. False, and nothing done, for an unknown handle.
/// Selectors: copyCommonFields: (handle "0"), copyCommonFields:forHandlerId:
bool copyCommonFields(Dictionary fields);
bool copyCommonFields_forHandlerId(Dictionary fields, const String& handleId);

}  // namespace PXALog

/// What the common fields of a handle's events are made of, as of one moment. Its dictionaries are others' too:
/// nobody changes them.
struct CommonFacts {
  Dictionary deviceFields;
  String networkType;
  String userId;
  Dictionary customTexts;

  /// The facts of the handle as known now; nothing for an unknown handle.
  static std::optional<CommonFacts> of(const String& handleId);

  /// Does the work of copyCommonFields.
  void copyTo(Dictionary fields) const;
  /// False also where the facts of the device or the custom fields are equal, but were read anew.
  [[nodiscard]] bool isKnownToEqual(const CommonFacts& other) const;
};

/// Sets a field to the text's bytes, or to those of "Unknown" when it is nil or empty.
void setOrUnknown(Dictionary& fields, const String& key, const String& text);

/// Whether the key is one of the 26 that callers may neither set nor remove.
bool isReservedField(std::string_view key);
/// Whether the key is one of the seven written at initialisation that no removal touches.
bool isProtectedField(std::string_view key);

}  // namespace pxa
