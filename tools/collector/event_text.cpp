#include "collector/event_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <openssl/evp.h>
#include <optional>
#include <sstream>
#include <vector>

namespace pxa::tools {
namespace {

constexpr std::size_t kShownOfSession = 8;
constexpr const char* kReset = "\x1b[0m";
constexpr const char* kDim = "\x1b[2m";

struct Character {
  char32_t code = 0;
  std::size_t length = 0;  // 0: not UTF-8
};

struct Lead {
  unsigned mask;
  unsigned mark;
  std::size_t length;
  char32_t least;  // smaller codes have a shorter form
};
constexpr std::array<Lead, 4> kLeads{
    {{0x80, 0x00, 1, 0}, {0xE0, 0xC0, 2, 0x80}, {0xF0, 0xE0, 3, 0x800}, {0xF8, 0xF0, 4, 0x10000}}};

bool isCharacter(char32_t code) {
  return code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
}

Character decoded(std::string_view text, const Lead& lead) {
  if (text.size() < lead.length) return {};
  char32_t code = static_cast<unsigned char>(text.front()) & ~lead.mask & 0xFFU;
  for (std::size_t at = 1; at < lead.length; ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if ((byte & 0xC0U) != 0x80U) return {};
    code = (code << 6U) | (byte & 0x3FU);
  }
  if (code < lead.least || !isCharacter(code)) return {};
  return {code, lead.length};
}

Character firstCharacter(std::string_view text) {
  const auto byte = static_cast<unsigned char>(text.front());
  const auto* lead =
      std::find_if(kLeads.begin(), kLeads.end(), [=](const Lead& l) { return (byte & l.mask) == l.mark; });
  return lead == kLeads.end() ? Character{} : decoded(text, *lead);
}

bool isBetween(char32_t code, char32_t first, char32_t last) {
  return first <= code && code <= last;
}

bool steersTerminal(char32_t code) {
  return code < 0x20 || isBetween(code, 0x7F, 0x9F) || code == 0x061C || isBetween(code, 0x200E, 0x200F) ||
         isBetween(code, 0x2028, 0x202E) || isBetween(code, 0x2066, 0x2069) || code == 0xFEFF;
}

std::string hexadecimal(char kind, int width, unsigned value) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "\\%c%0*x", kind, width, value);
  return text.data();
}

std::string escaped(char32_t code) {
  if (code == '\n') return "\\n";
  if (code == '\r') return "\\r";
  if (code == '\t') return "\\t";
  return code < 0x80 ? hexadecimal('x', 2, code) : hexadecimal('u', 4, code);
}

std::string member(const Element& event, const std::string& name) {
  const auto found = event.members.find(name);
  return found == event.members.end() ? std::string() : found->second;
}

std::string orDash(std::string text) {
  return text.empty() ? "-" : std::move(text);
}

std::optional<std::int64_t> number(const std::string& text) {
  std::int64_t value = 0;
  const char* end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stopped != end || value < 0) return std::nullopt;
  return value;
}

std::string timeOfDay(const Element& event) {
  const auto milliseconds = number(member(event, "sendTime"));
  std::tm local{};
  const std::time_t seconds = milliseconds.value_or(0) / 1000;
  if (!milliseconds || ::localtime_r(&seconds, &local) == nullptr) return "--:--:--.---";
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min, local.tm_sec,
                static_cast<int>(*milliseconds % 1000));
  return text.data();
}

std::string origin(const Element& event) {
  const std::string session = member(event, "SessionID");
  return session.empty() ? member(event, "host") : session.substr(0, kShownOfSession);
}

struct LevelColour {
  std::string_view level;
  const char* colour;
};
constexpr std::array<LevelColour, 5> kLevelColours{{{"DEBUG", "\x1b[36m"},
                                                    {"INFO", "\x1b[32m"},
                                                    {"WARN", "\x1b[33m"},
                                                    {"ERROR", "\x1b[31m"},
                                                    {"FATAL", "\x1b[1;31m"}}};

