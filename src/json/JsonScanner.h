#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <pxalog/Dictionary.h>
#include <pxalog/Error.h>

#include "foundation/BlockArena.h"
#include "foundation/ByteMovedStack.h"
#include "json/JsonKeyCache.h"

namespace pxa {

/// Reads one JSON value of a UTF-8 text in a single pass. What it has read of containers that are still open
/// lies on a stack of its own, so that nesting costs no stack of the thread.
class JsonScanner {
 public:
  struct Settings {
    unsigned options;
    const std::optional<Value>& nullObject;
    JsonKeyCache& keys;
  };

  /// The text must outlive the scanner.
  JsonScanner(std::string_view text, const Settings& settings)
      : settings_(settings), start_(text.data()), current_(start_), end_(start_ + text.size()) {}

  /// The operations return false on failure, of which error() tells then. A value is nothing when it is a
  /// null that is left out.
  bool scanValue(std::optional<Value>& value);
  bool scanDictionary(Dictionary& dictionary);
  bool scanArray(Array& array);
  /// White space, then the end of the text.
  bool scanEnd();

  /// Fails here with that code.
  [[gnu::cold, gnu::noinline]] bool fail(int code, const char* message);
  /// The failure and what it caused in the containers around it.
  [[nodiscard, gnu::cold]] Error error() const;
  [[nodiscard]] std::size_t location() const { return static_cast<std::size_t>(current_ - start_); }

 private:
  /// What was found, or what comes next: an entry behind an opening bracket or a comma, an element of an array
  /// or behind a key, a closing bracket.
  enum class Step : std::uint8_t { Value, LeftOut, Entry, Element, Closing, Failed };
  struct OpenContainer {
    bool isArray;
    bool mayRepeatKeys;
    std::size_t firstValue;         // in values_
    std::size_t firstKey;           // in keys_
    JsonKeyCache::Moment openedAt;  // keys that were not taken since then are new to it
  };

  struct Failure {
    int code;
    const char* message;  // nullptr for none
  };
  struct IntegerPart {
    bool isNegative;
    const char* first;  // of the number
    std::string_view digits;
    std::uint64_t value;  // modulo 2^64
  };

  bool scanTree(Step step);
  Step scanLeafOrOpening();
  Step scanWord(std::string_view word, const std::optional<Value>& meaning);
  Step scanStringValue();
  Step scanNumber();
  Step scanFraction(const IntegerPart& integer);
  bool scanExponent(std::int64_t& exponent);
  Step open(bool isArray);
  Step scanEntry();
  Step afterElement();
  Step close();
  Array closedArray(std::size_t firstValue);
  Dictionary closedDictionary(const OpenContainer& container);
  bool scanKey(OpenContainer& dictionary);

  bool scanString(std::string_view& text);
  [[gnu::noinline]] bool scanEscapedString(char quote, std::string_view before, std::string_view& text);
  bool scanEscape();
  bool scanCodePoint();
  /// The four hexadecimal digits here; nothing when they are not.
  std::optional<std::uint32_t> takeHexDigits();

  void skipWhiteSpace();
  [[nodiscard]] bool isAtEnd() const { return current_ == end_; }
  [[nodiscard]] bool has(unsigned option) const { return (settings_.options & option) != 0; }
  [[gnu::cold, gnu::noinline]] Step failValue(int code, const char* message);
  /// A failure of the innermost container itself.
  [[gnu::cold, gnu::noinline]] Step failContainer(int code, const char* message);
  [[nodiscard, gnu::cold]] Dictionary placeOfFailure() const;

  const Settings settings_;
  const char* const start_;
  const char* current_;
  const char* const end_;

  std::vector<OpenContainer> open_;
  // What was read of all open containers, the outermost first; at the end the value itself.
  ByteMovedStack<Value> values_;
  ByteMovedStack<String> keys_;
  BlockArena arena_;  // of strings and containers
  std::string scratch_;

  std::vector<Failure> failures_;         // the cause first
  std::size_t containersThatFailed_ = 0;  // of open_, from the outermost on
};

}  // namespace pxa
