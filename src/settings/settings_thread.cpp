#include "settings/settings_thread.h"

#include <exception>
#include <memory>
#include <vector>

#include "api/handle/GlobalLock.h"
#include "api/handle/handle_table.h"
#include "api/handle/process_state.h"
#include "platform/BackgroundThread.h"
#include "platform/Platform.h"
#include "settings/NetworkInSight.h"
#include "settings/insight_thread.h"
#include "settings/remote_settings.h"
#include "transport/send_loop.h"

namespace pxa {

using namespace literals;

namespace {

constexpr double kTimeoutSeconds = 10.0;

void holdSending() {
  const GlobalGuard guard;
  processFlags().isSettingsPending = true;
}

UrlAnswer requestSettings(const VeskHandle& handle) {
  UrlRequest request;
  {
    const GlobalGuard guard;
    request.url = settingsAddress(handle);
  }
  request.method = "GET"_text;
  request.timeoutSeconds = kTimeoutSeconds;
  return Platform::current().urlLoader.sendSynchronousRequest(request);
}

/// Without an answer the last one decides; without one of those, everything but network insight is sent.
void applySavedSettings(const VeskHandleRef& handle, const String& handleId) {
  handle->setIsNetworkInsight(false);
  const String saved = NetworkInSight::performanceLoad();
  const GlobalGuard guard;
  if (saved.isNil())
    switchOnAllKinds(*handle);
  else
    PXALog::Fill_Handler_by_SettingsAPI_loadData_HanderID(handle, saved, handleId);
}

/// The defaults of a refusing answer come first: what the answer says replaces them, even where it says
/// nothing.
void applyAnswer(const VeskHandleRef& handle, const String& text, const String& handleId) {
  constexpr std::int32_t kSuccess = 200;
  try {
    if (statusOfSettings(text) != kSuccess) {
      handle->setIsNetworkInsight(false);
      switchOnAllKinds(*handle);
    }
  } catch (const std::exception&) {
    // An answer of the wrong shape sets no defaults.
  }
  const GlobalGuard guard;
  PXALog::Fill_Handler_by_SettingsAPI_loadData_HanderID(handle, text, handleId);
  NetworkInSight::performanceSave(text);
}

void askForSettings(const VeskHandleRef& handle, const String& handleId) {
  const UrlAnswer answer = requestSettings(*handle);
  if (answer.error.isError())
    applySavedSettings(handle, handleId);
  else
    applyAnswer(handle, String::fromUtf8(answer.body), handleId);
}

void finishRound(VeskHandle& handle) {
  const GlobalGuard guard;
  processFlags().isSettingsPending = false;
  handle.setIsSettings(true);
  PXALog::createLogSendThread();
}

}  // namespace

void PXALog::performanceThread(const Value&) {
  while (!BackgroundThread::currentIsCancelled()) {
    const String handleId = gs_blockQueue()->dequeue_handler();
    holdSending();
    const VeskHandleRef handle = rdm_getHandler(handleId);
    if (handle == nullptr) return;
    try {
      askForSettings(handle, handleId);
    } catch (const std::exception&) {
      switchOnAllKinds(*handle);  // out of memory, in all likelihood: as without an answer
    }
    finishRound(*handle);
  }
}

bool PXALog::createPerformanceThread() {
  static auto& settingsThreads = *new std::vector<std::shared_ptr<BackgroundThread>>;
  static auto& insightThreads = *new std::vector<std::shared_ptr<BackgroundThread>>;
  if (!settingsThreads.empty()) return false;
  const auto insight =
      std::make_shared<BackgroundThread>("pxa-insight", [] { performanceSendThread(nullptr); });
  if (insightThreads.empty() && insight->start()) insightThreads.push_back(insight);
  const auto settings =
      std::make_shared<BackgroundThread>("pxa-settings", [] { performanceThread(nullptr); });
  if (!settings->start()) return false;
  settingsThreads.push_back(settings);
  return true;
}

}  // namespace pxa
