#include <utility>

#include <pxalog/CJSONDeserializer.h>

#include "json/JsonKeyCache.h"
#include "json/JsonScanner.h"
#include "json/json_encoding.h"

namespace pxa {

namespace {

bool isContainer(const Value& value) {
  return value.kind() == Value::Kind::Dictionary || value.kind() == Value::Kind::Array;
}

}  // namespace

const char* const CJSONDeserializer::kErrorDomain = "CJSONDeserializerErrorDomain";

CJSONDeserializer::CJSONDeserializer() = default;
CJSONDeserializer::~CJSONDeserializer() = default;
CJSONDeserializer::CJSONDeserializer(CJSONDeserializer&& other) noexcept = default;
CJSONDeserializer& CJSONDeserializer::operator=(CJSONDeserializer&& other) noexcept = default;

template <class Scan>
bool CJSONDeserializer::scan(const Data& data, Error* error, Scan scanText) {
  if (stringsByHash_ == nullptr) stringsByHash_ = std::make_unique<JsonKeyCache>();
  const std::optional<Data> text = data.isNil() ? data : jsonTextAsUtf8(data);
  JsonScanner scanner(text ? text->view() : std::string_view(), {options_, nullObject_, *stringsByHash_});
  const bool isRead = data.isNil() ? scanner.fail(-11, "Have no data to scan.")
                      : !text      ? scanner.fail(-12, nullptr)
                                   : scanText(scanner);
  scanLocation_ = scanner.location();
  stringsByHash_->forgetUncached();
  if (!isRead && error != nullptr) *error = scanner.error();
  return isRead;
}

std::optional<Value> CJSONDeserializer::deserialize_error(const Data& data, Error* error) {
  std::optional<Value> value;
  const bool isRead = scan(data, error, [&](JsonScanner& scanner) {
    if (!scanner.scanValue(value)) return false;
    const bool isFragment = !value || !isContainer(*value);
    if (isFragment && (options_ & kAllowFragments) == 0)
      return scanner.fail(-16, "Scanning fragments not allowed.");
    return scanner.scanEnd();
  });
  return isRead ? value : std::nullopt;
}

Dictionary CJSONDeserializer::deserializeAsDictionary_error(const Data& data, Error* error) {
  Dictionary dictionary = nullptr;
  scan(data, error, [&](JsonScanner& scanner) { return scanner.scanDictionary(dictionary); });
  return dictionary;
}

Array CJSONDeserializer::deserializeAsArray_error(const Data& data, Error* error) {
  Array array = nullptr;
  scan(data, error, [&](JsonScanner& scanner) { return scanner.scanArray(array); });
  return array;
}

std::optional<Value> dictionaryWithJSONData_error(const Data& data, Error* error) {
  return CJSONDeserializer::deserializer().deserialize_error(data, error);
}

std::optional<Value> dictionaryWithJSONString_error(const String& string, Error* error) {
  return dictionaryWithJSONData_error(string.utf8(), error);
}

}  // namespace pxa
