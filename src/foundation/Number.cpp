#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

#include <pxalog/Number.h>

#include "foundation/integer_text.h"

namespace pxa {

namespace {

bool isDigit(char character) {
  return character >= '0' && character <= '9';
}

/// Takes a run of digits off the front; false when there is none.
bool takeDigits(std::string_view& text) {
  std::size_t count = 0;
  while (count < text.size() && isDigit(text[count])) ++count;
  text.remove_prefix(count);
  return count > 0;
}

void takeSign(std::string_view& text) {
  if (text.starts_with('-') || text.starts_with('+')) text.remove_prefix(1);
}

constexpr std::int64_t kLargestPower = std::int64_t{1} << 60;

std::uint64_t truncatedToUInt64(double value) {
  constexpr double kLimit = 18446744073709551616.0;  // 2^64
  if (std::isnan(value) || value <= 0) return 0;
  return value >= kLimit ? std::numeric_limits<std::uint64_t>::max() : static_cast<std::uint64_t>(value);
}

std::int64_t truncatedToInt64(double value) {
  constexpr double kLimit = 9223372036854775808.0;  // 2^63
  if (std::isnan(value)) return 0;
  if (value >= kLimit) return std::numeric_limits<std::int64_t>::max();
  if (value < -kLimit) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(value);
}

std::string_view mantissaOf(std::string_view digits) {
  return digits.substr(0, digits.find_first_of("eE"));
}

bool isZero(std::string_view digits) {
  return mantissaOf(digits).find_first_of("123456789") == std::string_view::npos;
}

/// Whether a decimal other than zero is smaller than 1.
bool isBelowOne(std::string_view digits) {
  const std::string_view mantissa = mantissaOf(digits);
  const auto point = static_cast<std::int64_t>(std::min(mantissa.find('.'), mantissa.size()));
  const auto firstDigit = static_cast<std::int64_t>(mantissa.find_first_of("123456789"));
  const std::string_view exponent =
      mantissa.size() < digits.size() ? digits.substr(mantissa.size() + 1) : "0";
  const std::int64_t power =
      std::clamp<std::int64_t>(leadingInteger(exponent), -kLargestPower, kLargestPower);
  return (firstDigit < point ? point - firstDigit - 1 : point - firstDigit) + power < 0;
}

/// The value of decimal digits as a double; beyond its range 0 or infinity.
double doubleOfDigits(std::string_view digits) {
  if (digits.starts_with('+')) digits.remove_prefix(1);
  double value = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (result.ec != std::errc::result_out_of_range) return value;
  const double magnitude = isBelowOne(digits) ? 0.0 : std::numeric_limits<double>::infinity();
  return digits.starts_with('-') ? -magnitude : magnitude;
}

/// The integer that the digits are, if they are one of that type and nothing else.
template <class Integer>
std::optional<Integer> integerOfDigits(std::string_view digits) {
  if (digits.starts_with('+')) digits.remove_prefix(1);
  Integer value = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (result.ec != std::errc() || result.ptr != digits.data() + digits.size()) return std::nullopt;
  return value;
}

std::string_view textUpTo(const char* end, const Number::TextStorage& storage) {
  return {storage.data(), static_cast<std::size_t>(end - storage.data())};
}

/// Not-a-number may have the sign bit, but has no sign.
template <class T>
T withoutSignOfNan(T value) {
  return std::isnan(value) ? std::abs(value) : value;
}

template <class T>
std::string_view formatted(T value, Number::TextStorage& storage) {
  return textUpTo(std::to_chars(storage.data(), storage.data() + storage.size(), value).ptr, storage);
}

/// Writes a number of thousandths without trailing zeros.
char* writeThousandths(std::uint64_t thousandths, char* to) {
  constexpr std::ptrdiff_t kMostDigits = 20;
  to = std::to_chars(to, to + kMostDigits, thousandths / 1000).ptr;
  const auto digit = [thousandths](unsigned unit) {
    return static_cast<char>('0' + thousandths / unit % 10);
  };
  const std::uint64_t fraction = thousandths % 1000;
  if (fraction == 0) return to;
  *to++ = '.';
  *to++ = digit(100);
  if (fraction % 100 != 0) *to++ = digit(10);
  if (fraction % 10 != 0) *to++ = digit(1);
  return to;
}

/// Most doubles in events are whole thousandths of few digits, and as such short already: no two decimals of
/// up to 15 digits are the same double. This is several times faster than the search for the shortest text.
std::optional<std::uint64_t> thousandthsOf(double magnitude) {
  constexpr double kLimit = 1e12;
  if (!(magnitude < kLimit)) return std::nullopt;
  // What this rounds to the wrong side is not exact below.
  // NOLINTNEXTLINE(bugprone-incorrect-roundings)
  const auto thousandths = static_cast<std::uint64_t>(magnitude * 1000 + 0.5);
  const bool isExact = static_cast<double>(thousandths) / 1000 == magnitude;
  // With five zeros at the end, an exponent may be shorter.
  const bool isRound = thousandths % 100'000'000 == 0 && thousandths != 0;
  return isExact && !isRound ? std::optional(thousandths) : std::nullopt;
}

std::string_view formatted(double value, Number::TextStorage& storage) {
  const std::optional<std::uint64_t> thousandths = thousandthsOf(std::abs(value));
  if (!thousandths) return formatted<double>(withoutSignOfNan(value), storage);
  char* to = storage.data();
  if (std::signbit(value)) *to++ = '-';
  return textUpTo(writeThousandths(*thousandths, to), storage);
}

}  // namespace

std::optional<Decimal> Decimal::parse(std::string_view text) {
  std::string_view rest = text;
  takeSign(rest);
  if (!takeDigits(rest)) return std::nullopt;
  if (rest.starts_with('.')) {
    rest.remove_prefix(1);
    if (!takeDigits(rest)) return std::nullopt;
  }
  if (rest.starts_with('e') || rest.starts_with('E')) {
    rest.remove_prefix(1);
    takeSign(rest);
    if (!takeDigits(rest)) return std::nullopt;
  }
  if (!rest.empty()) return std::nullopt;
  return Decimal(String(text));
}

Number& Number::operator=(const Number& other) noexcept {
  Number copy(other);
  std::swap(kind_, copy.kind_);
  std::swap(payload_, copy.payload_);
  return *this;
}

bool Number::boolValue() const noexcept {
  switch (kind_) {
    case Kind::UInt64:
      return payload_.unsignedInteger != 0;
    case Kind::Float:
    case Kind::Double:
      return payload_.floating != 0;
    case Kind::Decimal:
      return !isZero(payload_.digits->view());
    default:
      return payload_.integer != 0;
  }
}

std::int64_t Number::longLongValue() const noexcept {
  switch (kind_) {
    case Kind::UInt64:
      return payload_.unsignedInteger > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())
                 ? std::numeric_limits<std::int64_t>::max()
                 : static_cast<std::int64_t>(payload_.unsignedInteger);
    case Kind::Decimal:
      if (const auto integer = integerOfDigits<std::int64_t>(payload_.digits->view())) return *integer;
      return truncatedToInt64(doubleValue());
    case Kind::Float:
    case Kind::Double:
      return truncatedToInt64(payload_.floating);
    default:
      return payload_.integer;
  }
}

