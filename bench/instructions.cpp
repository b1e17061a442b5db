// How many instructions a log call and an event of a pass take, and whether other handles, a well filled
// deduplication store or other custom fields make them more. Instructions do not depend on what else the
// machine does; callgrind counts those of child processes of this program, in one thread and between two
// moments.

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <list>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <valgrind/callgrind.h>
#include <vector>

#include <pxalog/Diagnostics.h>
#include <pxalog/PXALog.h>

#include "api/handle/GlobalLock.h"
#include "api/handle/handle_table.h"
#include "child_process.h"
#include "costs.h"
#include "draining_platform.h"

namespace {

constexpr int kHttp = 1;
constexpr int kRounds = 3;
constexpr int kEventsOfAFillingPass = 10;
constexpr int kBytesOfAField = 36;  // of its name, its value and what JSON puts around them
constexpr std::string_view kCollected = "Collected : ";

/// What a child process counts, and what there is besides.
struct Subject {
  bool isLogCall = false;
  int counted = 0;  // log calls, or events of one pass
  int handles = 1;
  int storeEntries = 10;  // of the deduplication store; a multiple of kEventsOfAFillingPass
  int customFields = 4;
  int bytesOfAField = kBytesOfAField;

  auto operator<=>(const Subject&) const = default;
};

/// Lets the send loop begin a pass only when told to, and callgrind count in those that shall be counted.
class PassClock final : public pxa::Clock {
 public:
  double secondsSince1970() override { return pxa::systemPlatform().clock.secondsSince1970(); }
  double monotonicSeconds() override { return pxa::systemPlatform().clock.monotonicSeconds(); }
  void sleepForSeconds(double) override {
    if (isCounting_) CALLGRIND_TOGGLE_COLLECT;
    waitForPass();
    if (isCounting_) CALLGRIND_TOGGLE_COLLECT;
  }

  /// Returns when the pass is over. There must be an event for it.
  void runPass(bool isCounted) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return isAsleep_; });
    isCounting_ = isCounted;
    isAsleep_ = false;
    changed_.notify_all();
    changed_.wait(lock, [this] { return isAsleep_; });
  }

 private:
  void waitForPass() {
    std::unique_lock lock(mutex_);
    isAsleep_ = true;
    changed_.notify_all();
    changed_.wait(lock, [this] { return !isAsleep_; });
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  bool isAsleep_ = false;
  bool isCounting_ = false;  // changes only while the send loop is asleep
};

bool hasSettings(const pxa::String& handleId) {
  const pxa::GlobalGuard guard;
  return pxa::PXALog::rdm_getHandler(handleId)->isSettings();
}

