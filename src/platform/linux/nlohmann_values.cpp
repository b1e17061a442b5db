#include "platform/linux/nlohmann_values.h"

#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <pxalog/Array.h>
#include <pxalog/Dictionary.h>

#include "platform/linux/plain_cbor.h"

namespace pxa {

namespace {

using Json = nlohmann::json;

/// Builds a Value from what a parser reads, without recursion.
class ValueBuilder final : public nlohmann::json_sax<Json> {
 public:
  explicit ValueBuilder(std::size_t deepestNesting) : deepestNesting_(deepestNesting) {}

  [[nodiscard]] const Value& root() const { return root_; }

  bool null() override { return put(Value()); }
  bool boolean(bool value) override { return put(value); }
  bool number_integer(std::int64_t value) override { return put(value); }
  bool number_unsigned(std::uint64_t value) override {
    constexpr auto kLargestSigned = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    return value <= kLargestSigned ? put(static_cast<std::int64_t>(value)) : put(value);
  }
  bool number_float(double value, const std::string&) override { return put(value); }
  bool string(std::string& value) override { return put(value); }
  bool binary(Json::binary_t& value) override {
    return put(Data(std::string_view(reinterpret_cast<const char*>(value.data()), value.size())));
  }
  bool start_object(std::size_t) override { return open(Dictionary()); }
  bool key(std::string& key) override {
    open_.back().key = key;
    return true;
  }
  bool end_object() override { return close(); }
  bool start_array(std::size_t) override { return open(Array()); }
  bool end_array() override { return close(); }
  bool parse_error(std::size_t, const std::string&, const Json::exception&) override { return false; }

 private:
  struct OpenContainer {
    Value container;
    String key;  // of the value that comes next in a dictionary
  };

  bool put(Value value) {
    if (open_.empty()) {
      root_ = std::move(value);
      return true;
    }
    OpenContainer& parent = open_.back();
    if (parent.container.kind() == Value::Kind::Array)
      parent.container.array().append(std::move(value));
    else
      parent.container.dictionary().set(parent.key, std::move(value));
    return true;
  }

  bool open(const Value& container) {
    if (open_.size() == deepestNesting_) return false;
    put(container);
    open_.push_back({container, nullptr});
    return true;
  }

  bool close() {
    open_.pop_back();
    return true;
  }

  const std::size_t deepestNesting_;
  Value root_;
  std::vector<OpenContainer> open_;
};

std::optional<Value> read(const Data& bytes, Json::input_format_t format, std::size_t deepestNesting) {
  ValueBuilder builder(deepestNesting);
  const std::string_view view = bytes.view();
  if (!Json::sax_parse(view.begin(), view.end(), &builder, format)) return std::nullopt;
  return builder.root();
}

Json numberToJson(const Number& number) {
  switch (number.kind()) {
    case Number::Kind::Char:
      if (const std::int64_t value = number.longLongValue(); value != 0 && value != 1) return value;
      return number.boolValue();
    case Number::Kind::UInt64:
      return number.unsignedLongLongValue();
    case Number::Kind::Float:
      // The double that has the same text, not the one that has the same value.
      if (const auto decimal = Decimal::parse(number.stringValue().view()))
        return Number(*decimal).doubleValue();
      return number.doubleValue();
    case Number::Kind::Double:
    case Number::Kind::Decimal:
      return number.doubleValue();
    default:
      return number.longLongValue();
  }
}

Json toJson(const Value& value, std::size_t levelsLeft) {
  if (levelsLeft == 0) throw std::invalid_argument("a value nested too deeply has no archived form");
  switch (value.kind()) {
    case Value::Kind::Null:
      return nullptr;
    case Value::Kind::Number:
      return numberToJson(value.number());
    case Value::Kind::String:
      return std::string(value.bytes());
    case Value::Kind::Data:
      return Json::binary({value.bytes().begin(), value.bytes().end()});
    case Value::Kind::Array: {
      Json array = Json::array();
      for (const Value& element : value.array()) array.push_back(toJson(element, levelsLeft - 1));
      return array;
    }
    case Value::Kind::Dictionary: {
      Json object = Json::object();
      for (const Dictionary::Entry& entry : value.dictionary())
        object.emplace(std::string(entry.key.view()), toJson(entry.value, levelsLeft - 1));
      return object;
    }
    case Value::Kind::Object:
      break;
  }
  throw std::invalid_argument("an object has no archived form");
}

}  // namespace

std::optional<Value> NlohmannJsonParser::parse(const Data& text) {
  // The library takes a NUL for the end of the text.
  if (text.view().find('\0') != std::string_view::npos) return std::nullopt;
  std::optional<Value> value =
      read(text, Json::input_format_t::json, std::numeric_limits<std::size_t>::max());
  if (value && value->kind() != Value::Kind::Array && value->kind() != Value::Kind::Dictionary)
    return std::nullopt;
  return value;
}

Data CborKeyedArchive::archive(const Dictionary& root) {
  const std::vector<std::uint8_t> bytes = Json::to_cbor(toJson(root, kDeepestNesting));
  return Data(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

std::optional<Dictionary> CborKeyedArchive::unarchive(const Data& archive) {
  if (!isPlainCbor(archive.view(), kDeepestNesting)) return std::nullopt;
  const std::optional<Value> root = read(archive, Json::input_format_t::cbor, kDeepestNesting);
  if (!root || root->kind() != Value::Kind::Dictionary) return std::nullopt;
  return root->dictionary();
}

}  // namespace pxa
