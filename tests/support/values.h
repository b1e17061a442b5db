#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <pxalog/Data.h>
#include <pxalog/Dictionary.h>
#include <pxalog/String.h>
#include <pxalog/Value.h>

// What tests put into values and read out of them.
namespace pxa::test {

/// The bytes of a text, as events hold texts.
inline Data bytesOf(std::string_view text) {
  return Data(text);
}

inline bool isText(const Value& value) {
  return value.kind() == Value::Kind::String;
}

/// The text of a String or Data; "(nil)" without one.
inline std::string text(const String& text) {
  return text.isNil() ? "(nil)" : std::string(text.view());
}
inline std::string text(const Value& value) {
  const bool hasText = isText(value) || value.kind() == Value::Kind::Data;
  return hasText ? std::string(value.bytes()) : "(nil)";
}

/// The keys in the order in which they were set.
inline std::vector<std::string> keysOf(const Dictionary& dictionary) {
  std::vector<std::string> keys;
  for (const Dictionary::Entry& entry : dictionary) keys.push_back(text(entry.key));
  return keys;
}

}  // namespace pxa::test
