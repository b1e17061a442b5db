#include "settings/insight_thread.h"

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <string_view>

#include "api/handle/GlobalLock.h"
#include "api/handle/common_fields.h"
#include "api/handle/handle_table.h"
#include "api/handle/host_address.h"
#include "api/handle/process_state.h"
#include "event/event_keys.h"
#include "event/send_time.h"
#include "foundation/ascii.h"
#include "platform/BackgroundThread.h"
#include "platform/Platform.h"

namespace pxa {

using namespace literals;

namespace {

struct Measurement {
  std::int64_t latencyMilliseconds;
  int status;  // 0 without a response
};

/// scheme, authority with a port, and the parts of the path, from an address split at its slashes. An address
/// with fewer than three parts has no authority and is left as it is.
String withExplicitPort(std::string_view url, std::string_view scheme, std::string_view defaultPort) {
  const std::size_t afterScheme = url.find('/');
  const std::size_t beforeAuthority =
      afterScheme == std::string_view::npos ? afterScheme : url.find('/', afterScheme + 1);
  if (beforeAuthority == std::string_view::npos) return url;
  const std::string_view rest = url.substr(beforeAuthority + 1);
  const std::string_view authority = rest.substr(0, rest.find('/'));
  std::string normalised = std::string(scheme).append(authority);
  if (authority.find(':') == std::string_view::npos) normalised.append(":").append(defaultPort);
  return normalised.append(rest.substr(authority.size()));
}

Measurement probe(const String& url) {
  Clock& clock = Platform::current().clock;
  const double start = clock.monotonicSeconds();
  UrlRequest request;
  request.url = normalisedProbeAddress(url);
  request.method = "GET"_text;
  request.wantsBody = false;
  const UrlAnswer answer = Platform::current().urlLoader.sendSynchronousRequest(request);
  const double milliseconds = (clock.monotonicSeconds() - start) * 1000.0;
  return {Number(milliseconds).longLongValue(), answer.error.isError() ? 0 : answer.response.statusCode};
}

void queueResult(const NetworkData& job, const VeskHandle& handle, const Measurement& measurement) {
  const GlobalGuard guard;
  const String host = PXALog::getHost();
  const std::int64_t sendTime = currentSendTime();
  Dictionary fields;
  if (!PXALog::copyCommonFields_forHandlerId(fields, job.handlerId())) return;
  fields.set("NIVersion"_text, "1.0.0"_text.utf8());
  fields.set("Url"_text, job.url().utf8());
  fields.set("Latency"_text, String(std::to_string(measurement.latencyMilliseconds)).utf8());
  fields.set("Status"_text, String(std::to_string(measurement.status)).utf8());
  fields.set(key::logLevel(), "INFO"_text.utf8());
  gs_blockQueue()->enqueue(
      VeskEvent::initWithProjectName_projectVersion_logType_logSource_body_sendTime_host_fields_handleId(
          handle.projectName(), handle.projectVersion(), "NETWORKINSIGHTS"_text, handle.logSource(),
          text::networkInsightsLog().utf8(), sendTime, host, fields, job.handlerId()));
}

}  // namespace

String normalisedProbeAddress(const String& url) {
  if (ascii::startsWithIgnoringCase(url.view(), "https"))
    return withExplicitPort(url.view(), "https://", "443");
  if (ascii::startsWithIgnoringCase(url.view(), "http")) return withExplicitPort(url.view(), "http://", "80");
  return url;
}

void PXALog::performanceSendThread(const Value&) {
  while (!BackgroundThread::currentIsCancelled()) {
    const std::shared_ptr<NetworkData> job = gs_blockQueue()->dequeue_network();
    const VeskHandleRef handle = rdm_getHandler(job->handlerId());
    if (handle == nullptr || !handle->isNetworkInsight()) continue;
    try {
      queueResult(*job, *handle, probe(job->url()));
    } catch (const std::exception&) {
      // No memory for the result: the next job may have it.
    }
  }
}

}  // namespace pxa
