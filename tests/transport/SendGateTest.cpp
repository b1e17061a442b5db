#include <atomic>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <ostream>
#include <string>
#include <thread>

#include "api/handle/GlobalLock.h"
#include "api/handle/process_state.h"
#include "support/delivery.h"
#include "support/lock_probe.h"
#include "support/values.h"
#include "support/wait.h"
#include "transport/deduplication.h"
#include "transport/send_gate.h"

namespace pxa {
namespace {

using test::bytesOf;
using test::makeEvent;

constexpr std::int32_t kMostCount = std::numeric_limits<std::int32_t>::max();

/// A gate with empty stores and a handle whose switches are all on.
class SendGate : public testing::Test {
 protected:
  SendGate() { resetDedupeTables(); }

  bool passes(const test::EventSpec& spec) {
    return PXALog::checkSendStatus_Handler(*makeEvent(spec), handle_);
  }
  void setUnityMode() {
    const GlobalGuard guard;
    processFlags().isUnityMode = true;
  }
  bool unityCheckPasses(const test::EventSpec& spec) {
    const GlobalGuard guard;
    return PXALog::checkUnityCrash_Handler(*makeEvent(spec), handle_);
  }

  VeskHandle handle_;
};

using OptionalCount = std::optional<std::int32_t>;

// The rules and the switches they look at: every event is judged under all sixteen settings.

struct Switches {
  bool isSession;
  bool isCrash;
  bool isLog;
  bool isDeduplicate;
};

struct RuleCase {
  const char* name;
  test::EventSpec event;
  bool isUnityMode;
  bool (*expected)(const Switches&);

