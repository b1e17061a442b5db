#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace pxa::tools {

/// One element of a posted array.
struct Element {
  std::string json;                            ///< the text as received
  bool isReadable = false;                     ///< it is one JSON object
  std::string problem;                         ///< why it is not readable
  std::map<std::string, std::string> members;  ///< a string's value; any other value as its JSON text
};

/// What a posted body holds.
struct Body {
  bool isArray = false;           ///< one JSON array, closed, with nothing after it
  std::vector<Element> elements;  ///< as many as could be told apart, readable or not
};

/// An element nested deeper than this is not read.
inline constexpr int kMaxNesting = 200;

/// Takes a body apart. Control bytes that stand unescaped in strings are accepted, against the JSON grammar:
/// senders do write them. A bad element does not spoil its neighbours. Never throws on account of the text.
/// Thread-safe.
Body readBody(std::string_view text);

/// The same JSON on one line: control bytes in strings are escaped, between tokens they become blanks.
/// Invalid JSON gives a text that is just as invalid. Thread-safe.
std::string withoutRawControls(std::string_view json);

}  // namespace pxa::tools