/// A handle of a project of its own, which no event comes from.
void openOther(int number) {
  const std::string name = "other" + std::to_string(number);
  const bool isOpen = pxa::PXALog::
      init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart_withUnityVersion_forHandleId(
          "http://127.0.0.1", 80, kHttp, name, "1.0", "ada", false, false, nullptr, name);
  if (!isOpen) throw std::runtime_error("no handle");
  while (!hasSettings(name)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

/// The one that events come from, the last one everywhere.
void openHandles(int count) {
  for (int number = 1; number < count; ++number) openOther(number);
  if (!pxa::PXALog::init_ofAppKey_withVersion_forUserId_forHandleId("http://127.0.0.1", "bench", "1.0", "ada",
                                                                    "Keepcell"))
    throw std::runtime_error("no handle");
}

void setCustomFields(const Subject& subject) {
  constexpr std::string_view kAround = R"("field10":"",)";
  const std::string value(static_cast<std::size_t>(subject.bytesOfAField) - kAround.size(), 'v');
  for (int field = 10; field < 10 + subject.customFields; ++field)
    pxa::PXALog::setCustomField_Keepcell_forKey(value, "field" + std::to_string(field));
}

void logDistinct(int count) {
  static int line = 100'000;
  for (int i = 0; i < count; ++i)
    pxa::PXALog::error_Keepcell_withMessage(
        "E42", "payment " + std::to_string(line++) + " was refused after 3 tries");
}

/// By small passes, so that what the last one leaves of the heap is the same for any number of entries.
void fillStore(PassClock& clock, int entries) {
  for (int filled = 0; filled < entries; filled += kEventsOfAFillingPass) {
    logDistinct(kEventsOfAFillingPass);
    clock.runPass(false);
  }
}

void countLogCalls(int count) {
  const std::string message = "payment 4711 was refused by the provider after three tries ...";
  CALLGRIND_TOGGLE_COLLECT;
  for (int i = 0; i < count; ++i) pxa::PXALog::error_Keepcell_withMessage("E42", message);
  CALLGRIND_TOGGLE_COLLECT;
}

/// What was held back took another way than what shall be counted.
void requireAllDelivered() {
  const pxa::Diagnostics::Events events = pxa::Diagnostics::snapshot().events;
  if (events.delivered + events.waiting != events.entered)
    throw std::runtime_error("not every event was delivered");
}

void runChild(const Subject& subject) {
  static auto& clock = *new PassClock;
  pxa::bench::installDrainingPlatform(clock);
  openHandles(subject.handles);
  setCustomFields(subject);
  fillStore(clock, subject.storeEntries);
  if (subject.isLogCall) {
    countLogCalls(subject.counted);
  } else {
    logDistinct(subject.counted);
    clock.runPass(true);
  }
  requireAllDelivered();
}

std::vector<std::string> commandFor(const Subject& subject) {
  return {"valgrind",
          "--tool=callgrind",
          "--callgrind-out-file=/dev/null",
          "--collect-atstart=no",
          "--log-fd=1",
          pxa::bench::programPath(),
          "--child",
          std::to_string(subject.isLogCall),
          std::to_string(subject.counted),
          std::to_string(subject.handles),
          std::to_string(subject.storeEntries),
          std::to_string(subject.customFields),
          std::to_string(subject.bytesOfAField)};
}

Subject subjectOf(char** arguments) {
  return {.isLogCall = std::atoi(arguments[0]) != 0,
          .counted = std::atoi(arguments[1]),
          .handles = std::atoi(arguments[2]),
          .storeEntries = std::atoi(arguments[3]),
          .customFields = std::atoi(arguments[4]),
          .bytesOfAField = std::atoi(arguments[5])};
}

/// The instructions of one log call, or of one event, from what valgrind says.
double instructionsIn(const std::string& text, const Subject& subject) {
  const std::size_t found = text.find(kCollected);
  const double collected =
      found == std::string::npos ? 0 : std::atof(text.c_str() + found + kCollected.size());
  if (collected <= 0) throw std::runtime_error("callgrind has counted nothing: " + text);
  return collected / subject.counted;
}

using Counts = std::map<Subject, double>;

/// Side by side: a count does not depend on the load.
Counts countAll(const std::vector<Subject>& subjects) {
  std::list<pxa::bench::ChildProcess> children;
  for (const Subject& subject : subjects) children.emplace_back(commandFor(subject));
  Counts counts;
  auto child = children.begin();
  for (const Subject& subject : subjects) counts[subject] = instructionsIn((child++)->output(), subject);
  return counts;
}

constexpr Subject kLogCall{.isLogCall = true, .counted = 1000};
constexpr Subject kEvent{.counted = 1000};
constexpr Subject kEventWithStore{.counted = 90};

Subject withHandles(Subject subject, int handles) {
  subject.handles = handles;
  return subject;
}

Subject withStore(Subject subject, int entries) {
  subject.storeEntries = entries;
  return subject;
}

Subject withFields(Subject subject, int fields, int bytesOfAField) {
  subject.customFields = fields;
  subject.bytesOfAField = bytesOfAField;
  return subject;
}

constexpr int kManyFields = 20;
constexpr int kFewFields = 2;
const Subject kEventWithManyFields = withFields(kEvent, kManyFields, kBytesOfAField);
const Subject kEventWithFewFields = withFields(kEvent, kFewFields, kManyFields* kBytesOfAField / kFewFields);

const std::vector<Subject>& subjects() {
  static const auto& all = *new std::vector<Subject>{kLogCall,
                                                     withHandles(kLogCall, 10),
                                                     kEvent,
                                                     withHandles(kEvent, 10),
                                                     kEventWithStore,
                                                     withStore(kEventWithStore, 900),
                                                     kEventWithManyFields,
                                                     kEventWithFewFields};
  return all;
}

void measure() {
  std::map<Subject, pxa::bench::Samples> samples;
  for (int round = 0; round < kRounds; ++round) {
    const Counts counts = countAll(subjects());
    for (const auto& [subject, count] : counts) samples[subject].add(count);
  }
  const auto report = [](const std::string& name, const pxa::bench::Samples& measured) {
    pxa::bench::report({.name = name, .unit = "instr", .measured = measured});
  };
  const auto compare = [](const std::string& name, const pxa::bench::Samples& measured,
                          const std::string& peer, const pxa::bench::Samples& peerMeasured) {
    pxa::bench::report({.name = name,
                        .unit = "instr",
                        .measured = measured,
                        .peer = peer,
                        .peerMeasured = peerMeasured,
                        .mostRatio = 1.1});
  };
  report("a log call", samples[kLogCall]);
  compare("a log call, with 10 handles", samples[withHandles(kLogCall, 10)], "1 handle", samples[kLogCall]);
  report("an event of a pass", samples[kEvent]);
  compare("an event of a pass, with 10 handles", samples[withHandles(kEvent, 10)], "1 handle",
          samples[kEvent]);
  compare("an event of a pass, with 900 texts in the store", samples[withStore(kEventWithStore, 900)],
          "10 texts", samples[kEventWithStore]);
  compare("an event of a pass, with 20 custom fields", samples[kEventWithManyFields], "2, as long",
          samples[kEventWithFewFields]);
}

}  // namespace

int main(int argc, char** argv) {
  const bool isChild = argc == 8 && std::string_view(argv[1]) == "--child";
  return pxa::bench::run([&] { isChild ? runChild(subjectOf(argv + 2)) : measure(); });
}
