#include "collector/EventTable.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "collector/event_text.h"

namespace pxa::tools {

namespace {

struct Column {
  const char* heading;
  const char* member;
  std::size_t widest;
};

constexpr Column kColumns[] = {
    {"type", "logType", 16},          {"level", "logLevel", 5},     {"project", "projectName", 12},
    {"version", "projectVersion", 8}, {"user", "UserID", 10},       {"session", "SessionID", 8},
    {"platform", "Platform", 16},     {"model", "DeviceModel", 10}, {"network", "NetworkType", 13},
    {"carrier", "Carrier", 8},        {"locale", "Locale", 10},     {"host", "host", 15},
    {"code", "errorCode", 5},         {"rate", "errorRate", 4},     {"message", "body", 44},
};

bool continuesACharacter(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

/// Length in characters of UTF-8.
std::size_t lengthOf(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char byte) { return !continuesACharacter(byte); }));
}

/// The first characters of a text, an ellipsis in place of the rest.
std::string cut(const std::string& text, std::size_t most) {
  if (lengthOf(text) <= most) return text;
  std::size_t end = 0;
  for (std::size_t characters = 0; end < text.size(); ++end)
    if (!continuesACharacter(text[end]) && ++characters == most) break;
  return text.substr(0, end) + "…";
}

std::string cellOf(const Element& event, const Column& column) {
  const auto member = event.members.find(column.member);
  return member == event.members.end() ? "-" : cut(visibleText(member->second), column.widest);
}

}  // namespace

void EventTable::add(const ReceivedRequest& request) {
  const std::lock_guard lock(mutex_);
  for (const Element& event : request.elements) {
    Row& row = rows_.emplace_back();
    for (const Column& column : kColumns) row.push_back(cellOf(event, column));
  }
}

std::string EventTable::text() const {
  const std::lock_guard lock(mutex_);
  Row headings;
  for (const Column& column : kColumns) headings.emplace_back(column.heading);
  std::vector<Row> lines{headings};
  lines.insert(lines.end(), rows_.begin(), rows_.end());

  std::vector<std::size_t> widths(headings.size());
  for (const Row& line : lines)
    for (std::size_t column = 0; column < line.size(); ++column)
      widths[column] = std::max(widths[column], lengthOf(line[column]));

  std::string table;
  for (const Row& line : lines) {
    for (std::size_t column = 0; column + 1 < line.size(); ++column)
      table.append(line[column]).append(widths[column] - lengthOf(line[column]) + 2, ' ');
    table.append(line.back()).append("\n");
  }
  return table;
}

}  // namespace pxa::tools
