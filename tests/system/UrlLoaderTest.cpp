#include <condition_variable>
#include <gtest/gtest.h>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "collector/Collector.h"
#include "platform/linux/CurlUrlLoader.h"
#include "support/ClosedPort.h"
#include "support/FakePlatform.h"
#include "support/wait.h"

namespace pxa {
namespace {

using test::kPatience;
using tools::Behaviour;
using tools::Collector;
using tools::Fault;

/// What a delegate heard of its request.
struct Outcome {
  std::optional<int> status;
  std::optional<std::string> error;
  std::string data;
  int decisions = 0;
  bool isFinished = false;
};

class RecordingDelegate final : public UrlConnectionDelegate {
 public:
  explicit RecordingDelegate(bool trusts = true) : trusts_(trusts) {}

  bool connection_canAuthenticateAgainstProtectionSpace(UrlConnection&,
                                                        const ProtectionSpace& space) override {
    return space.authenticationMethod == kAuthenticationMethodServerTrust;
  }
  void connection_didReceiveAuthenticationChallenge(UrlConnection&,
                                                    AuthenticationChallenge& challenge) override {
    if (trusts_) challenge.useCredentialForServerTrust();
  }
  void connection_didReceiveResponse(UrlConnection&, const HttpResponse& response) override {
    change([&](Outcome& outcome) {
      outcome.status = response.statusCode;
      ++outcome.decisions;
    });
  }
  void connection_didReceiveData(UrlConnection&, std::string_view data) override {
    change([&](Outcome& outcome) { outcome.data += data; });
  }
  void connection_didFailWithError(UrlConnection&, const Error& error) override {
    change([&](Outcome& outcome) {
      outcome.error = std::string(error.localizedDescription().view());
      ++outcome.decisions;
    });
  }
  void connectionDidFinishLoading(UrlConnection&) override {
    change([](Outcome& outcome) { outcome.isFinished = true; });
  }

  /// The outcome once the request is decided.
  Outcome decided() {
    std::unique_lock lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, kPatience, [this] { return outcome_.decisions > 0; }));
    return outcome_;
  }
  Outcome finished() {
    std::unique_lock lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, kPatience, [this] { return outcome_.isFinished; }));
    return outcome_;
  }

 private:
  template <class Change>
  void change(Change change) {
    const std::lock_guard lock(mutex_);
    change(outcome_);
    changed_.notify_all();
  }

  const bool trusts_;
  std::mutex mutex_;
  std::condition_variable changed_;
  Outcome outcome_;
};

std::string httpAddress(const Collector& collector, const std::string& path = "/v2/log") {
  return "http://127.0.0.1:" + std::to_string(collector.httpPort()) + path;
}

std::string httpsAddress(const Collector& collector, const std::string& path = "/v2/log") {
  return "https://127.0.0.1:" + std::to_string(collector.httpsPort()) + path;
}

UrlRequest post(const std::string& url, const std::string& body = "[]", double timeoutSeconds = 10) {
  UrlRequest request;
  request.url = url;
  request.method = "POST";
  request.headers = {{"Content-Type", "application/json"}};
  request.body = Data(body);
  request.timeoutSeconds = timeoutSeconds;
  return request;
}

UrlRequest get(const std::string& url) {
  UrlRequest request;
  request.url = url;
  request.method = "GET";
  return request;
}

std::shared_ptr<RecordingDelegate> start(const UrlRequest& request, bool trusts = true) {
  auto delegate = std::make_shared<RecordingDelegate>(trusts);
  systemPlatform().urlLoader.connectionWithRequest(request, delegate);
  return delegate;
}

Outcome outcomeOf(const UrlRequest& request, bool trusts = true) {
  return start(request, trusts)->decided();
}

bool isProvisional(int status) {
  return status < 200 && status != 101;
}

TEST(UrlLoader, TellsEveryFinalStatusFrom100To599AndFailsWhereOnlyAProvisionalOneCame) {
  Collector collector;
  for (int status = 100; status <= 599; ++status) {
    collector.setBehaviour({.status = status});
    const Outcome outcome = outcomeOf(post(httpAddress(collector)));
    EXPECT_EQ(outcome.decisions, 1) << status;
    if (isProvisional(status))
      EXPECT_TRUE(outcome.error) << status;
    else
      EXPECT_EQ(outcome.status, status);
  }
}