std::int32_t Number::intValue() const noexcept {
  return saturatedToInt32(longLongValue());
}

std::uint64_t Number::unsignedLongLongValue() const noexcept {
  switch (kind_) {
    case Kind::UInt64:
      return payload_.unsignedInteger;
    case Kind::Decimal:
      if (const auto integer = integerOfDigits<std::uint64_t>(payload_.digits->view())) return *integer;
      return truncatedToUInt64(doubleValue());
    case Kind::Float:
    case Kind::Double:
      return truncatedToUInt64(payload_.floating);
    default:
      return static_cast<std::uint64_t>(std::max<std::int64_t>(payload_.integer, 0));
  }
}

double Number::doubleValue() const noexcept {
  switch (kind_) {
    case Kind::UInt64:
      return static_cast<double>(payload_.unsignedInteger);
    case Kind::Float:
    case Kind::Double:
      return payload_.floating;
    case Kind::Decimal:
      return doubleOfDigits(payload_.digits->view());
    default:
      return static_cast<double>(payload_.integer);
  }
}

std::string_view Number::text(TextStorage& storage) const noexcept {
  switch (kind_) {
    case Kind::UInt64:
      return formatted(payload_.unsignedInteger, storage);
    case Kind::Float:
      return formatted(withoutSignOfNan(static_cast<float>(payload_.floating)), storage);
    case Kind::Double:
      return formatted(payload_.floating, storage);
    case Kind::Decimal:
      return payload_.digits->view();
    default:
      return formatted(payload_.integer, storage);
  }
}

String Number::stringValue() const {
  TextStorage storage;
  return String(text(storage));
}

bool operator==(const Number& left, const Number& right) noexcept {
  if (left.kind_ != right.kind_) return false;
  switch (left.kind_) {
    case Number::Kind::UInt64:
      return left.payload_.unsignedInteger == right.payload_.unsignedInteger;
    case Number::Kind::Float:
    case Number::Kind::Double:
      return left.payload_.floating == right.payload_.floating;
    case Number::Kind::Decimal:
      return left.payload_.digits->view() == right.payload_.digits->view();
    default:
      return left.payload_.integer == right.payload_.integer;
  }
}

}  // namespace pxa
