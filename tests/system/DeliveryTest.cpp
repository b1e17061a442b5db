#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <thread>
#include <unistd.h>

#include <pxalog/Diagnostics.h>
#include <pxalog/Host.h>
#include <pxalog/PXALog.h>

#include "collector/Collector.h"
#include "support/ClosedPort.h"
#include "support/OwnDocuments.h"
#include "support/wait.h"

namespace pxa {
namespace {

using Diagnostics::Snapshot;
using test::kPatience;
using test::waitForSnapshot;
using tools::Behaviour;
using tools::Collector;
using tools::Element;
using tools::Fault;
using tools::ReceivedRequest;

/// The library on the real system, with files of its own and a collector that also answers for the settings
/// service.
class Delivery : public testing::Test {
 protected:
  Delivery() {
    Host::setLogSink([](const String&) {});
    useSettingsOf(collector_);
  }

  static void useSettingsOf(const Collector& collector) {
    Host::setSettingsService({"127.0.0.1:" + std::to_string(collector.httpPort()), nullptr, nullptr});
  }

  static bool openHttp(const Collector& collector, const String& appKey, const String& handleId = nullptr) {
    return PXALog::
        init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart_withUnityVersion_forHandleId(
            "http://127.0.0.1", collector.httpPort(), 1, appKey, "1.0", "ada", false, false, nullptr,
            handleId);
  }

  static bool openHttps(const Collector& collector, const String& appKey) {
    return PXALog::init_onPort_byProtocol_ofAppKey_withVersion_forUserId(
        "https://127.0.0.1", collector.httpsPort(), 0, appKey, "1.0", nullptr);
  }

  static bool waitForDelivered(std::uint64_t count) {
    return waitForSnapshot([&](const Snapshot& now) { return now.events.delivered >= count; });
  }

  static bool waitForFailed(std::uint64_t count) {
    return waitForSnapshot([&](const Snapshot& now) { return now.events.failed >= count; });
  }

  /// Everything that arrived, in order.
  std::vector<Element> elements() const {
    std::vector<Element> all;
    for (const ReceivedRequest& request : collector_.requests())
      all.insert(all.end(), request.elements.begin(), request.elements.end());
    return all;
  }

  Element elementWithBody(const std::string& body) const {
    for (const Element& element : elements()) {
      const auto found = element.members.find("body");
      if (found != element.members.end() && found->second == body) return element;
    }
    ADD_FAILURE() << "nothing arrived with body " << body;
    return {};
  }

  test::OwnDocuments documents_;
  Collector collector_;
};

TEST_F(Delivery, BringsLinesOfAllLevelsWithTheirFieldsOverHttp) {
  ASSERT_TRUE(openHttp(collector_, "shop"));
  PXALog::setCustomField_forKey("blue", "colour");
  PXALog::debug_withMessage(nullptr, "one");
  PXALog::info_withMessage(nullptr, "two");
  PXALog::warn_withMessage(nullptr, "three");
  PXALog::error_withMessage("E42", "four");
  PXALog::fatal_withMessage(nullptr, "five");
  ASSERT_TRUE(waitForDelivered(6));

  const auto fatal = elementWithBody("five").members;
  EXPECT_EQ(fatal.at("logLevel"), "FATAL");
  const auto error = elementWithBody("four").members;
  const std::vector<std::pair<std::string, std::string>> expected = {
      {"projectName", "shop"},
      {"projectVersion", "1.0"},
      {"logType", "vesk2-log"},
      {"logSource", "ios-log"},
      {"logLevel", "ERROR"},
      {"errorCode", "E42"},
      {"UserID", "ada"},
      {"colour", "blue"},
      {"logVersion", "v2"},
      {"Carrier", "Unknown"},
      {"CountryCode", "Unknown"},
      {"SdkVersion", "brine-quillmark-iOS-sdk-2.6.6"},
      {"rdmBulkIndex", error.at("rdmBulkIndex")}};
  for (const auto& [key, value] : expected) {
    ASSERT_TRUE(error.contains(key)) << key;
    EXPECT_EQ(error.at(key), value) << key;
  }
  for (const char* key :
       {"Platform", "DeviceModel", "Locale", "NetworkType", "host", "SessionID", "DeviceID"})
    EXPECT_TRUE(error.contains(key)) << key;
  EXPECT_EQ(error.at("sendTime").size(), 13u);
  EXPECT_FALSE(error.contains("SymMethod"));
}

TEST_F(Delivery, TellsANewSessionOnce) {
  ASSERT_TRUE(openHttp(collector_, "shop"));
  ASSERT_TRUE(waitForDelivered(1));
  const auto session = elementWithBody("SESSION").members;
  EXPECT_EQ(session.at("logType"), "SESSION");
  EXPECT_EQ(session.at("logLevel"), "INFO");
}

TEST_F(Delivery, AcceptsAnyServerCertificateOverHttps) {
  ASSERT_TRUE(openHttps(collector_, "shop"));
  PXALog::info_withMessage(nullptr, "over TLS");
  ASSERT_TRUE(waitForDelivered(2));
  EXPECT_TRUE(collector_.requests().front().isHttps);
}

TEST_F(Delivery, KeepsTheConnectionForTheNextPass) {
  ASSERT_TRUE(openHttps(collector_, "shop"));
  ASSERT_TRUE(waitForDelivered(1));
  PXALog::info_withMessage(nullptr, "the next pass");
  ASSERT_TRUE(waitForDelivered(2));
  const auto requests = collector_.requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].connectionPort, requests[1].connectionPort);
}

