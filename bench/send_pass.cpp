// What one event costs on its way out: taken from the queue, completed, judged, gathered, encoded into the
// body. Beside it the same object, built and dumped by a JSON library.

#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include <pxalog/PXALog.h>

#include "costs.h"
#include "draining_platform.h"

namespace {

constexpr int kEventsOfAPass = 2000;
constexpr std::size_t kMembers = 24;

/// Lets the send loop begin a pass only when told to.
class PassClock final : public pxa::Clock {
 public:
  double secondsSince1970() override { return pxa::systemPlatform().clock.secondsSince1970(); }
  double monotonicSeconds() override { return pxa::systemPlatform().clock.monotonicSeconds(); }
  void sleepForSeconds(double) override {
    std::unique_lock lock(mutex_);
    isAsleep_ = true;
    changed_.notify_all();
    changed_.wait(lock, [this] { return !isAsleep_; });
  }

  void runOnePass() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return isAsleep_; });
    isAsleep_ = false;
    changed_.notify_all();
    changed_.wait(lock, [this] { return isAsleep_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool isAsleep_ = false;
};

PassClock& passClock() {
  static auto& clock = *new PassClock;
  return clock;
}

/// The nanoseconds of one event in a pass of many.
double runPass() {
  static std::int64_t line = 0;
  for (int i = 0; i < kEventsOfAPass; ++i)
    pxa::PXALog::error_Keepcell_withMessage(
        "E42", "payment " + std::to_string(line++) + " was refused after 3 tries");
  return pxa::bench::nanosecondsOf([] { passClock().runOnePass(); }) / kEventsOfAPass;
}

using Members = std::vector<std::pair<std::string, std::string>>;

/// The members of the first event that was delivered.
Members membersOfAnEvent(const pxa::Data& body) {
  Members members;
  const nlohmann::json events = nlohmann::json::parse(body.view());
  for (const auto& [name, value] : events.at(0).items()) members.emplace_back(name, value.get<std::string>());
  return members;
}

/// The same by the peer.
double dumpPeers(const Members& members) {
  std::string body;
  return pxa::bench::nanosecondsOf([&] {
           for (int i = 0; i < kEventsOfAPass; ++i) {
             nlohmann::json event = nlohmann::json::object();
             for (const auto& [name, value] : members) event[name] = value;
             body += event.dump();
           }
         }) /
         kEventsOfAPass;
}

}  // namespace

int main() {
  using pxa::PXALog::setCustomField_Keepcell_forKey;
  const pxa::bench::InstantLoader& loader = pxa::bench::installDrainingPlatform(passClock());
  if (!pxa::PXALog::init_ofAppKey_withVersion_forUserId_forHandleId("http://127.0.0.1", "bench", "1.0", "ada",
                                                                    "Keepcell"))
    return 1;
  runPass();
  for (std::size_t field = membersOfAnEvent(loader.lastBody()).size(); field < kMembers; ++field)
    setCustomField_Keepcell_forKey("a value of some length", "field" + std::to_string(field));
  runPass();
  const Members members = membersOfAnEvent(loader.lastBody());
  if (members.size() != kMembers) return 1;

  const auto samples = pxa::bench::inTurn({&runPass, [&] { return dumpPeers(members); }}, 51);
  pxa::bench::report({.name = "an event of 24 fields on its way out",
                      .unit = "ns",
                      .measured = samples[0],
                      .peer = "nlohmann: build, dump",
                      .peerMeasured = samples[1],
                      .mostRatio = 0.4});
}
