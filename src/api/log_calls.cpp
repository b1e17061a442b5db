#include <utility>

#include <pxalog/PXALog.h>

#include "api/handle/GlobalLock.h"
#include "api/handle/handle_table.h"
#include "api/handle/process_state.h"
#include "event/VeskEvent.h"
#include "event/event_keys.h"
#include "event/send_time.h"

namespace pxa {

using namespace literals;

namespace {

/// The log that tells a new session is known by its message alone.
bool isSessionLog(const String& message) {
  return message.view() == text::session().view();
}

}  // namespace

void PXALog::sendLog_errorCode_withMessage_atLocation(const String& level, const String& errorCode,
                                                      const String& message, const String& location) {
  sendLog_errorCode_withMessage_atLocation_forHandleId(level, errorCode, message, location,
                                                       defaultHandleId());
}

void PXALog::sendLog_errorCode_withMessage_atLocation_forHandleId(const String& level,
                                                                  const String& errorCode,
                                                                  const String& message, const String&,
                                                                  const String& handleId) {
  try {
    Data body = message.isNil() ? ""_text.utf8() : message.utf8();
    auto event = std::make_shared<VeskEvent>(level, errorCode, std::move(body), currentSendTime());
    VeskEventRef displaced;  // goes after the lock is left
    const GlobalGuard guard;
    VeskHandle* const handle = findHandle(handleId);
    if (handle == nullptr) return;
    event->setOrigin(handle->eventOrigin(handleId));
    if (isSessionLog(message)) event->setLogType(text::session());
    displaced = blockQueue()->enqueue(std::move(event));
  } catch (...) {
    // No memory for the event: the line is lost, and the application goes on.
  }
}

void PXALog::debug_withMessage(const String& errorCode, const String& message) {
  debug_withMessage_atLocation(errorCode, message, nullptr);
}

void PXALog::debug_withMessage_atLocation(const String& errorCode, const String& message,
                                          const String& location) {
  debug_withMessage_atLocation_forHandleId(errorCode, message, location, defaultHandleId());
}

void PXALog::debug_Keepcell_withMessage(const String& errorCode, const String& message) {
  debug_Keepcell_withMessage_atLocation(errorCode, message, nullptr);
}

void PXALog::debug_Keepcell_withMessage_atLocation(const String& errorCode, const String& message,
                                                   const String& location) {
  debug_withMessage_atLocation_forHandleId(errorCode, message, location, keepcellHandleId());
}

void PXALog::debug_withMessage_atLocation_forHandleId(const String& errorCode, const String& message,
                                                      const String& location, const String& handleId) {
  sendLog_errorCode_withMessage_atLocation_forHandleId("DEBUG"_text, errorCode, message, location, handleId);
}

void PXALog::info_withMessage(const String& errorCode, const String& message) {
  info_withMessage_atLocation(errorCode, message, nullptr);
}

void PXALog::info_withMessage_atLocation(const String& errorCode, const String& message,
                                         const String& location) {
  info_withMessage_atLocation_forHandleId(errorCode, message, location, defaultHandleId());
}

void PXALog::info_Keepcell_withMessage(const String& errorCode, const String& message) {
  info_Keepcell_withMessage_atLocation(errorCode, message, nullptr);
}

void PXALog::info_Keepcell_withMessage_atLocation(const String& errorCode, const String& message,
                                                  const String& location) {
  info_withMessage_atLocation_forHandleId(errorCode, message, location, keepcellHandleId());
}

void PXALog::info_withMessage_atLocation_forHandleId(const String& errorCode, const String& message,
                                                     const String& location, const String& handleId) {
  sendLog_errorCode_withMessage_atLocation_forHandleId("INFO"_text, errorCode, message, location, handleId);
}

void PXALog::warn_withMessage(const String& errorCode, const String& message) {
  warn_withMessage_atLocation(errorCode, message, nullptr);
}

void PXALog::warn_withMessage_atLocation(const String& errorCode, const String& message,
                                         const String& location) {
  warn_withMessage_atLocation_forHandleId(errorCode, message, location, defaultHandleId());
}

void PXALog::warn_Keepcell_withMessage(const String& errorCode, const String& message) {
  warn_Keepcell_withMessage_atLocation(errorCode, message, nullptr);
}

void PXALog::warn_Keepcell_withMessage_atLocation(const String& errorCode, const String& message,
                                                  const String& location) {
  warn_withMessage_atLocation_forHandleId(errorCode, message, location, keepcellHandleId());
}

void PXALog::warn_withMessage_atLocation_forHandleId(const String& errorCode, const String& message,
                                                     const String& location, const String& handleId) {
  sendLog_errorCode_withMessage_atLocation_forHandleId("WARN"_text, errorCode, message, location, handleId);
}

void PXALog::error_withMessage(const String& errorCode, const String& message) {
  error_withMessage_atLocation(errorCode, message, nullptr);
}

void PXALog::error_withMessage_atLocation(const String& errorCode, const String& message,
                                          const String& location) {
  error_withMessage_atLocation_forHandleId(errorCode, message, location, defaultHandleId());
}

void PXALog::error_Keepcell_withMessage(const String& errorCode, const String& message) {
  error_Keepcell_withMessage_atLocation(errorCode, message, nullptr);
}

void PXALog::error_Keepcell_withMessage_atLocation(const String& errorCode, const String& message,
                                                   const String& location) {
  error_withMessage_atLocation_forHandleId(errorCode, message, location, keepcellHandleId());
}

void PXALog::error_withMessage_atLocation_forHandleId(const String& errorCode, const String& message,
                                                      const String& location, const String& handleId) {
  sendLog_errorCode_withMessage_atLocation_forHandleId("ERROR"_text, errorCode, message, location, handleId);
}

void PXALog::fatal_withMessage(const String& errorCode, const String& message) {
  fatal_withMessage_atLocation(errorCode, message, nullptr);
}

void PXALog::fatal_withMessage_atLocation(const String& errorCode, const String& message,
                                          const String& location) {
  fatal_withMessage_atLocation_forHandleId(errorCode, message, location, defaultHandleId());
}

void PXALog::fatal_Keepcell_withMessage(const String& errorCode, const String& message) {
  fatal_Keepcell_withMessage_atLocation(errorCode, message, nullptr);
}

void PXALog::fatal_Keepcell_withMessage_atLocation(const String& errorCode, const String& message,
                                                   const String& location) {
  fatal_withMessage_atLocation_forHandleId(errorCode, message, location, keepcellHandleId());
}

void PXALog::fatal_withMessage_atLocation_forHandleId(const String& errorCode, const String& message,
                                                      const String& location, const String& handleId) {
  sendLog_errorCode_withMessage_atLocation_forHandleId("FATAL"_text, errorCode, message, location, handleId);
}
}  // namespace pxa
