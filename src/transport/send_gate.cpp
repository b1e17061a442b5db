#include "transport/send_gate.h"

#include <string>

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
  const std::string key = logKeyOf(event);
  if (store != nullptr && store->countOf(key)) {
    store->countRepeat(key);
    return GateVerdict::Repeated;
  }
  if (!handle.isLog()) return GateVerdict::LogSwitchedOff;
  if (store != nullptr) store->insert(key, 1);
  return GateVerdict::Send;
}

GateVerdict byLogSwitch(const VeskHandle& handle) {
  return handle.isLog() ? GateVerdict::Send : GateVerdict::LogSwitchedOff;
}

}  // namespace

GateVerdict judge(const VeskEvent& event, const VeskHandle& handle) {
  if (event.logType().kind() == Value::Kind::String && event.logType().bytes() == "SESSION")
    return handle.isSession() ? GateVerdict::Send : GateVerdict::SessionSwitchedOff;
  if (event.fields().dictionary().contains(key::dumpData().view())) return judgeCrash(event, handle);
  // Measurements of the network count as logs, whatever the network-insight switch says.
  if (textOfBytes(&event.body()) == "NETWORKINSIGHTS LOG") return byLogSwitch(handle);
  return judgeLog(event, handle);
}

bool PXALog::checkSendStatus_Handler(const VeskEvent& event, const VeskHandle& handle) {
  return judge(event, handle) == GateVerdict::Send;
}

bool PXALog::checkUnityCrash_Handler(const VeskEvent& event, const VeskHandle& handle) {
  DeduplicationStore* store = dedupeCrashTable();
  const std::string key = crashKeyOf(event);
  if (store == nullptr || key.empty()) return false;
  const bool isRepeat = store->countOf(key).has_value();
  if (!handle.isDeduplicate()) return true;
  if (isRepeat)
    store->countRepeat(key);
  else
    store->insert(key, 1);
  return !isRepeat;
}

}  // namespace pxa
