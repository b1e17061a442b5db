#include <string>

#include <pxalog/CJSONSerializer.h>

#include "json/JsonEmitter.h"

namespace pxa {

using namespace literals;

namespace {

const JsonEscapes& escapesFor(unsigned options) {
  return (options & CJSONSerializer::kEscapeSlashes) != 0 ? kEscapedSlashes : kPlainSlashes;
}

void report(Error* error, int code, std::string_view before, const String& subject) {
  if (error == nullptr) return;
  const std::string message = std::string(before).append("'").append(subject.view()).append("'");
  *error = Error::withDescription(CJSONSerializer::kErrorDomain, code, message);
}

bool isUnsupported(const Value& object) {
  return object.kind() == Value::Kind::Object && !object.object()->offersJSONDataRepresentation();
}

/// Appends the object; on failure says why, naming this object and not what may lie inside it.
bool appendObject(const Value& object, ByteBuffer& text, const JsonEscapes& escapes, Error* error) {
  if (isUnsupported(object)) {
    report(error, CJSONSerializer::kUnsupportedType, "Cannot serialize data of type ", object.className());
    return false;
  }
  if (JsonEmitter(text, escapes).value(object)) return true;
  report(error, CJSONSerializer::kNotSerializable, "Could not serialize object ", object.description());
  return false;
}

}  // namespace

const char* const CJSONSerializer::kErrorDomain = "CJSONSerializerErrorDomain";

bool CJSONSerializer::isValidJSONObject(const Value& object) const {
  return !isUnsupported(object);
}

Data CJSONSerializer::serializeObject_error(const Value& object, Error* error) const {
  ByteBuffer text;
  return appendObject(object, text, escapesFor(options_), error) ? text.finish() : nullptr;
}

Data CJSONSerializer::serializeNull_error(std::nullptr_t, Error*) const {
  return "null"_text.utf8();
}

Data CJSONSerializer::serializeNumber_error(const Number& number, Error*) const {
  if (number == Number(false)) return "false"_text.utf8();
  if (number == Number(true)) return "true"_text.utf8();
  Number::TextStorage storage;
  return Data(number.text(storage));
}

Data CJSONSerializer::serializeString_error(const String& string, Error*) const {
  if (string.isNil()) return nullptr;
  ByteBuffer text;
  JsonEmitter(text, escapesFor(options_)).string(string.view());
  return text.finish();
}

Data CJSONSerializer::serializeArray_error(const Array& array, Error* error) const {
  if (array.isNil()) return nullptr;
  ByteBuffer text;
  text.append('[');
  for (const Value& element : array) {
    if (&element != array.begin()) text.append(',');
    if (!appendObject(element, text, escapesFor(options_), error)) return nullptr;
  }
  text.append(']');
  return text.finish();
}

Data CJSONSerializer::serializeDictionary_error(const Dictionary& dictionary, Error* error) const {
  if (dictionary.isNil()) return nullptr;
  ByteBuffer text;
  text.append('{');
  bool isFirst = true;
  for (const Dictionary::Entry& entry : dictionary) {
    if (!std::exchange(isFirst, false)) text.append(',');
    JsonEmitter(text, escapesFor(options_)).string(entry.key.view());
    text.append(':');
    if (!appendObject(entry.value, text, escapesFor(options_), error)) return nullptr;
  }
  text.append('}');
  return text.finish();
}

}  // namespace pxa
