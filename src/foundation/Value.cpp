#include <atomic>
#include <string>
#include <vector>

#include <pxalog/Array.h>
#include <pxalog/Dictionary.h>
#include <pxalog/Value.h>

#include "foundation/bodies.h"

namespace pxa {

using namespace literals;

struct Value::ObjectHolder {
  std::atomic<std::uint32_t> references{1};
  std::shared_ptr<Object> object;
};

Value::Value(const Array& array) noexcept : kind_(array.isNil() ? Kind::Null : Kind::Array) {
  payload_.array = array.body_;
  retain();
}

Value::Value(const Dictionary& dictionary) noexcept
    : kind_(dictionary.isNil() ? Kind::Null : Kind::Dictionary) {
  payload_.dictionary = dictionary.body_;
  retain();
}

Value::Value(Array&& array) noexcept : kind_(array.isNil() ? Kind::Null : Kind::Array) {
  payload_.array = std::exchange(array.body_, nullptr);
}

Value::Value(Dictionary&& dictionary) noexcept : kind_(dictionary.isNil() ? Kind::Null : Kind::Dictionary) {
  payload_.dictionary = std::exchange(dictionary.body_, nullptr);
}

Value::Value(std::shared_ptr<Object> object) {
  if (object == nullptr) return;
  payload_.object = new ObjectHolder{1, std::move(object)};
  kind_ = Kind::Object;
}

void Value::retainPayload() const noexcept {
  switch (kind_) {
    case Kind::Null:
      break;
    case Kind::Number:
      payload_.number.digits->retain();
      break;
    case Kind::String:
    case Kind::Data:
      payload_.bytes->retain();
      break;
    case Kind::Array:
      payload_.array->retain();
      break;
    case Kind::Dictionary:
      payload_.dictionary->retain();
      break;
    case Kind::Object:
      payload_.object->references.fetch_add(1, std::memory_order_relaxed);
      break;
  }
}

void Value::releasePayload() const noexcept {
  switch (kind_) {
    case Kind::Null:
      break;
    case Kind::Number:
      payload_.number.digits->release();
      break;
    case Kind::String:
    case Kind::Data:
      payload_.bytes->release();
      break;
    case Kind::Array:
      payload_.array->release();
      break;
    case Kind::Dictionary:
      payload_.dictionary->release();
      break;
    case Kind::Object:
      if (payload_.object->references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete payload_.object;
      break;
  }
}

String Value::string() const noexcept {
  if (kind_ != Kind::String) return nullptr;
  payload_.bytes->retain();
  return String(payload_.bytes);
}

Data Value::data() const noexcept {
  if (kind_ != Kind::Data) return nullptr;
  payload_.bytes->retain();
  return Data(payload_.bytes);
}

Array Value::array() const noexcept {
  if (kind_ != Kind::Array) return nullptr;
  payload_.array->retain();
  return Array(payload_.array);
}

Dictionary Value::dictionary() const noexcept {
  if (kind_ != Kind::Dictionary) return nullptr;
  payload_.dictionary->retain();
  return Dictionary(payload_.dictionary);
}

std::shared_ptr<Object> Value::object() const noexcept {
  return kind_ == Kind::Object ? payload_.object->object : nullptr;
}

String Value::className() const {
  switch (kind_) {
    case Kind::Null:
      return "Null"_text;
    case Kind::Number:
      return "Number"_text;
    case Kind::String:
      return "String"_text;
    case Kind::Data:
      return "Data"_text;
    case Kind::Array:
      return "Array"_text;
    case Kind::Dictionary:
      return "Dictionary"_text;
    case Kind::Object:
      return payload_.object->object->className();
  }
  return nullptr;
}

namespace {

constexpr int kDescribedLevels = 8;

[[gnu::cold]] void describe(const Value& value, int levelsLeft, std::string& text) {
  const auto describeElements = [&](const auto& elements, const char* brackets, auto describeElement) {
    text += brackets[0];
    if (levelsLeft == 0) text += "...";
    bool isFirst = true;
    for (const auto& element : elements) {
      if (levelsLeft == 0) break;
      if (!isFirst) text += ", ";
      isFirst = false;
      describeElement(element);
    }
    text += brackets[1];
  };
  switch (value.kind()) {
    case Value::Kind::Null:
      text += "<null>";
      break;
    case Value::Kind::Number:
      text += value.number().stringValue().view();
      break;
    case Value::Kind::String:
      text += value.bytes();
      break;
    case Value::Kind::Data:
      text += "<" + std::to_string(value.bytes().size()) + " bytes>";
      break;
    case Value::Kind::Array:
      describeElements(value.array(), "()",
                       [&](const Value& element) { describe(element, levelsLeft - 1, text); });
      break;
    case Value::Kind::Dictionary:
      describeElements(value.dictionary(), "{}", [&](const Dictionary::Entry& entry) {
        text.append(entry.key.view()).append(" = ");
        describe(entry.value, levelsLeft - 1, text);
      });
      break;
    case Value::Kind::Object:
      text += value.object()->description().view();
      break;
  }
}

}  // namespace

String Value::description() const {
  std::string text;
  describe(*this, kDescribedLevels, text);
  return String(text);
}

namespace {

using Pairs = std::vector<std::pair<Value, Value>>;

/// False when two arrays differ in length; otherwise their elements are still to be compared.
bool addElementsOf(const Array& left, const Array& right, Pairs& pairs) {
  if (left.size() != right.size()) return false;
  for (std::size_t i = 0; i < left.size(); ++i) pairs.emplace_back(left.at(i), right.at(i));
  return true;
}

/// The same for dictionaries, which must have the same keys.
bool addEntriesOf(const Dictionary& left, const Dictionary& right, Pairs& pairs) {
  if (left.size() != right.size()) return false;
  for (const Dictionary::Entry& entry : left) {
    const Value* other = right.find(entry.key.view());
    if (other == nullptr) return false;
    pairs.emplace_back(entry.value, *other);
  }
  return true;
}

/// Whether two values are equal, but for the elements that are added to the pairs.
bool isEqualButForElements(const Value& left, const Value& right, Pairs& pairs) {
  if (left.kind() != right.kind()) return false;
  switch (left.kind()) {
    case Value::Kind::Null:
      return true;
    case Value::Kind::Number:
      return left.number() == right.number();
    case Value::Kind::String:
    case Value::Kind::Data:
      return left.bytes() == right.bytes();
    case Value::Kind::Array:
      return addElementsOf(left.array(), right.array(), pairs);
    case Value::Kind::Dictionary:
      return addEntriesOf(left.dictionary(), right.dictionary(), pairs);
    case Value::Kind::Object:
      return left.object() == right.object();
  }
  return false;
}

}  // namespace

bool operator==(const Value& left, const Value& right) {
  Pairs pairs;
  if (!isEqualButForElements(left, right, pairs)) return false;
  while (!pairs.empty()) {
    const std::pair<Value, Value> next = pairs.back();
    pairs.pop_back();
    if (!isEqualButForElements(next.first, next.second, pairs)) return false;
  }
  return true;
}

}  // namespace pxa
