#include <cstdint>
#include <deque>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <pxalog/Array.h>
#include <pxalog/Diagnostics.h>
#include <pxalog/PXALog.h>

#include "api/handle/GlobalLock.h"
#include "support/FakePlatform.h"
#include "support/delivery.h"
#include "support/lock_probe.h"
#include "support/values.h"
#include "transport/BulkEventLists.h"
#include "transport/VeskHttpsDelegate.h"
#include "transport/collector_request.h"

namespace pxa {
namespace {

using test::bytesOf;
using test::elementsOf;
using test::makeEvent;
using test::openWithoutSessionLog;
using test::textsOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

using Texts = std::vector<std::string>;

/// A process with one open handle, "h" of project "project", whose list a test fills.
class CollectorRequest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(openWithoutSessionLog("h"), nullptr);
    before_ = Diagnostics::snapshot().events;
  }

  void gather(const VeskEventRef& event, const char* project = test::kAppKey) {
    const GlobalGuard guard;
    BulkEventLists::EventList* const list = bulkEventLists().find(project);
    ASSERT_NE(list, nullptr);
    list->push_back(event);
  }
  void gather(const test::EventSpec& spec = {}) {
    gather(makeEvent(spec), spec.projectName.string().c_str());
  }
  std::vector<UrlRequest> requests() {
    std::vector<UrlRequest> requests;
    for (auto& started : p_.urlLoader.started()) requests.push_back(std::move(started.request));
    return requests;
  }
  Texts texts(std::size_t request, const char* key) { return textsOf(p_, request, key); }
  std::uint64_t dropped(std::uint64_t Diagnostics::DroppedEvents::*reason) const {
    return Diagnostics::snapshot().events.dropped.*reason - before_.dropped.*reason;
  }

  test::FakePlatform& p_ = test::FakePlatform::install();
  Diagnostics::Events before_;
};

// One request on the wire.

TEST_F(CollectorRequest, IsAPostOfJsonThatWaitsTenSeconds) {
  gather();
  PXALog::sendVeskEventByRestAPI();
  ASSERT_THAT(requests(), SizeIs(1));
  const UrlRequest request = requests()[0];
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.url, "https://logs.example.com:443/v2/log");
  EXPECT_EQ(request.timeoutSeconds, 10.0);
  ASSERT_THAT(request.headers, SizeIs(1));
  EXPECT_EQ(request.headers[0].first, "Content-Type");
  EXPECT_EQ(request.headers[0].second, "application/json");
}

TEST_F(CollectorRequest, CarriesABodyAsItIsGiven) {
  PXALog::sendVeskEventByRestAPI_withVeskHttpsDelegate_withHandler(
      "[grüße]", std::make_shared<VeskHttpsDelegate>(), "h");
  EXPECT_THAT(p_.urlLoader.bodies(), ElementsAre("[grüße]"));
}

TEST_F(CollectorRequest, IsNotMadeForAnUnknownHandle) {
  PXALog::sendVeskEventByRestAPI_withVeskHttpsDelegate_withHandler(
      "[]", std::make_shared<VeskHttpsDelegate>(), "unknown");
  PXALog::sendVeskEventByRestAPI_withVeskHttpsDelegate_withHandler(
      "[]", std::make_shared<VeskHttpsDelegate>(), nullptr);
  EXPECT_THAT(requests(), IsEmpty());
}

struct UrlCase {
  const char* name;
  test::HandleOptions handle;
  const char* expected;

  friend std::ostream& operator<<(std::ostream& out, const UrlCase& one) { return out << one.name; }
};

class CollectorRequestUrl : public CollectorRequest, public testing::WithParamInterface<UrlCase> {};

