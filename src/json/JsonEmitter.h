#pragma once

#include <array>
#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

#include <pxalog/Array.h>
#include <pxalog/Dictionary.h>

#include "foundation/ByteBuffer.h"

namespace pxa {

/// A sink that only counts what would be written.
class JsonLength {
 public:
  void append(char) noexcept { ++size_; }
  void append(std::string_view bytes) noexcept { size_ += bytes.size(); }
  [[nodiscard]] std::size_t size() const noexcept { return size_; }

 private:
  std::size_t size_ = 0;
};

/// How each byte of a string is written.
class JsonEscapes {
 public:
  /// What kind of byte it is: kPlain bytes are copied, kEnd ends the string, any other value is the character
  /// that follows a backslash.
  static constexpr char kPlain = 0;
  static constexpr char kEnd = 1;

  constexpr explicit JsonEscapes(bool escapesSlashes) {
    escapes_[0] = kEnd;
    escapes_['\b'] = 'b';
    escapes_['\t'] = 't';
    escapes_['\n'] = 'n';
    escapes_['\f'] = 'f';
    escapes_['\r'] = 'r';
    escapes_['"'] = '"';
    escapes_['\\'] = '\\';
    if (escapesSlashes) escapes_['/'] = '/';
  }

  [[nodiscard]] constexpr char of(char byte) const { return escapes_[static_cast<unsigned char>(byte)]; }

 private:
  std::array<char, 256> escapes_{};
};

inline constexpr JsonEscapes kPlainSlashes{false};
inline constexpr JsonEscapes kEscapedSlashes{true};

/// Writes values as JSON into a sink: a ByteBuffer or a JsonLength. Operations that return false have written
/// a part; the caller throws it away.
template <class Sink>
class JsonEmitter {
 public:
  explicit JsonEmitter(Sink& sink, const JsonEscapes& escapes = kPlainSlashes)
      : sink_(sink), escapes_(escapes) {}

  /// A quoted string; the text must be UTF-8.
  void string(std::string_view text) {
    sink_.append('"');
    std::size_t copied = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
      const char escape = escapes_.of(text[i]);
      if (escape == JsonEscapes::kPlain) [[likely]]
        continue;
      sink_.append(text.substr(copied, i - copied));
      copied = i + 1;
      if (escape == JsonEscapes::kEnd) {
        copied = text.size();
        break;
      }
      const char pair[] = {'\\', escape};
      sink_.append(std::string_view(pair, sizeof(pair)));
    }
    sink_.append(text.substr(copied));
    sink_.append('"');
  }

  void number(const Number& number) {
    Number::TextStorage storage;
    const std::string_view text = number.text(storage);
    if (number.kind() == Number::Kind::Char && text == "0")
      sink_.append(kFalse);
    else if (number.kind() == Number::Kind::Char && text == "1")
      sink_.append(kTrue);
    else
      sink_.append(text);
  }

  /// A whole value, however deeply nested, in constant stack.
  [[nodiscard]] bool value(const Value& root) {
    std::vector<OpenContainer> open;
    if (!valueOrOpening(root, open)) return false;
    while (!open.empty()) {
      const Value* next = nextElement(open.back());
      if (next == nullptr)
        open.pop_back();
      else if (!valueOrOpening(*next, open))
        return false;
    }
    return true;
  }

  static constexpr std::string_view kNull = "null";
  static constexpr std::string_view kFalse = "false";
  static constexpr std::string_view kTrue = "true";

 private:
  /// A container whose elements are being written; keeps it alive meanwhile.
  struct OpenContainer {
    Value container;
    bool isFirst = true;
    const Value* nextValue = nullptr;  // arrays
    const Value* lastValue = nullptr;
    Dictionary::Iterator nextEntry;  // dictionaries
    Dictionary::Iterator lastEntry;
  };

  /// Writes a value that holds no other; of a container, the opening bracket.
  bool valueOrOpening(const Value& value, std::vector<OpenContainer>& open) {
    switch (value.kind()) {
      case Value::Kind::Null:
        sink_.append(kNull);
        return true;
      case Value::Kind::Number:
        number(value.number());
        return true;
      case Value::Kind::String:
        string(value.bytes());
        return true;
      case Value::Kind::Data:
        if (!value.isUtf8()) return false;
        string(value.bytes());
        return true;
      case Value::Kind::Array: {
        sink_.append('[');
        const Array array = value.array();
        open.push_back({value, true, array.begin(), array.end(), {}, {}});
        return true;
      }
      case Value::Kind::Dictionary: {
        sink_.append('{');
        const Dictionary dictionary = value.dictionary();
        open.push_back({value, true, nullptr, nullptr, dictionary.begin(), dictionary.end()});
        return true;
      }
      case Value::Kind::Object:
        break;
    }
    return object(*value.object());
  }

  bool object(const Object& object) {
    if (!object.offersJSONDataRepresentation()) return false;
    const Data json = object.JSONDataRepresentation();
    if (json.isNil()) return false;
    sink_.append(json.view());
    return true;
  }

  /// Writes what stands before the next element and returns it; at the end, the closing bracket and nullptr.
  const Value* nextElement(OpenContainer& container) {
    const bool isArray = container.container.kind() == Value::Kind::Array;
    const bool isAtEnd =
        isArray ? container.nextValue == container.lastValue : container.nextEntry == container.lastEntry;
    if (isAtEnd) {
      sink_.append(isArray ? ']' : '}');
      return nullptr;
    }
    if (!std::exchange(container.isFirst, false)) sink_.append(',');
    if (isArray) return container.nextValue++;
    const Dictionary::Entry& entry = *container.nextEntry;
    ++container.nextEntry;
    string(entry.key.view());
    sink_.append(':');
    return &entry.value;
  }

  Sink& sink_;
  const JsonEscapes& escapes_;
};

}  // namespace pxa
