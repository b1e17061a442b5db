#include "transport/send_loop.h"

#include <cstdint>
#include <exception>
#include <memory>
#include <vector>

#include "api/handle/GlobalLock.h"
#include "api/handle/handle_table.h"
#include "api/handle/process_state.h"
#include "diagnostics/Ledger.h"
#include "event/event_json.h"
#include "event/event_keys.h"
#include "platform/BackgroundThread.h"
#include "platform/Platform.h"
#include "transport/BulkEventLists.h"
#include "transport/EventCompletion.h"
#include "transport/collector_request.h"
#include "transport/send_gate.h"
#include "transport/session_regeneration.h"

namespace pxa {

using Events = Ledger::Events;
using Dropped = Ledger::Dropped;

namespace {

constexpr double kSecondsBetweenPasses = 1.0;
constexpr std::int64_t kMostBytesOfAPass = std::int64_t{2} << 20;

enum class Step { Continue, EndThread };

bool isSendingHeld() {
  const GlobalGuard guard;
  return processFlags().isSendingHeld || processFlags().isSettingsPending;
}

/// The next event, or nullptr. Taken under the global lock, so that a log call or an initialisation sees it
/// either queued or taken. A save may have emptied the queue since its size was read: waiting here would stop
/// every log call.
VeskEventRef takeNextEvent(VeskBlockQueue& queue) {
  const GlobalGuard guard;
  return queue.dequeueIfAny();
}

void drop(Ledger::Reason reason) {
  ledger().drop(&Events::gathered, reason);
}

Ledger::Reason reasonOf(GateVerdict verdict) {
  switch (verdict) {
    case GateVerdict::SessionSwitchedOff:
      return &Dropped::sessionSwitch;
    case GateVerdict::CrashSwitchedOff:
      return &Dropped::crashSwitch;
    case GateVerdict::LogSwitchedOff:
      return &Dropped::logSwitch;
    case GateVerdict::OutOfMemory:
      return &Dropped::outOfMemory;
    default:
      return &Dropped::duplicate;
  }
}

/// Without the memory for it there is no new session; the crash goes out all the same.
void startNewSession(const VeskEventRef& crash, BulkEventLists::EventList& bulk,
                     const VeskHandleRef& handle) {
  try {
    PXALog::regenerateSession_BulkEventQueue_Handler(crash, bulk, handle);
  } catch (const std::exception&) {
  }
}

/// Puts an admitted event into its project's list. False when the project has none any more. Throws only
/// before the event is in the list.
bool gather(const VeskEventRef& event, const VeskHandleRef& handle) {
  const bool hasDump = event->field(key::dumpData().view()) != nullptr;
  // A line without a dictionary was completed without them.
  if (!hasDump && event->line() == nullptr) removeDumpFields(event->fields().dictionary());
  const GlobalGuard guard;
  BulkEventLists::EventList* bulk = bulkEventLists().find(event->projectName().bytes());
  if (bulk == nullptr) return false;
  bulk->push_back(event);
  if (hasDump && processFlags().isUnityMode) startNewSession(event, *bulk, handle);
  return true;
}

bool hasProjectList(const VeskEvent& event) {
  const GlobalGuard guard;
  return event.projectName().kind() == Value::Kind::String &&
         bulkEventLists().find(event.projectName().bytes()) != nullptr;
}

/// Completes one event and gathers it if the gate lets it pass. Adds its length to the bytes of the pass when
/// it reaches the gate.
Step process(const VeskEventRef& event, std::int64_t& bytes, EventCompletion& completion) {
  const String handleId = event->handleId().string();
  if (event->handleId().isNull()) {
    drop(&Dropped::noHandleId);
    return Step::Continue;
  }
  const VeskHandleRef handle = PXALog::rdm_getHandler(handleId);
  if (handle == nullptr) {
    drop(&Dropped::unknownHandle);
    return Step::Continue;
  }
  // Measured before it is completed: the limit of a pass is on what was queued.
  const auto length = static_cast<std::int64_t>(jsonLengthOf(*event));
  if (!completion.complete(*event, handleId)) return Step::EndThread;
  if (!hasProjectList(*event)) {
    drop(&Dropped::noProjectList);
    return Step::Continue;
  }
  bytes += length;
  const GateVerdict verdict = judge(*event, *handle);
  if (verdict != GateVerdict::Send)
    drop(reasonOf(verdict));
  else if (!gather(event, handle))
    drop(&Dropped::noProjectList);
  return Step::Continue;
}

/// Takes at most that many events, and no more after the one that makes the pass too large.
Step gatherEvents(VeskBlockQueue& queue, std::int32_t count) {
  std::int64_t bytes = 0;
  EventCompletion completion;
  for (std::int32_t taken = 0; taken < count && bytes <= kMostBytesOfAPass; ++taken) {
    const VeskEventRef event = takeNextEvent(queue);
    if (event == nullptr) break;
    try {
      if (process(event, bytes, completion) == Step::EndThread) return Step::EndThread;
    } catch (const std::exception&) {
      drop(&Dropped::outOfMemory);
    }
  }
  return Step::Continue;
}

/// Sleeps for a second, then for as long as there is no event; gathers what is queued and sends it.
Step runPass() {
  Platform::current().clock.sleepForSeconds(kSecondsBetweenPasses);
  const std::shared_ptr<VeskBlockQueue> queue = gs_blockQueue();
  const std::int32_t count = queue->queueSize();  // waits while the queue is empty
  if (isSendingHeld()) return Step::Continue;     // a hold may have begun meanwhile
  if (gatherEvents(*queue, count) == Step::EndThread) return Step::EndThread;
  PXALog::sendVeskEventByRestAPI();
  return Step::Continue;
}

}  // namespace

void PXALog::logSendThread(const Value&) {
  while (!BackgroundThread::currentIsCancelled()) {
    if (isSendingHeld()) {
      // Without a sleep: what was held goes out as soon as it may.
      globalLock().letOthersIn();
      continue;
    }
    try {
      if (runPass() == Step::EndThread) return;
    } catch (const std::exception&) {
      // Out of memory, in all likelihood: this pass is lost, the next one may do better.
    }
  }
}

bool PXALog::createLogSendThread() {
  static auto& sendThreads = *new std::vector<std::shared_ptr<BackgroundThread>>;
  if (!sendThreads.empty()) return false;
  const auto thread = std::make_shared<BackgroundThread>("pxa-send", [] { logSendThread(nullptr); });
  if (!thread->start()) return false;
  sendThreads.push_back(thread);
  return true;
}

}  // namespace pxa
