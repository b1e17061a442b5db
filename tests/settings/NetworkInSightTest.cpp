#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "api/handle/GlobalLock.h"
#include "settings/NetworkInSight.h"
#include "support/FakePlatform.h"
#include "support/lock_probe.h"

namespace pxa {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

constexpr const char* kFile = "RDM_iOS_SETTING_FILE";

class NetworkInSightFile : public testing::Test {
 protected:
  test::FakePlatform& p_ = test::FakePlatform::install();
};

TEST_F(NetworkInSightFile, LiesInTheDocumentsDirectory) {
  EXPECT_EQ(NetworkInSight::settingFilePath(), "/documents/RDM_iOS_SETTING_FILE");
}

TEST_F(NetworkInSightFile, HoldsTheWholeTextAndNothingElse) {
  NetworkInSight::performanceSave("{\"text\": \"grüße\"}\n");
  EXPECT_THAT(p_.files.contentOf(kFile), Optional(std::string("{\"text\": \"grüße\"}\n")));
}

TEST_F(NetworkInSightFile, IsReplacedByALaterText) {
  NetworkInSight::performanceSave("a long earlier text");
  NetworkInSight::performanceSave("short");
  EXPECT_THAT(p_.files.contentOf(kFile), Optional(std::string("short")));
}

TEST_F(NetworkInSightFile, CanHoldAnEmptyText) {
  NetworkInSight::performanceSave("");
  EXPECT_THAT(p_.files.contentOf(kFile), Optional(std::string()));
}

TEST_F(NetworkInSightFile, StaysAsItWasWhenItCannotBeRemoved) {
  p_.files.put(kFile, "earlier");
  p_.files.failsToRemove = true;
  NetworkInSight::performanceSave("later");
  EXPECT_THAT(p_.files.contentOf(kFile), Optional(std::string("earlier")));
}

TEST_F(NetworkInSightFile, IsWrittenWithoutARemovalWhenThereWasNone) {
  p_.files.failsToRemove = true;
  NetworkInSight::performanceSave("text");
  EXPECT_THAT(p_.files.contentOf(kFile), Optional(std::string("text")));
}

TEST_F(NetworkInSightFile, SaysNothingAboutARemovalOrAWriteThatFails) {
  p_.files.put(kFile, "earlier");
  p_.files.failsToRemove = true;
  NetworkInSight::performanceSave("later");
  p_.files.failsToRemove = false;
  p_.files.failsToWrite = true;
  NetworkInSight::performanceSave("later");
  EXPECT_THAT(p_.log.lines(), IsEmpty());
}

TEST_F(NetworkInSightFile, TellsTheConsoleOfAnExceptionWhileSaving) {
  p_.files.throws = true;
  EXPECT_NO_THROW(NetworkInSight::performanceSave("text"));
  EXPECT_THAT(p_.log.lines(), ElementsAre("[NetworkInsight] Save Error : the disk is on fire"));
}

TEST_F(NetworkInSightFile, IsReadAsText) {
  p_.files.put(kFile, "grüße");
  EXPECT_EQ(NetworkInSight::performanceLoad(), "grüße");
}

TEST_F(NetworkInSightFile, GivesNilWhenItIsNotThere) {
  EXPECT_TRUE(NetworkInSight::performanceLoad().isNil());
}

TEST_F(NetworkInSightFile, GivesAnEmptyTextWhenItIsEmpty) {
  p_.files.put(kFile, "");
  EXPECT_EQ(NetworkInSight::performanceLoad(), "");
}

TEST_F(NetworkInSightFile, GivesNilWhenItIsNotUtf8) {
  p_.files.put(kFile, "\xff\xfe{}");
  EXPECT_TRUE(NetworkInSight::performanceLoad().isNil());
}

TEST_F(NetworkInSightFile, GivesNilWhenItCannotBeRead) {
  p_.files.put(kFile, "text");
  p_.files.failsToRead = true;
  EXPECT_TRUE(NetworkInSight::performanceLoad().isNil());
}

TEST_F(NetworkInSightFile, GivesNilAndTellsTheConsoleOfAnExceptionWhileReading) {
  p_.files.throws = true;
  EXPECT_TRUE(NetworkInSight::performanceLoad().isNil());
  EXPECT_THAT(p_.log.lines(), ElementsAre("[NetworkInsight] Save Load : the disk is on fire"));
}

TEST_F(NetworkInSightFile, WritesItsConsoleLineAfterTheLocksAreLeft) {
  bool wasFree = false;
  p_.log.setListener([&wasFree](const std::string&) { wasFree = test::isGlobalLockFree(); });
  p_.files.throws = true;
  {
    const GlobalGuard guard;
    NetworkInSight::performanceSave("text");
    EXPECT_THAT(p_.log.lines(), IsEmpty());
  }
  EXPECT_TRUE(wasFree);
}

}  // namespace
}  // namespace pxa
