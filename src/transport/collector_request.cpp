#include "transport/collector_request.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <string>

#include "api/handle/GlobalLock.h"
#include "api/handle/handle_table.h"
#include "diagnostics/Ledger.h"
#include "event/error_rate.h"
#include "event/event_json.h"
#include "foundation/ByteBuffer.h"
#include "platform/Platform.h"
#include "platform/console.h"
#include "transport/BulkEventLists.h"

namespace pxa {

using namespace literals;
using Events = Ledger::Events;
using Dropped = Ledger::Dropped;

namespace {

constexpr std::int32_t kMostFailedDeliveries = 3;
constexpr double kTimeoutSeconds = 10.0;
constexpr const char* kCollectorPath = "v2/log";

/// Whether the event was carried over from a failed delivery too often. A counter that is no text and no
/// number is told on the console, and the event may go.
bool hasFailedTooOften(const VeskEvent& event) {
  try {
    return errorRateOf(event) > kMostFailedDeliveries;
  } catch (const std::exception& failure) {
    console::write("erroRate Exception : ", failure.what());
    return false;
  }
}

/// The body of one project's request, while it is put together.
class BulkBody {
 public:
  /// Takes the event in at its position in the project's list, or gives it up.
  void add(const VeskEvent& event, std::int32_t position) {
    if (event.handleId().isNull()) return giveUp(&Dropped::noHandleId);
    handleId_ = event.handleId().string();
    if (hasFailedTooOften(event)) return giveUp(&Dropped::tooManyFailures);
    const std::size_t before = text_.size();
    text_.append(eventCount_ == 0 ? '[' : ',');
    if (appendJsonOfBulkEvent(event, position, text_)) {
      ++eventCount_;
    } else {
      text_.truncate(before);
      giveUp(&Dropped::noJsonForm);
    }
  }

  /// Makes room for so many events of the size that the body has by now, within reason.
  void expectAsMuchFor(std::size_t eventCount) {
    text_.reserve(std::min(eventCount * (text_.size() + kSpareBytes), kMostExpectedBytes));
  }

  /// The JSON array; "[]" when nothing was taken in.
  [[nodiscard]] String finish() {
    if (eventCount_ == 0) text_.append('[');
    text_.append(']');
    return String::fromUtf8(text_.finish());
  }

  /// The handle id of the last event that had one; "" before that.
  [[nodiscard]] const String& handleId() const { return handleId_; }
  [[nodiscard]] std::uint64_t eventCount() const { return eventCount_; }
  [[nodiscard]] std::uint64_t givenUpCount() const { return givenUpCount_; }

 private:
  static constexpr std::size_t kSpareBytes = 16;
  static constexpr std::size_t kMostExpectedBytes = std::size_t{4} << 20U;

  void giveUp(Ledger::Reason reason) {
    ledger().drop(&Events::gathered, reason);
    ++givenUpCount_;
  }

  ByteBuffer text_;
  std::uint64_t eventCount_ = 0;
  std::uint64_t givenUpCount_ = 0;
  String handleId_ = ""_text;
};

BulkEventLists::EventList takeList(std::size_t position) {
  const GlobalGuard guard;
  return position < bulkEventLists().projectCount() ? bulkEventLists().takeList(position)
                                                    : BulkEventLists::EventList();
}

std::size_t projectCount() {
  const GlobalGuard guard;
  return bulkEventLists().projectCount();
}

/// The body of the events; nil, and all of them given up, when there is no memory for it.
String bodyOf(const BulkEventLists::EventList& events, BulkBody& bulk) {
  try {
    std::int32_t position = 0;
    for (const VeskEventRef& event : events) {
      bulk.add(*event, position++);
      if (position == 1) bulk.expectAsMuchFor(events.size() - 1);
    }
    return bulk.finish();
  } catch (const std::exception&) {
    ledger().drop(&Events::gathered, &Dropped::outOfMemory, events.size() - bulk.givenUpCount());
    return nullptr;
  }
}

void sendList(const BulkEventLists::EventList& events) {
  BulkBody bulk;
  const String body = bodyOf(events, bulk);
  if (body.isNil()) return;
  const std::uint64_t eventCount = bulk.eventCount();
  const GlobalGuard guard;
  const std::shared_ptr<VeskHttpsDelegate>& delegate = gs_httpsDelegate();
  delegate->setLog(body);
  delegate->setHandleId(bulk.handleId());
  delegate->setShouldStopRunloop(true);
  if (PXALog::rdm_getHandler(bulk.handleId()) == nullptr) {
    ledger().drop(&Events::gathered, &Dropped::noHandleForRequest, eventCount);
    return;
  }
  ledger().move(&Events::gathered, &Events::inFlight, eventCount);
  delegate->setEventCount(eventCount);
  PXALog::sendVeskEventByRestAPI_withVeskHttpsDelegate_withHandler(body, delegate, bulk.handleId());
}

/// The caller holds the global lock.
String collectorAddress(const VeskHandle& handle) {
  const char* scheme = handle.protocol() == kHttpsProtocol ? "https" : "http";
  const auto port = static_cast<std::int32_t>(handle.collectorPort());
  return std::string(scheme) + "://" + handle.collectorUrl().c_str() + ":" + std::to_string(port) + "/" +
         kCollectorPath;
}

}  // namespace

void PXALog::sendVeskEventByRestAPI() {
  const std::size_t count = projectCount();
  for (std::size_t position = 0; position < count; ++position) {
    const BulkEventLists::EventList events = takeList(position);
    if (!events.empty()) sendList(events);
  }
}

void PXALog::sendVeskEventByRestAPI_withVeskHttpsDelegate_withHandler(
    const String& body, const std::shared_ptr<VeskHttpsDelegate>& delegate, const String& handleId) {
  const GlobalGuard guard;
  const VeskHandleRef handle = rdm_getHandler(handleId);
  if (handle == nullptr) return;
  UrlRequest request;
  request.url = collectorAddress(*handle);
  request.method = "POST"_text;
  request.headers = {{"Content-Type"_text, "application/json"_text}};
  request.body = body.utf8();
  request.timeoutSeconds = kTimeoutSeconds;

  const auto requestsOwnDelegate = std::make_shared<VeskHttpsDelegate>(*delegate);
  requestsOwnDelegate->setUrl(request.url);
  delegate->setEventCount(0);
  ledger().requestStarted();
  try {
    Platform::current().urlLoader.connectionWithRequest(request, requestsOwnDelegate);
  } catch (const std::exception& failure) {
    requestsOwnDelegate->requestCouldNotStart(failure.what());
  }
}

}  // namespace pxa
