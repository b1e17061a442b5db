#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <pxalog/Data.h>
#include <pxalog/Number.h>
#include <pxalog/Object.h>
#include <pxalog/String.h>
#include <pxalog/detail/Container.h>

namespace pxa {

class Array;
class Dictionary;

/// One of: null, Number, String, Data, Array, Dictionary, an Object. 16 bytes; copies share what they hold.
/// A nil String, Data, Array, Dictionary or object becomes null.
class PXALOG_EXPORT Value {
 public:
  enum class Kind : std::uint8_t { Null, Number, String, Data, Array, Dictionary, Object };

  /// null.
  Value() noexcept = default;
  Value(std::nullptr_t) noexcept {}
  Value(const Number& number) noexcept : kind_(Kind::Number), numberKind_(number.kind_) {
    payload_.number = number.payload_;
    number.retain();
  }
  template <class T>
  requires std::is_arithmetic_v<T> Value(T number)
  noexcept : Value(Number(number)) {}
  Value(String text) noexcept : kind_(text.isNil() ? Kind::Null : Kind::String) {
    payload_.bytes = std::exchange(text.bytes_, nullptr);
  }
  Value(const char* text) : Value(String(text)) {}
  Value(std::string_view text) : Value(String(text)) {}
  Value(const std::string& text) : Value(String(text)) {}
  Value(Data data) noexcept : kind_(data.isNil() ? Kind::Null : Kind::Data) {
    payload_.bytes = std::exchange(data.bytes_, nullptr);
  }
  Value(const Array& array) noexcept;
  Value(Array&& array) noexcept;
  Value(const Dictionary& dictionary) noexcept;
  Value(Dictionary&& dictionary) noexcept;
  Value(std::shared_ptr<Object> object);

  Value(const Value& other) noexcept
      : kind_(other.kind_), numberKind_(other.numberKind_), payload_(other.payload_) {
    retain();
  }
  Value(Value&& other) noexcept
      : kind_(std::exchange(other.kind_, Kind::Null)),
        numberKind_(other.numberKind_),
        payload_(other.payload_) {}
  Value& operator=(Value other) noexcept {
    std::swap(kind_, other.kind_);
    std::swap(numberKind_, other.numberKind_);
    std::swap(payload_, other.payload_);
    return *this;
  }
  ~Value() { release(); }

  [[nodiscard]] Kind kind() const noexcept { return kind_; }
  [[nodiscard]] bool isNull() const noexcept { return kind_ == Kind::Null; }

  /// What the value holds if it is of that kind; nil, or the number 0, if it is not.
  [[nodiscard]] String string() const noexcept;
  [[nodiscard]] Data data() const noexcept;
  [[nodiscard]] Array array() const noexcept;
  [[nodiscard]] Dictionary dictionary() const noexcept;
  [[nodiscard]] Number number() const noexcept {
    return kind_ == Kind::Number ? Number(numberKind_, payload_.number) : Number(0);
  }
  [[nodiscard]] std::shared_ptr<Object> object() const noexcept;
  /// The bytes of a String or Data; none for other kinds. Valid as long as this value keeps them.
  [[nodiscard]] std::string_view bytes() const noexcept {
    return kind_ == Kind::String || kind_ == Kind::Data ? payload_.bytes->view() : std::string_view();
  }
  /// Whether a String or Data holds well-formed UTF-8; false for other kinds.
  [[nodiscard]] bool isUtf8() const noexcept {
    return kind_ == Kind::String || (kind_ == Kind::Data && payload_.bytes->isUtf8());
  }

  /// The name of the kind, or of the object's class.
  [[nodiscard]] String className() const;
  /// A readable text of the value; what lies deeper than a few levels is left out.
  [[nodiscard]] String description() const;

  /// Equal kind and content, containers by their elements; dictionaries in any order, objects by identity.
  /// Containers that are changed meanwhile are not to be compared.
  friend PXALOG_EXPORT bool operator==(const Value& left, const Value& right);

 private:
  friend class Array;
  friend class Dictionary;
  friend struct detail::Borrow;
  struct ObjectHolder;
  union Payload {
    Number::Payload number;
    detail::SharedBytes* bytes;
    detail::ArrayBody* array;
    detail::DictionaryBody* dictionary;
    ObjectHolder* object;
  };
  void retain() const noexcept {
    if (kind_ == Kind::Null || (kind_ == Kind::Number && numberKind_ != Number::Kind::Decimal)) return;
    retainPayload();
  }
  void release() const noexcept {
    if (kind_ == Kind::Null || (kind_ == Kind::Number && numberKind_ != Number::Kind::Decimal)) return;
    releasePayload();
  }
  void retainPayload() const noexcept;
  void releasePayload() const noexcept;

  Kind kind_ = Kind::Null;
  Number::Kind numberKind_ = Number::Kind::Char;
  Payload payload_{};
};
static_assert(sizeof(Value) == 16);

}  // namespace pxa
