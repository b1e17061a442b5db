#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <ostream>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <pxalog/Diagnostics.h>
#include <pxalog/PXALog.h>

#include "api/handle/common_fields.h"
#include "api/handle/host_address.h"
#include "api/handle/process_state.h"
#include "api/identifiers.h"
#include "api/initialisation.h"
#include "api/network_type.h"
#include "api/validation.h"
#include "settings/settings_thread.h"
#include "support/handles.h"
#include "support/queued_events.h"
#include "support/values.h"
#include "transport/send_loop.h"

// A selector, the name of its operation and a call of it with the arguments that follow.
#define PXALOG_OPERATION(selector, name, ...) selector, #name, [] { return PXALog::name(__VA_ARGS__); }

namespace pxa {
namespace {

using test::FakePlatform;
using test::kAppKey;
using test::kUrl;
using test::kVersion;
using test::openHandle;
using test::text;

/// The C++ name of a selector: its keywords joined by underscores, without colons.
std::string nameOf(std::string_view selector) {
  std::string name(selector);
  if (name.ends_with(':')) name.pop_back();
  for (char& character : name) {
    if (character == ':') character = '_';
  }
  return name;
}

// What the operations of the tables are given.
constexpr std::int32_t kPort = 8080;
constexpr const char* kUser = "user";
constexpr const char* kUnity = "2019.4";
constexpr const char* kId = "mine";

// Opening a handle.

struct Initialisation {
  const char* selector;
  const char* name;
  std::function<bool()> open;
  std::int64_t port;
  std::int64_t protocol;
  const char* userId;
  bool reportsCrashes;
  bool isSyncStart;
  const char* unityVersion;
  const char* handleId;

