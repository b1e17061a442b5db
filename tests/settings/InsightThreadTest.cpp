#include <atomic>
#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include <pxalog/PXALog.h>

#include "api/handle/GlobalLock.h"
#include "api/handle/handle_table.h"
#include "api/handle/process_state.h"
#include "platform/BackgroundThread.h"
#include "settings/insight_thread.h"
#include "support/FakePlatform.h"
#include "support/delivery.h"
#include "support/lock_probe.h"
#include "support/values.h"
#include "support/wait.h"

namespace pxa {
namespace {

using test::bytesOf;
using test::fieldOf;
using testing::ElementsAre;
using testing::SizeIs;

// Addresses.

struct AddressCase {
  const char* url;
  const char* expected;

  friend std::ostream& operator<<(std::ostream& out, const AddressCase& one) { return out << one.url; }
};

class ProbeAddress : public testing::TestWithParam<AddressCase> {};

TEST_P(ProbeAddress, HasItsPortMadeExplicit) {
  EXPECT_EQ(std::string(normalisedProbeAddress(GetParam().url).view()), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Https, ProbeAddress,
                         testing::Values(AddressCase{"https://h/a/b", "https://h:443/a/b"},  //
                                         AddressCase{"https://h", "https://h:443"},          //
                                         AddressCase{"https://h/", "https://h:443/"},        //
                                         AddressCase{"https://h/a/", "https://h:443/a/"},    //
                                         AddressCase{"https://h//a", "https://h:443//a"},    //
                                         AddressCase{"https://h/a?b=c/d#e", "https://h:443/a?b=c/d#e"},
                                         AddressCase{"https://h:8443/a", "https://h:8443/a"},  //
                                         AddressCase{"https://h:443", "https://h:443"},        //
                                         AddressCase{"https://h:", "https://h:"},              //
                                         AddressCase{"HTTPS://H/A", "https://H:443/A"},        //
                                         AddressCase{"hTTpS://h", "https://h:443"},            //
                                         AddressCase{"https://user:word@h/a", "https://user:word@h/a"},
                                         AddressCase{"https://[2001:db8::1]/a", "https://[2001:db8::1]/a"},
                                         AddressCase{"https:///a", "https://:443/a"},  //
                                         AddressCase{"https://", "https://:443"}));

INSTANTIATE_TEST_SUITE_P(Http, ProbeAddress,
                         testing::Values(AddressCase{"http://h/a/b", "http://h:80/a/b"},     //
                                         AddressCase{"http://h:8080/a", "http://h:8080/a"},  //
                                         AddressCase{"HTTP://h", "http://h:80"},             //
                                         AddressCase{"HTTP://h/", "http://h:80/"},           //
                                         AddressCase{"http://h?a=b", "http://h?a=b:80"},     //
                                         AddressCase{"httpx://h/a", "http://h:80/a"}));

INSTANTIATE_TEST_SUITE_P(Others, ProbeAddress,
                         testing::Values(AddressCase{"h", "h"},                  //
                                         AddressCase{"h/a/b", "h/a/b"},          //
                                         AddressCase{"h:8080/", "h:8080/"},      //
                                         AddressCase{"ftp://h/a", "ftp://h/a"},  //
                                         AddressCase{"//h/a", "//h/a"},          //
                                         AddressCase{" http://h", " http://h"},  //
                                         AddressCase{"htt", "htt"},              //
                                         AddressCase{"", ""}));

TEST(ProbeAddressWithoutAnAuthority, DoesNoHarm) {
  for (const char* url : {"http", "https", "http:", "https:/", "httpx/y"})
    EXPECT_NO_THROW(static_cast<void>(normalisedProbeAddress(url))) << url;
  EXPECT_NO_THROW(static_cast<void>(normalisedProbeAddress(nullptr)));
}

// The thread.

/// A process with one open handle, "h", whose probes are on, and the insight thread alone.
class InsightThread : public testing::Test {
 protected:
  void SetUp() override {
    handle_ = test::openWithoutSessionLog("h", {.userId = "somebody"});
    ASSERT_NE(handle_, nullptr);
    handle_->setIsNetworkInsight(true);
    answerWithStatus(200);
    std::thread([] { PXALog::performanceSendThread(nullptr); }).detach();
  }

  void answerWithStatus(int status) {
    p_.urlLoader.setSynchronousAnswer([status](const UrlRequest&) {
      return UrlAnswer{Error(), {status}, Data(std::string_view("a page"))};
    });
  }
  /// Answers after that many seconds.
  void answerAfter(double seconds) {
    p_.urlLoader.setSynchronousAnswer([this, seconds](const UrlRequest&) {
      p_.clock.advanceMonotonic(seconds);
      p_.clock.setSecondsSince1970(p_.clock.secondsSince1970() + seconds);
      return UrlAnswer{Error(), {200}, nullptr};
    });
  }
  static void enqueueJob(const char* url, const char* handleId = "h") {
    const auto job = std::make_shared<NetworkData>();
    job->setUrl(url);
    job->setHandlerId(handleId);
    gs_blockQueue()->enqueue_network(job);
  }
  /// The next result; nullptr when none comes in time.
  static VeskEventRef nextResult() {
    VeskEventRef event;
    test::waitUntil([&] { return (event = gs_blockQueue()->dequeueIfAny()) != nullptr; });
    return event;
  }
  /// Probes one address.
  static VeskEventRef probe(const char* url = "http://probed.example/a") {
    enqueueJob(url);
    return nextResult();
  }

  test::FakePlatform& p_ = test::FakePlatform::install();
  VeskHandleRef handle_;
};

TEST_F(InsightThread, GetsTheNormalisedAddressOnce) {
  ASSERT_NE(probe("https://probed.example/a"), nullptr);
  const std::vector<UrlRequest> requests = p_.urlLoader.synchronousRequests();
  ASSERT_THAT(requests, SizeIs(1));
  EXPECT_EQ(requests[0].url, "https://probed.example:443/a");
  EXPECT_EQ(requests[0].method, "GET");
  EXPECT_EQ(requests[0].body.size(), 0U);
  EXPECT_EQ(requests[0].timeoutSeconds, 60.0);
}

TEST_F(InsightThread, BuildsAnEventOfTheHandle) {
  const VeskEventRef event = probe();
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(event->projectName(), Value(test::kAppKey));
  EXPECT_EQ(event->projectVersion(), Value(test::kVersion));
  EXPECT_EQ(event->logSource(), Value("ios-log"));
  EXPECT_EQ(event->logType(), Value("NETWORKINSIGHTS"));
  EXPECT_EQ(event->body(), Value(bytesOf("NETWORKINSIGHTS LOG")));
  EXPECT_EQ(event->host(), Value("192.0.2.7"));
  EXPECT_EQ(event->handleId(), Value("h"));
}

TEST_F(InsightThread, StampsTheEventWithTheTimeOfTheOutcome) {
  p_.clock.setSecondsSince1970(1'600'000'000.5);
  answerAfter(2.25);
  const VeskEventRef event = probe();
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(event->sendTime(), 1'600'000'002'750);
}

TEST_F(InsightThread, TellsVersionAddressStatusAndLevelAsBytes) {
  const VeskEventRef event = probe("http://probed.example");
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(fieldOf(event, "NIVersion"), Value(bytesOf("1.0.0")));
  EXPECT_EQ(fieldOf(event, "Url"), Value(bytesOf("http://probed.example")));
  EXPECT_EQ(fieldOf(event, "Status"), Value(bytesOf("200")));
  EXPECT_EQ(fieldOf(event, "Latency"), Value(bytesOf("0")));
  EXPECT_EQ(fieldOf(event, "logLevel"), Value(bytesOf("INFO")));
}

TEST_F(InsightThread, CompletesTheEventWithTheCommonFields) {
  const VeskEventRef event = probe();
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(fieldOf(event, "Platform"), Value(bytesOf("iOS 12.1")));
  EXPECT_EQ(fieldOf(event, "UserID"), Value(bytesOf("somebody")));
  EXPECT_EQ(fieldOf(event, "logVersion"), Value("v2"));
}

TEST_F(InsightThread, LetsNoCustomFieldReplaceItsOwn) {
  PXALog::setCustomField_forKey_forHandleId("mine", "Url", "h");
  const VeskEventRef event = probe("http://probed.example");
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(fieldOf(event, "Url"), Value(bytesOf("http://probed.example")));
}

struct LatencyCase {
  const char* name;
  double seconds;
  const char* expected;

  friend std::ostream& operator<<(std::ostream& out, const LatencyCase& one) { return out << one.name; }
};

class InsightThreadLatency : public InsightThread, public testing::WithParamInterface<LatencyCase> {};

TEST_P(InsightThreadLatency, IsToldInWholeMilliseconds) {
  answerAfter(GetParam().seconds);
  const VeskEventRef event = probe();
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(std::string(fieldOf(event, "Latency").bytes()), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Times, InsightThreadLatency,
                         testing::Values(LatencyCase{"AnInstant", 0, "0"},
                                         LatencyCase{"ASecondAndAHalf", 1.5, "1500"},
                                         LatencyCase{"LessThanAMillisecond", 0.0009765625, "0"},
                                         LatencyCase{"ACutMillisecond", 0.0625, "62"},
                                         LatencyCase{"MoreThanFits", 1e30, "9223372036854775807"}),
                         [](const auto& param) { return std::string(param.param.name); });

TEST_F(InsightThread, TellsTheStatusOfAPageThatIsNotThere) {
  answerWithStatus(404);
  const VeskEventRef event = probe();
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(fieldOf(event, "Status"), Value(bytesOf("404")));
}

TEST_F(InsightThread, TellsStatusZeroAndTheTimeOfAFailure) {
  p_.urlLoader.setSynchronousAnswer([this](const UrlRequest&) {
    p_.clock.advanceMonotonic(0.25);
    p_.clock.setSecondsSince1970(p_.clock.secondsSince1970() + 0.25);
    return UrlAnswer{Error::withDescription("test", 1, "no network"), {}, nullptr};
  });
  const VeskEventRef event = probe();
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(fieldOf(event, "Status"), Value(bytesOf("0")));
  EXPECT_EQ(fieldOf(event, "Latency"), Value(bytesOf("250")));
}

TEST_F(InsightThread, ProbesAnAddressThatIsNone) {
  p_.urlLoader.setSynchronousAnswer(nullptr);
  const VeskEventRef event = probe("no address");
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(fieldOf(event, "Url"), Value(bytesOf("no address")));
  EXPECT_EQ(fieldOf(event, "Status"), Value(bytesOf("0")));
}

TEST_F(InsightThread, GoesOnAfterAnAddressWithoutAnAuthority) {
  enqueueJob("https:");
  enqueueJob("http://good.example");
  EXPECT_TRUE(test::waitUntil([&] {
    const std::vector<UrlRequest> requests = p_.urlLoader.synchronousRequests();
    return !requests.empty() && requests.back().url == "http://good.example:80";
  }));
}

TEST_F(InsightThread, ProbesInOrder) {
  for (const char* url : {"http://b", "http://a", "http://b"}) enqueueJob(url);
  std::vector<std::string> urls;
  for (int result = 0; result < 3; ++result) {
    const VeskEventRef event = nextResult();
    ASSERT_NE(event, nullptr);
    urls.emplace_back(fieldOf(event, "Url").bytes());
  }
  EXPECT_THAT(urls, ElementsAre("http://b", "http://a", "http://b"));
}

TEST_F(InsightThread, DropsAJobOfAnUnknownHandle) {
  enqueueJob("http://unknown.example", "unknown");
  ASSERT_NE(probe("http://good.example"), nullptr);
  EXPECT_THAT(p_.urlLoader.synchronousRequests(), SizeIs(1));
}

TEST_F(InsightThread, DropsAJobWithoutAHandleId) {
  enqueueJob("http://unknown.example", nullptr);
  ASSERT_NE(probe("http://good.example"), nullptr);
  EXPECT_THAT(p_.urlLoader.synchronousRequests(), SizeIs(1));
}

TEST_F(InsightThread, DropsAJobOfAHandleWhoseProbesWereSwitchedOff) {
  test::openWithoutSessionLog("off");
  enqueueJob("http://off.example", "off");
  ASSERT_NE(probe("http://good.example"), nullptr);
  EXPECT_THAT(p_.urlLoader.synchronousRequests(), SizeIs(1));
}

TEST_F(InsightThread, DropsAResultWhoseHandleIsGone) {
  p_.urlLoader.setSynchronousAnswer([](const UrlRequest& request) {
    const GlobalGuard guard;
    if (request.url == "http://gone.example:80") {
      resetHandleTable();
      PXALog::rdm_setHandler("later");
      PXALog::rdm_getHandler("later")->setIsNetworkInsight(true);
    }
    return UrlAnswer{Error(), {200}, nullptr};
  });
  enqueueJob("http://gone.example");
  enqueueJob("http://later.example", "later");
  const VeskEventRef event = nextResult();
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(fieldOf(event, "Url"), Value(bytesOf("http://later.example")));
}

TEST_F(InsightThread, AsksWithoutTheGlobalLock) {
  std::atomic<bool> wasFree = false;
  p_.urlLoader.setSynchronousAnswer([&wasFree](const UrlRequest&) {
    wasFree = test::isGlobalLockFree();
    return UrlAnswer{Error(), {200}, nullptr};
  });
  ASSERT_NE(probe(), nullptr);
  EXPECT_TRUE(wasFree);
}

TEST_F(InsightThread, SendsItsResultLikeALog) {
  test::startSendLoop(p_);
  ASSERT_TRUE(p_.clock.waitForSleeper());
  enqueueJob("http://probed.example");
  ASSERT_TRUE(test::waitForSnapshot([](const auto& snapshot) { return snapshot.events.waiting == 1; }));
  ASSERT_TRUE(test::letOnePassHappen(p_));
  EXPECT_THAT(test::textsOf(p_, 0, "Url"), ElementsAre("http://probed.example"));
  EXPECT_THAT(test::textsOf(p_, 0, "NetworkType"), ElementsAre("Wi-Fi"));
}

TEST(InsightThreadAlone, EndsAfterTheProbeUnderWayWhenItIsCancelled) {
  test::FakePlatform& platform = test::FakePlatform::install();
  test::openWithoutSessionLog("h")->setIsNetworkInsight(true);
  static std::shared_ptr<BackgroundThread> thread =
      std::make_shared<BackgroundThread>("test", [] { PXALog::performanceSendThread(nullptr); });
  platform.urlLoader.setSynchronousAnswer([](const UrlRequest&) {
    thread->cancel();
    return UrlAnswer{Error(), {200}, nullptr};
  });
  platform.threads.runs = true;
  ASSERT_TRUE(thread->start());
  const auto job = std::make_shared<NetworkData>();
  job->setUrl("http://probed.example");
  job->setHandlerId("h");
  gs_blockQueue()->enqueue_network(job);
  gs_blockQueue()->enqueue_network(job);
  ASSERT_TRUE(platform.urlLoader.waitForSynchronousRequests(1));
  ASSERT_TRUE(test::waitUntil([] { return thread.use_count() == 1; }));
  EXPECT_THAT(platform.urlLoader.synchronousRequests(), SizeIs(1));
}

}  // namespace
}  // namespace pxa
