#pragma once

#include <cstdint>
#include <string_view>

#include <pxalog/PXALog.h>
#include <pxalog/Value.h>

#include "api/handle/handle_table.h"
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

/// A custom field of an open handle.
inline Value customField(const String& handleId, std::string_view key) {
  return PXALog::rdm_getHandler(handleId)->customFields().value(key);
}

}  // namespace pxa::test