  friend void PrintTo(const Initialisation& row, std::ostream* out) { *out << row.selector; }
};

const Initialisation kInitialisations[] = {
    {PXALOG_OPERATION("init:ofAppKey:withVersion:", init_ofAppKey_withVersion, kUrl, kAppKey, kVersion), 443,
     0, nullptr, true, false, nullptr, "0"},
    {PXALOG_OPERATION("init:ofAppKey:withVersion:enableSyncStart:", init_ofAppKey_withVersion_enableSyncStart,
                      kUrl, kAppKey, kVersion, true),
     443, 0, nullptr, true, true, nullptr, "0"},
    {PXALOG_OPERATION("init:ofAppKey:withVersion:forUserId:", init_ofAppKey_withVersion_forUserId, kUrl,
                      kAppKey, kVersion, kUser),
     443, 0, kUser, true, false, nullptr, "0"},
    {PXALOG_OPERATION("init:ofAppKey:withVersion:forUserId:enableSyncStart:",
                      init_ofAppKey_withVersion_forUserId_enableSyncStart, kUrl, kAppKey, kVersion, kUser,
                      true),
     443, 0, kUser, true, true, nullptr, "0"},
    {PXALOG_OPERATION("init:ofAppKey:withVersion:forUserId:forHandleId:",
                      init_ofAppKey_withVersion_forUserId_forHandleId, kUrl, kAppKey, kVersion, kUser, kId),
     443, 0, kUser, true, false, nullptr, kId},
    {PXALOG_OPERATION("init:ofAppKey:withVersion:forUserId:forHandleId:enableSyncStart:",
                      init_ofAppKey_withVersion_forUserId_forHandleId_enableSyncStart, kUrl, kAppKey,
                      kVersion, kUser, kId, true),
     443, 0, kUser, true, true, nullptr, kId},
    {PXALOG_OPERATION("init:onPort:ofAppKey:withVersion:", init_onPort_ofAppKey_withVersion, kUrl, kPort,
                      kAppKey, kVersion),
     kPort, 0, nullptr, true, false, nullptr, "0"},
    {PXALOG_OPERATION("init:onPort:ofAppKey:withVersion:enableSyncStart:",
                      init_onPort_ofAppKey_withVersion_enableSyncStart, kUrl, kPort, kAppKey, kVersion, true),
     kPort, 0, nullptr, true, true, nullptr, "0"},
    {PXALOG_OPERATION("init:onPort:ofAppKey:withVersion:forUserId:",
                      init_onPort_ofAppKey_withVersion_forUserId, kUrl, kPort, kAppKey, kVersion, kUser),
     kPort, 0, kUser, true, false, nullptr, "0"},
    {PXALOG_OPERATION("init:onPort:ofAppKey:withVersion:forUserId:enableSyncStart:",
                      init_onPort_ofAppKey_withVersion_forUserId_enableSyncStart, kUrl, kPort, kAppKey,
                      kVersion, kUser, true),
     kPort, 0, kUser, true, true, nullptr, "0"},
    {PXALOG_OPERATION("init:onPort:ofAppKey:withVersion:forUserId:forHandleId:",
                      init_onPort_ofAppKey_withVersion_forUserId_forHandleId, kUrl, kPort, kAppKey, kVersion,
                      kUser, kId),
     kPort, 0, kUser, true, false, nullptr, kId},
    {PXALOG_OPERATION("init:onPort:ofAppKey:withVersion:forUserId:forHandleId:enableSyncStart:",
                      init_onPort_ofAppKey_withVersion_forUserId_forHandleId_enableSyncStart, kUrl, kPort,
                      kAppKey, kVersion, kUser, kId, true),
     kPort, 0, kUser, true, true, nullptr, kId},
    {PXALOG_OPERATION("init:onPort:byProtocol:ofAppKey:withVersion:forUserId:",
                      init_onPort_byProtocol_ofAppKey_withVersion_forUserId, kUrl, kPort, 1, kAppKey,
                      kVersion, kUser),
     kPort, 1, kUser, true, false, nullptr, "0"},
    {PXALOG_OPERATION("init:onPort:byProtocol:ofAppKey:withVersion:forUserId:enablePlcrashreporter:",
                      init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter, kUrl,
                      kPort, 1, kAppKey, kVersion, kUser, false),
     kPort, 1, kUser, false, false, nullptr, "0"},
    {PXALOG_OPERATION(
         "init:onPort:byProtocol:ofAppKey:withVersion:forUserId:enablePlcrashreporter:enableSyncStart:",
         init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart, kUrl,
         kPort, 1, kAppKey, kVersion, kUser, false, true),
     kPort, 1, kUser, false, true, nullptr, "0"},
    {PXALOG_OPERATION(
         "init:onPort:byProtocol:ofAppKey:withVersion:forUserId:enablePlcrashreporter:enableSyncStart:"
         "withUnityVersion:",
         init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart_withUnityVersion,
         kUrl, kPort, 1, kAppKey, kVersion, kUser, false, true, kUnity),
     kPort, 1, kUser, false, true, kUnity, "0"},
    {PXALOG_OPERATION(
         "init:onPort:byProtocol:ofAppKey:withVersion:forUserId:enablePlcrashreporter:enableSyncStart:"
         "withUnityVersion:forHandleId:",
         init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart_withUnityVersion_forHandleId,
         kUrl, kPort, 1, kAppKey, kVersion, kUser, false, true, kUnity, kId),
     kPort, 1, kUser, false, true, kUnity, kId},
};
static_assert(std::size(kInitialisations) == 17);

/// A process in which sending is held by the contrary of what the row asks for, and nothing else is decided.
FakePlatform& installBefore(const Initialisation& row) {
  FakePlatform& p = FakePlatform::install();
  openHandle({.isSyncStart = !row.isSyncStart, .handleId = "Keepcell"});
  return p;
}

class InitialisationForm : public testing::TestWithParam<Initialisation> {};

TEST_P(InitialisationForm, OpensItsHandle) {
  const Initialisation& row = GetParam();
  FakePlatform& p = installBefore(row);
  ASSERT_TRUE(row.open());
  const VeskHandleRef handle = PXALog::rdm_getHandler(row.handleId);
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(handle->collectorPort(), row.port);
  EXPECT_EQ(handle->protocol(), row.protocol);
  EXPECT_EQ(text(handle->userId()), text(String(row.userId)));
  EXPECT_EQ(text(handle->collectorUrl()), test::kCollector);
  EXPECT_EQ(text(handle->projectName()), kAppKey);
  EXPECT_EQ(text(handle->projectVersion()), kVersion);
  EXPECT_EQ(text(handle->customFields().value("Unity")), text(String(row.unityVersion)));
  EXPECT_EQ(Diagnostics::snapshot().isHeldBySynchronousStart, row.isSyncStart);
  EXPECT_EQ(p.crashReporter.enabledCount, row.reportsCrashes ? 1 : 0);
}

TEST_P(InitialisationForm, RefusesAnIdThatIsOpen) {
  FakePlatform::install();
  openHandle({.handleId = "0"});
  openHandle({.handleId = kId});
  EXPECT_FALSE(GetParam().open());
}

INSTANTIATE_TEST_SUITE_P(Every, InitialisationForm, testing::ValuesIn(kInitialisations));

// Settings of a handle.

struct Setter {
  const char* selector;
  const char* name;
  std::function<void()> call;
  const char* handleId;
  const char* state;  ///< of the handle after the call
};

const char* const kOldState = "old,old,old,1:old older";

const Setter kSetters[] = {
    {PXALOG_OPERATION("setUserId:", setUserId, "new"), "0", "new,old,old,1:old older"},
    {PXALOG_OPERATION("setUserId_Keepcell:", setUserId_Keepcell, "new"), "Keepcell",
     "new,old,old,1:old older"},
    {PXALOG_OPERATION("setUserId:forHandlerId:", setUserId_forHandlerId, "new", kId), kId,
     "new,old,old,1:old older"},
    {PXALOG_OPERATION("setLogType:", setLogType, "new"), "0", "old,new,old,1:old older"},
    {PXALOG_OPERATION("setLogType_Keepcell:", setLogType_Keepcell, "new"), "Keepcell",
     "old,new,old,1:old older"},
    {PXALOG_OPERATION("setLogType:forHandlerId:", setLogType_forHandlerId, "new", kId), kId,
     "old,new,old,1:old older"},
    {PXALOG_OPERATION("setLogSource:", setLogSource, "new"), "0", "old,old,new,1:old older"},
    {PXALOG_OPERATION("setLogSource_Keepcell:", setLogSource_Keepcell, "new"), "Keepcell",
     "old,old,new,1:old older"},
    {PXALOG_OPERATION("setLogSource:forHandlerId:", setLogSource_forHandlerId, "new", kId), kId,
     "old,old,new,1:old older"},
    {PXALOG_OPERATION("setLogDeduplicate:", setLogDeduplicate, false), "0", "old,old,old,0:old older"},
    {PXALOG_OPERATION("setLogDeduplicate_Keepcell:", setLogDeduplicate_Keepcell, false), "Keepcell",
     "old,old,old,0:old older"},
    {PXALOG_OPERATION("setLogDeduplicate:forHandlerId:", setLogDeduplicate_forHandlerId, false, kId), kId,
     "old,old,old,0:old older"},
    {PXALOG_OPERATION("setCustomField:forKey:", setCustomField_forKey, "value", "new"), "0",
     "old,old,old,1:old older new"},
    {PXALOG_OPERATION("setCustomField_Keepcell:forKey:", setCustomField_Keepcell_forKey, "value", "new"),
     "Keepcell", "old,old,old,1:old older new"},
    {PXALOG_OPERATION("setCustomField:forKey:forHandleId:", setCustomField_forKey_forHandleId, "value", "new",
                      kId),
     kId, "old,old,old,1:old older new"},
    {PXALOG_OPERATION("removeCustomFieldForKey:", removeCustomFieldForKey, "old"), "0",
     "old,old,old,1:older"},
    {PXALOG_OPERATION("removeCustomFieldForKey_Keepcell:", removeCustomFieldForKey_Keepcell, "old"),
     "Keepcell", "old,old,old,1:older"},
    {PXALOG_OPERATION("removeCustomFieldForKey:forHandleId:", removeCustomFieldForKey_forHandleId, "old",
                      kId),
     kId, "old,old,old,1:older"},
    {PXALOG_OPERATION("removeAllCustomFields", removeAllCustomFields), "0", "old,old,old,1:"},
    {PXALOG_OPERATION("removeAllCustomFields_Keepcell", removeAllCustomFields_Keepcell), "Keepcell",
     "old,old,old,1:"},
    {PXALOG_OPERATION("removeAllCustomFields:", removeAllCustomFields, kId), kId, "old,old,old,1:"},
};
static_assert(std::size(kSetters) == 21);

/// What the setters change of a handle, as one text.
std::string stateOf(const char* handleId) {
  const VeskHandleRef handle = PXALog::rdm_getHandler(handleId);
  std::string fields;
  for (const std::string& key : test::keysOf(handle->customFields())) {
    fields += (fields.empty() ? "" : " ") + key;
  }
  return text(handle->userId()) + ',' + text(handle->logType()) + ',' + text(handle->logSource()) + ',' +
         std::to_string(handle->isDeduplicate()) + ':' + fields;
}

void makeOld(const char* handleId) {
  const VeskHandleRef handle = PXALog::rdm_getHandler(handleId);
  handle->setUserId("old");
  handle->setLogType("old");
  handle->setLogSource("old");
  handle->setIsDeduplicate(true);
  handle->setCustomFields({{"old", "value"}, {"older", "value"}});
}

const char* const kHandleIds[] = {"0", "Keepcell", kId};

void openEveryHandle() {
  FakePlatform::install();
  for (const char* id : kHandleIds) openHandle({.handleId = id});
}

TEST(InterfaceTable, SetsWhatEachSetterNamesInTheHandleThatItNames) {
  openEveryHandle();
  for (const Setter& row : kSetters) {
    for (const char* id : kHandleIds) makeOld(id);
    row.call();
    for (const char* id : kHandleIds) {
      EXPECT_EQ(stateOf(id), std::string_view(id) == row.handleId ? row.state : kOldState)
          << row.selector << " and handle " << id;
    }
  }
}

// Log calls.

struct LogCall {
  const char* selector;
  const char* name;
  std::function<void()> call;
  const char* level;
  const char* handleId;
};

const LogCall kLogCalls[] = {
    {PXALOG_OPERATION("debug:withMessage:", debug_withMessage, "E1", "text"), "DEBUG", "0"},
    {PXALOG_OPERATION("debug:withMessage:atLocation:", debug_withMessage_atLocation, "E1", "text", "here"),
     "DEBUG", "0"},
    {PXALOG_OPERATION("debug_Keepcell:withMessage:", debug_Keepcell_withMessage, "E1", "text"), "DEBUG",
     "Keepcell"},
    {PXALOG_OPERATION("debug_Keepcell:withMessage:atLocation:", debug_Keepcell_withMessage_atLocation, "E1",
                      "text", "here"),
     "DEBUG", "Keepcell"},
    {PXALOG_OPERATION("debug:withMessage:atLocation:forHandleId:", debug_withMessage_atLocation_forHandleId,
                      "E1", "text", "here", kId),
     "DEBUG", kId},
    {PXALOG_OPERATION("info:withMessage:", info_withMessage, "E1", "text"), "INFO", "0"},
    {PXALOG_OPERATION("info:withMessage:atLocation:", info_withMessage_atLocation, "E1", "text", "here"),
     "INFO", "0"},
    {PXALOG_OPERATION("info_Keepcell:withMessage:", info_Keepcell_withMessage, "E1", "text"), "INFO",
     "Keepcell"},
    {PXALOG_OPERATION("info_Keepcell:withMessage:atLocation:", info_Keepcell_withMessage_atLocation, "E1",
                      "text", "here"),
     "INFO", "Keepcell"},
    {PXALOG_OPERATION("info:withMessage:atLocation:forHandleId:", info_withMessage_atLocation_forHandleId,
                      "E1", "text", "here", kId),
     "INFO", kId},
    {PXALOG_OPERATION("warn:withMessage:", warn_withMessage, "E1", "text"), "WARN", "0"},
    {PXALOG_OPERATION("warn:withMessage:atLocation:", warn_withMessage_atLocation, "E1", "text", "here"),
     "WARN", "0"},
    {PXALOG_OPERATION("warn_Keepcell:withMessage:", warn_Keepcell_withMessage, "E1", "text"), "WARN",
     "Keepcell"},
    {PXALOG_OPERATION("warn_Keepcell:withMessage:atLocation:", warn_Keepcell_withMessage_atLocation, "E1",
                      "text", "here"),
     "WARN", "Keepcell"},
    {PXALOG_OPERATION("warn:withMessage:atLocation:forHandleId:", warn_withMessage_atLocation_forHandleId,
                      "E1", "text", "here", kId),
     "WARN", kId},
    {PXALOG_OPERATION("error:withMessage:", error_withMessage, "E1", "text"), "ERROR", "0"},
    {PXALOG_OPERATION("error:withMessage:atLocation:", error_withMessage_atLocation, "E1", "text", "here"),
     "ERROR", "0"},
    {PXALOG_OPERATION("error_Keepcell:withMessage:", error_Keepcell_withMessage, "E1", "text"), "ERROR",
     "Keepcell"},
    {PXALOG_OPERATION("error_Keepcell:withMessage:atLocation:", error_Keepcell_withMessage_atLocation, "E1",
                      "text", "here"),
     "ERROR", "Keepcell"},
    {PXALOG_OPERATION("error:withMessage:atLocation:forHandleId:", error_withMessage_atLocation_forHandleId,
                      "E1", "text", "here", kId),
     "ERROR", kId},
    {PXALOG_OPERATION("fatal:withMessage:", fatal_withMessage, "E1", "text"), "FATAL", "0"},
    {PXALOG_OPERATION("fatal:withMessage:atLocation:", fatal_withMessage_atLocation, "E1", "text", "here"),
     "FATAL", "0"},
    {PXALOG_OPERATION("fatal_Keepcell:withMessage:", fatal_Keepcell_withMessage, "E1", "text"), "FATAL",
     "Keepcell"},
    {PXALOG_OPERATION("fatal_Keepcell:withMessage:atLocation:", fatal_Keepcell_withMessage_atLocation, "E1",
                      "text", "here"),
     "FATAL", "Keepcell"},
    {PXALOG_OPERATION("fatal:withMessage:atLocation:forHandleId:", fatal_withMessage_atLocation_forHandleId,
                      "E1", "text", "here", kId),
     "FATAL", kId},
    {PXALOG_OPERATION("sendLog:errorCode:withMessage:atLocation:", sendLog_errorCode_withMessage_atLocation,
                      "LEVEL", "E1", "text", "here"),
     "LEVEL", "0"},
    {PXALOG_OPERATION("sendLog:errorCode:withMessage:atLocation:forHandleId:",
                      sendLog_errorCode_withMessage_atLocation_forHandleId, "LEVEL", "E1", "text", "here",
                      kId),
     "LEVEL", kId},
};
static_assert(std::size(kLogCalls) == 27);

TEST(InterfaceTable, QueuesWhatEachLogCallNamesForTheHandleThatItNames) {
  openEveryHandle();
  static_cast<void>(test::takeEvents());
  for (const LogCall& row : kLogCalls) {
    SCOPED_TRACE(row.selector);
    row.call();
    const auto events = test::takeEvents();
    ASSERT_EQ(events.size(), 1U);
    const Dictionary fields = events[0]->fields().dictionary();
    EXPECT_EQ(text(fields.value("logLevel")), row.level);
    EXPECT_EQ(text(fields.value("errorCode")), "E1");
    EXPECT_EQ(fields.size(), 2U);
    EXPECT_EQ(text(events[0]->body()), "text");
    EXPECT_EQ(text(events[0]->handleId()), row.handleId);
  }
}

TEST(InterfaceTable, HoldsEveryFormOfEveryLevel) {
  std::set<std::string> expected = {"sendLog:errorCode:withMessage:atLocation:",
                                    "sendLog:errorCode:withMessage:atLocation:forHandleId:"};
  for (const std::string level : {"debug", "info", "warn", "error", "fatal"}) {
    for (const char* rest : {":withMessage:", ":withMessage:atLocation:", "_Keepcell:withMessage:",
                             "_Keepcell:withMessage:atLocation:", ":withMessage:atLocation:forHandleId:"}) {
      expected.insert(level + rest);
    }
  }
  std::set<std::string> held;
  for (const LogCall& row : kLogCalls) held.insert(row.selector);
  EXPECT_EQ(held, expected);
}

// All the rest.

std::string shown(bool value) {
  return value ? "true" : "false";
}
std::string shown(std::int32_t value) {
  return std::to_string(value);
}
std::string shown(const String& value) {
  return text(value);
}
std::string shown(const VeskHandleRef& handle) {
  return handle == nullptr ? "none" : text(handle->projectName());
}

/// What a call returns, as text; "" for one that returns nothing.
template <class Call>
std::string resultOf(Call call) {
  if constexpr (std::is_void_v<decltype(call())>) {
    call();
    return "";
  } else {
    return shown(call());
  }
}

/// An operation, what it returns on a platform on which handle "0" is open, and what it changes there.
struct Helper {
  const char* selector;
  const char* name;
  std::function<std::string()> call;
  const char* result;
  std::function<bool(FakePlatform&)> hasWorked = [](FakePlatform&) { return true; };

