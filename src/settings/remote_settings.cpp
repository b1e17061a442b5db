#include "settings/remote_settings.h"

#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include <pxalog/Array.h>

#include "api/handle/process_state.h"
#include "platform/HostSettings.h"
#include "platform/Platform.h"
#include "transport/send_loop.h"

namespace pxa {

namespace {

/// The dictionary in a value; a null is an empty one. Throws for any other kind.
Dictionary containerIn(const Value& value) {
  if (value.isNull()) return nullptr;
  if (value.kind() != Value::Kind::Dictionary) throw std::invalid_argument("no dictionary where one belongs");
  return value.dictionary();
}

/// The dictionary under the key, nil when the key is missing. Throws for any other value, a null included.
Dictionary containerUnder(const Dictionary& parent, const char* key) {
  const Value* value = parent.find(key);
  if (value == nullptr) return nullptr;
  if (value->kind() != Value::Kind::Dictionary)
    throw std::invalid_argument("no dictionary where one belongs");
  return value->dictionary();
}

/// The "enable" of one kind of data; nothing when it is missing.
std::optional<Value> enableOf(const Dictionary& kind) {
  const Value* enable = kind.find("enable");
  return enable == nullptr ? std::nullopt : std::optional<Value>(*enable);
}

/// What an "enable" says: a number its truth, a text or a missing one false. Throws for a value that has no
/// truth.
bool truthOf(const std::optional<Value>& enable) {
  if (!enable || enable->kind() == Value::Kind::String) return false;
  if (enable->kind() != Value::Kind::Number) throw std::invalid_argument("an enable without a truth value");
  return enable->number().boolValue();
}

/// The answer as a dictionary; nil for a text that is not JSON.
Dictionary parseAnswer(const String& text) {
  return containerIn(Platform::current().jsonParser.parse(text.utf8()).value_or(nullptr));
}

void queueProbes(const Dictionary& networkInsights, const String& handleId) {
  const Value* urls = networkInsights.find("urls");
  if (urls == nullptr) return;
  if (urls->kind() != Value::Kind::Array) throw std::invalid_argument("no array of addresses");
  const std::shared_ptr<VeskBlockQueue> queue = gs_blockQueue();
  for (const Value& url : urls->array()) {
    if (url.kind() != Value::Kind::String) continue;
    const auto job = std::make_shared<NetworkData>();
    job->setUrl(url.string());
    job->setHandlerId(handleId);
    queue->enqueue_network(job);
  }
}

}  // namespace

String settingsAddress(const VeskHandle& handle) {
  const Host::SettingsService service = HostSettings::settingsService();
  const bool isAlternate =
      !service.alternateForCollector.isEmpty() && handle.collectorUrl() == service.alternateForCollector;
  const std::string base =
      isAlternate ? std::string("http://") + service.alternateHost.c_str() + ":10092/v2/settings/"
                  : std::string("http://") + service.defaultHost.c_str() + "/v2/";
  return base + handle.projectName().c_str() + "/logsconf";
}

VeskHandleRef PXALog::Fill_Handler_by_SettingsAPI_loadData_HanderID(const VeskHandleRef& handle,
                                                                    const String& text,
                                                                    const String& handleId) {
  try {
    const Dictionary result = containerUnder(parseAnswer(text), "result");
    const Dictionary networkInsights = containerUnder(result, "networkinsights");
    const std::optional<Value> networkInsight = enableOf(networkInsights);
    const std::optional<Value> crash = enableOf(containerUnder(result, "crash"));
    const std::optional<Value> log = enableOf(containerUnder(result, "log"));
    const std::optional<Value> session = enableOf(containerUnder(result, "session"));
    // Each takes effect before the next is looked at, also when that one turns out to have no truth value.
    handle->setIsNetworkInsight(truthOf(networkInsight));
    handle->setIsCrash(truthOf(crash));
    handle->setIsLog(truthOf(log));
    handle->setIsSession(truthOf(session));
    createLogSendThread();
    if (handle->isNetworkInsight()) queueProbes(networkInsights, handleId);
  } catch (const std::exception&) {
    switchOnAllKinds(*handle);
  }
  return handle;
}

std::int32_t statusOfSettings(const String& text) {
  const Dictionary answer = parseAnswer(text);
  const Value* status = answer.find("status");
  if (status == nullptr) return 0;
  if (status->kind() == Value::Kind::Number) return status->number().intValue();
  if (status->kind() == Value::Kind::String) return status->string().intValue();
  throw std::invalid_argument("a status that is no number");
}

void switchOnAllKinds(VeskHandle& handle) {
  handle.setIsSession(true);
  handle.setIsLog(true);
  handle.setIsCrash(true);
}

}  // namespace pxa
