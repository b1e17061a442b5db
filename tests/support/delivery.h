#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <pxalog/Object.h>
#include <pxalog/Value.h>

#include "api/handle/VeskHandle.h"
#include "event/VeskEvent.h"
#include "support/FakePlatform.h"

// What tests of delivery have in common: handles, events and a look into requests.
namespace pxa::test {

/// The bytes of a text, as events hold texts.
Data bytesOf(std::string_view text);

/// What a test opens a handle with.
struct HandleSpec {
  const char* url = "http://collector.example";
  std::int32_t port = 8080;
  std::int32_t protocol = 1;
  const char* appKey = "app";
  const char* userId = nullptr;
  const char* unityVersion = nullptr;
  bool enableSyncStart = false;
};

/// Opens the handle and takes its session log out of the queue again. No thread runs for it.
VeskHandleRef openHandle(const char* handleId, const HandleSpec& spec = {});

/// Runs the send thread; from now on it stops at each of its sleeps.
void startSendLoop(FakePlatform& platform);
/// Lets the send thread make one pass; false when it does not come to its next sleep in time.
bool letOnePassHappen(FakePlatform& platform);

/// What a test makes an event of; null values stay out.
struct EventSpec {
  Value body = bytesOf("message");
  Value level = bytesOf("INFO");
  Value dump = {};
  Value errorRate = {};
  Value logType = "type";
  Value handleId = "h";
  Value projectName = "app";
};
VeskEventRef makeEvent(const EventSpec& spec = {});
/// The same, at the tail of the log queue.
VeskEventRef enqueueEvent(const EventSpec& spec = {});
/// The value under the key of the event's fields; null when there is none.
Value fieldOf(const VeskEventRef& event, std::string_view key);

/// A value that calls the test when the event that holds it is measured or written as JSON.
Value jsonProbe(std::function<void()> onJson);

/// The JSON objects of a request's body.
std::vector<Dictionary> elementsOf(const std::string& body);
/// The texts under one key of all elements of a body; "(none)" where an element lacks it.
std::vector<std::string> textsOf(const std::string& body, std::string_view key);
std::vector<std::string> textsOf(const FakePlatform& platform, std::size_t request, std::string_view key);

/// What lies in the queue of failed events; empties that queue and the log queue.
std::deque<VeskEventRef> takeFailedEvents(FakePlatform& platform);
/// Bodies of what lies in the log queue; empties it.
std::vector<std::string> takeQueuedBodies();

/// Whether another thread can take the global lock now.
bool globalLockIsFree();

}  // namespace pxa::test
