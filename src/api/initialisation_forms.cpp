#include <pxalog/PXALog.h>

#include "api/handle/VeskHandle.h"
#include "api/initialisation.h"
#include "api/validation.h"

// The sixteen shorter forms of the master initialisation.

namespace pxa {

namespace {

constexpr std::int32_t kNoPort = -1;
constexpr std::int32_t kHttpPort = 80;

std::int32_t protocolForPort(std::int32_t port) {
  return port == kHttpPort ? kHttpProtocol : kHttpsProtocol;
}

}  // namespace

bool PXALog::init_ofAppKey_withVersion(const String& url, const String& appKey, const String& version) {
  return init_ofAppKey_withVersion_forUserId_forHandleId_enableSyncStart(url, appKey, version, nullptr,
                                                                         nullptr, false);
}

bool PXALog::init_ofAppKey_withVersion_enableSyncStart(const String& url, const String& appKey,
                                                       const String& version, bool enableSyncStart) {
  return init_ofAppKey_withVersion_forUserId_forHandleId_enableSyncStart(url, appKey, version, nullptr,
                                                                         nullptr, enableSyncStart);
}

bool PXALog::init_ofAppKey_withVersion_forUserId(const String& url, const String& appKey,
                                                 const String& version, const String& userId) {
  return init_ofAppKey_withVersion_forUserId_forHandleId_enableSyncStart(url, appKey, version, userId,
                                                                         nullptr, false);
}

bool PXALog::init_ofAppKey_withVersion_forUserId_enableSyncStart(const String& url, const String& appKey,
                                                                 const String& version, const String& userId,
                                                                 bool enableSyncStart) {
  return init_ofAppKey_withVersion_forUserId_forHandleId_enableSyncStart(url, appKey, version, userId,
                                                                         nullptr, enableSyncStart);
}

bool PXALog::init_ofAppKey_withVersion_forUserId_forHandleId(const String& url, const String& appKey,
                                                             const String& version, const String& userId,
                                                             const String& handleId) {
  return init_ofAppKey_withVersion_forUserId_forHandleId_enableSyncStart(url, appKey, version, userId,
                                                                         handleId, false);
}

bool PXALog::init_ofAppKey_withVersion_forUserId_forHandleId_enableSyncStart(
    const String& url, const String& appKey, const String& version, const String& userId,
    const String& handleId, bool enableSyncStart) {
  const std::int32_t port = getDefaultPortFromURL(url);
  return port != kNoPort && init_onPort_ofAppKey_withVersion_forUserId_forHandleId_enableSyncStart(
                                url, port, appKey, version, userId, handleId, enableSyncStart);
}

bool PXALog::init_onPort_ofAppKey_withVersion(const String& url, std::int32_t port, const String& appKey,
                                              const String& version) {
  return init_onPort_ofAppKey_withVersion_forUserId_forHandleId_enableSyncStart(url, port, appKey, version,
                                                                                nullptr, nullptr, false);
}

bool PXALog::init_onPort_ofAppKey_withVersion_enableSyncStart(const String& url, std::int32_t port,
                                                              const String& appKey, const String& version,
                                                              bool enableSyncStart) {
  return init_onPort_ofAppKey_withVersion_forUserId_forHandleId_enableSyncStart(
      url, port, appKey, version, nullptr, nullptr, enableSyncStart);
}

bool PXALog::init_onPort_ofAppKey_withVersion_forUserId(const String& url, std::int32_t port,
                                                        const String& appKey, const String& version,
                                                        const String& userId) {
  return init_onPort_ofAppKey_withVersion_forUserId_forHandleId_enableSyncStart(url, port, appKey, version,
                                                                                userId, nullptr, false);
}

bool PXALog::init_onPort_ofAppKey_withVersion_forUserId_enableSyncStart(const String& url, std::int32_t port,
                                                                        const String& appKey,
                                                                        const String& version,
                                                                        const String& userId,
                                                                        bool enableSyncStart) {
  return init_onPort_ofAppKey_withVersion_forUserId_forHandleId_enableSyncStart(
      url, port, appKey, version, userId, nullptr, enableSyncStart);
}

bool PXALog::init_onPort_ofAppKey_withVersion_forUserId_forHandleId(const String& url, std::int32_t port,
                                                                    const String& appKey,
                                                                    const String& version,
                                                                    const String& userId,
                                                                    const String& handleId) {
  return init_onPort_ofAppKey_withVersion_forUserId_forHandleId_enableSyncStart(url, port, appKey, version,
                                                                                userId, handleId, false);
}

bool PXALog::init_onPort_ofAppKey_withVersion_forUserId_forHandleId_enableSyncStart(
    const String& url, std::int32_t port, const String& appKey, const String& version, const String& userId,
    const String& handleId, bool enableSyncStart) {
  return init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart_withUnityVersion_forHandleId(
      url, port, protocolForPort(port), appKey, version, userId, true, enableSyncStart, nullptr, handleId);
}

bool PXALog::init_onPort_byProtocol_ofAppKey_withVersion_forUserId(const String& url, std::int32_t port,
                                                                   std::int32_t protocol,
                                                                   const String& appKey,
                                                                   const String& version,
                                                                   const String& userId) {
  return init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart_withUnityVersion_forHandleId(
      url, port, protocol, appKey, version, userId, true, false, nullptr, nullptr);
}

bool PXALog::init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter(
    const String& url, std::int32_t port, std::int32_t protocol, const String& appKey, const String& version,
    const String& userId, bool enablePlcrashreporter) {
  return init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart_withUnityVersion_forHandleId(
      url, port, protocol, appKey, version, userId, enablePlcrashreporter, false, nullptr, nullptr);
}

bool PXALog::init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart(
    const String& url, std::int32_t port, std::int32_t protocol, const String& appKey, const String& version,
    const String& userId, bool enablePlcrashreporter, bool enableSyncStart) {
  return init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart_withUnityVersion_forHandleId(
      url, port, protocol, appKey, version, userId, enablePlcrashreporter, enableSyncStart, nullptr, nullptr);
}

bool PXALog::
    init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart_withUnityVersion(
        const String& url, std::int32_t port, std::int32_t protocol, const String& appKey,
        const String& version, const String& userId, bool enablePlcrashreporter, bool enableSyncStart,
        const String& unityVersion) {
  return init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart_withUnityVersion_forHandleId(
      url, port, protocol, appKey, version, userId, enablePlcrashreporter, enableSyncStart, unityVersion,
      nullptr);
}

}  // namespace pxa
