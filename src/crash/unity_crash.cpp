#include <pxalog/PXALog.h>

#include "api/handle/GlobalLock.h"
#include "api/handle/common_fields.h"
#include "api/handle/handle_table.h"
#include "api/handle/host_address.h"
#include "api/handle/process_state.h"
#include "event/VeskEvent.h"
#include "event/event_keys.h"
#include "event/send_time.h"

// Crashes and handled exceptions that a Unity application tells. They are events like any other, and wait in
// the log queue with the rest.

namespace pxa {

using namespace literals;

namespace {

constexpr std::size_t kFieldsCapacity = 10;

Dictionary fieldsOf(const String& exception) {
  Dictionary fields(kFieldsCapacity);
  PXALog::copyCommonFields_forHandlerId(fields, defaultHandleId());
  fields.set(key::dumpData(), exception.isNil() ? "unknown"_text.utf8() : exception.utf8());
  fields.set(key::symbolMethod(), "none"_text);
  fields.set(key::crashStyle(), "unity-cs"_text);
  fields.set(key::logLevel(), "FATAL"_text.utf8());
  return fields;
}

}  // namespace

void PXALog::sendUnityCrash_withType_withMessage_withException(const String&, const String&,
                                                               const String& message,
                                                               const String& exception) {
  try {
    const VeskHandleRef handle = rdm_getHandler(defaultHandleId());
    if (handle == nullptr || !processFlags().isInitialised) return;
    const Data body = message.isNil() ? ""_text.utf8() : message.utf8();
    const Dictionary fields = fieldsOf(exception);
    const GlobalGuard guard;
    const String host = getHost();
    const std::int64_t sendTime = currentSendTime();
    gs_blockQueue()->enqueue(
        VeskEvent::initWithProjectName_projectVersion_logType_logSource_body_sendTime_host_fields_handleId(
            handle->projectName(), handle->projectVersion(), "CRASH"_text, handle->logSource(), body,
            sendTime, host, fields, defaultHandleId()));
  } catch (...) {
    // No memory for the event: the report is lost, and the application goes on.
  }
}

void PXALog::handledDebug_withException(const String& message, const String& exception) {
  sendUnityCrash_withType_withMessage_withException("DEBUG"_text, "HANDLED"_text, message, exception);
}

void PXALog::handledInfo_withException(const String& message, const String& exception) {
  sendUnityCrash_withType_withMessage_withException("INFO"_text, "HANDLED"_text, message, exception);
}

void PXALog::handledWarn_withException(const String& message, const String& exception) {
  sendUnityCrash_withType_withMessage_withException("WARN"_text, "HANDLED"_text, message, exception);
}

void PXALog::handledError_withException(const String& message, const String& exception) {
  sendUnityCrash_withType_withMessage_withException("ERROR"_text, "HANDLED"_text, message, exception);
}

void PXALog::handledFatal_withException(const String& message, const String& exception) {
  sendUnityCrash_withType_withMessage_withException("FATAL"_text, "HANDLED"_text, message, exception);
}

}  // namespace pxa
