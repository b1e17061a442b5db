#pragma once

#include <pxalog/Array.h>
#include <pxalog/Dictionary.h>
#include <pxalog/Error.h>

namespace pxa {

/// Turns values into JSON text without white space. Data is written as a string if it is UTF-8; a text is cut
/// at its first NUL character; control characters other than \b \t \n \f \r are written raw. A Number of kind
/// Char is written as true or false when it is 1 or 0; not-a-number and infinities are written as such, which
/// is not JSON.
///
/// Operations return nil on failure and then, where an error is asked for, say why (nothing for a nil
/// argument): code kUnsupportedType for an object that offers no JSON, at the level where it is met, and
/// kNotSerializable for anything that could not be written, a failure further down included. No partial text
/// is ever returned. Nesting is limited by memory alone; a container that holds itself has no JSON form and
/// must not be given. An object of this class may be used by several threads at once while its options stay
/// unchanged.
class PXALOG_EXPORT CJSONSerializer {
 public:
  static const char* const kErrorDomain;
  static constexpr int kUnsupportedType = -1;
  static constexpr int kNotSerializable = -2;

  /// Option: every "/" in a string is written with a backslash before it.
  static constexpr unsigned kEscapeSlashes = 1;

  /// A new writer with options 0.
  static CJSONSerializer serializer() { return {}; }

  [[nodiscard]] unsigned options() const noexcept { return options_; }
  void setOptions(unsigned options) noexcept { options_ = options; }

  /// Whether the value is of a kind that can be written; looks at the value itself, not into containers.
  [[nodiscard]] bool isValidJSONObject(const Value& object) const;

  /// Selectors: serializeObject:error: and its five relatives by kind. The error is left alone on success.
  Data serializeObject_error(const Value& object, Error* error = nullptr) const;
  Data serializeNull_error(std::nullptr_t null, Error* error = nullptr) const;
  Data serializeNumber_error(const Number& number, Error* error = nullptr) const;
  Data serializeString_error(const String& string, Error* error = nullptr) const;
  Data serializeArray_error(const Array& array, Error* error = nullptr) const;
  Data serializeDictionary_error(const Dictionary& dictionary, Error* error = nullptr) const;

 private:
  unsigned options_ = 0;
};

}  // namespace pxa
