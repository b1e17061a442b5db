#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace pxa::tools {

/// What the user asked for.
struct SendOptions {
  std::vector<std::string> files;  ///< "-" is standard input
  std::string collector;           ///< address with scheme, without port
  std::int32_t port = 0;           ///< 0: the scheme's own
  std::string settingsHost;        ///< may carry ":port"; "" for the built-in one
  std::string appKey = "pxa-log";
  std::string appVersion = "1.0.0";
  std::string handleId;  ///< "" for the default one
  std::string userId;    ///< "" for none
  std::string level = "INFO";
  std::string errorCode;
  std::vector<std::pair<std::string, std::string>> fields;
  bool keepsRepeats = false;
  int patienceSeconds = 60;
};

/// Reads the command line. On a request for help, or on a mistake, prints what belongs there and leaves the
/// process.
SendOptions readCommandLine(int argc, char** argv);

}  // namespace pxa::tools
