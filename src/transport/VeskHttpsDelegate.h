#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include <pxalog/String.h>

#include "event/VeskEvent.h"
#include "platform/UrlLoader.h"

namespace pxa {

class VeskBlockQueue;

/// Decides the fate of a collector request's body: status 200 delivers it; any other status, or no answer,
/// splits it back into events for the file queue. Any server certificate is accepted.
///
/// One delegate is shared by the process and shows the last request; each request takes a copy of it from its
/// start, and that copy hears of its outcome, on the loader's thread. The shared one is used under the global
/// lock.
class VeskHttpsDelegate final : public UrlConnectionDelegate {
 public:
  /// The JSON array of the request in flight; nil before one and after its answer.
  [[nodiscard]] const String& log() const { return log_; }
  void setLog(String log) { log_ = std::move(log); }
  /// Whether an outcome wakes whoever waits for the connection.
  [[nodiscard]] bool shouldStopRunloop() const { return shouldStopRunloop_; }
  void setShouldStopRunloop(bool flag) { shouldStopRunloop_ = flag; }
  /// Given to every event rebuilt from the body.
  [[nodiscard]] const String& handleId() const { return handleId_; }
  void setHandleId(String handleId) { handleId_ = std::move(handleId); }
  /// How many of the events in flight are in the body, for the diagnostics.
  void setEventCount(std::uint64_t count) { eventCount_ = count; }
  /// Where the request goes, for the diagnostics.
  void setUrl(String url) { url_ = std::move(url); }

  /// Treats the request as failed without ever having had a connection.
  void requestCouldNotStart(const char* reason);

  bool connection_canAuthenticateAgainstProtectionSpace(UrlConnection& connection,
                                                        const ProtectionSpace& space) override;
  void connection_didReceiveAuthenticationChallenge(UrlConnection& connection,
                                                    AuthenticationChallenge& challenge) override;
  void connection_didReceiveResponse(UrlConnection& connection, const HttpResponse& response) override;
  void connection_didReceiveData(UrlConnection& connection, std::string_view data) override;
  void connection_didFailWithError(UrlConnection& connection, const Error& error) override;
  void connectionDidFinishLoading(UrlConnection& connection) override;

  /// Puts the body's events into the file queue, if asked to, and tells Unity once if it holds a crash. A
  /// body that cannot be read is given up from the first unreadable element on. Selector:
  /// saveToFile:withSaveFlag:
  void saveToFile_withSaveFlag(const String& text, bool save);

 private:
  /// Makes the event again that an element of the body was, with the origin of the last one if it is the same.
  void requeue(const Value& element, VeskBlockQueue& queue, EventOriginRef& lastOrigin);
  void fail(const char* reason);
  void forgetLog();
  void notifyUnityOfCrash();

  String log_;
  bool shouldStopRunloop_ = false;
  String handleId_;
  String url_;
  std::uint64_t eventCount_ = 0;  // still in flight
};

/// The delegate that all requests share; nullptr before the first initialisation. The caller holds the global
/// lock.
const std::shared_ptr<VeskHttpsDelegate>& gs_httpsDelegate();
void resetHttpsDelegate();

}  // namespace pxa
