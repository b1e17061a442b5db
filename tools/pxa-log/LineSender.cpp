#include "LineSender.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <stdexcept>
#include <thread>
#include <utility>

#include <pxalog/Host.h>
#include <pxalog/PXALog.h>

namespace pxa::tools {

namespace {

// // The log queue holds 2000 events; some places are left for the library's own.
constexpr std::uint64_t kMostWaitingLines = 1900;
constexpr std::uint64_t kMostUndecidedLines = 6000;
constexpr std::size_t kMostUndecidedBytes = std::size_t{8} << 20;
constexpr std::chrono::milliseconds kPause{5};

constexpr std::int32_t kHttpsPort = 443;
constexpr std::int32_t kHttpPort = 80;
constexpr std::int32_t kHttpsProtocol = 0;
constexpr std::int32_t kHttpProtocol = 1;

String nilIfEmpty(const std::string& text) {
  return text.empty() ? String() : String(text);
}

bool isHttpsAddress(std::string address) {
  address.resize(std::min<std::size_t>(address.size(), std::strlen("https")));
  std::transform(address.begin(), address.end(), address.begin(),
                 [](unsigned char letter) { return std::tolower(letter); });
  return address == "https";
}

std::uint64_t undecided(const Diagnostics::Events& events) {
  return events.waiting + events.gathered + events.inFlight;
}

}  // namespace

LineSender::LineSender(const SendOptions& options, Progress progress)
    : options_(options),
      progress_(std::move(progress)),
      handleId_(options.handleId.empty() ? String("0") : String(options.handleId)) {}

bool LineSender::open() {
  // The library's console lines are for applications without a progress line of their own.
  Host::setLogSink([](const String&) {});
  if (!options_.settingsHost.empty()) Host::setSettingsService({options_.settingsHost, nullptr, nullptr});
  const bool isHttps = isHttpsAddress(options_.collector);
  const std::int32_t port = options_.port != 0 ? options_.port : isHttps ? kHttpsPort : kHttpPort;
  try {
    if (!PXALog::
            init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart_withUnityVersion_forHandleId(
                options_.collector, port, isHttps ? kHttpsProtocol : kHttpProtocol, options_.appKey,
                options_.appVersion, nilIfEmpty(options_.userId), false, false, nullptr, handleId_))
      return false;
  } catch (const std::out_of_range&) {
    return false;  // an address without a scheme
  }
  PXALog::setLogDeduplicate_forHandlerId(!options_.keepsRepeats, handleId_);
  for (const auto& [key, value] : options_.fields)
    PXALog::setCustomField_forKey_forHandleId(value, key, handleId_);
  return true;
}

bool LineSender::sendLines(std::istream& input) {
  for (std::string line; std::getline(input, line);) {
    if (!waitForRoom()) return false;
    send(line);
  }
  return true;
}

void LineSender::send(const std::string& line) {
  PXALog::sendLog_errorCode_withMessage_atLocation_forHandleId(options_.level, nilIfEmpty(options_.errorCode),
                                                               line, nullptr, handleId_);
  ++lineCount_;
  undecidedSizes_.push_back(line.size());
  undecidedBytes_ += line.size();
}

bool LineSender::waitForRoom() {
  for (;;) {
    const Diagnostics::Events events = Diagnostics::snapshot().events;
    if (events.failed > 0 || isStuck(events)) return false;
    if (hasRoom(events.waiting, undecided(events))) return true;
    progress_(*this);
    std::this_thread::sleep_for(kPause);
  }
}

bool LineSender::hasRoom(std::uint64_t waiting, std::uint64_t undecided) {
  while (undecidedSizes_.size() > undecided) {
    undecidedBytes_ -= undecidedSizes_.front();
    undecidedSizes_.pop_front();
  }
  return undecided == 0 || (waiting < kMostWaitingLines && undecided < kMostUndecidedLines &&
                            undecidedBytes_ < kMostUndecidedBytes);
}

bool LineSender::waitUntilDecided() {
  for (;;) {
    const Diagnostics::Events events = Diagnostics::snapshot().events;
    progress_(*this);
    if (undecided(events) == 0) return true;
    if (isStuck(events)) return false;
    std::this_thread::sleep_for(kPause);
  }
}

bool LineSender::isStuck(const Diagnostics::Events& events) {
  const auto now = std::chrono::steady_clock::now();
  const std::uint64_t decided = events.entered - undecided(events);
  if (decided != std::exchange(lastDecided_, decided) || undecided(events) == 0) lastProgress_ = now;
  return now - lastProgress_ > std::chrono::seconds(options_.patienceSeconds);
}

std::uint64_t LineSender::refusedByGate(const Diagnostics::Events& events) {
  const Diagnostics::DroppedEvents& dropped = events.dropped;
  return dropped.sessionSwitch + dropped.crashSwitch + dropped.logSwitch + dropped.duplicate;
}

std::uint64_t LineSender::lostOrUndelivered(const Diagnostics::Events& events) {
  return events.entered - events.delivered - refusedByGate(events);
}

}  // namespace pxa::tools