TEST_F(Delivery, SendsThreeHundredEventsInOneRequest) {
  ASSERT_TRUE(openHttp(collector_, "shop", "Keepcell"));
  for (int i = 0; i < 300; ++i) PXALog::info_Keepcell_withMessage(nullptr, "event " + std::to_string(i));
  ASSERT_TRUE(waitForDelivered(300));
  const auto requests = collector_.requests();
  ASSERT_EQ(requests.size(), 1u);
  ASSERT_EQ(requests[0].elements.size(), 300u);
  for (std::size_t i = 0; i < 300; ++i)
    EXPECT_EQ(requests[0].elements[i].members.at("rdmBulkIndex"), std::to_string(i));
}

TEST_F(Delivery, BringsABodyOfMoreThanTwoMebibytes) {
  ASSERT_TRUE(openHttp(collector_, "shop"));
  const std::string body(3 << 20, 'x');
  PXALog::info_withMessage(nullptr, body);
  ASSERT_TRUE(waitForDelivered(2));
  EXPECT_EQ(elementWithBody(body).members.at("logLevel"), "INFO");
}

TEST_F(Delivery, BringsControlCharactersAsTheyAre) {
  ASSERT_TRUE(openHttp(collector_, "shop"));
  PXALog::info_withMessage(nullptr, "raw \x01 and \x7f");
  ASSERT_TRUE(waitForDelivered(2));
  EXPECT_EQ(elementWithBody("raw \x01 and \x7f").members.at("logLevel"), "INFO");
}

TEST_F(Delivery, SendsEventsOfTwoHandlesOfOneProjectToTheCollectorOfTheLast) {
  Collector other;
  ASSERT_TRUE(openHttp(collector_, "shop", "a"));
  ASSERT_TRUE(PXALog::init_onPort_ofAppKey_withVersion_forUserId_forHandleId_enableSyncStart(
      "https://127.0.0.1", other.httpsPort(), "shop", "1.0", nullptr, "b", true));
  PXALog::info_withMessage_atLocation_forHandleId(nullptr, "from a", nullptr, "a");
  PXALog::info_withMessage_atLocation_forHandleId(nullptr, "from b", nullptr, "b");
  PXALog::startSendThread();
  ASSERT_TRUE(waitForDelivered(4));
  EXPECT_EQ(collector_.acceptedElements(), 0u);
  EXPECT_EQ(other.acceptedElements(), 4u);
}

TEST_F(Delivery, KeepsWhatACollectorRefusesForAnotherTime) {
  collector_.setBehaviour({.status = 503});
  ASSERT_TRUE(openHttp(collector_, "shop"));
  ASSERT_TRUE(waitForFailed(1));
  const Snapshot now = Diagnostics::snapshot();
  EXPECT_EQ(now.requests.refused, 1u);
  EXPECT_EQ(now.requests.lastHttpStatus, 503);
  EXPECT_EQ(now.events.delivered, 0u);
}

