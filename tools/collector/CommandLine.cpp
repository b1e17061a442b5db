#include "collector/CommandLine.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <limits>
#include <map>

namespace pxa::tools {
namespace {

constexpr int kMaxPort = 65535;

void addServerOptions(CLI::App& app, CommandLine& line) {
  app.add_option("--http-port", line.options.httpPort, "Port for HTTP; 0 takes any free one")
      ->check(CLI::Range(0, kMaxPort))
      ->type_name("PORT");
  app.add_option("--https-port", line.options.httpsPort, "Port for HTTPS; 0 takes any free one")
      ->check(CLI::Range(0, kMaxPort))
      ->type_name("PORT");
  app.add_option("--output", line.output, "Append every event to this file, one JSON object a line")
      ->type_name("FILE");
  app.add_flag("--quiet", line.isQuiet, "Print no events");
  app.add_flag("--table", line.isTable, "Print a table of all events at the end, not each as it arrives");
}

void addBehaviourOptions(CLI::App& app, Behaviour& behaviour) {
  static const std::map<std::string, Fault> kFaults{{"none", Fault::None},
                                                    {"cut-before-head", Fault::CutBeforeHead},
                                                    {"cut-after-head", Fault::CutAfterHead},
                                                    {"silent", Fault::Silent}};
  app.add_option("--status", behaviour.status, "Status that posts of events are answered with")
      ->check(CLI::Range(100, 599))
      ->type_name("N");
  app.add_option_function<std::int64_t>(
         "--delay", [&behaviour](std::int64_t delay) { behaviour.delay = std::chrono::milliseconds(delay); },
         "Milliseconds to wait before answering")
      ->check(CLI::Range(std::int64_t{0}, std::int64_t{std::numeric_limits<int>::max()}))
      ->type_name("MS");
  app.add_option_function<std::string>(
         "--fault", [&behaviour](const std::string& name) { behaviour.fault = kFaults.at(name); },
         "What goes wrong with each answer")
      ->check(CLI::IsMember(&kFaults))
      ->type_name("FAULT");
}

void addSettingsOptions(CLI::App& app, ProjectSettings& settings) {
  app.add_flag("--log,!--no-log", settings.log, "Settings: plain logs are wanted (default)");
  app.add_flag("--crash,!--no-crash", settings.crash, "Settings: crash logs are wanted (default)");
  app.add_flag("--session,!--no-session", settings.session, "Settings: session logs are wanted (default)");
  app.add_flag("--network-insights", settings.networkInsights, "Settings: URLs are to be probed");
  app.add_option("--url", settings.urls, "Settings: a URL to probe; may be repeated")
      ->type_name("URL")
      ->allow_extra_args(false);
}

}  // namespace

std::optional<CommandLine> parseCommandLine(int argc, const char* const* argv, int& exitCode) {
  CommandLine line;
  CLI::App app(
      "A local log collector and settings service, for development. It listens on 127.0.0.1 until it is\n"
      "told to end by SIGINT or SIGTERM.",
      "pxa-collector");
  addServerOptions(app, line);
  addBehaviourOptions(app, line.options.behaviour);
  addSettingsOptions(app, line.options.settings);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    exitCode = app.exit(error);
    return std::nullopt;
  }
  return line;
}

}  // namespace pxa::tools