TEST(UrlLoader, PostsTheBodyWithItsContentTypeAndWithoutAnExpectHeader) {
  Collector collector;
  const std::string body = "[" + std::string(3 << 20, ' ') + "]";
  EXPECT_EQ(outcomeOf(post(httpAddress(collector), body)).status, 200);
  ASSERT_EQ(collector.requests().size(), 1u);
  const tools::ReceivedRequest request = collector.requests()[0];
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.path, "/v2/log");
  EXPECT_EQ(request.contentType, "application/json");
  EXPECT_EQ(request.body, body);
  for (const auto& [name, value] : request.headers) EXPECT_STRCASENE(name.c_str(), "Expect") << value;
}

TEST(UrlLoader, ReusesOneKeptAliveConnectionForRequestsThatFollowOneAnother) {
  Collector collector;
  for (const std::string& address : {httpAddress(collector), httpsAddress(collector)})
    for (int i = 0; i < 3; ++i) start(post(address))->finished();
  const auto requests = collector.requests();
  ASSERT_EQ(requests.size(), 6u);
  EXPECT_EQ(requests[0].connectionPort, requests[1].connectionPort);
  EXPECT_EQ(requests[1].connectionPort, requests[2].connectionPort);
  EXPECT_EQ(requests[3].connectionPort, requests[4].connectionPort);
  EXPECT_EQ(requests[4].connectionPort, requests[5].connectionPort);
}

TEST(UrlLoader, AcceptsAnyCertificateWhenTheDelegateAnswersWithTheServersTrust) {
  Collector collector;
  EXPECT_EQ(outcomeOf(post(httpsAddress(collector))).status, 200);
}

TEST(UrlLoader, RefusesAnUnknownCertificateWhenTheDelegateDoesNotTrustTheServer) {
  Collector collector;
  EXPECT_TRUE(outcomeOf(post(httpsAddress(collector)), false).error);
  EXPECT_TRUE(collector.requests().empty());
}

TEST(UrlLoader, DoesNotLendATrustedConnectionToARequestThatVerifies) {
  Collector collector;
  start(post(httpsAddress(collector)))->finished();
  EXPECT_TRUE(outcomeOf(post(httpsAddress(collector)), false).error);
}

TEST(UrlLoader, FailsWhenTheConnectionIsCutBeforeTheHead) {
  Collector collector;
  collector.setBehaviour({.fault = Fault::CutBeforeHead});
  for (const std::string& address : {httpAddress(collector), httpsAddress(collector)})
    EXPECT_TRUE(outcomeOf(post(address)).error) << address;
}

TEST(UrlLoader, KeepsTheStatusOfAHeadWhoseBodyIsCut) {
  Collector collector;
  collector.setBehaviour({.status = 200, .fault = Fault::CutAfterHead});
  for (const std::string& address : {httpAddress(collector), httpsAddress(collector)}) {
    const Outcome outcome = outcomeOf(post(address));
    EXPECT_EQ(outcome.status, 200);
    EXPECT_FALSE(outcome.error);
  }
}

TEST(UrlLoader, FailsAfterTheTimeOutWhenTheServerIsSilent) {
  Collector collector;
  collector.setBehaviour({.fault = Fault::Silent});
  EXPECT_TRUE(outcomeOf(post(httpAddress(collector), "[]", 1)).error);
}

TEST(UrlLoader, FailsWhenTheConnectionIsRefused) {
  const test::ClosedPort port;
  EXPECT_TRUE(outcomeOf(post("http://127.0.0.1:" + std::to_string(port.number()) + "/v2/log")).error);
}

TEST(UrlLoader, SaysSoWhenTheHostNameDoesNotResolve) {
  EXPECT_EQ(outcomeOf(post("http://no-such-host.invalid/v2/log")).error,
            "A server with the specified hostname could not be found.");
}

TEST(UrlLoader, FailsForAnAddressThatIsNeitherHttpNorHttps) {
  for (const char* address :
       {"ftp://127.0.0.1/", "file:///etc/passwd", "", "://", "http://", "no address at all"})
    EXPECT_TRUE(outcomeOf(post(address)).error) << address;
}