TEST_F(Delivery, TakesACreatedStatusForAFailure) {
  collector_.setBehaviour({.status = 201});
  ASSERT_TRUE(openHttp(collector_, "shop"));
  EXPECT_TRUE(waitForFailed(1));
}

TEST_F(Delivery, CountsAHeadWithStatus200AsDeliveredEvenIfTheBodyIsCut) {
  collector_.setBehaviour({.status = 200, .fault = Fault::CutAfterHead});
  ASSERT_TRUE(openHttps(collector_, "shop"));
  ASSERT_TRUE(waitForDelivered(1));
  EXPECT_EQ(Diagnostics::snapshot().events.failed, 0u);
}

TEST_F(Delivery, KeepsEventsOfARequestThatIsCutBeforeItsAnswer) {
  collector_.setBehaviour({.fault = Fault::CutBeforeHead});
  ASSERT_TRUE(openHttps(collector_, "shop"));
  ASSERT_TRUE(waitForFailed(1));
  EXPECT_EQ(Diagnostics::snapshot().requests.failed, 1u);
}

TEST_F(Delivery, KeepsEventsOfACollectorThatIsSilentForTenSeconds) {
  collector_.setBehaviour({.fault = Fault::Silent});
  ASSERT_TRUE(openHttp(collector_, "shop"));
  ASSERT_TRUE(waitForFailed(1));
}

TEST_F(Delivery, KeepsEventsOfACollectorThatRefusesConnections) {
  const test::ClosedPort port;
  ASSERT_TRUE(PXALog::init_onPort_byProtocol_ofAppKey_withVersion_forUserId(
      "https://127.0.0.1", port.number(), 0, "shop", "1.0", nullptr));
  ASSERT_TRUE(waitForFailed(1));
  EXPECT_NE(Diagnostics::snapshot().requests.lastTransportError.view().find(std::to_string(port.number())),
            std::string_view::npos);
}

TEST_F(Delivery, NamesTheHostThatDoesNotResolve) {
  ASSERT_TRUE(PXALog::init_ofAppKey_withVersion("https://no-such-collector.invalid", "shop", "1.0"));
  ASSERT_TRUE(waitForFailed(1));
  EXPECT_EQ(Diagnostics::snapshot().requests.lastTransportError,
            "A server with the specified hostname could not be found. "
            "(https://no-such-collector.invalid:443/v2/log)");
}

TEST_F(Delivery, UsesAPathInTheCollectorAddressLiterallyAndShowsTheBrokenAddress) {
  ASSERT_TRUE(PXALog::init_ofAppKey_withVersion("https://no-such-collector.invalid/p", "shop", "1.0"));
  ASSERT_TRUE(waitForFailed(1));
  EXPECT_NE(Diagnostics::snapshot().requests.lastTransportError.view().find(
                "https://no-such-collector.invalid/p:443/v2/log"),
            std::string_view::npos);
}

TEST_F(Delivery, HoldsBackARepeatAndCountsIt) {
  ASSERT_TRUE(openHttp(collector_, "shop"));
  PXALog::error_withMessage("E1", "again");
  PXALog::error_withMessage("E2", "again");
  ASSERT_TRUE(waitForSnapshot([](const Snapshot& now) { return now.events.dropped.duplicate == 1; }));
  ASSERT_TRUE(waitForDelivered(2));
  EXPECT_EQ(elements().size(), 2u);
}

TEST_F(Delivery, HoldsEverythingInASynchronousStartUntilItIsReleased) {
  ASSERT_TRUE(
      PXALog::init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart(
          "http://127.0.0.1", collector_.httpPort(), 1, "shop", "1.0", nullptr, false, true));
  ASSERT_TRUE(waitForSnapshot(
      [&](const Snapshot& now) { return !now.isHeldBySettings && collector_.settingsPaths().size() == 1; }));
  EXPECT_EQ(Diagnostics::snapshot().requests.started, 0u);
  PXALog::startSendThread();
  EXPECT_TRUE(waitForDelivered(1));
}

