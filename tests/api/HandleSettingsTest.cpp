#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "api/handle/common_fields.h"
#include "api/handle/process_state.h"
#include "support/BackgroundCall.h"
#include "support/handles.h"
#include "support/lock_probe.h"
#include "support/queued_events.h"
#include "support/values.h"

namespace pxa {
namespace {

using test::customField;
using test::FakePlatform;
using test::openHandle;
using test::text;

const std::vector<std::string> kReservedFields = {
    "projectName",     "projectVersion", "host",        "logType",    "logSource",  "sendTime",
    "logTime",         "logLevel",       "UserID",      "Platform",   "DeviceType", "DeviceModel",
    "NetworkType",     "Carrier",        "CountryCode", "DmpData",    "errorCode",  "body",
    "PreferdLanguage", "FreeDiskSpace",  "FreeMemory",  "Jailbroken", "SessionID",  "Locale",
    "SdkVersion",      "DeviceID"};
const std::vector<std::string> kProtectedFields = {"logVersion", "SymMethod", "CrashStyle", "SdkVersion",
                                                   "SessionID",  "DeviceID",  "Unity"};

VeskHandleRef handle(const char* id = "0") {
  return PXALog::rdm_getHandler(id);
}

bool hasField(std::string_view key) {
  return handle()->customFields().contains(key);
}

/// The custom fields of handle "0", in order, as one text.
std::string fieldsOfHandle() {
  std::string fields;
  for (const Dictionary::Entry& entry : handle()->customFields()) {
    fields += text(entry.key) + '=' + text(entry.value) + ' ';
  }
  return fields;
}

// Texts and switches.

TEST(HandleSettings, AreStoredInTheHandle) {
  test::installWithHandle();
  PXALog::setUserId("user");
  PXALog::setLogType("type");
  PXALog::setLogSource("source");
  PXALog::setLogDeduplicate(false);
  EXPECT_EQ(text(handle()->userId()), "user");
  EXPECT_EQ(text(handle()->logType()), "type");
  EXPECT_EQ(text(handle()->logSource()), "source");
  EXPECT_FALSE(handle()->isDeduplicate());
}

TEST(HandleSettings, TakeAnyTextAndRepairWhatIsNotUtf8) {
  const struct {
    const char* name;
    void (*set)(const String&);
    const String& (VeskHandle::*get)() const;
  } settings[] = {
      {"userId", &PXALog::setUserId, &VeskHandle::userId},
      {"logType", &PXALog::setLogType, &VeskHandle::logType},
      {"logSource", &PXALog::setLogSource, &VeskHandle::logSource},
  };
  const std::pair<String, const char*> givenAndKept[] = {
      {"user", "user"},     {nullptr, "(nil)"}, {"", ""},
      {" a b\n", " a b\n"}, {"!", "!"},         {"caf\xe9", "caf\uFFFD"},
  };
  test::installWithHandle();
  for (const auto& [name, set, get] : settings)
    for (const auto& [given, kept] : givenAndKept) {
      set(given);
      EXPECT_EQ(text((*handle().*get)()), kept) << name;
    }
}

TEST(HandleSettings, ChangeNoOtherHandle) {
  test::installWithHandle();
  openHandle();
  PXALog::setUserId("user");
  PXALog::setLogDeduplicate(false);
  EXPECT_TRUE(handle("1")->userId().isNil());
  EXPECT_TRUE(handle("1")->isDeduplicate());
}

TEST(HandleSettings, SwitchDeduplicationOnAgain) {
  test::installWithHandle();
  PXALog::setLogDeduplicate(false);
  PXALog::setLogDeduplicate(true);
  EXPECT_TRUE(handle()->isDeduplicate());
}

TEST(HandleSettings, ShowInTheLogsThatFollow) {
  test::installWithHandle();
  PXALog::setLogType("type");
  PXALog::setLogSource("source");
  PXALog::info_withMessage(nullptr, "log");
  const auto logs = test::takeLogs();
  ASSERT_EQ(logs.size(), 1U);
  EXPECT_EQ(text(logs[0]->logType()), "type");
  EXPECT_EQ(text(logs[0]->logSource()), "source");
}

TEST(HandleSettings, TakeTheUserIdOutOfLaterEventsWhenItIsNil) {
  FakePlatform::install();
  openHandle({.userId = "user"});
  PXALog::setUserId(nullptr);
  Dictionary fields;
  PXALog::copyCommonFields(fields);
  EXPECT_FALSE(fields.contains("UserID"));
}

// Custom fields.

TEST(SetCustomField, StoresTheBytesOfTheValue) {
  test::installWithHandle();
  PXALog::setCustomField_forKey("Grüße", "my_field2");
  EXPECT_TRUE(customField("0", "my_field2") == test::bytesOf("Grüße"));
}

TEST(SetCustomField, StoresADashForNil) {
  test::installWithHandle();
  PXALog::setCustomField_forKey(nullptr, "my_field2");
  EXPECT_TRUE(customField("0", "my_field2") == test::bytesOf("-"));
}

TEST(SetCustomField, StoresAnEmptyValue) {
  test::installWithHandle();
  PXALog::setCustomField_forKey("", "my_field2");
  EXPECT_TRUE(customField("0", "my_field2") == test::bytesOf(""));
}

TEST(SetCustomField, ReplacesAnEarlierValue) {
  test::installWithHandle();
  PXALog::setCustomField_forKey("first", "key");
  PXALog::setCustomField_forKey("second", "key");
  EXPECT_EQ(text(customField("0", "key")), "second");
}

TEST(SetCustomField, RepairsAValueThatIsNotUtf8) {
  test::installWithHandle();
  PXALog::setCustomField_forKey("caf\xe9", "key");
  EXPECT_TRUE(customField("0", "key") == test::bytesOf("caf\uFFFD"));
}

TEST(SetCustomField, RefusesANilKey) {
  test::installWithHandle();
  const std::string before = fieldsOfHandle();
  PXALog::setCustomField_forKey("value", nullptr);
  EXPECT_EQ(fieldsOfHandle(), before);
}

TEST(SetCustomField, RefusesKeysThatAreNoFieldNames) {
  test::installWithHandle();
  const std::string before = fieldsOfHandle();
  for (const char* key :
       {"", "1key", "my key", "key ", " key", "-key", "_key", "key.", "ké", "key\n", "\xff"}) {
    PXALog::setCustomField_forKey("value", key);
    EXPECT_EQ(fieldsOfHandle(), before) << key;
  }
}

TEST(SetCustomField, TakesKeysThatAreFieldNames) {
  test::installWithHandle();
  for (const char* key : {"a", "Z", "my_field2", "my-field", "a1-_", "errorRate", "rdmBulkIndex"}) {
    PXALog::setCustomField_forKey("value", key);
    EXPECT_EQ(text(customField("0", key)), "value") << key;
  }
}

TEST(SetCustomField, RefusesEveryReservedKey) {
  test::installWithHandle();
  const std::string before = fieldsOfHandle();
  for (const std::string& key : kReservedFields) {
    PXALog::setCustomField_forKey("value", key);
    EXPECT_EQ(fieldsOfHandle(), before) << key;
  }
}

TEST(SetCustomField, KnowsReservedKeysInTheirOwnSpellingAlone) {
  test::installWithHandle();
  for (const char* key : {"Body", "userid", "USERID", "deviceId", "PreferredLanguage", "bod"}) {
    PXALog::setCustomField_forKey("value", key);
    EXPECT_EQ(text(customField("0", key)), "value") << key;
  }
}

TEST(SetCustomField, ReplacesProtectedKeysThatAreNotReserved) {
  test::installWithHandle();
  for (const char* key : {"logVersion", "SymMethod", "CrashStyle", "Unity"}) {
    PXALog::setCustomField_forKey("mine", key);
    EXPECT_TRUE(customField("0", key) == test::bytesOf("mine")) << key;
  }
}

TEST(SetCustomField, TakesAKeyAndAValueOfAnyLength) {
  test::installWithHandle();
  const std::string key(1U << 20U, 'k');
  const std::string value(1U << 20U, 'v');
  PXALog::setCustomField_forKey(value, key);
  EXPECT_EQ(text(customField("0", key)), value);
}

TEST(SetCustomField, RefusesAKeyWithoutWaitingForTheLock) {
  test::installWithHandle();
  EXPECT_TRUE(test::endsWhileLockIsHeld([] {
    PXALog::setCustomField_forKey("value", nullptr);
    PXALog::setCustomField_forKey("value", "");
    PXALog::setCustomField_forKey("value", "1key");
  }));
}

TEST(RemoveCustomField, TakesTheFieldOut) {
  test::installWithHandle();
  PXALog::setCustomField_forKey("value", "key");
  PXALog::removeCustomFieldForKey("key");
  EXPECT_FALSE(hasField("key"));
}

TEST(RemoveCustomField, LeavesOtherFields) {
  test::installWithHandle();
  PXALog::setCustomField_forKey("value", "key");
  PXALog::setCustomField_forKey("value", "other");
  PXALog::removeCustomFieldForKey("key");
  EXPECT_TRUE(hasField("other"));
}

TEST(RemoveCustomField, DoesNothingForAKeyThatIsNotThere) {
  test::installWithHandle();
  const std::string before = fieldsOfHandle();
  for (const char* key : {"key", "", "1key", "my key"}) PXALog::removeCustomFieldForKey(key);
  PXALog::removeCustomFieldForKey(nullptr);
  EXPECT_EQ(fieldsOfHandle(), before);
}

TEST(RemoveCustomField, LeavesEveryProtectedField) {
  FakePlatform::install();
  openHandle({.unityVersion = "2019.4"});
  for (const std::string& key : kProtectedFields) {
    PXALog::removeCustomFieldForKey(key);
    EXPECT_TRUE(hasField(key)) << key;
  }
}

TEST(RemoveCustomField, LeavesEveryReservedField) {
  test::installWithHandle();
  for (const std::string& key : kReservedFields) {
    handle()->customFields().set(key, "value");
    PXALog::removeCustomFieldForKey(key);
    EXPECT_TRUE(hasField(key)) << key;
  }
}

TEST(RemoveCustomField, LeavesAProtectedFieldThatTheCallerReplaced) {
  test::installWithHandle();
  PXALog::setCustomField_forKey("mine", "CrashStyle");
  PXALog::removeCustomFieldForKey("CrashStyle");
  EXPECT_EQ(text(customField("0", "CrashStyle")), "mine");
}

TEST(RemoveCustomField, TakesKeysOutThatCouldNotBeSet) {
  test::installWithHandle();
  handle()->customFields().set("1 key", "value");
  PXALog::removeCustomFieldForKey("1 key");
  EXPECT_FALSE(hasField("1 key"));
}

TEST(RemoveAllCustomFields, LeavesWhatInitialisationWrote) {
  FakePlatform::install();
  openHandle({.unityVersion = "2019.4"});
  const std::string before = fieldsOfHandle();
  for (int i = 0; i < 50; ++i) PXALog::setCustomField_forKey("value", "key" + std::to_string(i));
  PXALog::removeAllCustomFields();
  EXPECT_EQ(fieldsOfHandle(), before);
}

TEST(RemoveAllCustomFields, LeavesAProtectedFieldThatTheCallerReplaced) {
  test::installWithHandle();
  PXALog::setCustomField_forKey("mine", "CrashStyle");
  PXALog::removeAllCustomFields();
  EXPECT_EQ(text(customField("0", "CrashStyle")), "mine");
}

TEST(RemoveAllCustomFields, LeavesEveryReservedField) {
  test::installWithHandle();
  for (const std::string& key : kReservedFields) handle()->customFields().set(key, "value");
  PXALog::removeAllCustomFields();
  for (const std::string& key : kReservedFields) EXPECT_TRUE(hasField(key)) << key;
}

TEST(RemoveAllCustomFields, LeavesOtherHandles) {
  test::installWithHandle();
  openHandle();
  PXALog::setCustomField_forKey_forHandleId("value", "key", "1");
  PXALog::removeAllCustomFields();
  EXPECT_EQ(text(customField("1", "key")), "value");
}

TEST(ReservedFields, AreTheTwentySixOfTheList) {
  ASSERT_EQ(kReservedFields.size(), 26U);
  for (const std::string& key : kReservedFields) EXPECT_TRUE(isReservedField(key)) << key;
  for (const char* key : {"logVersion", "SymMethod", "CrashStyle", "Unity", "errorRate", "rdmBulkIndex", "",
                          "PreferredLanguage", "hosts", "Body"}) {
    EXPECT_FALSE(isReservedField(key)) << key;
  }
}

TEST(ProtectedFields, AreTheSevenOfTheList) {
  for (const std::string& key : kProtectedFields) EXPECT_TRUE(isProtectedField(key)) << key;
  for (const char* key : {"body", "UserID", "unity", "", "SessionId"})
    EXPECT_FALSE(isProtectedField(key)) << key;
}

// All operations.

using Operation = std::pair<const char*, std::function<void(const String& handleId)>>;

/// Every operation that changes a handle whose id it is given.
const std::vector<Operation> kOperations = {
    {"setUserId", [](const String& id) { PXALog::setUserId_forHandlerId("new", id); }},
    {"setLogType", [](const String& id) { PXALog::setLogType_forHandlerId("new", id); }},
    {"setLogSource", [](const String& id) { PXALog::setLogSource_forHandlerId("new", id); }},
    {"setLogDeduplicate", [](const String& id) { PXALog::setLogDeduplicate_forHandlerId(false, id); }},
    {"setCustomField", [](const String& id) { PXALog::setCustomField_forKey_forHandleId("new", "key", id); }},
    {"removeCustomFieldForKey",
     [](const String& id) { PXALog::removeCustomFieldForKey_forHandleId("old", id); }},
    {"removeAllCustomFields", [](const String& id) { PXALog::removeAllCustomFields(id); }},
};

TEST(HandleOperations, DoNothingBeforeInitialisation) {
  FakePlatform::install();
  for (const auto& [name, operation] : kOperations) {
    operation("0");
    EXPECT_EQ(gs_blockQueue(), nullptr) << name;
    EXPECT_EQ(PXALog::rdm_getHandler("0"), nullptr) << name;
  }
}

TEST(HandleOperations, DoNothingForAnUnknownHandle) {
  test::installWithHandle();
  PXALog::setCustomField_forKey("value", "old");
  const std::string before = fieldsOfHandle();
  for (const char* id : {"unknown", "", static_cast<const char*>(nullptr)}) {
    for (const auto& [name, operation] : kOperations) {
      operation(id);
      EXPECT_EQ(PXALog::rdm_getHandler(id), nullptr) << name;
    }
  }
  EXPECT_EQ(fieldsOfHandle(), before);
  EXPECT_TRUE(handle()->userId().isNil());
  EXPECT_EQ(text(handle()->logType()), "vesk2-log");
  EXPECT_EQ(text(handle()->logSource()), "ios-log");
  EXPECT_TRUE(handle()->isDeduplicate());
}

TEST(HandleOperations, WaitForTheLock) {
  test::installWithHandle();
  PXALog::setCustomField_forKey("value", "old");
  for (const auto& [name, operation] : kOperations) {
    EXPECT_TRUE(test::waitsForGlobalLock([call = operation] { call("0"); })) << name;
  }
}

TEST(HandleOperations, MayBeCalledUnderTheLock) {
  test::installWithHandle();
  for (const auto& [name, operation] : kOperations) {
    EXPECT_TRUE(test::BackgroundCall([call = operation] {
                  const GlobalGuard guard;
                  call("0");
                }).returns())
        << name;
  }
}

TEST(HandleOperations, MayRunOnManyThreadsWhileEventsAreCompleted) {
  test::installWithHandle();
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([] {
      for (int turn = 0; turn < 100; ++turn) {
        for (const auto& [name, operation] : kOperations) operation("0");
      }
    });
  }
  for (int turn = 0; turn < 100; ++turn) {
    Dictionary fields;
    EXPECT_TRUE(PXALog::copyCommonFields(fields));
    PXALog::info_withMessage(nullptr, "log");
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(text(handle()->userId()), "new");
}

}  // namespace
}  // namespace pxa
