#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <pxalog/Object.h>
#include <pxalog/Value.h>

#include "api/handle/VeskHandle.h"
#include "event/VeskEvent.h"
#include "queue/event_archive.h"
#include "support/FakePlatform.h"
#include "support/handles.h"
#include "support/values.h"

// What tests of delivery have in common: handles, events and a look into requests.
namespace pxa::test {

/// Opens the handle under the id and takes its session log out of the queue again; nullptr when it is
/// refused. No thread runs for it.
VeskHandleRef openWithoutSessionLog(const String& handleId, HandleOptions with = {});

/// Runs the send thread; from now on it stops at each of its sleeps.
void startSendLoop(FakePlatform& platform);
/// Lets the send thread make one pass; false when it does not come to its next sleep in time.
bool letOnePassHappen(FakePlatform& platform);
/// Waits until the send thread, while it is held, has looked a few times more whether it still is.
bool letSendLoopSpin(FakePlatform& platform);

/// What a test makes an event of; null values stay out.
struct EventSpec {
  Value body = bytesOf("message");
  Value level = bytesOf("INFO");
  Value dump = {};
  Value errorRate = {};
  Value logType = "type";
  Value handleId = "h";
  Value projectName = kAppKey;
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
EventQueue takeFailedEvents(FakePlatform& platform);

}  // namespace pxa::test