TEST(UrlLoader, NeverSendsAPostASecondTimeWhenAKeptAliveConnectionBreaks) {
  Collector collector;
  start(post(httpAddress(collector)))->finished();
  collector.setBehaviour({.fault = Fault::CutBeforeHead});
  EXPECT_TRUE(outcomeOf(post(httpAddress(collector))).error);
  EXPECT_EQ(collector.requests().size(), 2u);
}

TEST(UrlLoader, DoesNotFollowARedirectOfAPost) {
  Collector collector;
  collector.setBehaviour({.status = 307});
  EXPECT_EQ(outcomeOf(post(httpAddress(collector))).status, 307);
  EXPECT_EQ(collector.requests().size(), 1u);
}

TEST(UrlLoader, TakesNoProxyFromTheEnvironment) {
  const test::ClosedPort port;
  const std::string proxy = "http://127.0.0.1:" + std::to_string(port.number());
  ::setenv("http_proxy", proxy.c_str(), 1);
  ::setenv("all_proxy", proxy.c_str(), 1);
  Collector collector;
  EXPECT_EQ(outcomeOf(post(httpAddress(collector))).status, 200);
}

TEST(UrlLoader, RunsRequestsSideBySide) {
  Collector collector;
  collector.setBehaviourForNext({{.fault = Fault::Silent}});
  const auto silent = start(post(httpAddress(collector)));
  ASSERT_TRUE(collector.waitFor(
      [](const std::vector<tools::ReceivedRequest>& requests) { return requests.size() == 1; }, kPatience));
  EXPECT_EQ(outcomeOf(post(httpAddress(collector))).status, 200);
}

TEST(UrlLoader, PrintsNothing) {
  Collector collector;
  testing::internal::CaptureStderr();
  testing::internal::CaptureStdout();
  start(post(httpAddress(collector), "[" + std::string(1 << 20, ' ') + "]"))->finished();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(UrlLoader, GivesTheWholeAnswerOfASynchronousRequest) {
  Collector collector;
  collector.setSettingsAnswer(404, "not here");
  const UrlAnswer answer =
      systemPlatform().urlLoader.sendSynchronousRequest(get(httpAddress(collector, "/v2/app/logsconf")));
  EXPECT_FALSE(answer.error.isError());
  EXPECT_EQ(answer.response.statusCode, 404);
  EXPECT_EQ(answer.body.view(), "not here");
}

TEST(UrlLoader, FailsASynchronousRequestWhoseAnswerIsLargerThanTheLimit) {
  Collector collector;
  collector.setSettingsAnswer(200, std::string(CurlUrlLoader::kLargestAnswer + 1, ' '));
  const UrlRequest request = get(httpAddress(collector, "/v2/app/logsconf"));
  EXPECT_TRUE(systemPlatform().urlLoader.sendSynchronousRequest(request).error.isError());
}

TEST(UrlLoader, ThrowsALargeAnswerAwayWhenOnlyItsStatusIsWanted) {
  Collector collector;
  collector.setSettingsAnswer(404, std::string(CurlUrlLoader::kLargestAnswer + 1, ' '));
  UrlRequest request = get(httpAddress(collector, "/v2/app/logsconf"));
  request.wantsBody = false;
  const UrlAnswer answer = systemPlatform().urlLoader.sendSynchronousRequest(request);
  EXPECT_EQ(answer.response.statusCode, 404);
  EXPECT_EQ(answer.body.size(), 0u);
}

TEST(UrlLoader, FailsASynchronousRequestOverHttpsWhoseCertificateIsUnknown) {
  Collector collector;
  EXPECT_TRUE(
      systemPlatform().urlLoader.sendSynchronousRequest(get(httpsAddress(collector, "/"))).error.isError());
}

TEST(UrlLoader, FailsASynchronousRequestThatNobodyAnswers) {
  const test::ClosedPort port;
  const UrlAnswer answer = systemPlatform().urlLoader.sendSynchronousRequest(
      get("http://127.0.0.1:" + std::to_string(port.number())));
  EXPECT_TRUE(answer.error.isError());
  EXPECT_EQ(answer.response.statusCode, 0);
}

TEST(UrlLoader, TellsTheDelegateWhenNoThreadCanBeMade) {
  test::FakePlatform& platform = test::FakePlatform::install();
  platform.threads.hasThreads = false;
  EXPECT_TRUE(outcomeOf(post("http://127.0.0.1/")).error);
}

}  // namespace
}  // namespace pxa
