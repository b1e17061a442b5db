#include "collector/EventReport.h"

#include <ostream>
#include <string_view>

#include "collector/event_text.h"

namespace pxa::tools {
namespace {

constexpr std::size_t kShownOfBadText = 120;

std::string beginning(std::string_view text) {
  const std::string shown = visibleText(text.substr(0, kShownOfBadText));
  return text.size() > kShownOfBadText ? shown + "…" : shown;
}

std::string logTypeOf(const Element& event) {
  const auto found = event.members.find("logType");
  return found == event.members.end() ? "(no log type)" : visibleText(found->second);
}

std::string counted(std::size_t count, const char* what) {
  return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

void writeProblem(std::ostream& lines, std::size_t index, const Element& element) {
  lines << "! cannot read element " << index << ": " << visibleText(element.problem) << ": "
        << beginning(element.json) << '\n';
}

}  // namespace

EventReport::EventReport(Targets targets) : targets_(targets) {}

void EventReport::add(const ReceivedRequest& request) {
  const std::lock_guard lock(mutex_);
  count(request);
  if (targets_.lines != nullptr) writeLines(request);
  if (targets_.crashes != nullptr) writeCrashes(request);
  if (targets_.ndjson != nullptr) writeNdjson(request);
}

void EventReport::count(const ReceivedRequest& request) {
  ++requests_;
  for (const Element& element : request.elements) {
    if (element.isReadable) {
      ++events_;
      ++eventsByLogType_[logTypeOf(element)];
    } else {
      ++unreadable_;
    }
  }
}

void EventReport::writeLines(const ReceivedRequest& request) {
  std::ostream& lines = *targets_.lines;
  if (!request.isArray)
    lines << "! the body is not a complete JSON array: " << beginning(request.body) << '\n';
  for (std::size_t index = 0; index < request.elements.size(); ++index) {
    const Element& element = request.elements[index];
    if (element.isReadable) {
      lines << eventLine(element, targets_.isColoured) << '\n';
    } else {
      writeProblem(lines, index, element);
    }
  }
  lines.flush();
}

void EventReport::writeCrashes(const ReceivedRequest& request) {
  for (const Element& element : request.elements) *targets_.crashes << crashText(element);
  targets_.crashes->flush();
}

void EventReport::writeNdjson(const ReceivedRequest& request) {
  for (const Element& element : request.elements) *targets_.ndjson << ndjsonLine(element) << '\n';
  targets_.ndjson->flush();
}

std::string EventReport::summary() const {
  const std::lock_guard lock(mutex_);
  std::string text = counted(requests_, "request") + ", " + counted(events_, "event");
  const char* separator = ": ";
  for (const auto& [logType, count] : eventsByLogType_) {
    text += separator + logType + ' ' + std::to_string(count);
    separator = ", ";
  }
  if (unreadable_ > 0) text += ", " + std::to_string(unreadable_) + " unreadable";
  return text;
}

}  // namespace pxa::tools
