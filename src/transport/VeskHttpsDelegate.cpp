#include "transport/VeskHttpsDelegate.h"

#include <stdexcept>
#include <string>
#include <utility>

#include <pxalog/Array.h>

#include "api/handle/GlobalLock.h"
#include "api/handle/process_state.h"
#include "diagnostics/Ledger.h"
#include "event/event_keys.h"
#include "platform/HostSettings.h"
#include "platform/Platform.h"
#include "platform/RunLoop.h"
#include "platform/console.h"

namespace pxa {

using namespace literals;
using Events = Ledger::Events;

namespace {

constexpr int kDelivered = 200;

std::shared_ptr<VeskHttpsDelegate>& sharedDelegate() {
  static auto& delegate = *new std::shared_ptr<VeskHttpsDelegate>;
  return delegate;
}

std::int64_t sendTimeOf(const Value& value) {
  return value.kind() == Value::Kind::Number ? value.number().longLongValue()
                                             : value.string().longLongValue();
}

/// The bytes of a body; null stays null. Throws for what is no text.
Value bodyOf(const Value& value) {
  if (value.isNull()) return nullptr;
  if (value.kind() != Value::Kind::String) throw std::invalid_argument("a body that is no text");
  return value.string().utf8();
}

}  // namespace

bool VeskHttpsDelegate::connection_canAuthenticateAgainstProtectionSpace(UrlConnection&,
                                                                         const ProtectionSpace& space) {
  return space.authenticationMethod == kAuthenticationMethodServerTrust;
}

void VeskHttpsDelegate::connection_didReceiveAuthenticationChallenge(UrlConnection&,
                                                                     AuthenticationChallenge& challenge) {
  challenge.useCredentialForServerTrust();
}

void VeskHttpsDelegate::connection_didReceiveResponse(UrlConnection& connection,
                                                      const HttpResponse& response) {
  ledger().requestAnswered(response.statusCode);
  const bool isDelivered = response.statusCode == kDelivered;
  if (isDelivered) {
    console::write("didReceiveResponse 200"_text);
    ledger().move(&Events::inFlight, &Events::delivered, std::exchange(eventCount_, 0));
  }
  saveToFile_withSaveFlag(log_, !isDelivered);
  forgetLog();
  if (shouldStopRunloop_) connection.stopRunLoop();
}

/// The shared delegate shows the last request and must not keep its body for as long as the process is idle.
void VeskHttpsDelegate::forgetLog() {
  const GlobalGuard guard;
  const std::shared_ptr<VeskHttpsDelegate>& shared = sharedDelegate();
  if (shared != nullptr && shared->log_.view().data() == log_.view().data()) shared->log_ = nullptr;
  log_ = nullptr;
}

void VeskHttpsDelegate::connection_didReceiveData(UrlConnection&, std::string_view) {}

void VeskHttpsDelegate::connection_didFailWithError(UrlConnection& connection, const Error& error) {
  String description = error.isError() ? error.localizedDescription() : "unknown"_text;
  if (description.isNil()) description = "unknown"_text;
  // A host that is not found is told apart and then treated like every other failure; this is intended.
  static_cast<void>(description == "A server with the specified hostname could not be found.");
  fail(description.c_str());
  if (shouldStopRunloop_) connection.stopRunLoop();
}

void VeskHttpsDelegate::requestCouldNotStart(const char* reason) {
  fail(reason);
  const std::shared_ptr<RunLoop>& waiting = RunLoop::current();
  if (shouldStopRunloop_ && waiting != nullptr) waiting->stop();
}

void VeskHttpsDelegate::fail(const char* reason) {
  try {
    ledger().requestFailed(std::string(reason) + " (" + url_.c_str() + ")");
  } catch (const std::exception&) {
    // The text of the error is lost; the events are not.
  }
  saveToFile_withSaveFlag(log_, true);
}

void VeskHttpsDelegate::connectionDidFinishLoading(UrlConnection&) {}

void VeskHttpsDelegate::saveToFile_withSaveFlag(const String& text, bool save) {
  const bool isUnityMode = processFlags().isUnityMode;
  if (!save && !isUnityMode) return;
  bool hasCrash = false;
  try {
    const auto elements = Platform::current().jsonParser.parse(text.utf8());
    if (elements) {
      const std::shared_ptr<VeskBlockQueue> queue = save ? gs_blockQueue() : nullptr;
      EventOriginRef lastOrigin;
      for (const Value& element : elements->array()) {
        if (queue != nullptr) requeue(element, *queue, lastOrigin);
        if (isUnityMode && element.dictionary().contains(key::dumpData().view())) hasCrash = true;
      }
    }
    if (hasCrash) notifyUnityOfCrash();
  } catch (...) {
    // The rest of the body is lost, and nobody is told.
  }
  ledger().drop(&Events::inFlight, &Ledger::Dropped::unreadableBody, std::exchange(eventCount_, 0));
}

void VeskHttpsDelegate::requeue(const Value& element, VeskBlockQueue& queue, EventOriginRef& lastOrigin) {
  if (element.kind() != Value::Kind::Dictionary) throw std::invalid_argument("an element that is no event");
  // What is no member of the record stays behind as the fields.
  Dictionary fields = element.dictionary();
  const auto take = [&fields](const String& name) {
    Value value = fields.value(name.view());
    fields.remove(name.view());
    return value;
  };
  EventOrigin origin{take(key::projectName()), take(key::projectVersion()), take(key::logType()),
                     take(key::logSource()), handleId_};
  if (lastOrigin == nullptr || *lastOrigin != origin)
    lastOrigin = std::make_shared<const EventOrigin>(std::move(origin));
  Value body = bodyOf(take(key::body()));
  const std::int64_t sendTime = sendTimeOf(take(key::sendTime()));
  Value host = take(key::host());
  const auto event =
      std::make_shared<VeskEvent>(lastOrigin, std::move(body), sendTime, std::move(host), std::move(fields));

  if (eventCount_ > 0) {
    --eventCount_;
    ledger().move(&Events::inFlight, &Events::failed);
  } else {
    ledger().enter(&Events::failed);
  }
  try {
    queue.enqueueFile(event);
  } catch (const std::exception&) {
    ledger().drop(&Events::failed, &Ledger::Dropped::outOfMemory);
    throw;
  }
}

void VeskHttpsDelegate::notifyUnityOfCrash() {
  const GlobalGuard guard;
  if (const Host::UnitySendMessage send = HostSettings::unitySendMessage())
    send("QuillmarkManager", "PluginCallback", "isCrash");
}

const std::shared_ptr<VeskHttpsDelegate>& gs_httpsDelegate() {
  return sharedDelegate();
}

void resetHttpsDelegate() {
  sharedDelegate() = std::make_shared<VeskHttpsDelegate>();
}

}  // namespace pxa