TEST_P(CollectorRequestUrl, IsMadeOfSchemeHostPortAndPath) {
  test::HandleOptions handle = GetParam().handle;
  handle.appKey = "urlApp";
  ASSERT_NE(openWithoutSessionLog("url", handle), nullptr);
  gather({.handleId = "url", .projectName = "urlApp"});
  PXALog::sendVeskEventByRestAPI();
  ASSERT_THAT(requests(), SizeIs(1));
  EXPECT_EQ(requests()[0].url, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Addresses, CollectorRequestUrl,
    testing::Values(
        UrlCase{"ProtocolZero", {.url = "https://c", .port = 443, .protocol = 0}, "https://c:443/v2/log"},
        UrlCase{"ProtocolOne", {.url = "http://c", .port = 80, .protocol = 1}, "http://c:80/v2/log"},
        UrlCase{"ProtocolOverridesTheScheme",
                {.url = "http://c", .port = 80, .protocol = 0},
                "https://c:80/v2/log"},
        UrlCase{"SchemeOfAnyKind", {.url = "ftp://c", .port = 21, .protocol = 1}, "http://c:21/v2/log"},
        UrlCase{"PortZero", {.url = "http://c", .port = 0, .protocol = 1}, "http://c:0/v2/log"},
        UrlCase{"NegativePort", {.url = "http://c", .port = -1, .protocol = 1}, "http://c:-1/v2/log"},
        UrlCase{
            "PortBeyondAnyPort", {.url = "http://c", .port = 65536, .protocol = 1}, "http://c:65536/v2/log"},
        UrlCase{"LargestPort",
                {.url = "http://c", .port = 2147483647, .protocol = 1},
                "http://c:2147483647/v2/log"},
        UrlCase{"SmallestPort",
                {.url = "http://c", .port = -2147483647 - 1, .protocol = 1},
                "http://c:-2147483648/v2/log"},
        UrlCase{
            "HostWithAPath", {.url = "https://c/p", .port = 443, .protocol = 0}, "https://c/p:443/v2/log"},
        UrlCase{
            "HostWithAPort", {.url = "http://c:9000", .port = 80, .protocol = 1}, "http://c:9000:80/v2/log"},
        UrlCase{
            "HostWithATrailingSlash", {.url = "http://c/", .port = 80, .protocol = 1}, "http://c/:80/v2/log"},
        UrlCase{"NoHost", {.url = "http://", .port = 80, .protocol = 1}, "http://:80/v2/log"}),
    [](const auto& param) { return std::string(param.param.name); });

TEST_F(CollectorRequest, GoesByHttpForAnyProtocolButZero) {
  const VeskHandleRef handle = openWithoutSessionLog("odd", {.port = 1, .appKey = "oddApp"});
  handle->setProtocol(2);
  gather({.handleId = "odd", .projectName = "oddApp"});
  PXALog::sendVeskEventByRestAPI();
  ASSERT_THAT(requests(), SizeIs(1));
  EXPECT_EQ(requests()[0].url, "http://logs.example.com:1/v2/log");
}

// Bodies.

TEST_F(CollectorRequest, JoinsTheEventsOfAProjectToOneArray) {
  for (const char* body : {"a", "b", "c"}) gather({.body = bytesOf(body)});
  PXALog::sendVeskEventByRestAPI();
  ASSERT_THAT(p_.urlLoader.bodies(), SizeIs(1));
  EXPECT_THAT(texts(0, "body"), ElementsAre("a", "b", "c"));
  EXPECT_THAT(texts(0, "rdmBulkIndex"), ElementsAre("0", "1", "2"));
}

TEST_F(CollectorRequest, JoinsEventsByCommasAlone) {
  gather();
  gather();
  PXALog::sendVeskEventByRestAPI();
  const std::string body = p_.urlLoader.bodies().at(0);
  EXPECT_THAT(body, StartsWith("[{"));
  EXPECT_THAT(body, testing::HasSubstr("},{"));
  EXPECT_THAT(body, testing::EndsWith("}]"));
}

TEST_F(CollectorRequest, EmptiesTheList) {
  gather();
  PXALog::sendVeskEventByRestAPI();
  PXALog::sendVeskEventByRestAPI();
  EXPECT_THAT(requests(), SizeIs(1));
}

TEST_F(CollectorRequest, IsNotMadeForAnEmptyList) {
  PXALog::sendVeskEventByRestAPI();
  EXPECT_THAT(requests(), IsEmpty());
}

TEST(CollectorRequestBeforeInitialisation, IsNotMade) {
  test::FakePlatform& platform = test::FakePlatform::install();
  PXALog::sendVeskEventByRestAPI();
  EXPECT_THAT(platform.urlLoader.started(), IsEmpty());
}

TEST_F(CollectorRequest, LeavesGapsInTheIndicesForSkippedEvents) {
  for (int event = 0; event < 5; ++event)
    gather({.body = bytesOf(std::to_string(event)), .errorRate = event == 2 ? "4" : "1"});
  PXALog::sendVeskEventByRestAPI();
  EXPECT_THAT(texts(0, "body"), ElementsAre("0", "1", "3", "4"));
  EXPECT_THAT(texts(0, "rdmBulkIndex"), ElementsAre("0", "1", "3", "4"));
}

TEST_F(CollectorRequest, LeavesOutEventsWithoutAHandleId) {
  gather({.body = bytesOf("lost"), .handleId = {}});
  gather({.body = bytesOf("sent")});
  PXALog::sendVeskEventByRestAPI();
  EXPECT_THAT(texts(0, "body"), ElementsAre("sent"));
  EXPECT_THAT(texts(0, "rdmBulkIndex"), ElementsAre("1"));
  EXPECT_EQ(dropped(&Diagnostics::DroppedEvents::noHandleId), 1U);
}

TEST_F(CollectorRequest, LeavesOutAndCountsEventsWithoutAJsonForm) {
  gather({.body = bytesOf("\xff\xfe")});
  gather({.body = bytesOf("sent")});
  gather({.dump = bytesOf("\xc3")});
  PXALog::sendVeskEventByRestAPI();
  EXPECT_THAT(texts(0, "body"), ElementsAre("sent"));
  EXPECT_THAT(texts(0, "rdmBulkIndex"), ElementsAre("1"));
  EXPECT_EQ(dropped(&Diagnostics::DroppedEvents::noJsonForm), 2U);
}

TEST_F(CollectorRequest, SendsAnEmptyArrayWhenEveryEventIsLeftOut) {
  gather({.errorRate = "4"});
  gather({.body = bytesOf("\xff")});
  PXALog::sendVeskEventByRestAPI();
  EXPECT_THAT(p_.urlLoader.bodies(), ElementsAre("[]"));
}

// Failed deliveries.

struct ErrorRateCase {
  const char* name;
  Value errorRate;
  bool isSent;
  bool isLogged;

  friend std::ostream& operator<<(std::ostream& out, const ErrorRateCase& one) { return out << one.name; }
};

class CollectorRequestErrorRate : public CollectorRequest,
                                  public testing::WithParamInterface<ErrorRateCase> {};

TEST_P(CollectorRequestErrorRate, DecidesWhetherAnEventIsSentAgain) {
  gather({.errorRate = GetParam().errorRate});
  PXALog::sendVeskEventByRestAPI();
  ASSERT_THAT(requests(), SizeIs(1));
  EXPECT_THAT(elementsOf(p_.urlLoader.bodies()[0]), SizeIs(GetParam().isSent ? 1 : 0));
  EXPECT_EQ(dropped(&Diagnostics::DroppedEvents::tooManyFailures), GetParam().isSent ? 0U : 1U);
  if (GetParam().isLogged) {
    EXPECT_THAT(p_.log.lines(), ElementsAre(StartsWith("erroRate Exception : ")));
  } else {
    EXPECT_THAT(p_.log.lines(), IsEmpty());
  }
}

INSTANTIATE_TEST_SUITE_P(
    Values, CollectorRequestErrorRate,
    testing::Values(ErrorRateCase{"None", {}, true, false},                                  //
                    ErrorRateCase{"TextZero", "0", true, false},                             //
                    ErrorRateCase{"TextThree", "3", true, false},                            //
                    ErrorRateCase{"TextFour", "4", false, false},                            //
                    ErrorRateCase{"TextWithWhiteSpaceAndMore", " \t4 times", false, false},  //
                    ErrorRateCase{"TextWithASign", "+4", false, false},                      //
                    ErrorRateCase{"NegativeText", "-4", true, false},                        //
                    ErrorRateCase{"TextWithoutANumber", "four", true, false},                //
                    ErrorRateCase{"EmptyText", "", true, false},                             //
                    ErrorRateCase{"TextBeyondAnyNumber", "99999999999999999999", false, false},
                    ErrorRateCase{"TextBeyondThirtyTwoBits", "4294967296", false, false},  //
                    ErrorRateCase{"NumberThree", 3, true, false},                          //
                    ErrorRateCase{"NumberFour", 4, false, false},                          //
                    ErrorRateCase{"NumberBelowFour", 3.9, true, false},                    //
                    ErrorRateCase{"NumberAboveFour", 4.1, false, false},                   //
                    ErrorRateCase{"NumberBeyondThirtyTwoBits", std::int64_t{1} << 40, false, false},
                    ErrorRateCase{"NegativeNumber", -100, true, false},  //
                    ErrorRateCase{"True", true, true, false},            //
                    ErrorRateCase{"Bytes", bytesOf("4"), true, true},    //
                    ErrorRateCase{"Array", Array{4}, true, true},        //
                    ErrorRateCase{"Dictionary", Dictionary{{"rate", 4}}, true, true}),
    [](const auto& param) { return std::string(param.param.name); });

TEST_F(CollectorRequest, TravelsWithTheErrorRate) {
  gather({.errorRate = "3"});
  PXALog::sendVeskEventByRestAPI();
  EXPECT_THAT(texts(0, "errorRate"), ElementsAre("3"));
}

TEST_F(CollectorRequest, WritesItsConsoleLineAfterTheLocksAreLeft) {
  bool wasFree = false;
  p_.log.setListener([&wasFree](const std::string&) { wasFree = test::isGlobalLockFree(); });
  gather({.errorRate = bytesOf("4")});
  PXALog::sendVeskEventByRestAPI();
  EXPECT_TRUE(wasFree);
}

// Handles and projects.

TEST_F(CollectorRequest, IsMadeOncePerProject) {
  openWithoutSessionLog("other", {.url = "https://other.example", .appKey = "otherApp"});
  gather({.body = bytesOf("a")});
  gather({.body = bytesOf("b"), .handleId = "other", .projectName = "otherApp"});
  PXALog::sendVeskEventByRestAPI();
  ASSERT_THAT(requests(), SizeIs(2));
  EXPECT_EQ(requests()[0].url, "https://logs.example.com:443/v2/log");
  EXPECT_THAT(texts(0, "body"), ElementsAre("a"));
  EXPECT_EQ(requests()[1].url, "https://other.example:443/v2/log");
  EXPECT_THAT(texts(1, "body"), ElementsAre("b"));
}

TEST_F(CollectorRequest, CountsIndicesAnewForEachProject) {
  openWithoutSessionLog("other", {.appKey = "otherApp"});
  gather();
  gather({.handleId = "other", .projectName = "otherApp"});
  PXALog::sendVeskEventByRestAPI();
  EXPECT_THAT(texts(1, "rdmBulkIndex"), ElementsAre("0"));
}

TEST_F(CollectorRequest, GoesToTheHandleOfTheLastEvent) {
  openWithoutSessionLog("second", {.url = "https://second.example"});
  gather();
  gather({.handleId = "second"});
  PXALog::sendVeskEventByRestAPI();
  ASSERT_THAT(requests(), SizeIs(1));
  EXPECT_EQ(requests()[0].url, "https://second.example:443/v2/log");
}

TEST_F(CollectorRequest, GoesToTheHandleOfTheLastEventEvenIfThatIsNotSent) {
  openWithoutSessionLog("second", {.url = "https://second.example"});
  gather();
  gather({.errorRate = "4", .handleId = "second"});
  PXALog::sendVeskEventByRestAPI();
  ASSERT_THAT(requests(), SizeIs(1));
  EXPECT_EQ(requests()[0].url, "https://second.example:443/v2/log");
}

TEST_F(CollectorRequest, GoesToTheLastHandleThatAnEventNames) {
  openWithoutSessionLog("second", {.url = "https://second.example"});
  gather();
  gather({.handleId = "second"});
  gather({.handleId = {}});
  PXALog::sendVeskEventByRestAPI();
  ASSERT_THAT(requests(), SizeIs(1));
  EXPECT_EQ(requests()[0].url, "https://second.example:443/v2/log");
}

TEST_F(CollectorRequest, IsNotMadeWhenTheLastHandleIsUnknown) {
  gather();
  gather({.handleId = "unknown"});
  PXALog::sendVeskEventByRestAPI();
  EXPECT_THAT(requests(), IsEmpty());
}

TEST_F(CollectorRequest, GivesUpAndCountsAListWhoseHandleIsUnknown) {
  gather();
  gather({.handleId = "unknown"});
  PXALog::sendVeskEventByRestAPI();
  EXPECT_EQ(dropped(&Diagnostics::DroppedEvents::noHandleForRequest), 2U);
  PXALog::sendVeskEventByRestAPI();
  EXPECT_THAT(requests(), IsEmpty());
  EXPECT_THAT(test::takeFailedEvents(p_), IsEmpty());
}

TEST_F(CollectorRequest, IsNotMadeWhenNoEventNamesAHandle) {
  gather({.handleId = {}});
  PXALog::sendVeskEventByRestAPI();
  EXPECT_THAT(requests(), IsEmpty());
}

TEST_F(CollectorRequest, IsMadeForTheNextProjectWhenOneHasNoHandle) {
  openWithoutSessionLog("other", {.appKey = "otherApp"});
  gather({.handleId = "unknown"});
  gather({.handleId = "other", .projectName = "otherApp"});
  PXALog::sendVeskEventByRestAPI();
  EXPECT_THAT(requests(), SizeIs(1));
}

// The delegate.

struct Shown {
  String log;
  String handleId;
  bool shouldStopRunloop;
};

Shown shownByTheSharedDelegate() {
  const GlobalGuard guard;
  const VeskHttpsDelegate& shared = *gs_httpsDelegate();
  return {shared.log(), shared.handleId(), shared.shouldStopRunloop()};
}

TEST_F(CollectorRequest, ShowsItsBodyAndHandleInTheSharedDelegate) {
  gather();
  PXALog::sendVeskEventByRestAPI();
  const Shown shown = shownByTheSharedDelegate();
  EXPECT_EQ(shown.log.view(), p_.urlLoader.bodies()[0]);
  EXPECT_EQ(shown.handleId, "h");
  EXPECT_TRUE(shown.shouldStopRunloop);
}

TEST_F(CollectorRequest, ShowsTheLastBodyAndHandleInTheSharedDelegate) {
  openWithoutSessionLog("other", {.appKey = "otherApp"});
  gather();
  gather({.handleId = "other", .projectName = "otherApp"});
  PXALog::sendVeskEventByRestAPI();
  const Shown shown = shownByTheSharedDelegate();
  EXPECT_EQ(shown.log.view(), p_.urlLoader.bodies()[1]);
  EXPECT_EQ(shown.handleId, "other");
}

TEST_F(CollectorRequest, ShowsABodyWithoutAHandleInTheSharedDelegateToo) {
  gather({.handleId = {}});
  PXALog::sendVeskEventByRestAPI();
  const Shown shown = shownByTheSharedDelegate();
  EXPECT_EQ(shown.log, "[]");
  EXPECT_EQ(shown.handleId, "");
  EXPECT_TRUE(shown.shouldStopRunloop);
}

TEST_F(CollectorRequest, KeepsItsOwnBodyAndHandleWhenALaterOneStarts) {
  openWithoutSessionLog("other", {.appKey = "otherApp"});
  gather({.body = bytesOf("a")});
  gather({.body = bytesOf("b"), .handleId = "other", .projectName = "otherApp"});
  PXALog::sendVeskEventByRestAPI();
  p_.urlLoader.answer(0, 500);
  const EventQueue failed = test::takeFailedEvents(p_);
  ASSERT_THAT(failed, SizeIs(1));
  EXPECT_EQ(failed[0]->body(), Value(bytesOf("a")));
  EXPECT_EQ(failed[0]->handleId(), Value("h"));
}

TEST_F(CollectorRequest, EndsOnItsOwnWhateverTheOrderOfTheAnswers) {
  openWithoutSessionLog("other", {.appKey = "otherApp"});
  gather({.body = bytesOf("a")});
  gather({.body = bytesOf("b"), .handleId = "other", .projectName = "otherApp"});
  PXALog::sendVeskEventByRestAPI();
  p_.urlLoader.answer(1, 500);
  p_.urlLoader.answer(0, 200);
  const EventQueue failed = test::takeFailedEvents(p_);
  ASSERT_THAT(failed, SizeIs(1));
  EXPECT_EQ(failed[0]->body(), Value(bytesOf("b")));
  EXPECT_EQ(failed[0]->handleId(), Value("other"));
}

TEST_F(CollectorRequest, LetsTheSharedDelegateForgetItsBodyOnceItIsAnswered) {
  gather();
  PXALog::sendVeskEventByRestAPI();
  p_.urlLoader.answer(0, 200);
  EXPECT_TRUE(shownByTheSharedDelegate().log.isNil());
}

TEST_F(CollectorRequest, LeavesTheBodyOfALaterRequestWithTheSharedDelegate) {
  gather();
  PXALog::sendVeskEventByRestAPI();
  gather();
  PXALog::sendVeskEventByRestAPI();
  p_.urlLoader.answer(0, 200);
  EXPECT_EQ(shownByTheSharedDelegate().log.view(), p_.urlLoader.bodies()[1]);
}

TEST_F(CollectorRequest, ReturnsBeforeItIsAnswered) {
  gather();
  PXALog::sendVeskEventByRestAPI();
  EXPECT_EQ(Diagnostics::snapshot().requests.started, 1U);
  EXPECT_EQ(Diagnostics::snapshot().requests.delivered, 0U);
}

TEST_F(CollectorRequest, MovesItsEventsFromFlightToDelivery) {
  PXALog::info_withMessage_atLocation_forHandleId(nullptr, "message", nullptr, "h");
  test::startSendLoop(p_);
  ASSERT_TRUE(test::letOnePassHappen(p_));
  EXPECT_EQ(Diagnostics::snapshot().events.inFlight, 1U);
  p_.urlLoader.answer(0, 200);
  const Diagnostics::Events after = Diagnostics::snapshot().events;
  EXPECT_EQ(after.inFlight, 0U);
  EXPECT_EQ(after.delivered - before_.delivered, 1U);
  EXPECT_EQ(after.total(), after.entered);
}

}  // namespace
}  // namespace pxa
