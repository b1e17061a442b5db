#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include <pxalog/String.h>

namespace pxa {

/// A decimal number of any length that keeps every digit it was given.
class PXALOG_EXPORT Decimal {
 public:
  /// Reads an optional sign, digits, an optional fraction and an optional exponent; nothing for any other
  /// text.
  static std::optional<Decimal> parse(std::string_view text);

  /// The digits as they were given.
  [[nodiscard]] const String& text() const noexcept { return text_; }

 private:
  friend class Number;
  explicit Decimal(String text) noexcept : text_(std::move(text)) {}
  String text_;
};

/// A number that remembers the kind it was stored as. Char is the kind of booleans, too: what is stored as
/// Char and is 0 or 1 counts as false or true when it is written as JSON.
class PXALOG_EXPORT Number {
 public:
  enum class Kind : std::uint8_t { Char, Int8, Int16, Int32, Int64, UInt64, Float, Double, Decimal };

  Number(bool value) noexcept : Number(Kind::Char, std::int64_t{value}) {}
  Number(char value) noexcept : Number(Kind::Char, std::int64_t{value}) {}
  Number(signed char value) noexcept : Number(Kind::Int8, value) {}
  Number(short value) noexcept : Number(Kind::Int16, value) {}
  Number(int value) noexcept : Number(Kind::Int32, value) {}
  Number(long value) noexcept : Number(Kind::Int64, value) {}
  Number(long long value) noexcept : Number(Kind::Int64, value) {}
  Number(unsigned char value) noexcept : Number(Kind::Int16, value) {}
  Number(unsigned short value) noexcept : Number(Kind::Int32, value) {}
  Number(unsigned int value) noexcept : Number(Kind::Int64, value) {}
  Number(unsigned long value) noexcept : Number(static_cast<unsigned long long>(value)) {}
  Number(unsigned long long value) noexcept : kind_(Kind::UInt64) { payload_.unsignedInteger = value; }
  Number(float value) noexcept : kind_(Kind::Float) { payload_.floating = static_cast<double>(value); }
  Number(double value) noexcept : kind_(Kind::Double) { payload_.floating = value; }
  Number(const Decimal& value) noexcept : kind_(Kind::Decimal) {
    payload_.digits = value.text().bytes_;
    payload_.digits->retain();
  }

  Number(const Number& other) noexcept : kind_(other.kind_), payload_(other.payload_) { retain(); }
  Number& operator=(const Number& other) noexcept;
  ~Number() {
    if (kind_ == Kind::Decimal) payload_.digits->release();
  }

  [[nodiscard]] Kind kind() const noexcept { return kind_; }
  /// False for zero alone.
  [[nodiscard]] bool boolValue() const noexcept;
  /// The value as an integer: fractions are cut, what does not fit gives the nearest limit, not-a-number
  /// gives 0.
  [[nodiscard]] std::int64_t longLongValue() const noexcept;
  [[nodiscard]] std::int32_t intValue() const noexcept;
  [[nodiscard]] std::uint64_t unsignedLongLongValue() const noexcept;
  [[nodiscard]] double doubleValue() const noexcept;

  /// The standard text form: for floating-point kinds the shortest text that reads back to the same value.
  [[nodiscard]] String stringValue() const;
  /// The same, without an allocation: the text lies in the storage given or in this number.
  using TextStorage = std::array<char, 40>;
  [[nodiscard]] std::string_view text(TextStorage& storage) const noexcept;

  /// Same kind and same value; decimals are compared by their digits.
  friend bool operator==(const Number& left, const Number& right) noexcept;

 private:
  friend class Value;
  union Payload {
    std::int64_t integer;
    std::uint64_t unsignedInteger;
    double floating;
    detail::SharedBytes* digits;
  };
  Number(Kind kind, std::int64_t value) noexcept : kind_(kind) { payload_.integer = value; }
  Number(Kind kind, Payload payload) noexcept : kind_(kind), payload_(payload) { retain(); }
  void retain() const noexcept {
    if (kind_ == Kind::Decimal) payload_.digits->retain();
  }

  Kind kind_;
  Payload payload_{};
};

}  // namespace pxa
