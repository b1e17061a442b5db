#include "collector/body_reader.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

namespace pxa::tools {
namespace {

using Json = nlohmann::json;

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}
bool isControl(char c) {
  return static_cast<unsigned char>(c) < 0x20;
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

/// Knows, byte by byte, whether a JSON text is inside a string. Not thread-safe.
class StringTracker {
 public:
  void take(char c) {
    if (isEscaped_) {
      isEscaped_ = false;
    } else if (isInString_ && c == '\\') {
      isEscaped_ = true;
    } else if (c == '"') {
      isInString_ = !isInString_;
    }
  }
  bool isInString() const { return isInString_; }
  bool isEscaped() const { return isEscaped_; }

 private:
  bool isInString_ = false;
  bool isEscaped_ = false;
};

struct Piece {
  std::string_view text;
  int nesting = 0;
  char end = '\0';  // ',' or ']', or nothing where the text ran out
};

/// The piece that begins at `text`, up to the comma or bracket that ends it on its own level.
Piece firstPiece(std::string_view text) {
  Piece piece;
  StringTracker strings;
  int depth = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    strings.take(c);
    if (strings.isInString()) continue;
    if (depth == 0 && (c == ',' || c == ']')) {
      piece.text = text.substr(0, at);
      piece.end = c;
      return piece;
    }
    if (c == '[' || c == '{') piece.nesting = std::max(piece.nesting, ++depth);
    if ((c == ']' || c == '}') && depth > 0) --depth;
  }
  piece.text = text;
  return piece;
}

Json parseLeniently(const std::string& text) {
  Json strict = Json::parse(text, nullptr, false);
  if (!strict.is_discarded()) return strict;
  return Json::parse(withoutRawControls(text));
}

std::string memberText(const Json& value) {
  if (value.is_string()) return value.get<std::string>();
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void readMembers(Element& element) {
  const Json value = parseLeniently(element.json);
  if (!value.is_object()) {
    element.problem = std::string("not an object but of type ") + value.type_name();
    return;
  }
  for (const auto& [key, member] : value.items()) element.members[key] = memberText(member);
  element.isReadable = true;
}

std::string problemOf(const Piece& piece, const std::string& text) {
  if (piece.end == '\0') return "the body ends inside this element";
  if (text.empty()) return "nothing stands between the commas";
  if (piece.nesting > kMaxNesting) return "nested deeper than " + std::to_string(kMaxNesting);
  return {};
}

Element readElement(const Piece& piece) {
  Element element;
  element.json = trimmed(piece.text);
  element.problem = problemOf(piece, element.json);
  if (!element.problem.empty()) return element;
  try {
    readMembers(element);
  } catch (const Json::exception& error) {
    element.problem = error.what();
  }
  return element;
}

std::string escapedControl(char c) {
  constexpr std::array<char, 17> kDigits{"0123456789abcdef"};
  const auto byte = static_cast<unsigned char>(c);
  return std::string("\\u00") + kDigits.at(byte >> 4U) + kDigits.at(byte & 0xFU);
}

bool isLonelyBlank(const Piece& piece, const Body& body) {
  return body.elements.empty() && piece.end != ',' && trimmed(piece.text).empty();
}

}  // namespace

Body readBody(std::string_view text) {
  Body body;
  std::string_view rest = trimmed(text);
  if (rest.empty() || rest.front() != '[') return body;
  rest.remove_prefix(1);
  char end = ',';
  while (end == ',') {
    const Piece piece = firstPiece(rest);
    end = piece.end;
    if (!isLonelyBlank(piece, body)) body.elements.push_back(readElement(piece));
    rest.remove_prefix(std::min(rest.size(), piece.text.size() + 1));
  }
  body.isArray = end == ']' && rest.empty();
  return body;
}

std::string withoutRawControls(std::string_view json) {
  std::string result;
  result.reserve(json.size());
  StringTracker strings;
  for (const char c : json) {
    // What follows a backslash is left alone: escaping it too would turn a broken text into a valid other
    // one.
    const bool isAfterBackslash = strings.isEscaped();
    strings.take(c);
    if (!isControl(c) || isAfterBackslash) {
      result += c;
    } else if (strings.isInString()) {
      result += escapedControl(c);
    } else {
      result += isBlank(c) ? ' ' : c;
    }
  }
  return result;
}

}  // namespace pxa::tools
