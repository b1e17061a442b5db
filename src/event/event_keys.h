#pragma once

#include <string_view>

#include <pxalog/String.h>

/// The keys of an event's record and fields, as they stand on the wire and in archives.
namespace pxa::key {

using namespace literals;

inline String projectName() {
  return "projectName"_text;
}
inline String projectVersion() {
  return "projectVersion"_text;
}
inline String logType() {
  return "logType"_text;
}
inline String logSource() {
  return "logSource"_text;
}
inline String body() {
  return "body"_text;
}
inline String sendTime() {
  return "sendTime"_text;
}
inline String host() {
  return "host"_text;
}
inline String fields() {
  return "fields"_text;
}
inline String handleId() {
  return "handleId"_text;
}

inline String freeMemory() {
  return "FreeMemory"_text;
}
inline String freeDiskSpace() {
  return "FreeDiskSpace"_text;
}
inline String logLevel() {
  return "logLevel"_text;
}
inline String errorCode() {
  return "errorCode"_text;
}
inline String errorRate() {
  return "errorRate"_text;
}
inline String bulkIndex() {
  return "rdmBulkIndex"_text;
}
inline String userId() {
  return "UserID"_text;
}
inline String dumpData() {
  return "DmpData"_text;
}

inline String logVersion() {
  return "logVersion"_text;
}
inline String symbolMethod() {
  return "SymMethod"_text;
}
inline String crashStyle() {
  return "CrashStyle"_text;
}
inline String sdkVersion() {
  return "SdkVersion"_text;
}
inline String sessionId() {
  return "SessionID"_text;
}
inline String deviceId() {
  return "DeviceID"_text;
}
inline String unity() {
  return "Unity"_text;
}

inline String platform() {
  return "Platform"_text;
}
inline String deviceModel() {
  return "DeviceModel"_text;
}
inline String carrier() {
  return "Carrier"_text;
}
inline String countryCode() {
  return "CountryCode"_text;
}
inline String locale() {
  return "Locale"_text;
}
inline String networkType() {
  return "NetworkType"_text;
}

/// Whether the name is that of a member that every event carries, the host aside.
bool isRecordMember(std::string_view name);

}  // namespace pxa::key

/// Texts by which events are told apart.
namespace pxa::text {

using namespace literals;

/// Body and log type of the log that tells a new session.
inline String session() {
  return "SESSION"_text;
}
/// Body of a measurement of the network.
inline String networkInsightsLog() {
  return "NETWORKINSIGHTS LOG"_text;
}

}  // namespace pxa::text
