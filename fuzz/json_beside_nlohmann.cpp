// What nlohmann/json reads, the JSON reader reads as the same tree; and what the writer writes of it, nlohmann/json
// reads as that tree again.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <pxalog/CJSONDeserializer.h>
#include <pxalog/CJSONSerializer.h>

namespace {

using nlohmann::json;
using pxa::CJSONDeserializer;
using pxa::Data;
using pxa::Dictionary;
using pxa::Number;
using pxa::Value;

/// What the other reader takes for a double because it fits no 64-bit integer is a decimal here.
bool isSameNumber(const Number& number, const json& other) {
  if (other.is_number_unsigned())
    return number.kind() == Number::Kind::UInt64 &&
           number.unsignedLongLongValue() == other.get<std::uint64_t>();
  if (other.is_number_integer())
    return number.kind() == Number::Kind::Int64 && number.longLongValue() == other.get<std::int64_t>();
  return (number.kind() == Number::Kind::Double || number.kind() == Number::Kind::Decimal) &&
         number.doubleValue() == other.get<double>();
}

using Pairs = std::vector<std::pair<Value, const json*>>;

/// Whether two values are the same but for their elements, which are added to the pairs.
bool isSameButForElements(const Value& value, const json& other, Pairs& pairs) {
  switch (value.kind()) {
    case Value::Kind::Null:
      return other.is_null();
    case Value::Kind::Number:
      if (value.number().kind() == Number::Kind::Char)
        return other.is_boolean() && other.get<bool>() == value.number().boolValue();
      return other.is_number() && isSameNumber(value.number(), other);
    case Value::Kind::String:
      return other.is_string() && other.get_ref<const std::string&>() == value.bytes();
    case Value::Kind::Array:
      if (!other.is_array() || other.size() != value.array().size()) return false;
      for (std::size_t i = 0; i < other.size(); ++i) pairs.emplace_back(value.array().at(i), &other[i]);
      return true;
    case Value::Kind::Dictionary:
      if (!other.is_object() || other.size() != value.dictionary().size()) return false;
      for (const Dictionary::Entry& entry : value.dictionary()) {
        const auto found = other.find(std::string(entry.key.view()));
        if (found == other.end()) return false;
        pairs.emplace_back(entry.value, &*found);
      }
      return true;
    default:
      return false;
  }
}

bool isSameTree(const Value& value, const json& other) {
  Pairs pairs = {{value, &other}};
  while (!pairs.empty()) {
    const auto next = pairs.back();
    pairs.pop_back();
    if (!isSameButForElements(next.first, *next.second, pairs)) return false;
  }
  return true;
}

/// A NUL ends a text there, and a byte-order mark is passed over.
bool isReadAlike(std::string_view text) {
  return text.find('\0') == std::string_view::npos && !text.starts_with("\xEF\xBB\xBF");
}

/// The writer has no escape for the control characters that escapes can say.
bool isWrittenAlike(std::string_view text) {
  return text.find("\\u00") == std::string_view::npos;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  if (!isReadAlike(text)) return 0;
  const json other = json::parse(text, nullptr, false);
  if (other.is_discarded()) return 0;

  CJSONDeserializer reader = CJSONDeserializer::deserializer();
  reader.setOptions(CJSONDeserializer::kAllowFragments);
  const auto value = reader.deserialize_error(Data(text));
  if (!value || !isSameTree(*value, other)) std::abort();

  if (!isWrittenAlike(text)) return 0;
  const Data written = pxa::CJSONSerializer::serializer().serializeObject_error(*value);
  if (json::parse(written.view(), nullptr, false) != other) std::abort();
  return 0;
}
