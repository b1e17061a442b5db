#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <pxalog/Dictionary.h>
#include <pxalog/Error.h>

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
  bool fail(int code, const char* message);
  /// The failure and what it caused in the containers around it.
  [[nodiscard]] Error error() const;
  [[nodiscard]] std::size_t location() const { return static_cast<std::size_t>(current_ - start_); }

 private:
  enum class Step : std::uint8_t { Value, LeftOut, Opened, Failed };
  struct OpenContainer {
    bool isArray;
    std::size_t firstElement;  // in elements_
    String key;                // of the value that is being read, in a dictionary
    std::uint32_t keyHash = 0;
  };
  struct Failure {
    int code;
    const char* message;  // nullptr for none
  };

  bool scanTree(Step step);
  Step scanLeafOrOpening();
  Step scanStringValue();
  Step scanNumber();
  Step scanWord(std::string_view word, std::optional<Value> meaning);
  Step open(bool isArray);
  Step continueContainer();
  Step afterElement();
  Step close();
  Value closedArray(std::size_t firstElement);
  Value closedDictionary(std::size_t firstElement);
  [[nodiscard]] bool hasDistinctKeys(std::size_t firstElement) const;
  void putElement();
  bool scanKey(OpenContainer& dictionary);

  bool scanString(std::string_view& text);
  bool scanEscapedString(char quote, std::string_view before, std::string_view& text);
  bool scanEscape();
  bool scanCodePoint();
  /// The four hexadecimal digits here; nothing when they are not.
  std::optional<std::uint32_t> takeHexDigits();
  bool skipDigits();

  void skipWhiteSpace();
  [[nodiscard]] bool isAtEnd() const { return current_ == end_; }
  [[nodiscard]] bool has(unsigned option) const { return (settings_.options & option) != 0; }
  Step failValue(int code, const char* message);
  /// A failure of the innermost container itself.
  Step failContainer(int code, const char* message);
  [[nodiscard]] Dictionary placeOfFailure() const;

  const Settings settings_;
  const char* const start_;
  const char* current_;
  const char* const end_;

  Value value_;
  std::vector<OpenContainer> open_;
  // The elements of all open containers, those of the outermost first; an array's have no key.
  std::vector<Dictionary::Entry> elements_;
  std::vector<std::uint32_t> keyHashes_;  // of each element's key
  std::string scratch_;

  std::vector<Failure> failures_;         // the cause first
  std::size_t containersThatFailed_ = 0;  // of open_, from the outermost on
};

}  // namespace pxa
