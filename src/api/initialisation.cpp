#include "api/initialisation.h"

#include <stdexcept>
#include <string>

#include <pxalog/NotificationCenter.h>
#include <pxalog/VeskReachability.h>

#include "api/handle/GlobalLock.h"
#include "api/handle/handle_table.h"
#include "api/handle/process_state.h"
#include "api/identifiers.h"
#include "api/network_type.h"
#include "api/validation.h"
#include "crash/crash_capture.h"
#include "event/event_keys.h"
#include "platform/Platform.h"
#include "settings/settings_thread.h"
#include "transport/BulkEventLists.h"
#include "transport/VeskHttpsDelegate.h"
#include "transport/deduplication.h"
#include "transport/send_loop.h"

namespace pxa {

using namespace literals;

namespace {

/// What one call of the master initialisation was given.
struct HandleArguments {
  const String& host;
  std::int32_t port;
  std::int32_t protocol;
  const String& appKey;
  const String& version;
  const String& userId;
  const String& unityVersion;
};

bool startReachabilityMonitor(const String& host) {
  const std::shared_ptr<VeskReachability> monitor = VeskReachability::reachabilityWithHostname(host);
  if (monitor == nullptr) return false;
  networkRecord()->setReachability(monitor);
  return monitor->startNotifier();
}

/// A set-up that is made anew observes once all the same.
void observeTheApplication() {
  static constexpr char kObserver = 0;
  NotificationCenter& center = NotificationCenter::defaultCenter();
  center.addObserver(&kObserver, kWillEnterForegroundNotification, [](const Notification& notification) {
    PXALog::applicationWillEnterForeground(&notification);
  });
  center.addObserver(&kObserver, kDidEnterBackgroundNotification, [](const Notification& notification) {
    PXALog::applicationDidEnterBackground(&notification);
  });
}

/// Sets up what all handles share, once per process; a set-up that fails is made anew by the next
/// initialisation. The caller holds the global lock.
bool performSharedSetUp(const String& host) {
  resetHandleTable();
  resetDedupeTables();
  bulkEventLists().removeAll();
  resetNetworkRecord();
  resetBlockQueue();
  resetHttpsDelegate();
  observeTheApplication();
  if (!startReachabilityMonitor(host)) return false;
  gs_blockQueue()->loadFromFile();
  processFlags().isSharedSetUpDone = true;
  return true;
}

void updateNetworkRecord() {
  VeskHandle& network = *networkRecord();
  const VeskReachability::Status status = network.reachability()->currentReachabilityStatus();
  network.setIsReachable(status != VeskReachability::NotReachable);
  network.setNetworkType(PXALog::networkStringOf(status));
}

String nextHandleId() {
  static std::uint32_t nextHandleNumber = 0;  // under the global lock; wraps as a 32-bit number does
  return std::to_string(static_cast<std::int32_t>(nextHandleNumber++));
}

void fillRecord(VeskHandle& handle, const HandleArguments& arguments) {
  handle.setIsDeduplicate(true);
  handle.setCollectorUrl(arguments.host);
  handle.setCollectorPort(arguments.port);
  handle.setProjectName(arguments.appKey);
  handle.setProjectVersion(arguments.version);
  handle.setUserId(arguments.userId);
  handle.setProtocol(arguments.protocol);
  handle.setCustomFields(Dictionary(VeskHandle::kCustomFieldsCapacity));
}

void writeReservedFields(Dictionary& fields, const String& unityVersion) {
  fields.set(key::logVersion(), "v2"_text.utf8());
  fields.set(key::symbolMethod(), "none"_text);
  fields.set(key::crashStyle(), "unity-cs"_text);
  fields.set(key::sdkVersion(), "brine-quillmark-iOS-sdk-2.6.6"_text.utf8());
  fields.set(key::sessionId(), PXALog::generateUUID().utf8());
  if (processFlags().isUnityMode) {
    if (unityVersion.isNil())
      throw std::invalid_argument("no Unity version, though an earlier handle had one");
    fields.set(key::unity(), unityVersion.utf8());
  }
  if (const String deviceId = PXALog::getDeviceID(); !deviceId.isEmpty())
    fields.set(key::deviceId(), deviceId);
}

/// The Keepcell handle needs no settings and tells no session.
void startKeepcell(VeskHandle& handle) {
  handle.setIsSettings(true);
  if (!processFlags().isCrashReportingSetUp) PXALog::createLogSendThread();
}

void reportCrashesOf(const String& handleId) {
  if (const VeskHandleRef handle = PXALog::rdm_getHandler(handleId); handle != nullptr)
    Platform::current().crashReporter.setApplication(handle->projectName(), handle->projectVersion());
  PXALog::enableSendCrashReport();
}

void startOrdinary(const String& handleId, bool enablePlcrashreporter) {
  if (!processFlags().isCrashReportingSetUp) {
    if (enablePlcrashreporter) reportCrashesOf(handleId);
    processFlags().isCrashReportingSetUp = true;
  }
  gs_blockQueue()->enqueue_handler(handleId);
  PXALog::createPerformanceThread();
  PXALog::createSession(handleId);
}

}  // namespace

bool PXALog::check_params_onPort_byProtocol_ofAppKey_withVersion(const String& url, std::int32_t,
                                                                 std::int32_t protocol, const String& appKey,
                                                                 const String& version) {
  return !url.isNil() && (protocol == kHttpsProtocol || protocol == kHttpProtocol) && isValidAppKey(appKey) &&
         isValidVersion(version);
}

bool PXALog::
    init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart_withUnityVersion_forHandleId(
        const String& url, std::int32_t port, std::int32_t protocol, const String& appKey,
        const String& version, const String& userId, bool enablePlcrashreporter, bool enableSyncStart,
        const String& unityVersion, const String& handleId) {
  if (!check_params_onPort_byProtocol_ofAppKey_withVersion(url, port, protocol, appKey, version))
    return false;
  const String host = removeURLPrefix(url);

  const GlobalGuard guard;
  ProcessFlags& flags = processFlags();
  flags.isSendingHeld = enableSyncStart;
  if (!isStringEmpty(unityVersion)) flags.isUnityMode = true;
  if (!flags.isSharedSetUpDone && !performSharedSetUp(host)) return false;
  bulkEventLists().replaceList(appKey);
  updateNetworkRecord();

  const String id = handleId.isNil() ? nextHandleId() : handleId;
  if (rdm_getHandler(id) != nullptr) return false;
  rdm_setHandler(id);
  const VeskHandleRef handle = rdm_getHandler(id);
  if (handle == nullptr) return false;
  fillRecord(*handle, {host, port, protocol, appKey, version, userId, unityVersion});
  writeReservedFields(handle->customFields(), unityVersion);

  flags.isInitialised = true;
  if (id == keepcellHandleId())
    startKeepcell(*handle);
  else
    startOrdinary(id, enablePlcrashreporter);
  return true;
}

void PXALog::startSendThread() {
  const GlobalGuard guard;
  processFlags().isSendingHeld = false;
}

void PXALog::createSession(const String& handleId) {
  if (handleId.isNil()) return;
  sendLog_errorCode_withMessage_atLocation_forHandleId("INFO"_text, nullptr, text::session(), nullptr,
                                                       handleId);
}

}  // namespace pxa
