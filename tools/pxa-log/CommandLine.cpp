#include "CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>

namespace pxa::tools {

namespace {

bool isFieldKey(const std::string& key) {
  const auto isOf = [](const std::string& characters) {
    return [characters](char character) { return characters.find(character) != std::string::npos; };
  };
  const std::string letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
  return !key.empty() && isOf(letters)(key.front()) &&
         std::all_of(key.begin(), key.end(), isOf(letters + "0123456789-_"));
}

std::pair<std::string, std::string> splitField(const std::string& field) {
  const std::size_t equals = field.find('=');
  if (equals == std::string::npos)
    throw CLI::ValidationError("--field", "needs the form KEY=VALUE: " + field);
  const std::string key = field.substr(0, equals);
  if (!isFieldKey(key))
    throw CLI::ValidationError("--field",
                               "a key begins with a letter, then letters, digits, - and _: " + key);
  return {key, field.substr(equals + 1)};
}

}  // namespace

SendOptions readCommandLine(int argc, char** argv) {
  SendOptions options;
  std::vector<std::string> fields;
  CLI::App app(
      "Sends the lines of files, or of standard input, to a log collector, each as one log event.\n"
      "Exit status 0: every line was delivered, or held back by the gate (a repeat, or a kind of log that "
      "is\n"
      "switched off). 1: something was lost or is undelivered. 2: the command line, a file or the "
      "collector's\n"
      "address cannot be used.",
      "pxa-log");
  app.add_option("files", options.files, "files to send; - is standard input")->default_str("-");
  app.add_option("-c,--collector", options.collector, "collector address, http:// or https://")->required();
  app.add_option("-p,--port", options.port, "collector port; default 443 or 80 by the scheme")
      ->check(CLI::Range(1, 65535));
  app.add_option("--settings", options.settingsHost, "settings service, HOST or HOST:PORT");
  app.add_option("-k,--app-key", options.appKey, "project, letters, digits, - and _")->capture_default_str();
  app.add_option("--app-version", options.appVersion, "version of the project")->capture_default_str();
  app.add_option("--handle", options.handleId, "handle id, Keepcell for the channel without settings");
  app.add_option("-u,--user", options.userId, "user id");
  app.add_option("-l,--level", options.level, "level of every line")
      ->check(CLI::IsMember({"DEBUG", "INFO", "WARN", "ERROR", "FATAL"}))
      ->capture_default_str();
  app.add_option("-e,--error-code", options.errorCode, "error code of every line");
  app.add_option(
         "-f,--field", fields,
         "custom field, KEY=VALUE, may be given again; names of the event's own fields have no effect")
      ->allow_extra_args(false);
  app.add_flag("--keep-repeats", options.keepsRepeats, "send repeated lines too");
  app.add_option("--patience", options.patienceSeconds, "seconds without progress after which to give up")
      ->check(CLI::Range(1, 86400))
      ->capture_default_str();
  try {
    app.parse(argc, argv);
    for (const std::string& field : fields) options.fields.push_back(splitField(field));
  } catch (const CLI::ParseError& error) {
    std::exit(app.exit(error) == 0 ? 0 : 2);
  }
  if (options.files.empty()) options.files.emplace_back("-");
  return options;
}

}  // namespace pxa::tools
