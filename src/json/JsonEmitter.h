#pragma once

#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

#include "foundation/ByteBuffer.h"
#include "foundation/bodies.h"
#include "json/json_sinks.h"

namespace pxa {

/// Writes values as JSON into a sink: a ByteBuffer or a JsonLength. Operations that return false have written
/// a part; the caller throws it away. What is written must not change meanwhile.
template <class Sink>
class JsonEmitter {
 public:
  explicit JsonEmitter(Sink& sink, const JsonEscapes& escapes = kPlainSlashes)
      : sink_(sink), escapes_(escapes) {}

  void byte(char byte) {
    auto to = sink_.reserve(1);
    put(to, byte);
    sink_.commitUpTo(to);
  }

  /// A quoted string; the text must be UTF-8.
  void string(std::string_view text) {
    auto to = sink_.reserve(roomForQuoted(text));
    putQuoted(to, text, escapes_);
    sink_.commitUpTo(to);
  }

  /// What stands before a member's value: a comma unless it is the first, the name, a colon.
  void memberName(std::string_view name, bool isFirst) {
    sink_.commitUpTo(placeBehindName(name, isFirst, 0));
  }

  /// A member with its value.
  [[nodiscard]] bool member(std::string_view name, const Value& value, bool isFirst) {
    if (!isContainer(value)) return leaf(value, placeBehindName(name, isFirst, roomForLeaf(value)));
    memberName(name, isFirst);
    return this->value(value);
  }

  /// A whole value, however deeply nested, in constant stack.
  [[nodiscard]] bool value(const Value& root) {
    if (!isContainer(root)) return leaf(root, sink_.reserve(roomForLeaf(root)));
    open_.clear();
    open(root, sink_.reserve(1));
    while (!open_.empty())
      if (!(open_.back().isArray ? elements() : members())) return false;
    return true;
  }

  static constexpr std::string_view kNull = "null";
  static constexpr std::string_view kFalse = "false";
  static constexpr std::string_view kTrue = "true";

 private:
  using Place = decltype(std::declval<Sink&>().reserve(0));

  template <class Element>
  struct Rest {
    const Element* next;
    const Element* end;
  };

  /// A container of which some elements are still to be written.
  struct OpenContainer {
    explicit OpenContainer(const detail::ArrayBody& array)
        : isArray(true), values{array.begin(), array.end()} {}
    explicit OpenContainer(const detail::DictionaryBody& dictionary)
        : isArray(false), entries{dictionary.begin(), dictionary.end()} {}

    bool isArray;
    bool isFirst = true;
    union {
      Rest<Value> values;
      Rest<Dictionary::Entry> entries;
    };
  };

  static bool isContainer(const Value& value) {
    return value.kind() == Value::Kind::Array || value.kind() == Value::Kind::Dictionary;
  }

  /// Enough for a bracket, too.
  static std::size_t roomForLeaf(const Value& value) {
    const bool isText = value.kind() == Value::Kind::String || value.kind() == Value::Kind::Data;
    return isText ? roomForQuoted(value.bytes()) : kRoomForNumber;
  }

  void open(const Value& container, Place to) {
    const bool isArray = container.kind() == Value::Kind::Array;
    put(to, isArray ? '[' : '{');
    sink_.commitUpTo(to);
    if (isArray)
      open_.emplace_back(detail::Borrow::array(container));
    else
      open_.emplace_back(detail::Borrow::dictionary(container));
  }

  void close(char bracket) {
    byte(bracket);
    open_.pop_back();
  }

  /// Writes elements of the innermost array, up to its end or to one that is a container and now open.
  bool elements() {
    auto [next, end] = open_.back().values;
    bool isFirst = open_.back().isFirst;
    for (; next != end; ++next) {
      Place to = sink_.reserve(1 + roomForLeaf(*next));
      if (!std::exchange(isFirst, false)) put(to, ',');
      if (isContainer(*next)) {
        open_.back().isFirst = false;
        open_.back().values.next = next + 1;
        open(*next, to);
        return true;
      }
      if (!leaf(*next, to)) return false;
    }
    close(']');
    return true;
  }

  /// The same for the innermost dictionary.
  bool members() {
    auto [next, end] = open_.back().entries;
    bool isFirst = open_.back().isFirst;
    for (; next != end; ++next) {
      if (next->key.isNil()) continue;
      const Value& value = next->value;
      const Place to = placeBehindName(next->key.view(), std::exchange(isFirst, false), roomForLeaf(value));
      if (isContainer(value)) {
        open_.back().isFirst = false;
        open_.back().entries.next = next + 1;
        open(value, to);
        return true;
      }
      if (!leaf(value, to)) return false;
    }
    close('}');
    return true;
  }

  Place placeBehindName(std::string_view name, bool isFirst, std::size_t roomBehind) {
    Place to = sink_.reserve(roomForQuoted(name) + 2 + roomBehind);
    if (!isFirst) put(to, ',');
    putQuoted(to, name, escapes_);
    put(to, ':');
    return to;
  }

  /// Writes a value that holds no other, where there is room for it. Most are texts.
  bool leaf(const Value& value, Place to) {
    if (!value.isUtf8()) [[unlikely]]
      return otherLeaf(value, to);
    putQuoted(to, value.bytes(), escapes_);
    sink_.commitUpTo(to);
    return true;
  }

  bool otherLeaf(const Value& value, Place to) {
    switch (value.kind()) {
      case Value::Kind::Null:
        put(to, kNull);
        break;
      case Value::Kind::Number:
        number(value.number(), to);
        return true;
      case Value::Kind::Data:
        return false;
      default:
        sink_.commitUpTo(to);
        return object(*value.object());
    }
    sink_.commitUpTo(to);
    return true;
  }

  void number(const Number& number, Place to) {
    if (number.kind() == Number::Kind::Decimal) {
      sink_.commitUpTo(to);
      Number::TextStorage unused;
      return sink_.append(number.text(unused));
    }
    if (number.kind() == Number::Kind::Char && number.longLongValue() == 0)
      put(to, kFalse);
    else if (number.kind() == Number::Kind::Char && number.longLongValue() == 1)
      put(to, kTrue);
    else
      putDigits(to, number);
    sink_.commitUpTo(to);
  }

  bool object(const Object& object) {
    if (!object.offersJSONDataRepresentation()) return false;
    const Data json = object.JSONDataRepresentation();
    if (json.isNil()) return false;
    sink_.append(json.view());
    return true;
  }

  Sink& sink_;
  const JsonEscapes& escapes_;
  std::vector<OpenContainer> open_;
};

}  // namespace pxa
