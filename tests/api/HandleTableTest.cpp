#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "api/handle/handle_table.h"
#include "api/handle/host_address.h"
#include "support/handles.h"
#include "support/lock_probe.h"
#include "support/values.h"

namespace pxa {
namespace {

using test::FakePlatform;
using test::openHandle;
using test::text;

void setHandler(const String& handleId) {
  const GlobalGuard guard;
  PXALog::rdm_setHandler(handleId);
}

TEST(HandleTable, FindsNothingBeforeAnyInitialisation) {
  EXPECT_EQ(PXALog::rdm_getHandler("0"), nullptr);
  EXPECT_EQ(PXALog::rdm_getHandler("Keepcell"), nullptr);
}

TEST(HandleTable, TakesNothingBeforeAnyInitialisation) {
  setHandler("0");
  EXPECT_EQ(PXALog::rdm_getHandler("0"), nullptr);
}

TEST(HandleTable, FindsNothingUnderANilId) {
  test::installWithHandle();
  EXPECT_EQ(PXALog::rdm_getHandler(nullptr), nullptr);
}

TEST(HandleTable, FindsNothingUnderAnUnknownId) {
  test::installWithHandle();
  EXPECT_EQ(PXALog::rdm_getHandler("1"), nullptr);
  EXPECT_EQ(PXALog::rdm_getHandler(""), nullptr);
  EXPECT_EQ(PXALog::rdm_getHandler("00"), nullptr);
}

TEST(HandleTable, FindsTheSameRecordEveryTime) {
  test::installWithHandle();
  ASSERT_NE(PXALog::rdm_getHandler("0"), nullptr);
  EXPECT_EQ(PXALog::rdm_getHandler("0"), PXALog::rdm_getHandler("0"));
}

TEST(HandleTable, FindsEachRecordUnderItsOwnId) {
  FakePlatform::install();
  openHandle({.appKey = "one", .handleId = "a"});
  openHandle({.appKey = "two", .handleId = "A"});
  EXPECT_EQ(text(PXALog::rdm_getHandler("a")->projectName()), "one");
  EXPECT_EQ(text(PXALog::rdm_getHandler("A")->projectName()), "two");
}

TEST(HandleTable, TakesAnyTextAsAnId) {
  FakePlatform::install();
  for (const String id : {"", " ", "Grüße", "a:b/c"}) {
    EXPECT_TRUE(openHandle({.handleId = id})) << text(id);
    EXPECT_NE(PXALog::rdm_getHandler(id), nullptr) << text(id);
  }
}

TEST(HandleTable, DoesNothingForANilIdThatIsSet) {
  test::installWithHandle();
  setHandler(nullptr);
  EXPECT_EQ(PXALog::rdm_getHandler(nullptr), nullptr);
  EXPECT_NE(PXALog::rdm_getHandler("0"), nullptr);
}

TEST(HandleTable, PutsARecordWithTheDefaultsUnderANewId) {
  test::installWithHandle();
  setHandler("new");
  const VeskHandleRef handle = PXALog::rdm_getHandler("new");
  ASSERT_NE(handle, nullptr);
  EXPECT_TRUE(handle->projectName().isNil());
  EXPECT_EQ(text(handle->logType()), "vesk2-log");
  EXPECT_EQ(handle->customFields().size(), 0U);
}

TEST(HandleTable, ReplacesTheRecordUnderAKnownIdByAFreshOne) {
  test::installWithHandle();
  const VeskHandleRef before = PXALog::rdm_getHandler("0");
  setHandler("0");
  const VeskHandleRef after = PXALog::rdm_getHandler("0");
  EXPECT_NE(after, before);
  EXPECT_TRUE(after->projectName().isNil());
  EXPECT_EQ(after->customFields().size(), 0U);
}

TEST(HandleTable, HasMoreRoomThanItStartsWith) {
  test::installWithHandle();
  for (int i = 0; i < 100; ++i) setHandler(std::to_string(i));
  for (int i = 0; i < 100; ++i) EXPECT_NE(PXALog::rdm_getHandler(std::to_string(i)), nullptr) << i;
}

TEST(HandleTable, IsReadByManyThreadsWhileHandlesAreOpened) {
  FakePlatform::install();
  std::atomic<bool> isDone = false;
  std::vector<std::thread> readers;
  for (int i = 0; i < 3; ++i) {
    readers.emplace_back([&] {
      while (!isDone) {
        const VeskHandleRef handle = PXALog::rdm_getHandler("7");
        EXPECT_TRUE(handle == nullptr || handle->isLog());
        std::this_thread::yield();
      }
    });
  }
  for (int i = 0; i < 9; ++i) EXPECT_TRUE(openHandle());
  isDone = true;
  for (std::thread& reader : readers) reader.join();
  EXPECT_NE(PXALog::rdm_getHandler("8"), nullptr);
}

TEST(HandleTable, KnowsTheIdsOfThePlainAndOfTheKeepcellOperations) {
  EXPECT_EQ(text(defaultHandleId()), "0");
  EXPECT_EQ(text(keepcellHandleId()), "Keepcell");
}

TEST(HostSwitch, IsOnAtFirst) {
  FakePlatform::install();
  EXPECT_EQ(text(PXALog::getHost()), "192.0.2.7");
}

TEST(HostSwitch, HidesTheHostWhileItIsOff) {
  FakePlatform::install();
  PXALog::enableHost(false);
  EXPECT_EQ(text(PXALog::getHost()), "-");
}

TEST(HostSwitch, ShowsTheHostAfterItWasSwitchedOnAgain) {
  FakePlatform::install();
  PXALog::enableHost(false);
  PXALog::enableHost(true);
  EXPECT_EQ(text(PXALog::getHost()), "192.0.2.7");
}

TEST(HostSwitch, IsNotTouchedByAnInitialisation) {
  FakePlatform::install();
  PXALog::enableHost(false);
  openHandle();
  EXPECT_EQ(text(PXALog::getHost()), "-");
}

TEST(HostSwitch, TakesNoLock) {
  FakePlatform::install();
  EXPECT_TRUE(test::endsWhileLockIsHeld([] { PXALog::enableHost(false); }));
}

TEST(HostSwitch, MayBeSetWhileOthersReadIt) {
  FakePlatform::install();
  std::thread setter([] {
    for (int i = 0; i < 1000; ++i) PXALog::enableHost(i % 2 == 0);
  });
  for (int i = 0; i < 1000; ++i) {
    const std::string host = text(PXALog::getHost());
    EXPECT_TRUE(host == "-" || host == "192.0.2.7") << host;
  }
  setter.join();
}

}  // namespace
}  // namespace pxa
