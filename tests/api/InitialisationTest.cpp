#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>
#include <string>

#include "api/handle/process_state.h"
#include "api/initialisation.h"
#include "support/handles.h"
#include "support/lock_probe.h"
#include "support/shared_state.h"
#include "support/values.h"

namespace pxa {
namespace {

using test::FakePlatform;
using test::gatherEvent;
using test::isGlobalLockFree;
using test::kAppKey;
using test::kUrl;
using test::kVersion;
using test::listOf;
using test::openHandle;
using test::text;

/// Whether anything of the library was set up.
bool hasSetUp(const FakePlatform& p) {
  return gs_blockQueue() != nullptr || !p.reachability.hosts.empty() || processFlags().isSharedSetUpDone ||
         processFlags().isInitialised;
}

// Parameters.

TEST(CheckParams, AcceptsOnlyWhatAHandleCanBeOpenedWith) {
  const struct {
    const char* url;
    std::int32_t protocol;
    const char* appKey;
    const char* version;
    bool isAccepted;
  } rows[] = {
      {kUrl, 0, kAppKey, kVersion, true},
      {kUrl, 1, kAppKey, kVersion, true},
      {"", 0, kAppKey, kVersion, true},
      {"no address at all", 0, kAppKey, kVersion, true},
      {nullptr, 0, kAppKey, kVersion, false},
      {kUrl, 0, nullptr, kVersion, false},
      {kUrl, 0, kAppKey, nullptr, false},
      {kUrl, 2, kAppKey, kVersion, false},
      {kUrl, -1, kAppKey, kVersion, false},
      {kUrl, std::numeric_limits<std::int32_t>::max(), kAppKey, kVersion, false},
      {kUrl, 0, "", kVersion, false},
      {kUrl, 0, "-project", kVersion, false},
      {kUrl, 0, "_project", kVersion, false},
      {kUrl, 0, "my project", kVersion, false},
      {kUrl, 0, "project\n", kVersion, false},
      {kUrl, 0, "9-project_", kVersion, true},
      {kUrl, 0, kAppKey, "", false},
      {kUrl, 0, kAppKey, ".1", false},
      {kUrl, 0, kAppKey, "1.0.3\n", false},
      {kUrl, 0, kAppKey, "1.0.3", true},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(PXALog::check_params_onPort_byProtocol_ofAppKey_withVersion(row.url, 443, row.protocol,
                                                                          row.appKey, row.version),
              row.isAccepted)
        << text(String(row.url)) << ' ' << row.protocol << ' ' << text(String(row.appKey)) << ' '
        << text(String(row.version));
  }
}

TEST(CheckParams, DoesNotLookAtThePort) {
  for (const std::int32_t port :
       {std::numeric_limits<std::int32_t>::min(), -1, 0, 65536, std::numeric_limits<std::int32_t>::max()}) {
    EXPECT_TRUE(PXALog::check_params_onPort_byProtocol_ofAppKey_withVersion(kUrl, port, 0, kAppKey, kVersion))
        << port;
  }
}

TEST(Initialisation, ChangesNothingForInvalidParameters) {
  FakePlatform& p = FakePlatform::install();
  EXPECT_FALSE(openHandle({.url = nullptr, .isSyncStart = true, .unityVersion = "2019"}));
  EXPECT_FALSE(openHandle({.protocol = 2, .isSyncStart = true, .unityVersion = "2019"}));
  EXPECT_FALSE(openHandle({.appKey = "-key", .isSyncStart = true, .unityVersion = "2019"}));
  EXPECT_FALSE(openHandle({.appKey = nullptr, .isSyncStart = true, .unityVersion = "2019"}));
  EXPECT_FALSE(openHandle({.version = ".1", .isSyncStart = true, .unityVersion = "2019"}));
  EXPECT_FALSE(openHandle({.version = nullptr, .isSyncStart = true, .unityVersion = "2019"}));
  EXPECT_FALSE(hasSetUp(p));
  EXPECT_FALSE(processFlags().isSendingHeld);
  EXPECT_FALSE(processFlags().isUnityMode);
}

TEST(Initialisation, DoesNotCountAHandleThatInvalidParametersRefuse) {
  FakePlatform::install();
  openHandle({.appKey = ""});
  openHandle();
  EXPECT_NE(PXALog::rdm_getHandler("0"), nullptr);
}

TEST(Initialisation, ChecksItsParametersWithoutTheLock) {
  FakePlatform::install();
  EXPECT_TRUE(test::endsWhileLockIsHeld([] { openHandle({.protocol = 2}); }));
}

TEST(Initialisation, RefusesAnAddressWithoutAKnownPortAndTouchesNothing) {
  FakePlatform& p = FakePlatform::install();
  for (const char* url : {"ftp://logs.example.com", "logs.example.com", ""}) {
    EXPECT_FALSE(PXALog::init_ofAppKey_withVersion(url, kAppKey, kVersion)) << url;
    EXPECT_FALSE(PXALog::init_ofAppKey_withVersion_enableSyncStart(url, kAppKey, kVersion, true)) << url;
  }
  EXPECT_FALSE(PXALog::init_ofAppKey_withVersion(nullptr, kAppKey, kVersion));
  EXPECT_FALSE(hasSetUp(p));
  EXPECT_FALSE(processFlags().isSendingHeld);
}

// Ports and protocols.

TEST(Initialisation, TakesPortAndProtocolFromTheScheme) {
  FakePlatform::install();
  const struct {
    const char* url;
    std::int64_t port;
    std::int64_t protocol;
  } rows[] = {{"https://a.example", 443, 0}, {"HTTPS://a.example", 443, 0}, {"http://a.example", 80, 1}};
  for (const auto& row : rows) {
    ASSERT_TRUE(PXALog::init_ofAppKey_withVersion_forUserId_forHandleId(row.url, kAppKey, kVersion, nullptr,
                                                                        row.url));
    const VeskHandleRef handle = PXALog::rdm_getHandler(row.url);
    EXPECT_EQ(handle->collectorPort(), row.port) << row.url;
    EXPECT_EQ(handle->protocol(), row.protocol) << row.url;
  }
}

TEST(Initialisation, TakesTheProtocolFromAGivenPortWhateverTheScheme) {
  FakePlatform::install();
  const struct {
    const char* id;
    const char* url;
    std::int32_t port;
    std::int64_t protocol;
  } rows[] = {
      {"a", "https://a.example", 80, 1},  {"b", "http://a.example", 80, 1},
      {"c", "https://a.example", 443, 0}, {"d", "http://a.example", 443, 0},
      {"e", "http://a.example", 8080, 0}, {"f", "ftp://a.example", 80, 1},
  };
  for (const auto& row : rows) {
    ASSERT_TRUE(PXALog::init_onPort_ofAppKey_withVersion_forUserId_forHandleId(row.url, row.port, kAppKey,
                                                                               kVersion, nullptr, row.id));
    EXPECT_EQ(PXALog::rdm_getHandler(row.id)->protocol(), row.protocol) << row.url << ' ' << row.port;
  }
}

TEST(Initialisation, KeepsTheProtocolThatIsGivenWhateverThePort) {
  FakePlatform::install();
  openHandle({.port = 80, .protocol = 0});
  openHandle({.port = 443, .protocol = 1});
  EXPECT_EQ(PXALog::rdm_getHandler("0")->protocol(), 0);
  EXPECT_EQ(PXALog::rdm_getHandler("1")->protocol(), 1);
}

TEST(Initialisation, KeepsAnyPortThatIsGiven) {
  FakePlatform::install();
  for (const std::int32_t port :
       {std::numeric_limits<std::int32_t>::min(), -1, 0, 65536, std::numeric_limits<std::int32_t>::max()}) {
    ASSERT_TRUE(openHandle({.port = port, .handleId = std::to_string(port)}));
    EXPECT_EQ(PXALog::rdm_getHandler(std::to_string(port))->collectorPort(), port);
  }
}

// The record.

TEST(Initialisation, FillsTheRecord) {
  FakePlatform::install();
  openHandle({.port = 8443, .protocol = 1, .userId = "user"});
  const VeskHandleRef handle = PXALog::rdm_getHandler("0");
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(text(handle->projectName()), kAppKey);
  EXPECT_EQ(text(handle->projectVersion()), kVersion);
  EXPECT_EQ(text(handle->collectorUrl()), "logs.example.com");
  EXPECT_EQ(handle->collectorPort(), 8443);
  EXPECT_EQ(handle->protocol(), 1);
  EXPECT_EQ(text(handle->userId()), "user");
  EXPECT_TRUE(handle->isDeduplicate());
  EXPECT_EQ(text(handle->logType()), "vesk2-log");
  EXPECT_EQ(text(handle->logSource()), "ios-log");
}

TEST(Initialisation, KeepsNoUserForANilUserId) {
  test::installWithHandle();
  EXPECT_TRUE(PXALog::rdm_getHandler("0")->userId().isNil());
}

TEST(Initialisation, KeepsAnEmptyUserId) {
  FakePlatform::install();
  openHandle({.userId = ""});
  EXPECT_EQ(text(PXALog::rdm_getHandler("0")->userId()), "");
}

TEST(Initialisation, RepairsATextThatIsNotUtf8) {
  FakePlatform::install();
  openHandle({.url = "https://\xff", .userId = "caf\xe9", .handleId = "\xc3"});
  const VeskHandleRef handle = PXALog::rdm_getHandler("\uFFFD");
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(text(handle->userId()), "caf\uFFFD");
  EXPECT_EQ(text(handle->collectorUrl()), "\uFFFD");
}

TEST(Initialisation, RefusesAnAppKeyThatIsNotUtf8) {
  FakePlatform::install();
  EXPECT_FALSE(openHandle({.appKey = "key\xff"}));
}

TEST(Initialisation, KeepsAPathOrAPortInTheAddressLiterally) {
  FakePlatform::install();
  openHandle({.url = "https://host/p"});
  openHandle({.url = "https://host:8443"});
  EXPECT_EQ(text(PXALog::rdm_getHandler("0")->collectorUrl()), "host/p");
  EXPECT_EQ(text(PXALog::rdm_getHandler("1")->collectorUrl()), "host:8443");
}

// An address without "://".

TEST(AddressWithoutScheme, LeavesTheInitialisationAsAnOutOfRange) {
  FakePlatform::install();
  for (const char* url : {"logs.example.com", "https:/logs.example.com", ""}) {
    EXPECT_THROW(PXALog::init_onPort_ofAppKey_withVersion(url, 443, kAppKey, kVersion), std::out_of_range)
        << url;
    EXPECT_THROW(openHandle({.url = url}), std::out_of_range) << url;
  }
}

TEST(AddressWithoutScheme, LeavesTheInitialisationAsAnOutOfRangeEvenWhereTheSchemeGivesAPort) {
  FakePlatform::install();
  EXPECT_THROW(PXALog::init_ofAppKey_withVersion("https", kAppKey, kVersion), std::out_of_range);
}

TEST(AddressWithoutScheme, LeavesNoLockHeld) {
  FakePlatform::install();
  EXPECT_THROW(openHandle({.url = "logs.example.com"}), std::out_of_range);
  EXPECT_TRUE(isGlobalLockFree());
}

TEST(AddressWithoutScheme, LeavesNothingChanged) {
  FakePlatform& p = FakePlatform::install();
  EXPECT_THROW(openHandle({.url = "logs.example.com", .isSyncStart = true, .unityVersion = "2019.4"}),
               std::out_of_range);
  EXPECT_FALSE(hasSetUp(p));
  EXPECT_FALSE(processFlags().isSendingHeld);
  EXPECT_FALSE(processFlags().isUnityMode);
}

TEST(AddressWithoutScheme, LeavesTheHandlesThatAreOpen) {
  test::installWithHandle();
  gatherEvent(kAppKey);
  EXPECT_THROW(openHandle({.url = "logs.example.com"}), std::out_of_range);
  EXPECT_EQ(PXALog::rdm_getHandler("1"), nullptr);
  EXPECT_EQ(listOf(kAppKey)->size(), 1U);
  openHandle();
  EXPECT_NE(PXALog::rdm_getHandler("1"), nullptr);
}

TEST(Initialisation, SetsTheInitialisedFlagOnce) {
  FakePlatform::install();
  EXPECT_FALSE(processFlags().isInitialised);
  openHandle();
  EXPECT_TRUE(processFlags().isInitialised);
  openHandle({.handleId = "0"});
  EXPECT_TRUE(processFlags().isInitialised);
}

TEST(Initialisation, WaitsForTheLock) {
  FakePlatform::install();
  EXPECT_TRUE(test::waitsForGlobalLock([] { openHandle(); }));
}

TEST(Initialisation, LeavesNoLockHeld) {
  test::installWithHandle();
  EXPECT_TRUE(isGlobalLockFree());
}

TEST(Initialisation, WritesNothingToTheConsole) {
  FakePlatform& p = test::installWithHandle();
  openHandle({.handleId = "0"});
  openHandle({.protocol = 2});
  EXPECT_TRUE(p.log.lines().empty());
}

}  // namespace
}  // namespace pxa
