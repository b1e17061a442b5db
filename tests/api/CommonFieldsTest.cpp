#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include <pxalog/Array.h>

#include "api/handle/common_fields.h"
#include "support/handles.h"
#include "support/lock_probe.h"
#include "support/values.h"

namespace pxa {
namespace {

using test::FakePlatform;
using test::openHandle;
using test::text;

/// The common fields that an event without fields gets from handle "0".
Dictionary commonFields() {
  Dictionary fields;
  EXPECT_TRUE(PXALog::copyCommonFields(fields));
  return fields;
}

std::string commonField(std::string_view key) {
  return text(commonFields().value(key));
}

void setCustomValue(const char* key, Value value) {
  PXALog::rdm_getHandler("0")->customFields().set(key, std::move(value));
}

TEST(CommonFields, AreRefusedForAnUnknownHandle) {
  test::installWithHandle();
  Dictionary fields{{"logLevel", "INFO"}};
  EXPECT_FALSE(PXALog::copyCommonFields_forHandlerId(fields, "unknown"));
  EXPECT_FALSE(PXALog::copyCommonFields_forHandlerId(fields, nullptr));
  EXPECT_EQ(test::keysOf(fields), (std::vector<std::string>{"logLevel"}));
}

TEST(CommonFields, AreRefusedBeforeInitialisation) {
  FakePlatform::install();
  Dictionary fields;
  EXPECT_FALSE(PXALog::copyCommonFields(fields));
  EXPECT_EQ(fields.size(), 0U);
}

TEST(CommonFields, AreThoseOfHandleZeroWhereNoHandleIsNamed) {
  FakePlatform::install();
  openHandle({.userId = "zero"});
  openHandle({.userId = "one"});
  EXPECT_EQ(commonField("UserID"), "zero");
}

TEST(CommonFields, AreThoseOfTheHandleThatIsNamed) {
  FakePlatform::install();
  openHandle({.userId = "zero"});
  openHandle({.userId = "one"});
  Dictionary fields;
  EXPECT_TRUE(PXALog::copyCommonFields_forHandlerId(fields, "1"));
  EXPECT_EQ(text(fields.value("UserID")), "one");
}

TEST(CommonFields, AreBytes) {
  FakePlatform::install();
  openHandle({.userId = "user"});
  const Dictionary fields = commonFields();
  for (const char* key :
       {"Platform", "DeviceModel", "Carrier", "CountryCode", "Locale", "NetworkType", "UserID"}) {
    EXPECT_EQ(fields.value(key).kind(), Value::Kind::Data) << key;
  }
}

TEST(CommonFields, ComeInTheirOrderBeforeTheCustomFields) {
  FakePlatform::install();
  openHandle({.userId = "user"});
  PXALog::setCustomField_forKey("value", "key");
  EXPECT_EQ(test::keysOf(commonFields()),
            (std::vector<std::string>{"Platform", "DeviceModel", "Carrier", "CountryCode", "Locale",
                                      "NetworkType", "UserID", "logVersion", "SymMethod", "CrashStyle",
                                      "SdkVersion", "SessionID", "DeviceID", "key"}));
}

TEST(CommonFields, LeaveWhatTheEventHasOfItsOwn) {
  test::installWithHandle();
  Dictionary fields{{"logLevel", test::bytesOf("INFO")}, {"errorCode", test::bytesOf("E42")}};
  EXPECT_TRUE(PXALog::copyCommonFields(fields));
  EXPECT_TRUE(fields.value("logLevel") == test::bytesOf("INFO"));
  EXPECT_TRUE(fields.value("errorCode") == test::bytesOf("E42"));
}

TEST(CommonFields, ReplaceWhatStandsUnderTheirKeys) {
  FakePlatform::install();
  openHandle({.userId = "user"});
  Dictionary fields;
  for (const char* key :
       {"Platform", "DeviceModel", "Carrier", "CountryCode", "Locale", "NetworkType", "UserID"}) {
    fields.set(key, "old");
  }
  EXPECT_TRUE(PXALog::copyCommonFields(fields));
  for (const Dictionary::Entry& entry : fields) EXPECT_NE(text(entry.value), "old") << text(entry.key);
}

TEST(CommonFields, NameTheSystemAndItsVersion) {
  test::installWithHandle();
  EXPECT_EQ(commonField("Platform"), "iOS 12.1");
}

TEST(CommonFields, TrimThePlatform) {
  FakePlatform& p = test::installWithHandle();
  p.device.version = "12.1 \t\r\n";
  EXPECT_EQ(commonField("Platform"), "iOS 12.1");
}

TEST(CommonFields, NameTheSystemAloneWhereItsVersionIsEmpty) {
  FakePlatform& p = test::installWithHandle();
  p.device.version = "";
  EXPECT_EQ(commonField("Platform"), "iOS");
}

TEST(CommonFields, NameTheDevice) {
  test::installWithHandle();
  EXPECT_EQ(commonField("DeviceModel"), "iPhone8,2");
}

TEST(CommonFields, NameNoDeviceThatIsNotKnown) {
  FakePlatform& p = test::installWithHandle();
  for (const String& model : {String(""), String(nullptr)}) {
    p.device.model = model;
    EXPECT_FALSE(commonFields().contains("DeviceModel"));
  }
}

TEST(CommonFields, LeaveADeviceThatIsThereWhereNoneIsKnown) {
  FakePlatform& p = test::installWithHandle();
  p.device.model = "";
  Dictionary fields{{"DeviceModel", "earlier"}};
  EXPECT_TRUE(PXALog::copyCommonFields(fields));
  EXPECT_EQ(text(fields.value("DeviceModel")), "earlier");
}

TEST(CommonFields, NameTheCarrier) {
  FakePlatform& p = test::installWithHandle();
  p.device.carrier = "Telekom.de";
  EXPECT_EQ(commonField("Carrier"), "Telekom.de");
}

TEST(CommonFields, NameTheCountryInLowerCase) {
  FakePlatform& p = test::installWithHandle();
  p.device.country = "DE";
  EXPECT_EQ(commonField("CountryCode"), "de");
}

TEST(CommonFields, KnowNoCarrierAndNoCountryWithoutACellularProvider) {
  FakePlatform& p = test::installWithHandle();
  for (const String& none : {String(""), String(nullptr)}) {
    p.device.carrier = none;
    p.device.country = none;
    EXPECT_EQ(commonField("Carrier"), "Unknown");
    EXPECT_EQ(commonField("CountryCode"), "Unknown");
  }
}

TEST(CommonFields, NameTheLocale) {
  test::installWithHandle();
  EXPECT_EQ(commonField("Locale"), "English (United States)");
}

TEST(CommonFields, KnowNoLocaleWithoutAName) {
  FakePlatform& p = test::installWithHandle();
  for (const String& none : {String(""), String(nullptr)}) {
    p.device.localeName = none;
    EXPECT_EQ(commonField("Locale"), "Unknown");
  }
}

TEST(CommonFields, NameTheKindOfNetwork) {
  test::installWithHandle();
  const struct {
    String networkType;
    const char* field;
  } rows[] = {
      {"Wi-Fi", "Wi-Fi"}, {"Cellular", "Cellular"}, {"NONE", "No Connection"}, {nullptr, "No Connection"}};
  for (const auto& row : rows) {
    {
      const GlobalGuard guard;
      networkRecord()->setNetworkType(row.networkType);
    }
    EXPECT_EQ(commonField("NetworkType"), row.field) << text(row.networkType);
  }
}

TEST(CommonFields, HaveNoConnectionWhereTheCollectorCannotBeReached) {
  FakePlatform::install().reachability.flags = 0;
  openHandle();
  EXPECT_EQ(commonField("NetworkType"), "No Connection");
}

TEST(CommonFields, NameTheUser) {
  FakePlatform::install();
  openHandle({.userId = "user"});
  EXPECT_EQ(commonField("UserID"), "user");
}

TEST(CommonFields, HaveAnEmptyUserForAnEmptyUserId) {
  FakePlatform::install();
  openHandle({.userId = ""});
  EXPECT_TRUE(commonFields().value("UserID") == test::bytesOf(""));
}

TEST(CommonFields, HaveNoUserForANilUserId) {
  test::installWithHandle();
  EXPECT_FALSE(commonFields().contains("UserID"));
}

TEST(CommonFields, LeaveAUserThatIsThereForANilUserId) {
  test::installWithHandle();
  Dictionary fields{{"UserID", "earlier"}};
  EXPECT_TRUE(PXALog::copyCommonFields(fields));
  EXPECT_EQ(text(fields.value("UserID")), "earlier");
}

TEST(CommonFields, AreAsFreshAsEachQuestion) {
  FakePlatform& p = test::installWithHandle();
  ASSERT_EQ(commonField("Platform"), "iOS 12.1");
  p.device.version = "13";
  EXPECT_EQ(commonField("Platform"), "iOS 13");
}

TEST(CommonFields, TellOnceReadFactsUntilTheyChange) {
  FakePlatform& p = test::installWithHandle();
  p.device.generationOfFacts = 1;
  ASSERT_EQ(commonField("Platform"), "iOS 12.1");
  p.device.version = "13";
  EXPECT_EQ(commonField("Platform"), "iOS 12.1");
  p.device.generationOfFacts = 2;
  EXPECT_EQ(commonField("Platform"), "iOS 13");
}

TEST(CommonFields, LeaveOnceReadFactsUnchangedWhateverBecomesOfAnEvent) {
  FakePlatform& p = test::installWithHandle();
  p.device.generationOfFacts = 1;
  Dictionary fields;
  ASSERT_TRUE(PXALog::copyCommonFields(fields));
  fields.set("Platform", "changed");
  EXPECT_EQ(commonField("Platform"), "iOS 12.1");
}

// Custom fields.

TEST(CommonFields, CarryWhatBecameOfTheCustomFieldsSinceTheLastEvent) {
  test::installWithHandle();
  PXALog::setCustomField_forKey("first", "key");
  PXALog::setCustomField_forKey("other", "other");
  ASSERT_TRUE(commonFields().value("key") == Value("first"));
  PXALog::setCustomField_forKey("second", "key");
  EXPECT_TRUE(commonFields().value("key") == Value("second"));
  PXALog::removeCustomFieldForKey("key");
  EXPECT_FALSE(commonFields().contains("key"));
  PXALog::removeAllCustomFields();
  EXPECT_FALSE(commonFields().contains("other"));
}

TEST(CommonFields, CarryTheReservedCustomFieldsAsTexts) {
  FakePlatform::install();
  openHandle({.unityVersion = "2019.4"});
  const Dictionary fields = commonFields();
  const struct {
    const char* key;
    const char* value;
  } rows[] = {{"logVersion", "v2"},
              {"SymMethod", "none"},
              {"CrashStyle", "unity-cs"},
              {"SdkVersion", "brine-quillmark-iOS-sdk-2.6.6"},
              {"SessionID", "00000000-0000-4000-8000-000000000001"},
              {"Unity", "2019.4"},
              {"DeviceID", "VENDOR-ID"}};
  for (const auto& row : rows) EXPECT_TRUE(fields.value(row.key) == Value(row.value)) << row.key;
}

TEST(CommonFields, CarryCustomFieldsOfTheCallerAsTexts) {
  test::installWithHandle();
  PXALog::setCustomField_forKey("Grüße", "key");
  EXPECT_TRUE(commonFields().value("key") == Value("Grüße"));
}

TEST(CommonFields, CarryACustomTextAsItIs) {
  test::installWithHandle();
  setCustomValue("key", "text");
  EXPECT_TRUE(commonFields().value("key") == Value("text"));
}

TEST(CommonFields, SkipCustomValuesThatAreNeitherTextNorBytes) {
  test::installWithHandle();
  setCustomValue("number", 1);
  setCustomValue("array", Array{"element"});
  setCustomValue("dictionary", Dictionary());
  setCustomValue("null", nullptr);
  const Dictionary fields = commonFields();
  for (const char* key : {"number", "array", "dictionary", "null"}) EXPECT_FALSE(fields.contains(key)) << key;
}

TEST(CommonFields, AreNeverReplacedByACustomField) {
  FakePlatform::install();
  openHandle({.userId = "user"});
  for (const char* key :
       {"Platform", "DeviceModel", "Carrier", "CountryCode", "Locale", "NetworkType", "UserID"}) {
    setCustomValue(key, "custom");
    EXPECT_NE(commonField(key), "custom") << key;
  }
}

TEST(CommonFields, AreNotReplacedByACustomFieldOfTheEventsOwnNames) {
  test::installWithHandle();
  setCustomValue("errorCode", "custom");
  setCustomValue("logLevel", "custom");
  Dictionary fields{{"logLevel", test::bytesOf("INFO")}, {"errorCode", test::bytesOf("E42")}};
  EXPECT_TRUE(PXALog::copyCommonFields(fields));
  EXPECT_EQ(text(fields.value("logLevel")), "INFO");
  EXPECT_EQ(text(fields.value("errorCode")), "E42");
}

TEST(CommonFields, TakeACustomUserWhereTheHandleHasNone) {
  test::installWithHandle();
  setCustomValue("UserID", "custom");
  EXPECT_TRUE(commonFields().value("UserID") == Value("custom"));
}

TEST(CommonFields, LeaveTheHandlesCustomFieldsUnchanged) {
  test::installWithHandle();
  PXALog::setCustomField_forKey("value", "key");
  static_cast<void>(commonFields());
  EXPECT_TRUE(test::customField("0", "key") == test::bytesOf("value"));
}

TEST(CommonFields, WaitForTheLock) {
  test::installWithHandle();
  EXPECT_TRUE(test::waitsForGlobalLock([] { PXALog::copyCommonFields(Dictionary()); }));
}

TEST(CommonFields, LeaveNoLockHeldForAnUnknownHandle) {
  test::installWithHandle();
  EXPECT_FALSE(PXALog::copyCommonFields_forHandlerId(Dictionary(), "unknown"));
  EXPECT_TRUE(test::isGlobalLockFree());
}

}  // namespace
}  // namespace pxa
