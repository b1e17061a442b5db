#pragma once

#include <cstdint>

#include <pxalog/String.h>

/// Counters that answer "why did nothing arrive?". Reading them changes nothing and reports nothing to
/// anyone.
namespace pxa::Diagnostics {

/// Events that were given up, by reason.
struct PXALOG_EXPORT DroppedEvents {
  std::uint64_t queueFull = 0;           ///< pushed out of a full queue
  std::uint64_t noHandleId = 0;          ///< an event without a handle id
  std::uint64_t unknownHandle = 0;       ///< its handle is not open in this process
  std::uint64_t noProjectList = 0;       ///< its project was never initialised in this process
  std::uint64_t listReplaced = 0;        ///< an initialisation replaced its project's list, or the queue
  std::uint64_t sessionSwitch = 0;       ///< session logs are switched off
  std::uint64_t crashSwitch = 0;         ///< crash logs are switched off
  std::uint64_t logSwitch = 0;           ///< logs are switched off
  std::uint64_t duplicate = 0;           ///< a repeat of a log or crash that was sent
  std::uint64_t tooManyFailures = 0;     ///< carried over from a failed delivery more than three times
  std::uint64_t noJsonForm = 0;          ///< holds bytes that are not UTF-8, or a value without a JSON form
  std::uint64_t noHandleForRequest = 0;  ///< the handle of its request is not open in this process
  std::uint64_t unreadableBody =
      0;  ///< its request failed and its body, for raw control characters perhaps, could not be read back
  std::uint64_t trimmedOnReload = 0;  ///< no room in the queue when saved events were read back
  std::uint64_t fileReplaced = 0;     ///< saved, then a later save replaced the file
  std::uint64_t outOfMemory = 0;      ///< no memory to complete it or to put it into a request

  [[nodiscard]] std::uint64_t total() const noexcept;
};

/// Where the events of this process are. Each one is in exactly one place, so that entered is their sum.
struct PXALOG_EXPORT Events {
  std::uint64_t entered = 0;  ///< log calls that built an event, session logs, probe results, reloaded events
  std::uint64_t waiting = 0;  ///< in the log queue
  std::uint64_t gathered = 0;   ///< taken by the pass of the send loop that is under way
  std::uint64_t inFlight = 0;   ///< in a request that has no answer yet
  std::uint64_t failed = 0;     ///< came back from a failed request, will be saved
  std::uint64_t saved = 0;      ///< written to a file; whether the write succeeded is not known here
  std::uint64_t delivered = 0;  ///< answered with status 200
  DroppedEvents dropped;

  /// Sum of all places; equal to entered in every snapshot.
  [[nodiscard]] std::uint64_t total() const noexcept;
};

/// Collector requests by outcome.
struct PXALOG_EXPORT Requests {
  std::uint64_t started = 0;
  std::uint64_t delivered = 0;  ///< answered with status 200
  std::uint64_t refused = 0;    ///< answered with another status
  std::uint64_t failed = 0;     ///< not answered: no connection, a time-out, a broken connection
  int lastHttpStatus = 0;       ///< 0 before the first answer
  String lastTransportError;    ///< text and address of the last request without an answer; nil before one
};

struct PXALOG_EXPORT Snapshot {
  Events events;
  Requests requests;
  bool isHeldBySynchronousStart = false;  ///< sending waits for startSendThread
  bool isHeldBySettings = false;          ///< sending waits for a handle's settings
};

/// The state at one moment. Thread-safe; takes one short lock and never waits for the library's work.
PXALOG_EXPORT Snapshot snapshot();

}  // namespace pxa::Diagnostics
