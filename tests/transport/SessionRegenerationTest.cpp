#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "api/handle/GlobalLock.h"
#include "support/FakePlatform.h"
#include "support/delivery.h"
#include "support/values.h"
#include "transport/deduplication.h"
#include "transport/session_regeneration.h"

namespace pxa {
namespace {

using test::bytesOf;
using test::fieldOf;

const test::EventSpec kCrash{
    .body = bytesOf("body"), .level = bytesOf("FATAL"), .dump = bytesOf("dump"), .logType = "CRASH"};
constexpr const char* kCrashKey = "bodyFATALCRASHdump";
constexpr const char* kNewSession = "00000000-0000-4000-8000-000000000001";

/// A Unity crash of a handle that had the session "old".
class SessionRegeneration : public testing::Test {
 protected:
  SessionRegeneration() {
    resetDedupeTables();
    handle_->customFields().set("SessionID", bytesOf("old"));
    crash_->setHost("192.0.2.1");
    Dictionary fields = crash_->fields().dictionary();
    fields.set("SessionID", "old");
    fields.set("SymMethod", "none");
    fields.set("CrashStyle", "unity-cs");
    fields.set("errorCode", bytesOf("17"));
    fields.set("mine", bytesOf("custom"));
  }

  /// The session event, or nullptr when none was appended.
  VeskEventRef regenerate() {
    const GlobalGuard guard;
    BulkEventLists::EventList bulk{crash_};
    PXALog::regenerateSession_BulkEventQueue_Handler(crash_, bulk, handle_);
    return bulk.size() > 1 ? bulk.back() : nullptr;
  }
  Value session() const { return handle_->customFields().value("SessionID"); }

