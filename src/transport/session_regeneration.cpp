#include "transport/session_regeneration.h"

#include <cstdint>
#include <optional>
#include <string_view>

#include "api/handle/host_address.h"
#include "diagnostics/Ledger.h"
#include "event/event_json.h"
#include "event/event_keys.h"
#include "event/send_time.h"
#include "platform/Platform.h"
#include "transport/deduplication.h"

namespace pxa {

using namespace literals;

namespace {

constexpr std::int32_t kSightingsOfARepeat = 2;

bool isRepeatedCrash(const VeskEvent& crash, const VeskHandle& handle) {
  if (!handle.isDeduplicate()) return false;
  const DeduplicationStore* store = dedupeCrashTable();
  return store != nullptr && store->countOf(crashKeyOf(crash)).value_or(0) >= kSightingsOfARepeat;
}

String newSessionId() {
  const String uuid = Platform::current().uuids.createUuid();
  return uuid.isEmpty() ? "-"_text : uuid;
}

/// The fields of the crash as the collector gets them; nothing when the crash was carried over from a failed
/// delivery.
std::optional<Dictionary> fieldsOf(const VeskEventRef& crash) {
  Dictionary fields;
  const auto members = Platform::current().jsonParser.parse(PXALog::getJsonFromVeskEvent(crash));
  if (!members) return fields;
  for (const Dictionary::Entry& member : members->dictionary())
    if (!key::isRecordMember(member.key.view())) fields.set(member.key, member.value);
  if (fields.contains(key::errorRate().view())) return std::nullopt;
  return fields;
}

}  // namespace

void PXALog::regenerateSession_BulkEventQueue_Handler(const VeskEventRef& crash,
                                                      BulkEventLists::EventList& bulk,
                                                      const VeskHandleRef& handle) {
  if (crash->handleId().isNull() || handle == nullptr) return;
  if (isRepeatedCrash(*crash, *handle)) return;

  const Data sessionId = newSessionId().utf8();
  handle->customFields().set(key::sessionId(), sessionId);
  const std::int64_t sendTime = currentSendTime();
  std::optional<Dictionary> fields = fieldsOf(crash);
  if (!fields) return;
  if (!handle->customFields().isNil()) {
    fields->set(key::sessionId(), sessionId);
    fields->set(key::logLevel(), "INFO"_text);
    for (const String& crashField :
         {key::dumpData(), key::symbolMethod(), key::crashStyle(), key::errorCode()})
      fields->remove(crashField.view());
  }
  bulk.push_back(
      VeskEvent::initWithProjectName_projectVersion_logType_logSource_body_sendTime_host_fields_handleId(
          crash->projectName(), crash->projectVersion(), text::session(), crash->logSource(),
          text::session().utf8(), sendTime, getHost(), *fields, crash->handleId()));
  ledger().enter(&Ledger::Events::gathered);
}

}  // namespace pxa
