#include "platform/linux/nlohmann_values.h"

#include <algorithm>
#include <array>
#include <cmath>
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

#include "foundation/BlockArena.h"
#include "foundation/bodies.h"
#include "foundation/text_hash.h"
#include "foundation/utf8.h"
#include "platform/linux/plain_cbor.h"

namespace pxa {

namespace {

using Json = nlohmann::json;

constexpr auto kLargestSigned = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());

/// What becomes of a dictionary that was read whole; nothing when it makes the whole text unreadable.
using DictionaryReader = std::optional<Value> (*)(const Dictionary& dictionary);

std::optional<Value> asItIs(const Dictionary& dictionary) {
  return dictionary;
}

/// Builds a Value from what a parser reads, without recursion.
class ValueBuilder final : public nlohmann::json_sax<Json> {
 public:
  struct Rules {
    std::size_t deepestNesting;
    bool acceptsRepeatedKeys;  // of which the last value counts
    DictionaryReader readDictionary;
  };
  explicit ValueBuilder(const Rules& rules) : rules_(rules) {}

  [[nodiscard]] const Value& root() const { return root_; }

  bool null() override { return put(Value()); }
  bool boolean(bool value) override { return put(value); }
  bool number_integer(std::int64_t value) override { return put(value); }
  bool number_unsigned(std::uint64_t value) override {
    return value <= kLargestSigned ? put(static_cast<std::int64_t>(value)) : put(value);
  }
  bool number_float(double value, const std::string&) override { return put(value); }
  bool string(std::string& value) override { return put(textOf(value)); }
  bool binary(Json::binary_t& value) override {
    return put(Data(std::string_view(reinterpret_cast<const char*>(value.data()), value.size())));
  }
  bool start_object(std::size_t) override {
    const std::size_t depth = open_.size();
    const std::size_t expected = depth < expectedEntries_.size() ? expectedEntries_[depth] : 1;
    return open(detail::Adopt::dictionary(detail::DictionaryBody::create(expected, arena_)));
  }
  bool key(std::string& key) override {
    open_.back().key = keyOf(key);
    return true;
  }
  bool end_object() override {
    const Dictionary dictionary = close().dictionary();
    const std::size_t depth = open_.size();
    if (depth < expectedEntries_.size())
      expectedEntries_[depth] = std::clamp(dictionary.size(), std::size_t{1}, kMostEntriesAtOnce);
    std::optional<Value> value = rules_.readDictionary(dictionary);
    return value && put(*std::move(value));
  }
  bool start_array(std::size_t) override { return open(Array()); }
  bool end_array() override { return put(close()); }
  bool parse_error(std::size_t, const std::string&, const Json::exception&) override { return false; }

 private:
  struct OpenContainer {
    Value container;
    String key;  // of the value that comes next in a dictionary
  };

  String textOf(std::string_view text) {
    if (!utf8::isWellFormed(text)) return text;
    return detail::Adopt::text(
        detail::SharedBytes::copyOf(text, detail::SharedBytes::Encoding::Utf8, arena_));
  }

  /// The same few keys come again and again.
  String keyOf(std::string_view text) {
    String& known = keys_[textHash(text) % keys_.size()];
    if (known.isNil() || known.view() != text) known = textOf(text);
    return known;
  }

  bool put(Value value) {
    if (open_.empty()) {
      root_ = std::move(value);
      return true;
    }
    OpenContainer& parent = open_.back();
    if (parent.container.kind() == Value::Kind::Array)
      parent.container.array().append(std::move(value));
    else
      return putInto(parent.container.dictionary(), parent.key, std::move(value));
    return true;
  }

  bool putInto(Dictionary dictionary, const String& key, Value value) const {
    if (!rules_.acceptsRepeatedKeys && dictionary.contains(key.view())) return false;
    dictionary.set(key, std::move(value));
    return true;
  }

  bool open(Value container) {
    if (open_.size() == rules_.deepestNesting) return false;
    open_.push_back({std::move(container), nullptr});
    return true;
  }

  Value close() {
    Value container = std::move(open_.back().container);
    open_.pop_back();
    return container;
  }

  static constexpr std::size_t kMostEntriesAtOnce = 32;

