#pragma once

#include <string>
#include <string_view>

#include "collector/body_reader.h"

namespace pxa::tools {

/// The text with everything that could steer a terminal made visible: control characters, marks that change
/// the direction of writing, bytes that are not UTF-8. It has no line ends left. Thread-safe.
std::string visibleText(std::string_view text);

/// A readable element on one line, without a line end: time of day, level, log type, project, session or
/// host, message, further fields. Nothing in it steers the terminal but, when coloured, its own colours.
/// Thread-safe.
std::string eventLine(const Element& event, bool isColoured);

/// The crash report that the event carries, each line indented and nothing in it steering the terminal; empty
/// when it carries none. Thread-safe.
std::string crashText(const Element& event);

/// The element as one JSON object on one line, without a line end: a readable one as it came, with its raw
/// control bytes escaped, an unreadable one as {"unreadable": problem, "text": what came}. Thread-safe.
std::string ndjsonLine(const Element& element);

}  // namespace pxa::tools