  friend void PrintTo(const Helper& row, std::ostream* out) { *out << row.selector; }
};

#define PXALOG_HELPER(selector, name, ...) \
  selector, #name, [] { return resultOf([] { return PXALog::name(__VA_ARGS__); }); }

Dictionary& commonFields() {
  static auto& fields = *new Dictionary;
  return fields;
}

const Helper kHelpers[] = {
    {PXALOG_HELPER("enableHost:", enableHost, false), "",
     [](FakePlatform&) { return PXALog::getHost() == "-"; }},
    {PXALOG_HELPER("startSendThread", startSendThread), "",
     [](FakePlatform&) { return !Diagnostics::snapshot().isHeldBySynchronousStart; }},
    {PXALOG_HELPER("rdm_setHandler:", rdm_setHandler, "new"), "",
     [](FakePlatform&) { return PXALog::rdm_getHandler("new") != nullptr; }},
    {PXALOG_HELPER("rdm_getHandler:", rdm_getHandler, "0"), "project"},
    {PXALOG_HELPER("check_params:onPort:byProtocol:ofAppKey:withVersion:",
                   check_params_onPort_byProtocol_ofAppKey_withVersion, kUrl, kPort, 1, kAppKey, kVersion),
     "true"},
    {PXALOG_HELPER("isValidAppKey:", isValidAppKey, "0-a_Z"), "true"},
    {PXALOG_HELPER("isValidField:", isValidField, "a-0_Z"), "true"},
    {PXALOG_HELPER("isValidVersion:", isValidVersion, "1.0.3"), "true"},
    {PXALOG_HELPER("isStringEmpty:", isStringEmpty, ""), "true"},
    {PXALOG_HELPER("getDefaultPortFromURL:", getDefaultPortFromURL, kUrl), "443"},
    {PXALOG_HELPER("removeURLPrefix:", removeURLPrefix, kUrl), "logs.example.com"},
    {PXALOG_HELPER("generateUUID", generateUUID), "00000000-0000-4000-8000-000000000002"},
    {PXALOG_HELPER("dataFilePath", dataFilePath), "/documents/RDM_iOS_DEVICE_ID"},
    {PXALOG_HELPER("getDeviceID", getDeviceID), "VENDOR-ID"},
    {PXALOG_HELPER("createLogSendThread", createLogSendThread), "true",
     [](FakePlatform& p) { return p.threads.startedNames().back() == "pxa-send"; }},
    {PXALOG_HELPER("createPerformanceThread", createPerformanceThread), "false",
     [](FakePlatform& p) { return p.threads.startedNames().size() == 2; }},
    {PXALOG_HELPER("createSession:", createSession, "0"), "",
     [](FakePlatform&) { return test::takeEvents().size() == 2; }},
    {PXALOG_HELPER("copyCommonFields:", copyCommonFields, commonFields()), "true",
     [](FakePlatform&) { return commonFields().contains("Platform"); }},
    {PXALOG_HELPER("copyCommonFields:forHandlerId:", copyCommonFields_forHandlerId, commonFields(), "0"),
     "true", [](FakePlatform&) { return commonFields().contains("Platform"); }},
    {PXALOG_HELPER("getIPAddress", getIPAddress), "192.0.2.7"},
    {PXALOG_HELPER("getHost", getHost), "192.0.2.7"},
    {PXALOG_HELPER("getNetworkString:", getNetworkString, nullptr), "NONE"},
    {PXALOG_HELPER("applicationDidEnterBackground:", applicationDidEnterBackground, nullptr), "",
     [](FakePlatform& p) { return p.files.contentOf("Vesk2SavedLog").has_value(); }},
    {PXALOG_HELPER("applicationWillEnterForeground:", applicationWillEnterForeground, nullptr), "",
     [](FakePlatform&) { return test::takeEvents().size() == 1; }},
};

class HelperOperation : public testing::TestWithParam<Helper> {};

TEST_P(HelperOperation, Works) {
  FakePlatform& p = FakePlatform::install();
  openHandle({.isSyncStart = true});
  EXPECT_EQ(GetParam().call(), GetParam().result);
  EXPECT_TRUE(GetParam().hasWorked(p));
}

INSTANTIATE_TEST_SUITE_P(Every, HelperOperation, testing::ValuesIn(kHelpers));

// The whole table.

struct Row {
  std::string selector;
  std::string name;
};

std::vector<Row> wholeTable() {
  std::vector<Row> rows;
  const auto add = [&rows](const auto& table) {
    for (const auto& row : table) rows.push_back({row.selector, row.name});
  };
  add(kInitialisations);
  add(kSetters);
  add(kLogCalls);
  add(kHelpers);
  return rows;
}

TEST(InterfaceTable, NamesEveryOperationAfterItsSelector) {
  for (const Row& row : wholeTable()) EXPECT_EQ(row.name, nameOf(row.selector));
}

TEST(InterfaceTable, HoldsEachSelectorOnce) {
  std::set<std::string> selectors;
  for (const Row& row : wholeTable()) EXPECT_TRUE(selectors.insert(row.selector).second) << row.selector;
}

TEST(InterfaceTable, HoldsNothingThatWorksBeforeInitialisation) {
  FakePlatform::install();
  for (const Setter& row : kSetters) row.call();
  for (const LogCall& row : kLogCalls) row.call();
  EXPECT_EQ(gs_blockQueue(), nullptr);
  EXPECT_EQ(Diagnostics::snapshot().events.entered, 0U);
}

}  // namespace
}  // namespace pxa
