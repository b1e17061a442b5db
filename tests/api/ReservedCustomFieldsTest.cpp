#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "support/handles.h"
#include "support/values.h"

namespace pxa {
namespace {

using test::customField;
using test::FakePlatform;
using test::openHandle;
using test::text;

TEST(ReservedCustomFields, AreWrittenInTheirOrder) {
  test::installWithHandle();
  EXPECT_EQ(test::keysOf(PXALog::rdm_getHandler("0")->customFields()),
            (std::vector<std::string>{"logVersion", "SymMethod", "CrashStyle", "SdkVersion", "SessionID",
                                      "DeviceID"}));
}

TEST(ReservedCustomFields, AreWrittenInTheirOrderWithUnity) {
  FakePlatform::install();
  openHandle({.unityVersion = "2019.4"});
  EXPECT_EQ(test::keysOf(PXALog::rdm_getHandler("0")->customFields()),
            (std::vector<std::string>{"logVersion", "SymMethod", "CrashStyle", "SdkVersion", "SessionID",
                                      "Unity", "DeviceID"}));
}

TEST(ReservedCustomFields, HoldBytesForVersionsAndSession) {
  test::installWithHandle();
  EXPECT_TRUE(customField("0", "logVersion") == test::bytesOf("v2"));
  EXPECT_TRUE(customField("0", "SdkVersion") == test::bytesOf("brine-quillmark-iOS-sdk-2.6.6"));
  EXPECT_TRUE(customField("0", "SessionID") == test::bytesOf("00000000-0000-4000-8000-000000000001"));
}

TEST(ReservedCustomFields, HoldTextsForSymMethodCrashStyleAndDevice) {
  test::installWithHandle();
  EXPECT_TRUE(customField("0", "SymMethod") == Value("none"));
  EXPECT_TRUE(customField("0", "CrashStyle") == Value("unity-cs"));
  EXPECT_TRUE(customField("0", "DeviceID") == Value("VENDOR-ID"));
}

TEST(ReservedCustomFields, HoldTheUnityVersionAsBytes) {
  FakePlatform::install();
  openHandle({.unityVersion = "2019.4"});
  EXPECT_TRUE(customField("0", "Unity") == test::bytesOf("2019.4"));
}

TEST(ReservedCustomFields, HoldASessionOfTheHandlesOwn) {
  test::installWithHandle();
  openHandle();
  EXPECT_NE(text(customField("0", "SessionID")), text(customField("1", "SessionID")));
}

TEST(ReservedCustomFields, HoldAnEmptySessionWithoutAUuid) {
  FakePlatform::install().uuids.givesNone = true;
  openHandle();
  EXPECT_TRUE(customField("0", "SessionID") == test::bytesOf(""));
}

TEST(ReservedCustomFields, HoldNoDeviceWhereItsIdIsEmpty) {
  FakePlatform::install().files.put("RDM_iOS_DEVICE_ID", "");
  EXPECT_TRUE(openHandle());
  EXPECT_FALSE(PXALog::rdm_getHandler("0")->customFields().contains("DeviceID"));
}

TEST(ReservedCustomFields, HoldNoDeviceWhereItsFileHoldsNoText) {
  FakePlatform::install().files.put("RDM_iOS_DEVICE_ID", "\xff");
  EXPECT_TRUE(openHandle());
  EXPECT_FALSE(PXALog::rdm_getHandler("0")->customFields().contains("DeviceID"));
}

TEST(ReservedCustomFields, HoldNoDeviceWhereFilesFail) {
  FakePlatform::install().files.throws = true;
  EXPECT_TRUE(openHandle());
  EXPECT_FALSE(PXALog::rdm_getHandler("0")->customFields().contains("DeviceID"));
}

TEST(ReservedCustomFields, HoldNoUnityVersionOutsideUnityMode) {
  FakePlatform::install();
  openHandle({.unityVersion = ""});
  EXPECT_FALSE(PXALog::rdm_getHandler("0")->customFields().contains("Unity"));
}

}  // namespace
}  // namespace pxa
