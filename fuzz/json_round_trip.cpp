// What the JSON reader reads and the writer writes, the reader reads as the same tree; but a number may come back
// as one of another kind, since 1.0 is written as 1.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <utility>
#include <vector>

#include <pxalog/CJSONDeserializer.h>
#include <pxalog/CJSONSerializer.h>

namespace {

using pxa::Array;
using pxa::CJSONDeserializer;
using pxa::CJSONSerializer;
using pxa::Data;
using pxa::Dictionary;
using pxa::Number;
using pxa::Value;

bool hasNul(std::string_view text) {
  return text.find('\0') != std::string_view::npos;
}

/// Texts end at a NUL when they are written, and infinity is no JSON.
bool isWrittenWhole(const Value& root) {
  std::vector<Value> left = {root};
  while (!left.empty()) {
    const Value value = left.back();
    left.pop_back();
    if (value.kind() == Value::Kind::String && hasNul(value.bytes())) return false;
    if (value.kind() == Value::Kind::Number && value.number().kind() == Number::Kind::Double &&
        !std::isfinite(value.number().doubleValue()))
      return false;
    for (const Value& element : value.array()) left.push_back(element);
    for (const Dictionary::Entry& entry : value.dictionary()) {
      if (hasNul(entry.key.view())) return false;
      left.push_back(entry.value);
    }
  }
  return true;
}

bool isSameNumber(const Number& left, const Number& right) {
  return left.kind() == Number::Kind::Double ? left.doubleValue() == right.doubleValue()
                                             : left.stringValue() == right.stringValue();
}

bool isSameTree(const Value& leftRoot, const Value& rightRoot) {
  std::vector<std::pair<Value, Value>> pairs = {{leftRoot, rightRoot}};
  while (!pairs.empty()) {
    const auto [left, right] = pairs.back();
    pairs.pop_back();
    if (left.kind() != right.kind()) return false;
    if (left.kind() == Value::Kind::Number && !isSameNumber(left.number(), right.number())) return false;
    if (left.bytes() != right.bytes()) return false;
    const Array leftArray = left.array();
    const Array rightArray = right.array();
    if (leftArray.size() != rightArray.size()) return false;
    for (std::size_t i = 0; i < leftArray.size(); ++i) pairs.emplace_back(leftArray.at(i), rightArray.at(i));
    if (left.dictionary().size() != right.dictionary().size()) return false;
    auto other = right.dictionary().begin();
    for (const Dictionary::Entry& entry : left.dictionary()) {
      if (entry.key != other->key) return false;
      pairs.emplace_back(entry.value, other->value);
      ++other;
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  CJSONDeserializer reader = CJSONDeserializer::deserializer();
  reader.setOptions(CJSONDeserializer::kAllowFragments | CJSONDeserializer::kLaxEscapes);
  const Data text(std::string_view(reinterpret_cast<const char*>(bytes), size));
  const auto value = reader.deserialize_error(text);
  if (!value || !isWrittenWhole(*value)) return 0;

  CJSONSerializer writer = CJSONSerializer::serializer();
  for (const unsigned options : {0U, CJSONSerializer::kEscapeSlashes}) {
    writer.setOptions(options);
    const auto again = reader.deserialize_error(writer.serializeObject_error(*value));
    if (!again || !isSameTree(*value, *again)) std::abort();
  }
  return 0;
}
