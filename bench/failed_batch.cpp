// What a request that failed costs: its body is read, its events are made again and queued. Beside it the
// reading of the same body alone.

#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include <pxalog/PXALog.h>

#include "api/handle/process_state.h"
#include "costs.h"
#include "draining_platform.h"
#include "transport/VeskHttpsDelegate.h"

namespace {

constexpr int kEvents = 500;
constexpr int kFields = 18;

/// A body as the send loop makes it.
std::string bodyOfEvents() {
  nlohmann::json events = nlohmann::json::array();
  for (int i = 0; i < kEvents; ++i) {
    nlohmann::json event{{"projectName", "bench"},
                         {"projectVersion", "1.0"},
                         {"logType", "vesk2-log"},
                         {"logSource", "ios-log"},
                         {"body", "payment " + std::to_string(i) + " was refused after 3 tries"},
                         {"sendTime", std::to_string(1'700'000'000'000 + i)},
                         {"host", "127.0.0.1"}};
    for (int field = 0; field < kFields; ++field)
      event["field" + std::to_string(field)] = "a value of some length";
    events.push_back(std::move(event));
  }
  return events.dump();
}

class NoConnection final : public pxa::UrlConnection {
  void stopRunLoop() override {}
};

double failOnce(const pxa::String& body) {
  pxa::VeskHttpsDelegate delegate;
  delegate.setLog(body);
  delegate.setHandleId("0");
  NoConnection connection;
  return pxa::bench::nanosecondsOf([&] {
           delegate.connection_didFailWithError(connection,
                                                pxa::Error::withDescription("bench", 1, "no network"));
         }) /
         1000;
}

double parseOnce(const pxa::String& body) {
  nlohmann::json events;
  return pxa::bench::nanosecondsOf([&] { events = nlohmann::json::parse(body.view()); }) / 1000;
}

}  // namespace

int main() {
  pxa::bench::installDrainingPlatform();
  pxa::resetBlockQueue();
  const pxa::String body = bodyOfEvents();
  const auto samples =
      pxa::bench::inTurn({[&] { return failOnce(body); }, [&] { return parseOnce(body); }}, 51);
  pxa::bench::report({.name = "a failed batch of 500 events",
                      .unit = "us",
                      .measured = samples[0],
                      .peer = "nlohmann: parse",
                      .peerMeasured = samples[1],
                      .mostRatio = 1.0});
}