TEST_F(Delivery, AsksForTheSettingsOfTheProjectAndKeepsTheAnswer) {
  ASSERT_TRUE(openHttp(collector_, "shop"));
  ASSERT_TRUE(waitForDelivered(1));
  EXPECT_EQ(collector_.settingsPaths(), std::vector<std::string>{"/v2/shop/logsconf"});
  std::ifstream file(documents_.path() / "RDM_iOS_SETTING_FILE");
  const std::string saved(std::istreambuf_iterator<char>(file), {});
  EXPECT_NE(saved.find("\"session\""), std::string::npos);
}

TEST_F(Delivery, SwitchesKindsOfLogsOffAsTheSettingsSay) {
  collector_.setSettings({.log = false, .session = true});
  ASSERT_TRUE(openHttp(collector_, "shop"));
  PXALog::info_withMessage(nullptr, "unwanted");
  ASSERT_TRUE(waitForSnapshot([](const Snapshot& now) { return now.events.dropped.logSwitch == 1; }));
  ASSERT_TRUE(waitForDelivered(1));
  EXPECT_EQ(elementWithBody("SESSION").members.at("logType"), "SESSION");
}

TEST_F(Delivery, SendsEverythingWhenTheSettingsServiceCannotBeReached) {
  const test::ClosedPort port;
  Host::setSettingsService({"127.0.0.1:" + std::to_string(port.number()), nullptr, nullptr});
  ASSERT_TRUE(openHttp(collector_, "shop"));
  PXALog::info_withMessage(nullptr, "all the same");
  ASSERT_TRUE(waitForDelivered(2));
}

TEST_F(Delivery, ProbesTheAddressesThatTheSettingsName) {
  const std::string probe = "http://127.0.0.1:" + std::to_string(collector_.httpPort()) + "/probe";
  collector_.setSettings({.networkInsights = true, .urls = {probe}});
  ASSERT_TRUE(openHttp(collector_, "shop"));
  ASSERT_TRUE(waitForDelivered(2));
  const auto insight = elementWithBody("NETWORKINSIGHTS LOG").members;
  EXPECT_EQ(insight.at("Url"), probe);
  EXPECT_EQ(insight.at("Status"), "200");
}

TEST_F(Delivery, BringsSavedEventsBackAfterTheBackground) {
  collector_.setBehaviour({.status = 500});
  ASSERT_TRUE(openHttp(collector_, "shop"));
  ASSERT_TRUE(waitForFailed(1));
  Host::didEnterBackground();
  EXPECT_EQ(Diagnostics::snapshot().events.saved, 1u);
  EXPECT_TRUE(std::filesystem::exists(documents_.path() / "fileVesk2SavedLog"));
  Host::willEnterForeground();
  EXPECT_EQ(Diagnostics::snapshot().events.failed, 1u);
}

/// Names and blocked signals of this process's threads whose names begin with the library's prefix.
std::set<std::string> libraryThreadNames() {
  std::set<std::string> names;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream file(task.path() / "comm");
    std::string name;
    std::getline(file, name);
    if (name.starts_with("pxa-")) names.insert(name);
  }
  return names;
}

TEST_F(Delivery, NamesItsThreads) {
  ASSERT_TRUE(openHttp(collector_, "shop"));
  ASSERT_TRUE(waitForDelivered(1));
  EXPECT_EQ(libraryThreadNames(),
            (std::set<std::string>{"pxa-insight", "pxa-net", "pxa-routes", "pxa-send", "pxa-settings"}));
}

using DeliveryDeathTest = Delivery;

TEST_F(DeliveryDeathTest, LetsTheProcessExitWhileRequestsOverTlsAreUnderWay) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        collector_.setBehaviour({.fault = Fault::Silent});
        if (!openHttps(collector_, "shop")) std::_Exit(2);
        if (!collector_.waitFor(
                [](const std::vector<ReceivedRequest>& requests) { return requests.size() == 1; }, kPatience))
          std::_Exit(3);
        for (int i = 0; i < 100; ++i) PXALog::info_withMessage(nullptr, "line " + std::to_string(i));
        std::filesystem::remove_all(documents_.path());
        std::exit(0);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace pxa
