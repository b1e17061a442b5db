#include <gtest/gtest.h>
#include <string_view>

#include "api/identifiers.h"
#include "support/handles.h"
#include "support/values.h"

namespace pxa {
namespace {

using test::FakePlatform;
using test::text;

constexpr const char* kDeviceIdFile = "RDM_iOS_DEVICE_ID";

TEST(GenerateUUID, GivesANewIdEachTime) {
  FakePlatform::install();
  EXPECT_EQ(text(PXALog::generateUUID()), "00000000-0000-4000-8000-000000000001");
  EXPECT_EQ(text(PXALog::generateUUID()), "00000000-0000-4000-8000-000000000002");
}

TEST(GenerateUUID, IsEmptyWhenNoneCouldBeMade) {
  FakePlatform::install().uuids.givesNone = true;
  EXPECT_EQ(text(PXALog::generateUUID()), "");
}

TEST(GenerateUUID, HasTheCanonicalUpperCaseFormOfTheSystem) {
  const String uuid = PXALog::generateUUID();
  ASSERT_EQ(uuid.size(), 36U);
  for (std::size_t i = 0; i < uuid.size(); ++i) {
    const bool isHyphen = i == 8 || i == 13 || i == 18 || i == 23;
    const std::string_view allowed = isHyphen ? "-" : "0123456789ABCDEF";
    EXPECT_NE(allowed.find(uuid.view()[i]), std::string_view::npos) << text(uuid);
  }
}

TEST(DataFilePath, IsInTheDocumentsDirectory) {
  FakePlatform::install();
  EXPECT_EQ(text(PXALog::dataFilePath()), "/documents/RDM_iOS_DEVICE_ID");
}

TEST(DeviceId, IsTheVendorIdentifierAtFirst) {
  FakePlatform::install();
  EXPECT_EQ(text(PXALog::getDeviceID()), "VENDOR-ID");
}

TEST(DeviceId, IsWrittenToItsFileAsItIs) {
  FakePlatform& p = FakePlatform::install();
  static_cast<void>(PXALog::getDeviceID());
  EXPECT_EQ(p.files.contentOf(kDeviceIdFile), "VENDOR-ID");
}

TEST(DeviceId, IsANewUuidOnAPlatformWithoutAVendorIdentifier) {
  FakePlatform& p = FakePlatform::install();
  p.device.vendor = nullptr;
  EXPECT_EQ(text(PXALog::getDeviceID()), "00000000-0000-4000-8000-000000000001");
  EXPECT_EQ(p.files.contentOf(kDeviceIdFile), "00000000-0000-4000-8000-000000000001");
}

TEST(DeviceId, StaysTheSameOnAPlatformWithoutAVendorIdentifier) {
  FakePlatform::install().device.vendor = nullptr;
  const String first = PXALog::getDeviceID();
  EXPECT_EQ(text(PXALog::getDeviceID()), text(first));
}

TEST(DeviceId, IsEmptyWithNeitherVendorIdentifierNorUuid) {
  FakePlatform& p = FakePlatform::install();
  p.device.vendor = nullptr;
  p.uuids.givesNone = true;
  EXPECT_EQ(text(PXALog::getDeviceID()), "");
  EXPECT_EQ(p.files.contentOf(kDeviceIdFile), "");
}

TEST(DeviceId, IsReadFromTheFileThatIsThere) {
  FakePlatform& p = FakePlatform::install();
  p.files.put(kDeviceIdFile, "FROM-FILE");
  EXPECT_EQ(text(PXALog::getDeviceID()), "FROM-FILE");
}

TEST(DeviceId, IsReadWithAllThatTheFileHolds) {
  FakePlatform& p = FakePlatform::install();
  p.files.put(kDeviceIdFile, " GRÜSSE\n");
  EXPECT_EQ(text(PXALog::getDeviceID()), " GRÜSSE\n");
}

TEST(DeviceId, NeverRewritesTheFile) {
  FakePlatform& p = FakePlatform::install();
  p.files.put(kDeviceIdFile, "FROM-FILE");
  p.device.vendor = "ANOTHER-VENDOR";
  static_cast<void>(PXALog::getDeviceID());
  EXPECT_EQ(p.files.contentOf(kDeviceIdFile), "FROM-FILE");
}

TEST(DeviceId, SurvivesAChangeOfTheVendorIdentifier) {
  FakePlatform& p = FakePlatform::install();
  static_cast<void>(PXALog::getDeviceID());
  p.device.vendor = "ANOTHER-VENDOR";
  EXPECT_EQ(text(PXALog::getDeviceID()), "VENDOR-ID");
}

TEST(DeviceId, IsEmptyWhereTheFileIsEmpty) {
  FakePlatform::install().files.put(kDeviceIdFile, "");
  EXPECT_EQ(text(PXALog::getDeviceID()), "");
}

TEST(DeviceId, IsNilWhereTheFileHoldsNoText) {
  FakePlatform& p = FakePlatform::install();
  p.files.put(kDeviceIdFile, "\xff\xfe");
  EXPECT_TRUE(PXALog::getDeviceID().isNil());
  EXPECT_EQ(p.files.contentOf(kDeviceIdFile), "\xff\xfe");
}

TEST(DeviceId, IsGivenEvenWhereItCannotBeWritten) {
  FakePlatform& p = FakePlatform::install();
  p.files.failsToWrite = true;
  EXPECT_EQ(text(PXALog::getDeviceID()), "VENDOR-ID");
  EXPECT_EQ(p.files.contentOf(kDeviceIdFile), std::nullopt);
}

TEST(DeviceId, IsNilAfterAFailure) {
  FakePlatform::install().files.throws = true;
  EXPECT_TRUE(PXALog::getDeviceID().isNil());
}

TEST(DeviceId, IsWrittenAnewByTheNextInitialisationAfterTheFileWasRemoved) {
  FakePlatform& p = test::installWithHandle();
  ASSERT_EQ(p.files.contentOf(kDeviceIdFile), "VENDOR-ID");
  p.files.removeFile(PXALog::dataFilePath());
  p.device.vendor = "ANOTHER-VENDOR";
  test::openHandle();
  EXPECT_EQ(p.files.contentOf(kDeviceIdFile), "ANOTHER-VENDOR");
  EXPECT_EQ(text(test::customField("1", "DeviceID")), "ANOTHER-VENDOR");
}

}  // namespace
}  // namespace pxa
