#pragma once

#include <optional>
#include <string>

#include "collector/Collector.h"

namespace pxa::tools {

/// What the program was asked to do.
struct CommandLine {
  Options options;
  std::string output;  ///< file for the NDJSON; empty for none
  bool isQuiet = false;
  bool isTable = false;  ///< a table of all events at the end, in place of a line for each
};

/// Reads the arguments. On --help and on a mistake it writes the text meant for the user, sets `exitCode` and
/// returns nothing.
std::optional<CommandLine> parseCommandLine(int argc, const char* const* argv, int& exitCode);

}  // namespace pxa::tools