const char* colourOf(std::string_view level) {
  for (const LevelColour& entry : kLevelColours) {
    if (entry.level == level) return entry.colour;
  }
  return "";
}

std::string painted(const std::string& text, const char* colour, bool isColoured) {
  if (!isColoured || *colour == '\0' || text.empty()) return text;
  return colour + text + kReset;
}

// What stands elsewhere on the line, and what every event of a device repeats.
bool isCommon(std::string_view name) {
  static constexpr std::array<std::string_view, 28> kNames{
      "projectName",     "projectVersion", "host",        "logType",     "logSource",  "sendTime",
      "logTime",         "logLevel",       "UserID",      "Platform",    "DeviceType", "DeviceModel",
      "NetworkType",     "Carrier",        "CountryCode", "body",        "Locale",     "SessionID",
      "PreferdLanguage", "FreeDiskSpace",  "FreeMemory",  "Jailbroken",  "SdkVersion", "DeviceID",
      "logVersion",      "SymMethod",      "CrashStyle",  "rdmBulkIndex"};
  return std::find(kNames.begin(), kNames.end(), name) != kNames.end();
}

std::string furtherFields(const Element& event) {
  std::string text;
  for (const auto& [name, value] : event.members) {
    if (isCommon(name)) continue;
    // A crash report is many lines of base64.
    const std::string shown =
        name == "DmpData" ? "(" + std::to_string(value.size()) + " bytes)" : visibleText(value);
    if (!text.empty()) text += ' ';
    text += visibleText(name) + '=' + shown;
  }
  return text;
}

/// The bytes; none when the text is not base64.
std::string decodedBase64(const std::string& text) {
  constexpr std::size_t kGroup = 4;
  if (text.empty() || text.size() % kGroup != 0 || text.size() > INT_MAX) return {};
  std::vector<unsigned char> bytes(text.size());
  const int size = ::EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                     static_cast<int>(text.size()));
  if (size < 0) return {};
  const auto padding = static_cast<std::ptrdiff_t>(text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0);
  return {bytes.begin(), bytes.begin() + size - padding};
}

std::string padded(std::string text, std::size_t width) {
  text.resize(std::max(text.size(), width), ' ');
  return text;
}

std::string joined(std::initializer_list<std::string> parts) {
  std::string line;
  for (const std::string& part : parts) {
    if (part.empty()) continue;
    if (!line.empty()) line += ' ';
    line += part;
  }
  return line;
}

}  // namespace

std::string visibleText(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    const std::size_t length = std::max<std::size_t>(character.length, 1);
    if (character.length == 0) {
      result += hexadecimal('x', 2, static_cast<unsigned char>(text.front()));
    } else if (steersTerminal(character.code)) {
      result += escaped(character.code);
    } else {
      result += text.substr(0, length);
    }
    text.remove_prefix(length);
  }
  return result;
}

std::string eventLine(const Element& event, bool isColoured) {
  constexpr std::size_t kLevelWidth = 5;
  const std::string level = member(event, "logLevel");
  const auto shown = [&](const std::string& text) { return orDash(visibleText(text)); };
  return joined({painted(timeOfDay(event), kDim, isColoured),
                 painted(padded(shown(level), kLevelWidth), colourOf(level), isColoured),
                 shown(member(event, "logType")), shown(member(event, "projectName")),
                 painted(shown(origin(event)), kDim, isColoured), visibleText(member(event, "body")),
                 painted(furtherFields(event), kDim, isColoured)});
}

std::string crashText(const Element& event) {
  constexpr std::string_view kFirstWords = "Incident Identifier:";
  const std::string report = decodedBase64(member(event, "DmpData"));
  if (!report.starts_with(kFirstWords)) return {};
  std::string text;
  std::istringstream lines(report);
  for (std::string line; std::getline(lines, line);) text += "    " + visibleText(line) + '\n';
  return text;
}

std::string ndjsonLine(const Element& element) {
  using Json = nlohmann::ordered_json;
  if (element.isReadable) return withoutRawControls(element.json);
  const Json line{{"unreadable", element.problem}, {"text", element.json}};
  return line.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace pxa::tools