  friend std::ostream& operator<<(std::ostream& out, const RuleCase& one) { return out << one.name; }
};

class SendGateRule : public SendGate, public testing::WithParamInterface<RuleCase> {};

TEST_P(SendGateRule, LooksAtItsOwnSwitchesAlone) {
  const RuleCase& rule = GetParam();
  if (rule.isUnityMode) setUnityMode();
  for (unsigned bits = 0; bits < 16; ++bits) {
    const Switches switches{(bits & 1U) != 0, (bits & 2U) != 0, (bits & 4U) != 0, (bits & 8U) != 0};
    handle_.setIsSession(switches.isSession);
    handle_.setIsCrash(switches.isCrash);
    handle_.setIsLog(switches.isLog);
    handle_.setIsDeduplicate(switches.isDeduplicate);
    resetDedupeTables();
    EXPECT_EQ(passes(rule.event), rule.expected(switches)) << "switches " << bits;
  }
}

bool bySession(const Switches& switches) {
  return switches.isSession;
}
bool byCrash(const Switches& switches) {
  return switches.isCrash;
}
bool byLog(const Switches& switches) {
  return switches.isLog;
}
bool byLogUnlessRepeatsPass(const Switches& switches) {
  return switches.isLog || !switches.isDeduplicate;
}

const Value kInsightBody = bytesOf("NETWORKINSIGHTS LOG");

INSTANTIATE_TEST_SUITE_P(
    Events, SendGateRule,
    testing::Values(
        RuleCase{"Session", {.logType = "SESSION"}, false, bySession},
        RuleCase{"SessionWithADump", {.dump = bytesOf("dump"), .logType = "SESSION"}, false, bySession},
        RuleCase{
            "SessionWithADumpUnderUnity", {.dump = bytesOf("dump"), .logType = "SESSION"}, true, bySession},
        RuleCase{
            "SessionThatReadsLikeAProbe", {.body = kInsightBody, .logType = "SESSION"}, false, bySession},
        RuleCase{"Crash", {.dump = bytesOf("dump")}, false, byCrash},
        RuleCase{"CrashUnderUnity", {.dump = bytesOf("dump")}, true, byCrash},
        RuleCase{"CrashThatReadsLikeAProbe", {.body = kInsightBody, .dump = "dump"}, false, byCrash},
        RuleCase{"CrashWithAnEmptyDump", {.dump = bytesOf("")}, false, byCrash},
        RuleCase{"Probe", {.body = kInsightBody}, false, byLog},
        RuleCase{"ProbeOfAnyType", {.body = kInsightBody, .logType = "whatever"}, false, byLog},
        RuleCase{"ProbeTextThatIsNoBytes", {.body = "NETWORKINSIGHTS LOG"}, false, byLogUnlessRepeatsPass},
        RuleCase{"SessionInLowerCase", {.logType = "session"}, false, byLogUnlessRepeatsPass},
        RuleCase{"Log", {}, false, byLogUnlessRepeatsPass},
        RuleCase{"LogUnderUnity", {}, true, byLogUnlessRepeatsPass}),
    [](const auto& param) { return std::string(param.param.name); });

TEST_F(SendGate, TellsByWhichRuleItRefuses) {
  handle_.setIsSession(false);
  handle_.setIsCrash(false);
  EXPECT_EQ(judge(*makeEvent({.logType = "SESSION"}), handle_), GateVerdict::SessionSwitchedOff);
  EXPECT_EQ(judge(*makeEvent({.dump = "dump"}), handle_), GateVerdict::CrashSwitchedOff);
  EXPECT_EQ(judge(*makeEvent(), handle_), GateVerdict::Send);
  EXPECT_EQ(judge(*makeEvent(), handle_), GateVerdict::Repeated);
  handle_.setIsLog(false);
  EXPECT_EQ(judge(*makeEvent({.body = bytesOf("another")}), handle_), GateVerdict::LogSwitchedOff);
}

TEST_F(SendGate, LetsSessionsCrashesAndProbesPassAgainAndAgain) {
  const test::EventSpec repeated[] = {
      {.logType = "SESSION"}, {.dump = bytesOf("dump")}, {.body = kInsightBody}};
  for (const test::EventSpec& event : repeated) {
    EXPECT_TRUE(passes(event));
    EXPECT_TRUE(passes(event));
  }
  EXPECT_EQ(dedupeLogTable()->size(), 0U);
}

TEST_F(SendGate, JudgesALogWithoutTheGlobalLock) {
  static std::atomic<bool> isJudged = false;
  const GlobalGuard guard;
  std::thread([] {
    const VeskHandle handle;
    judge(*makeEvent(), handle);
    isJudged = true;
  }).detach();
  EXPECT_TRUE(test::waitUntil([] { return isJudged.load(); }));
}

// Repeats of logs.

TEST_F(SendGate, LetsTheFirstOfEqualLogsPassAndCountsTheOthers) {
  const test::EventSpec log{.body = bytesOf("broken"), .level = bytesOf("ERROR"), .logType = "app-log"};
  EXPECT_TRUE(passes(log));
  EXPECT_EQ(dedupeLogTable()->countOf({"brokenERRORapp-log"}), 1);
  EXPECT_FALSE(passes(log));
  EXPECT_EQ(dedupeLogTable()->countOf({"brokenERRORapp-log"}), 2);
  EXPECT_FALSE(passes(log));
  EXPECT_EQ(dedupeLogTable()->countOf({"brokenERRORapp-log"}), 3);
}

TEST_F(SendGate, TellsLogsApartByBodyLevelAndType) {
  EXPECT_TRUE(passes({}));
  EXPECT_TRUE(passes({.body = bytesOf("another body")}));
  EXPECT_TRUE(passes({.level = bytesOf("WARN")}));
  EXPECT_TRUE(passes({.logType = "another type"}));
}

TEST_F(SendGate, DoesNotTellLogsApartByAnythingElse) {
  EXPECT_TRUE(passes({}));
  EXPECT_FALSE(passes({.errorRate = "1", .handleId = "another", .projectName = "another"}));
}

TEST_F(SendGate, DoesNotTellWhereBodyLevelAndTypeMeet) {
  EXPECT_TRUE(passes({.body = bytesOf("ab"), .level = bytesOf("c"), .logType = "d"}));
  EXPECT_FALSE(passes({.body = bytesOf("a"), .level = bytesOf("b"), .logType = "cd"}));
}

TEST_F(SendGate, ReadsABodyOrALevelThatIsNoBytesAsNothing) {
  EXPECT_TRUE(passes({.body = "a text", .level = "INFO", .logType = "type"}));
  EXPECT_EQ(dedupeLogTable()->countOf({"type"}), 1);
  EXPECT_FALSE(passes({.body = "another text", .level = 5, .logType = "type"}));
  EXPECT_FALSE(passes({.body = {}, .level = {}, .logType = "type"}));
}

TEST_F(SendGate, CountsARepeatEvenWhileLogsAreSwitchedOff) {
  EXPECT_TRUE(passes({}));
  handle_.setIsLog(false);
  EXPECT_EQ(judge(*makeEvent(), handle_), GateVerdict::Repeated);
  EXPECT_EQ(dedupeLogTable()->countOf({"messageINFOtype"}), 2);
}

TEST_F(SendGate, StoresNothingOfALogThatIsSwitchedOff) {
  handle_.setIsLog(false);
  EXPECT_FALSE(passes({}));
  EXPECT_EQ(dedupeLogTable()->size(), 0U);
  handle_.setIsLog(true);
  EXPECT_TRUE(passes({}));
}

TEST_F(SendGate, StoresAndCountsNothingWhileRepeatsMayPass) {
  EXPECT_TRUE(passes({}));
  handle_.setIsDeduplicate(false);
  EXPECT_TRUE(passes({}));
  EXPECT_TRUE(passes({.body = bytesOf("another")}));
  EXPECT_EQ(dedupeLogTable()->countOf({"messageINFOtype"}), 1);
  EXPECT_EQ(dedupeLogTable()->size(), 1U);
}

TEST_F(SendGate, SharesItsStoreAmongHandles) {
  const VeskHandle another;
  EXPECT_TRUE(passes({}));
  EXPECT_FALSE(PXALog::checkSendStatus_Handler(*makeEvent(), another));
}

TEST_F(SendGate, ForgetsWhatItSawWhenTheStoresAreMadeAnew) {
  EXPECT_TRUE(passes({}));
  resetDedupeTables();
  EXPECT_TRUE(passes({}));
}

TEST_F(SendGate, LetsALogWithAnEmptyKeyPassAndStoresNothing) {
  const test::EventSpec empty{.body = bytesOf(""), .level = bytesOf(""), .logType = ""};
  EXPECT_TRUE(passes(empty));
  EXPECT_TRUE(passes(empty));
  EXPECT_EQ(dedupeLogTable()->size(), 0U);
}

TEST_F(SendGate, StopsCountingAtTheLargestCount) {
  PXALog::InsertQueue_value("messageINFOtype", kMostCount);
  EXPECT_FALSE(passes({}));
  EXPECT_EQ(dedupeLogTable()->countOf({"messageINFOtype"}), kMostCount);
}

TEST_F(SendGate, MakesNoRoomForARepeat) {
  for (int key = 0; key < 999; ++key) PXALog::InsertQueue_value(std::to_string(key), 1);
  EXPECT_TRUE(passes({}));
  EXPECT_FALSE(passes({}));
  EXPECT_EQ(dedupeLogTable()->size(), 1000U);
}

TEST_F(SendGate, ForgetsTheLessRepeatedHalfWhenTheThousandAndFirstLogArrives) {
  for (int body = 0; body < 1000; ++body) {
    const test::EventSpec log{.body = bytesOf(std::to_string(body))};
    EXPECT_TRUE(passes(log));
    if (body % 2 == 0) {
      EXPECT_FALSE(passes(log));
    }
  }
  EXPECT_TRUE(passes({}));
  EXPECT_EQ(dedupeLogTable()->size(), 501U);
  for (int body = 0; body < 1000; ++body)
    EXPECT_EQ(dedupeLogTable()->countOf(std::to_string(body) + "INFOtype").has_value(), body % 2 == 0)
        << body;
}

// Before the first initialisation.

TEST(SendGateWithoutStores, LetsEveryLogPassWhileLogsAreOn) {
  const VeskHandle handle;
  EXPECT_TRUE(PXALog::checkSendStatus_Handler(*makeEvent(), handle));
  EXPECT_TRUE(PXALog::checkSendStatus_Handler(*makeEvent(), handle));
  EXPECT_EQ(dedupeLogTable(), nullptr);
}

TEST(SendGateWithoutStores, RefusesEveryLogWhileLogsAreOff) {
  VeskHandle handle;
  handle.setIsLog(false);
  EXPECT_FALSE(PXALog::checkSendStatus_Handler(*makeEvent(), handle));
}

TEST(SendGateWithoutStores, HoldsBackEveryUnityCrash) {
  const VeskHandle handle;
  const GlobalGuard guard;
  EXPECT_FALSE(PXALog::checkUnityCrash_Handler(*makeEvent({.dump = bytesOf("dump")}), handle));
}

TEST(SendGateWithoutStores, IgnoresInsertions) {
  PXALog::InsertQueue_value("key", 1);
  PXALog::InsertCrashQueue_value("key", 1);
  EXPECT_EQ(dedupeLogTable(), nullptr);
  EXPECT_EQ(dedupeCrashTable(), nullptr);
}

// Unity crashes.

const test::EventSpec kCrash{
    .body = bytesOf("body"), .level = bytesOf("FATAL"), .dump = bytesOf("dump"), .logType = "CRASH"};
constexpr const char* kCrashKey = "bodyFATALCRASHdump";

TEST_F(SendGate, HoldsBackARepeatOfAUnityCrash) {
  setUnityMode();
  EXPECT_TRUE(passes(kCrash));
  EXPECT_FALSE(passes(kCrash));
  EXPECT_EQ(dedupeCrashTable()->countOf({kCrashKey}), 2);
}

TEST_F(SendGate, TellsThatAUnityCrashIsARepeat) {
  setUnityMode();
  judge(*makeEvent(kCrash), handle_);
  EXPECT_EQ(judge(*makeEvent(kCrash), handle_), GateVerdict::Repeated);
}

TEST_F(SendGate, StoresNothingOfAUnityCrashThatIsSwitchedOff) {
  setUnityMode();
  handle_.setIsCrash(false);
  EXPECT_FALSE(passes(kCrash));
  EXPECT_EQ(dedupeCrashTable()->size(), 0U);
}

TEST_F(SendGate, StoresNothingOfACrashWithoutUnity) {
  EXPECT_TRUE(passes(kCrash));
  EXPECT_TRUE(passes(kCrash));
  EXPECT_EQ(dedupeCrashTable()->size(), 0U);
}

TEST_F(SendGate, LeavesTheGlobalLockAfterAUnityCrash) {
  setUnityMode();
  passes(kCrash);
  EXPECT_TRUE(test::isGlobalLockFree());
}

TEST_F(SendGate, CountsEqualUnityCrashes) {
  EXPECT_TRUE(unityCheckPasses(kCrash));
  EXPECT_EQ(dedupeCrashTable()->countOf({kCrashKey}), 1);
  EXPECT_FALSE(unityCheckPasses(kCrash));
  EXPECT_EQ(dedupeCrashTable()->countOf({kCrashKey}), 2);
  EXPECT_FALSE(unityCheckPasses(kCrash));
  EXPECT_EQ(dedupeCrashTable()->countOf({kCrashKey}), 3);
}

TEST_F(SendGate, LetsEqualUnityCrashesPassWhileRepeatsMay) {
  handle_.setIsDeduplicate(false);
  EXPECT_TRUE(unityCheckPasses(kCrash));
  EXPECT_TRUE(unityCheckPasses(kCrash));
  EXPECT_EQ(dedupeCrashTable()->size(), 0U);
}

TEST_F(SendGate, CountsNoFurtherWhileRepeatsOfAUnityCrashMayPass) {
  EXPECT_TRUE(unityCheckPasses(kCrash));
  handle_.setIsDeduplicate(false);
  EXPECT_TRUE(unityCheckPasses(kCrash));
  EXPECT_EQ(dedupeCrashTable()->countOf({kCrashKey}), 1);
}

TEST_F(SendGate, TellsUnityCrashesApartByBodyLevelTypeAndDump) {
  const auto with = [](auto&& change) {
    test::EventSpec spec = kCrash;
    change(spec);
    return spec;
  };
  EXPECT_TRUE(unityCheckPasses(kCrash));
  EXPECT_TRUE(unityCheckPasses(with([](auto& spec) { spec.body = bytesOf("another"); })));
  EXPECT_TRUE(unityCheckPasses(with([](auto& spec) { spec.level = bytesOf("another"); })));
  EXPECT_TRUE(unityCheckPasses(with([](auto& spec) { spec.logType = "another"; })));
  EXPECT_TRUE(unityCheckPasses(with([](auto& spec) { spec.dump = bytesOf("another"); })));
  EXPECT_FALSE(unityCheckPasses(kCrash));
}

TEST_F(SendGate, ReadsAUnityDumpThatIsNoBytesAsNothing) {
  test::EventSpec crash = kCrash;
  crash.dump = "a text";
  EXPECT_TRUE(unityCheckPasses(crash));
  EXPECT_EQ(dedupeCrashTable()->countOf({"bodyFATALCRASH"}), 1);
}

TEST_F(SendGate, HoldsBackAUnityCrashWithAnEmptyKey) {
  const test::EventSpec empty{.body = bytesOf(""), .level = {}, .dump = bytesOf(""), .logType = ""};
  EXPECT_FALSE(unityCheckPasses(empty));
  handle_.setIsDeduplicate(false);
  EXPECT_FALSE(unityCheckPasses(empty));
}

TEST_F(SendGate, DoesNotLookAtTheCrashSwitchInTheUnityCheck) {
  handle_.setIsCrash(false);
  EXPECT_TRUE(unityCheckPasses(kCrash));
}

TEST_F(SendGate, StopsCountingUnityCrashesAtTheLargestCount) {
  PXALog::InsertCrashQueue_value(kCrashKey, kMostCount);
  EXPECT_FALSE(unityCheckPasses(kCrash));
  EXPECT_EQ(dedupeCrashTable()->countOf({kCrashKey}), kMostCount);
}

// The stores.

TEST_F(SendGate, StoresACountUnderAKey) {
  PXALog::InsertQueue_value("key", 7);
  EXPECT_EQ(dedupeLogTable()->countOf({"key"}), 7);
  PXALog::InsertQueue_value("key", 3);
  EXPECT_EQ(dedupeLogTable()->countOf({"key"}), 3);
}

TEST_F(SendGate, KeepsLogsAndCrashesInTwoStores) {
  PXALog::InsertQueue_value("log", 1);
  PXALog::InsertCrashQueue_value("crash", 1);
  EXPECT_EQ(dedupeLogTable()->countOf({"crash"}), std::nullopt);
  EXPECT_EQ(dedupeCrashTable()->countOf({"log"}), std::nullopt);
}

TEST_F(SendGate, IgnoresInsertionsWithoutAKey) {
  for (const String& key : {String(), String("")}) {
    PXALog::InsertQueue_value(key, 1);
    PXALog::InsertCrashQueue_value(key, 1);
  }
  EXPECT_EQ(dedupeLogTable()->size(), 0U);
  EXPECT_EQ(dedupeCrashTable()->size(), 0U);
}

/// Fills the store with keys "0" to "999"; a key's number is its count.
void fill(DeduplicationStore& store, int keys = 1000) {
  for (int key = 0; key < keys; ++key) store.insert(std::to_string(key), key);
}

class DeduplicationStores : public testing::TestWithParam<bool> {
 protected:
  DeduplicationStores() { resetDedupeTables(); }
  DeduplicationStore& store() { return GetParam() ? *dedupeCrashTable() : *dedupeLogTable(); }
  void insert(const String& key, std::int32_t count) {
    GetParam() ? PXALog::InsertCrashQueue_value(key, count) : PXALog::InsertQueue_value(key, count);
  }
};

TEST_P(DeduplicationStores, HoldAThousandKeys) {
  fill(store(), 999);
  insert("new", 1);
  EXPECT_EQ(store().size(), 1000U);
}

TEST_P(DeduplicationStores, KeepTheMoreRepeatedHalfAndTheNewKeyWhenTheyAreFull) {
  fill(store());
  insert("new", 1);
  EXPECT_EQ(store().size(), 501U);
  EXPECT_EQ(store().countOf({"new"}), 1);
  for (int key = 0; key < 1000; ++key)
    EXPECT_EQ(store().countOf(std::to_string(key)), key < 500 ? OptionalCount() : OptionalCount(key));
}

TEST_P(DeduplicationStores, ForgetFiveHundredOfAThousandEqualCounts) {
  for (int key = 0; key < 1000; ++key) insert(std::to_string(key), 1);
  insert("new", 1);
  EXPECT_EQ(store().size(), 501U);
  EXPECT_EQ(store().countOf({"new"}), 1);
}

TEST_P(DeduplicationStores, OrderCountsAsNumbers) {
  for (int key = 0; key < 500; ++key) insert("small" + std::to_string(key), 9);
  for (int key = 0; key < 500; ++key) insert("large" + std::to_string(key), 10);
  insert("new", 1);
  for (int key = 0; key < 500; ++key) EXPECT_EQ(store().countOf("large" + std::to_string(key)), 10) << key;
}

TEST_P(DeduplicationStores, MakeRoomEvenForAKeyThatTheyHold) {
  fill(store());
  insert("999", 5);
  EXPECT_EQ(store().size(), 500U);
  EXPECT_EQ(store().countOf({"999"}), 5);
}

TEST_P(DeduplicationStores, LeaveAFullStoreAloneForAnEmptyKey) {
  fill(store());
  insert("", 1);
  EXPECT_EQ(store().size(), 1000U);
}

INSTANTIATE_TEST_SUITE_P(Tables, DeduplicationStores, testing::Bool(),
                         [](const auto& param) { return param.param ? "OfCrashes" : "OfLogs"; });

}  // namespace
}  // namespace pxa
