#include "transport/send_gate.h"

#include <exception>
#include <utility>

#include "api/handle/GlobalLock.h"
#include "api/handle/process_state.h"
#include "event/event_json.h"
#include "event/event_keys.h"
#include "transport/deduplication.h"

namespace pxa {

namespace {

GateVerdict judgeCrash(const VeskEvent& event, const VeskHandle& handle) {
  if (!handle.isCrash()) return GateVerdict::CrashSwitchedOff;
  const GlobalGuard guard;
  if (!processFlags().isUnityMode) return GateVerdict::Send;
  return PXALog::checkUnityCrash_Handler(event, handle) ? GateVerdict::Send : GateVerdict::Repeated;
}

GateVerdict judgeLog(const VeskEvent& event, const VeskHandle& handle) {
  // Without deduplication the log switch is not asked either.
  if (!handle.isDeduplicate()) return GateVerdict::Send;
  DeduplicationStore* store = dedupeLogTable();
  DeduplicationStore::Key key = logKeyOf(event);
  if (store != nullptr && store->countOf(key)) {
    store->countRepeat(key);
    return GateVerdict::Repeated;
  }
  if (!handle.isLog()) return GateVerdict::LogSwitchedOff;
  if (store != nullptr) store->insert(std::move(key), 1);
  return GateVerdict::Send;
}

GateVerdict byLogSwitch(const VeskHandle& handle) {
  return handle.isLog() ? GateVerdict::Send : GateVerdict::LogSwitchedOff;
}

}  // namespace

GateVerdict judge(const VeskEvent& event, const VeskHandle& handle) {
  if (event.logType().kind() == Value::Kind::String && event.logType().bytes() == text::session().view())
    return handle.isSession() ? GateVerdict::Send : GateVerdict::SessionSwitchedOff;
  if (event.field(key::dumpData().view()) != nullptr) return judgeCrash(event, handle);
  // Measurements of the network count as logs, whatever the network-insight switch says.
  if (textOfBytes(&event.body()) == text::networkInsightsLog().view()) return byLogSwitch(handle);
  try {
    return judgeLog(event, handle);
  } catch (const std::exception&) {
    return GateVerdict::OutOfMemory;
  }
}

bool PXALog::checkSendStatus_Handler(const VeskEvent& event, const VeskHandle& handle) {
  return judge(event, handle) == GateVerdict::Send;
}

bool PXALog::checkUnityCrash_Handler(const VeskEvent& event, const VeskHandle& handle) {
  DeduplicationStore* store = dedupeCrashTable();
  DeduplicationStore::Key key = crashKeyOf(event);
  if (store == nullptr || key.text().empty()) return false;
  const bool isRepeat = store->countOf(key).has_value();
  if (!handle.isDeduplicate()) return true;
  if (isRepeat)
    store->countRepeat(key);
  else
    store->insert(std::move(key), 1);
  return !isRepeat;
}

}  // namespace pxa
