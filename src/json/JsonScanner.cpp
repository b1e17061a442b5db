#include "json/JsonScanner.h"

#include <algorithm>
#include <array>
#include <cfloat>
#include <charconv>
#include <iterator>
#include <limits>
#include <utility>

#include <pxalog/Array.h>
#include <pxalog/CJSONDeserializer.h>

#include "foundation/ascii.h"
#include "foundation/bodies.h"
#include "foundation/byte_blocks.h"
#include "foundation/utf8.h"
#include "json/digits.h"

namespace pxa {

namespace {

using detail::Adopt;
using detail::SharedBytes;

constexpr std::size_t kSnippetSize = 20;
constexpr std::size_t kHexDigits = 4;
constexpr const char* kMalformedNumber = "Could not scan number constant.";
constexpr const char* kBadEscape = "Could not decode string escape code.";

/// Where a string's plain bytes end: at the quote, at a backslash, or at the end of the text. Says also
/// whether they may hold more than ASCII.
const char* endOfPlainBytes(const char* current, const char* end, char quote, bool& mayBeMoreThanAscii) {
  while (static_cast<std::size_t>(end - current) >= kBlockSize) {
    const ByteBlock block = loadBlock(current);
    if (hasMark(block & 0x80)) mayBeMoreThanAscii = true;
    const std::size_t found =
        firstMark((block == static_cast<std::uint8_t>(quote)) | (block == static_cast<std::uint8_t>('\\')));
    current += found;
    if (found != kBlockSize) return current;
  }
  for (; current != end && *current != quote && *current != '\\'; ++current)
    if (static_cast<unsigned char>(*current) >= 0x80) mayBeMoreThanAscii = true;
  return current;
}

/// -1 for a character that is no hexadecimal digit.
int hexDigit(char character) {
  if (character >= '0' && character <= '9') return character - '0';
  const char lower = ascii::lower(character);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// What the character behind a backslash stands for; 0 for one that stands for nothing.
char meaningOfEscape(char character) {
  switch (character) {
    case '"':
    case '\\':
    case '/':
      return character;
    case 'b':
      return '\b';
    case 'f':
      return '\f';
    case 'n':
      return '\n';
    case 'r':
      return '\r';
    case 't':
      return '\t';
    default:
      return 0;
  }
}

/// Zeros in front are no digits of the number, and JSON does not allow them.
std::string withoutLeadingZeros(std::string_view text) {
  std::string number;
  if (text.front() == '-') number += '-';
  text.remove_prefix(number.size());
  while (text.size() > 1 && text[0] == '0' && ascii::isDigit(text[1])) text.remove_prefix(1);
  return number += text;
}

[[gnu::noinline]] Number decimalOf(std::string_view text) {
  return Number(*Decimal::parse(withoutLeadingZeros(text)));
}

/// So many digits fit an unsigned 64-bit integer, whichever they are.
constexpr std::size_t kSafeDigits = std::numeric_limits<std::uint64_t>::digits10;

[[gnu::noinline]] Number integerOf(std::string_view text) {
  const char* const end = text.data() + text.size();
  if (text.front() == '-') {
    std::int64_t value = 0;
    return std::from_chars(text.data(), end, value).ec == std::errc() ? Number(value) : decimalOf(text);
  }
  std::uint64_t value = 0;
  return std::from_chars(text.data(), end, value).ec == std::errc() ? Number(value) : decimalOf(text);
}

/// With an integer part whose digits are too many for 64 bits, it stays a decimal.
[[gnu::noinline]] Number fractionOf(std::string_view text, std::string_view integerPart) {
  if (integerOf(integerPart).kind() == Number::Kind::Decimal) return decimalOf(text);
  double value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  return result.ec == std::errc() ? Number(value) : Number(decimalOf(text).doubleValue());
}

constexpr double kPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                   1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr std::int64_t kLargestExactPower = std::size(kPowersOfTen) - 1;
constexpr std::uint64_t kLargestExactDigits = std::uint64_t{1} << 53U;

/// Where digits and power are doubles without rounding, one operation rounds once, which is correct; nothing
/// elsewhere.
std::optional<double> exactlyRounded(std::uint64_t digits, std::int64_t exponent) {
  const bool isExact = FLT_EVAL_METHOD == 0 && digits <= kLargestExactDigits &&
                       exponent >= -kLargestExactPower && exponent <= kLargestExactPower;
  if (!isExact) return std::nullopt;
  const auto number = static_cast<double>(digits);
  return exponent < 0 ? number / kPowersOfTen[-exponent] : number * kPowersOfTen[exponent];
}

}  // namespace

bool JsonScanner::scanValue(std::optional<Value>& value) {
  if (!scanTree(Step::Element)) return false;
  if (values_.size() == 0)
    value.reset();
  else
    value = std::move(values_.back());
  return true;
}

bool JsonScanner::scanDictionary(Dictionary& dictionary) {
  if (isAtEnd() || *current_ != '{')
    return fail(-101, "Could not scan dictionary. Dictionary that does not start with '{' character.");
  if (!scanTree(open(false))) return false;
  dictionary = values_.back().dictionary();
  return true;
}

bool JsonScanner::scanArray(Array& array) {
  if (isAtEnd() || *current_ != '[')
    return fail(-201, "Could not scan array. Array not started by a '[' character.");
  if (!scanTree(open(true))) return false;
  array = values_.back().array();
  return true;
}

bool JsonScanner::scanEnd() {
  skipWhiteSpace();
  return isAtEnd() || fail(-17, "Did not consume all data.");
}

/// Goes on from a step until the value is whole. One body for all steps but the rare ones: with
/// calls between them, numbers and small containers take a quarter more time. Each step is called at one place,
/// so that the body holds it once.
[[gnu::flatten]] bool JsonScanner::scanTree(Step step) {
  for (;;) {
    switch (step) {
      case Step::Failed:
        return false;
      case Step::Entry:
        step = scanEntry();
        break;
      case Step::Element:
        step = scanLeafOrOpening();
        break;
      case Step::Closing:
        step = close();
        break;
      case Step::LeftOut:
        if (!open_.empty() && !open_.back().isArray) keys_.pop();
        [[fallthrough]];
      case Step::Value:
        if (open_.empty()) return true;
        step = afterElement();
        break;
    }
  }
}

JsonScanner::Step JsonScanner::scanLeafOrOpening() {
  skipWhiteSpace();
  if (isAtEnd()) return failValue(-15, "Could not read JSON object, input exhausted.");
  switch (*current_) {
    case '"':
    case '\'':
      return scanStringValue();
    case '[':
    case '{':
      return open(*current_ == '[');
    case 't':
      return scanWord("true", Value(true));
    case 'f':
      return scanWord("false", Value(false));
    case 'n':
      return scanWord("null", settings_.nullObject);
    case '-':
    case '0':
    case '1':
    case '2':
    case '3':
    case '4':
    case '5':
    case '6':
    case '7':
    case '8':
    case '9':
      return scanNumber();
    default:
      return failValue(-15, "Could not scan object. Character not a valid JSON character.");
  }
}

JsonScanner::Step JsonScanner::scanWord(std::string_view word, const std::optional<Value>& meaning) {
  if (!std::string_view(current_, static_cast<std::size_t>(end_ - current_)).starts_with(word))
    return failValue(-15, "Could not scan object. Character not a valid JSON character.");
  current_ += word.size();
  if (!meaning) return Step::LeftOut;
  values_.push(*meaning);
  return Step::Value;
}

JsonScanner::Step JsonScanner::scanStringValue() {
  std::string_view text;
  if (!scanString(text)) {
    containersThatFailed_ = open_.size();
    return Step::Failed;
  }
  values_.push(Adopt::text(SharedBytes::copyOf(text, SharedBytes::Encoding::Utf8, arena_)));
  return Step::Value;
}

JsonScanner::Step JsonScanner::scanNumber() {
  const char* const first = current_;
  const bool isNegative = *first == '-';
  const char* const integer = first + (isNegative ? 1 : 0);
  std::uint64_t digits = 0;
  current_ = takeDigits(integer, end_, digits);
  const auto count = static_cast<std::size_t>(current_ - integer);
  if (count == 0) return failValue(-401, kMalformedNumber);
  if (!isAtEnd() && (*current_ == '.' || *current_ == 'e' || *current_ == 'E'))
    return scanFraction({isNegative, first, {integer, count}, digits});
  constexpr std::uint64_t kLargestNegative = std::uint64_t{1} << 63U;
  if (count > kSafeDigits || (isNegative && digits > kLargestNegative))
    values_.push(integerOf({first, current_}));
  else
    values_.push(isNegative ? Number(static_cast<std::int64_t>(0 - digits)) : Number(digits));
  return Step::Value;
}

/// Behind the integer part of a number that goes on.
JsonScanner::Step JsonScanner::scanFraction(const IntegerPart& integer) {
  std::uint64_t digits = integer.value;
  std::size_t count = integer.digits.size();
  std::int64_t exponent = 0;
  if (*current_ == '.') {
    const char* const fraction = ++current_;
    current_ = takeDigits(fraction, end_, digits);
    if (current_ == fraction) return failValue(-401, kMalformedNumber);
    exponent = fraction - current_;
    count += static_cast<std::size_t>(current_ - fraction);
  }
  if (!isAtEnd() && (*current_ == 'e' || *current_ == 'E') && !scanExponent(exponent))
    return failValue(-401, kMalformedNumber);

  const std::optional<double> value = count <= kSafeDigits ? exactlyRounded(digits, exponent) : std::nullopt;
  if (value)
    values_.push(integer.isNegative ? -*value : *value);
  else
    values_.push(fractionOf({integer.first, current_}, integer.digits));
  return Step::Value;
}

/// Adds what stands behind the "e".
bool JsonScanner::scanExponent(std::int64_t& exponent) {
  ++current_;
  const bool isNegative = !isAtEnd() && *current_ == '-';
  if (isNegative || (!isAtEnd() && *current_ == '+')) ++current_;
  const char* const first = current_;
  std::uint64_t power = 0;
  current_ = takeDigits(first, end_, power);
  constexpr std::uint64_t kBeyondAll = 1'000'000;
  if (current_ - first > 6) power = kBeyondAll;
  exponent += isNegative ? -static_cast<std::int64_t>(power) : static_cast<std::int64_t>(power);
  return current_ != first;
}

JsonScanner::Step JsonScanner::open(bool isArray) {
  ++current_;
  open_.push_back({isArray, false, values_.size(), keys_.size(), settings_.keys.now()});
  return Step::Entry;
}

/// Behind an opening bracket or a comma.
JsonScanner::Step JsonScanner::scanEntry() {
  OpenContainer& container = open_.back();
  skipWhiteSpace();
  if (container.isArray) {
    if (isAtEnd())
      return failContainer(-204, "Could not scan array. Array not terminated by a ']' character.");
    return *current_ == ']' ? Step::Closing : Step::Element;
  }
  if (!isAtEnd() && *current_ == '}') return Step::Closing;
  if (!scanKey(container)) return failContainer(-102, "Could not scan dictionary. Failed to scan a key.");
  skipWhiteSpace();
  if (isAtEnd() || *current_ != ':')
    return failContainer(-103, "Could not scan dictionary. Key was not terminated with a ':' character.");
  ++current_;
  return Step::Element;
}

JsonScanner::Step JsonScanner::afterElement() {
  const bool isArray = open_.back().isArray;
  skipWhiteSpace();
  if (isAtEnd() && !isArray)
    return failContainer(-106, "Could not scan dictionary. Dictionary not terminated by a '}' character.");
  if (!isAtEnd() && *current_ == ',') {
    ++current_;
    return Step::Entry;
  }
  if (!isAtEnd() && *current_ == (isArray ? ']' : '}')) return Step::Closing;
  return isArray ? failContainer(-204, "Could not scan array. Array not terminated by a ']' character.")
                 : failContainer(-106, "kJSONDeserializerErrorCode_DictionaryKeyValuePairNoDelimiter");
}

JsonScanner::Step JsonScanner::close() {
  ++current_;
  const OpenContainer container = open_.back();
  open_.pop_back();
  if (container.isArray) {
    Array array = closedArray(container.firstValue);
    values_.push(std::move(array));
  } else {
    Dictionary dictionary = closedDictionary(container);
    values_.push(std::move(dictionary));
  }
  return Step::Value;
}

Array JsonScanner::closedArray(std::size_t firstValue) {
  Value* const values = values_.from(firstValue);
  Array array = Adopt::array(detail::ArrayBody::createOf(values, values_.size() - firstValue, arena_));
  values_.forgetFrom(firstValue);
  if (!has(CJSONDeserializer::kMutableContainers)) array.makeImmutable();
  return array;
}

Dictionary JsonScanner::closedDictionary(const OpenContainer& container) {
  const std::size_t count = keys_.size() - container.firstKey;
  String* const keys = keys_.from(container.firstKey);
  Value* const values = values_.from(container.firstValue);
  const bool isSimple = !container.mayRepeatKeys && count <= Dictionary::kLinearSearchLimit;
  Dictionary dictionary = nullptr;
  if (isSimple) {
    dictionary = Adopt::dictionary(detail::DictionaryBody::createOfDistinct(keys, values, count, arena_));
    keys_.forgetFrom(container.firstKey);
    values_.forgetFrom(container.firstValue);
  } else {
    dictionary = Dictionary(count);
    for (std::size_t i = 0; i < count; ++i) dictionary.set(keys[i], std::move(values[i]));
    keys_.popFrom(container.firstKey);
    values_.popFrom(container.firstValue);
  }
  if (!has(CJSONDeserializer::kMutableContainers)) dictionary.makeImmutable();
  return dictionary;
}

bool JsonScanner::scanKey(OpenContainer& dictionary) {
  const auto put = [&](const JsonKeyCache::Taken& taken) {
    keys_.push(taken.key);
    if (taken.before > dictionary.openedAt) dictionary.mayRepeatKeys = true;
    return true;
  };
  JsonKeyCache& keys = settings_.keys;
  if (keys.isNext({current_, static_cast<std::size_t>(end_ - current_)})) {
    const JsonKeyCache::Taken next = keys.takeNext();
    current_ += next.key.size() + 2;
    return put(next);
  }
  if (isAtEnd() || (*current_ != '"' && *current_ != '\''))
    return fail(-301, "Could not scan string constant. String not started by a '\"' character.");
  std::string_view text;
  return scanString(text) && put(keys.take(text));
}

/// The text lies in the input, or in the scratch buffer until the next string.
bool JsonScanner::scanString(std::string_view& text) {
  const char quote = *current_++;
  const char* const first = current_;
  bool mayBeMoreThanAscii = false;
  current_ = endOfPlainBytes(current_, end_, quote, mayBeMoreThanAscii);
  text = {first, static_cast<std::size_t>(current_ - first)};
  if (!isAtEnd() && *current_ == '\\') {
    mayBeMoreThanAscii = true;
    if (!scanEscapedString(quote, text, text)) return false;
  }
  if (isAtEnd()) return fail(-304, "Could not scan string constant. No terminating double quote character.");
  ++current_;
  if (mayBeMoreThanAscii && !utf8::isWellFormed(text)) return fail(-306, "Could not create string.");
  return true;
}

/// From the first backslash to the quote, which is not taken, or to the end.
bool JsonScanner::scanEscapedString(char quote, std::string_view before, std::string_view& text) {
  scratch_.assign(before);
  while (!isAtEnd() && *current_ != quote) {
    ++current_;  // the backslash
    if (!scanEscape()) return false;
    bool ignored = false;
    const char* const first = current_;
    current_ = endOfPlainBytes(current_, end_, quote, ignored);
    scratch_.append(first, current_);
  }
  text = scratch_;
  return true;
}

bool JsonScanner::scanEscape() {
  if (isAtEnd()) return true;  // the string has no end
  const char character = *current_;
  if (character == 'u') {
    ++current_;
    return scanCodePoint();
  }
  const char meaning = meaningOfEscape(character);
  if (meaning == 0 && !has(CJSONDeserializer::kLaxEscapes))
    return fail(-303, "Could not scan string constant. Unknown escape code.");
  scratch_ += meaning == 0 ? character : meaning;
  ++current_;
  return true;
}

bool JsonScanner::scanCodePoint() {
  std::optional<std::uint32_t> codePoint = takeHexDigits();
  if (codePoint && utf8::isHighSurrogate(*codePoint)) {
    const bool goesOn = static_cast<std::size_t>(end_ - current_) >= 2 + kHexDigits && current_[0] == '\\' &&
                        current_[1] == 'u';
    if (!goesOn) return fail(-305, kBadEscape);
    current_ += 2;
    const std::optional<std::uint32_t> low = takeHexDigits();
    if (!low || !utf8::isLowSurrogate(*low)) return fail(-305, kBadEscape);
    codePoint = utf8::ofSurrogates(*codePoint, *low);
  }
  if (!codePoint || utf8::isSurrogate(*codePoint)) return fail(-305, kBadEscape);
  std::array<char, utf8::kLongestCharacter> bytes{};
  scratch_.append(bytes.data(), utf8::encode(*codePoint, bytes.data()));
  return true;
}

std::optional<std::uint32_t> JsonScanner::takeHexDigits() {
  if (static_cast<std::size_t>(end_ - current_) < kHexDigits) return std::nullopt;
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < kHexDigits; ++i) {
    const int digit = hexDigit(current_[i]);
    if (digit < 0) return std::nullopt;
    value = value * 16 + static_cast<std::uint32_t>(digit);
  }
  current_ += kHexDigits;
  return value;
}

void JsonScanner::skipWhiteSpace() {
  while (!isAtEnd() && ascii::isWhiteSpace(*current_)) ++current_;
}

bool JsonScanner::fail(int code, const char* message) {
  failures_.push_back({code, message});
  return false;
}

JsonScanner::Step JsonScanner::failValue(int code, const char* message) {
  fail(code, message);
  containersThatFailed_ = open_.size();
  return Step::Failed;
}

JsonScanner::Step JsonScanner::failContainer(int code, const char* message) {
  fail(code, message);
  containersThatFailed_ = open_.size() - 1;
  return Step::Failed;
}

Error JsonScanner::error() const {
  const Dictionary place = placeOfFailure();
  const auto errorHere = [&place](const Failure& failure) {
    Dictionary facts(place.size() + 1);
    for (const Dictionary::Entry& fact : place) facts.set(fact.key, fact.value);
    if (failure.message != nullptr) facts.set(Error::kLocalizedDescriptionKey, failure.message);
    return Error(CJSONDeserializer::kErrorDomain, failure.code, std::move(facts));
  };
  Error error = errorHere(failures_.front());
  for (std::size_t i = 1; i < failures_.size(); ++i)
    error = errorHere(failures_[i]).withUnderlying(std::move(error));

  const Error ofArray = errorHere({-202, "Could not scan array. Could not scan a value."});
  const Error ofDictionary = errorHere({-104, "Could not scan dictionary. Failed to scan a value."});
  for (std::size_t i = containersThatFailed_; i-- > 0;)
    error = (open_[i].isArray ? ofArray : ofDictionary).withUnderlying(std::move(error));
  return error;
}

Dictionary JsonScanner::placeOfFailure() const {
  const auto isLineBreak = [](char byte) { return byte == '\n' || byte == '\r'; };
  const auto line = std::count_if(start_, current_, isLineBreak);
  const char* afterLastBreak = current_;
  while (afterLastBreak != start_ && !isLineBreak(afterLastBreak[-1])) --afterLastBreak;
  // On later lines counted from before the line break, not from behind it.
  const std::ptrdiff_t character = current_ - afterLastBreak + (line > 0 ? 2 : 0);
  const std::size_t before = std::min(kSnippetSize, location());
  const std::size_t after = std::min(kSnippetSize, static_cast<std::size_t>(end_ - current_));
  const String textBefore = std::string_view(current_ - before, before);
  const String textAfter = std::string_view(current_, after);
  return {{"line", std::int64_t{line}},
          {"character", std::int64_t{character}},
          {"location", std::uint64_t{location()}},
          {"snippet", std::string(textBefore.view()).append("!HERE>!").append(textAfter.view())}};
}

}  // namespace pxa
