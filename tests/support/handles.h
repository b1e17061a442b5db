#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <pxalog/PXALog.h>
#include <pxalog/Value.h>

#include "api/handle/handle_table.h"
#include "api/handle/process_state.h"
#include "support/FakePlatform.h"

namespace pxa::test {

inline constexpr const char* kUrl = "https://logs.example.com";
inline constexpr const char* kCollector = "logs.example.com";
inline constexpr const char* kAppKey = "project";
inline constexpr const char* kVersion = "1.0.3";

/// What a handle is opened with; as they are, they open the next handle without an id.
struct HandleOptions {
  String url = kUrl;
  std::int32_t port = 443;
  std::int32_t protocol = 0;
  String appKey = kAppKey;
  String version = kVersion;
  String userId = nullptr;
  bool reportsCrashes = true;
  bool isSyncStart = false;
  String unityVersion = nullptr;
  String handleId = nullptr;
};

inline bool openHandle(const HandleOptions& with = {}) {
  return PXALog::
      init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart_withUnityVersion_forHandleId(
          with.url, with.port, with.protocol, with.appKey, with.version, with.userId, with.reportsCrashes,
          with.isSyncStart, with.unityVersion, with.handleId);
}

/// A fake platform on which handle "0" is open.
inline FakePlatform& installWithHandle() {
  FakePlatform& platform = FakePlatform::install();
  openHandle();
  return platform;
}

/// Takes every event out of the log queue, oldest first.
inline std::vector<VeskEventRef> takeEvents() {
  std::vector<VeskEventRef> events;
  const auto queue = gs_blockQueue();
  if (queue == nullptr) return events;
  while (VeskEventRef event = queue->dequeueIfAny()) events.push_back(event);
  return events;
}

/// The text of a String or Data; "(nil)" without one.
inline std::string text(const String& text) {
  return text.isNil() ? "(nil)" : std::string(text.view());
}
inline std::string text(const Value& value) {
  const bool hasText = value.kind() == Value::Kind::String || value.kind() == Value::Kind::Data;
  return hasText ? std::string(value.bytes()) : "(nil)";
}

/// Takes the log queue's events and returns those that are no session logs.
inline std::vector<VeskEventRef> takeLogs() {
  std::vector<VeskEventRef> logs = takeEvents();
  std::erase_if(logs, [](const VeskEventRef& event) { return text(event->logType()) == "SESSION"; });
  return logs;
}

/// The value that holds the text as bytes.
inline Value bytes(std::string_view text) {
  return Data(text);
}

inline bool isText(const Value& value) {
  return value.kind() == Value::Kind::String;
}

/// A custom field of an open handle.
inline Value customField(const String& handleId, std::string_view key) {
  return PXALog::rdm_getHandler(handleId)->customFields().value(key);
}

/// The keys in the order in which they were set.
inline std::vector<std::string> keysOf(const Dictionary& dictionary) {
  std::vector<std::string> keys;
  for (const Dictionary::Entry& entry : dictionary) keys.push_back(text(entry.key));
  return keys;
}

}  // namespace pxa::test