  const Rules rules_;
  BlockArena arena_;  // of texts and dictionaries
  std::array<String, 64> keys_;
  // Of the next object at each depth: those that follow one another are often alike. Deeper ones start small,
  // so that a text that opens many takes little for each.
  std::array<std::size_t, 8> expectedEntries_{};
  Value root_;
  std::vector<OpenContainer> open_;
};

std::optional<Value> read(const Data& bytes, Json::input_format_t format, const ValueBuilder::Rules& rules) {
  ValueBuilder builder(rules);
  const std::string_view view = bytes.view();
  if (!Json::sax_parse(view.begin(), view.end(), &builder, format)) return std::nullopt;
  return builder.root();
}

// An archive has three kinds of numbers of its own: truth values, integers and doubles. A number of another
// kind becomes a dictionary of one entry, whose key names the kind behind a mark. A key of one's own that
// begins with the mark is written with a second one.
constexpr char kMark = '\0';
constexpr const char* kKindNames[] = {"char",   "int8",  "int16",  "int32",  "int64",
                                      "uint64", "float", "double", "decimal"};

bool isOfAnArchivesOwnKind(const Number& number) {
  switch (number.kind()) {
    case Number::Kind::Char:
      return number.longLongValue() == 0 || number.longLongValue() == 1;
    case Number::Kind::Int64:
    case Number::Kind::Double:
      return true;
    case Number::Kind::UInt64:
      return number.unsignedLongLongValue() > kLargestSigned;
    default:
      return false;
  }
}

Json valueOf(const Number& number) {
  switch (number.kind()) {
    case Number::Kind::UInt64:
      return number.unsignedLongLongValue();
    case Number::Kind::Float:
    case Number::Kind::Double:
      return number.doubleValue();
    case Number::Kind::Decimal:
      return std::string(number.stringValue().view());
    default:
      return number.longLongValue();
  }
}

/// How deep the values in a container may go. Throws when there may be no container.
std::size_t levelsInside(std::size_t levelsLeft) {
  if (levelsLeft == 0) throw std::invalid_argument("a value nested too deeply has no archived form");
  return levelsLeft - 1;
}

Json numberToJson(const Number& number, std::size_t levelsLeft) {
  if (number.kind() == Number::Kind::Char && isOfAnArchivesOwnKind(number)) return number.boolValue();
  if (isOfAnArchivesOwnKind(number)) return valueOf(number);
  levelsInside(levelsLeft);  // there must be one for the mark
  return Json::object(
      {{kMark + std::string(kKindNames[static_cast<std::size_t>(number.kind())]), valueOf(number)}});
}

template <class Integer>
std::optional<Value> numberWith(std::int64_t value) {
  const auto narrow = static_cast<Integer>(value);
  return static_cast<std::int64_t>(narrow) == value ? std::optional<Value>(Number(narrow)) : std::nullopt;
}

std::optional<Value> floatWith(double value) {
  if (std::isfinite(value) && std::abs(value) > double{std::numeric_limits<float>::max()})
    return std::nullopt;
  return Number(static_cast<float>(value));
}

/// The number of that kind with that archived value; nothing for a pair that is never written.
std::optional<Value> numberOfKind(std::string_view kind, const Value& archived) {
  if (kind == "decimal") {
    const auto decimal = Decimal::parse(archived.string().view());
    return decimal ? std::optional<Value>(Number(*decimal)) : std::nullopt;
  }
  if (archived.kind() != Value::Kind::Number) return std::nullopt;
  const Number number = archived.number();
  if (number.kind() == Number::Kind::Double)
    return kind == "float" ? floatWith(number.doubleValue()) : std::nullopt;
  if (number.kind() != Number::Kind::Int64) return std::nullopt;
  const std::int64_t value = number.longLongValue();
  if (kind == "char") return numberWith<char>(value);
  if (kind == "int8") return numberWith<signed char>(value);
  if (kind == "int16") return numberWith<short>(value);
  if (kind == "int32") return numberWith<int>(value);
  if (kind == "uint64" && value >= 0) return numberWith<unsigned long long>(value);
  return std::nullopt;
}

/// Undoes what the writing did to keys that begin with the mark.
std::optional<Value> unmarked(const Dictionary& dictionary) {
  Dictionary result(dictionary.size());
  for (const Dictionary::Entry& entry : dictionary) {
    const std::string_view key = entry.key.view();
    if (!key.starts_with(kMark))
      result.set(entry.key, entry.value);
    else if (key.size() > 1 && key[1] == kMark)
      result.set(key.substr(1), entry.value);
    else
      return dictionary.size() == 1 ? numberOfKind(key.substr(1), entry.value) : std::nullopt;
  }
  return result;
}

bool hasMarkedKey(const Dictionary& dictionary) {
  return std::any_of(dictionary.begin(), dictionary.end(),
                     [](const Dictionary::Entry& entry) { return entry.key.view().starts_with(kMark); });
}

std::optional<Value> withoutMarks(const Dictionary& dictionary) {
  return hasMarkedKey(dictionary) ? unmarked(dictionary) : dictionary;
}

std::string archivedKey(std::string_view key) {
  return key.starts_with(kMark) ? kMark + std::string(key) : std::string(key);
}

Json toJson(const Value& value, std::size_t levelsLeft) {
  switch (value.kind()) {
    case Value::Kind::Null:
      return nullptr;
    case Value::Kind::Number:
      return numberToJson(value.number(), levelsLeft);
    case Value::Kind::String:
      return std::string(value.bytes());
    case Value::Kind::Data:
      return Json::binary({value.bytes().begin(), value.bytes().end()});
    case Value::Kind::Array: {
      Json array = Json::array();
      const std::size_t inside = levelsInside(levelsLeft);
      for (const Value& element : value.array()) array.push_back(toJson(element, inside));
      return array;
    }
    case Value::Kind::Dictionary: {
      Json object = Json::object();
      const std::size_t inside = levelsInside(levelsLeft);
      for (const Dictionary::Entry& entry : value.dictionary())
        object.emplace(archivedKey(entry.key.view()), toJson(entry.value, inside));
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
  std::optional<Value> value = read(text, Json::input_format_t::json,
                                    {.deepestNesting = std::numeric_limits<std::size_t>::max(),
                                     .acceptsRepeatedKeys = true,
                                     .readDictionary = asItIs});
  if (value && value->kind() != Value::Kind::Array && value->kind() != Value::Kind::Dictionary)
    return std::nullopt;
  return value;
}

Data CborKeyedArchive::archive(const Dictionary& root) {
  const std::vector<std::uint8_t> bytes = Json::to_cbor(toJson(root, kDeepestNesting));
  return Data(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

std::optional<Dictionary> CborKeyedArchive::unarchive(const Data& archive) {
  if (!isPlainCbor(archive.view(), {.deepestNesting = kDeepestNesting, .mostItems = kMostItems}))
    return std::nullopt;
  const std::optional<Value> root =
      read(archive, Json::input_format_t::cbor,
           {.deepestNesting = kDeepestNesting, .acceptsRepeatedKeys = false, .readDictionary = withoutMarks});
  if (!root || root->kind() != Value::Kind::Dictionary) return std::nullopt;
  return root->dictionary();
}

}  // namespace pxa