  test::FakePlatform& p_ = test::FakePlatform::install();
  VeskHandleRef handle_ = std::make_shared<VeskHandle>();
  VeskEventRef crash_ = test::makeEvent(kCrash);
};

TEST_F(SessionRegeneration, GivesTheHandleANewSessionAsBytes) {
  regenerate();
  EXPECT_EQ(session(), Value(bytesOf(kNewSession)));
}

TEST_F(SessionRegeneration, AppendsASessionEventOfTheCrashsProject) {
  const VeskEventRef event = regenerate();
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(event->projectName(), Value(test::kAppKey));
  EXPECT_EQ(event->projectVersion(), Value(test::kVersion));
  EXPECT_EQ(event->logType(), Value("SESSION"));
  EXPECT_EQ(event->logSource(), Value("source"));
  EXPECT_EQ(event->body(), Value(bytesOf("SESSION")));
  EXPECT_EQ(event->handleId(), Value("h"));
}

TEST_F(SessionRegeneration, StampsTheSessionEventWithTheTimeAndTheHost) {
  p_.clock.setSecondsSince1970(1'600'000'000.1239);
  const VeskEventRef event = regenerate();
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(event->sendTime(), 1'600'000'000'123);
  EXPECT_EQ(event->host(), Value("192.0.2.7"));
}

TEST_F(SessionRegeneration, GivesTheSessionEventTheNewSessionAndALevelOfItsOwn) {
  const VeskEventRef event = regenerate();
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(fieldOf(event, "SessionID"), Value(bytesOf(kNewSession)));
  EXPECT_EQ(fieldOf(event, "logLevel"), Value("INFO"));
}

TEST_F(SessionRegeneration, CopiesTheCrashsOtherFields) {
  const VeskEventRef event = regenerate();
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(fieldOf(event, "mine"), Value("custom"));
  EXPECT_EQ(fieldOf(event, "host"), Value("192.0.2.1"));
}

TEST_F(SessionRegeneration, LeavesOutWhatBelongsToTheCrash) {
  const VeskEventRef event = regenerate();
  ASSERT_NE(event, nullptr);
  for (const char* key : {"projectName", "projectVersion", "logType", "logSource", "body", "sendTime",
                          "DmpData", "SymMethod", "CrashStyle", "errorCode"})
    EXPECT_FALSE(event->fields().dictionary().contains(key)) << key;
}

TEST_F(SessionRegeneration, LeavesTheCrashAsItWas) {
  const std::size_t fields = crash_->fields().dictionary().size();
  regenerate();
  EXPECT_EQ(crash_->fields().dictionary().size(), fields);
  EXPECT_EQ(fieldOf(crash_, "SessionID"), Value("old"));
}

TEST_F(SessionRegeneration, UsesADashWithoutAUuid) {
  p_.uuids.givesNone = true;
  regenerate();
  EXPECT_EQ(session(), Value(bytesOf("-")));
}

TEST_F(SessionRegeneration, DoesNothingForACrashWithoutHandleId) {
  test::EventSpec spec = kCrash;
  spec.handleId = {};
  crash_ = test::makeEvent(spec);
  EXPECT_EQ(regenerate(), nullptr);
  EXPECT_EQ(session(), Value(bytesOf("old")));
}

TEST_F(SessionRegeneration, DoesNothingWithoutAHandle) {
  const GlobalGuard guard;
  BulkEventLists::EventList bulk;
  PXALog::regenerateSession_BulkEventQueue_Handler(crash_, bulk, nullptr);
  EXPECT_TRUE(bulk.empty());
}

TEST_F(SessionRegeneration, HappensForACrashThatWasNeverCounted) {
  EXPECT_NE(regenerate(), nullptr);
}

TEST_F(SessionRegeneration, HappensForTheFirstOfEqualCrashes) {
  PXALog::InsertCrashQueue_value(kCrashKey, 1);
  EXPECT_NE(regenerate(), nullptr);
}

TEST_F(SessionRegeneration, DoesNothingForASecondCrash) {
  PXALog::InsertCrashQueue_value(kCrashKey, 2);
  EXPECT_EQ(regenerate(), nullptr);
  EXPECT_EQ(session(), Value(bytesOf("old")));
}

TEST_F(SessionRegeneration, LooksIntoTheStoreOfCrashesOnly) {
  PXALog::InsertQueue_value(kCrashKey, 2);
  EXPECT_NE(regenerate(), nullptr);
}

TEST_F(SessionRegeneration, HappensForEveryCrashWhileRepeatsMayPass) {
  PXALog::InsertCrashQueue_value(kCrashKey, 2);
  handle_->setIsDeduplicate(false);
  EXPECT_NE(regenerate(), nullptr);
}

TEST_F(SessionRegeneration, StartsASessionButSendsNoEventForACrashThatIsDeliveredAgain) {
  crash_->fields().dictionary().set("errorRate", "1");
  EXPECT_EQ(regenerate(), nullptr);
  EXPECT_EQ(session(), Value(bytesOf(kNewSession)));
}

TEST_F(SessionRegeneration, CopiesTheCrashsFieldsWholeForAHandleWithoutCustomFields) {
  handle_->setCustomFields(nullptr);
  const VeskEventRef event = regenerate();
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(fieldOf(event, "logLevel"), Value("FATAL"));
  EXPECT_EQ(fieldOf(event, "DmpData"), Value("dump"));
}

TEST_F(SessionRegeneration, SendsABareSessionForACrashWithoutAJsonForm) {
  crash_->setBody(bytesOf("\xff"));
  const VeskEventRef event = regenerate();
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(event->fields().dictionary().size(), 2U);
}

TEST(SessionRegenerationWithoutStores, Happens) {
  test::FakePlatform::install();
  const GlobalGuard guard;
  BulkEventLists::EventList bulk;
  PXALog::regenerateSession_BulkEventQueue_Handler(test::makeEvent(kCrash), bulk,
                                                   std::make_shared<VeskHandle>());
  EXPECT_EQ(bulk.size(), 1U);
}

}  // namespace
}  // namespace pxa
