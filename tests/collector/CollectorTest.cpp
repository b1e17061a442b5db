#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <future>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "collector/Collector.h"
#include "collector/HttpClient.h"

namespace pxa::tools {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kPatience = 20s;
constexpr auto kQuickly = 2s;  // a stop takes milliseconds; the machine may be busy

enum class Scheme { Http, Https };

std::string base(const Collector& collector, Scheme scheme) {
  return scheme == Scheme::Http ? "http://127.0.0.1:" + std::to_string(collector.httpPort())
                                : "https://127.0.0.1:" + std::to_string(collector.httpsPort());
}

std::string logUrl(const Collector& collector, Scheme scheme) {
  return base(collector, scheme) + "/v2/log";
}

std::ptrdiff_t entriesOf(const char* directory) {
  return std::distance(std::filesystem::directory_iterator(directory), std::filesystem::directory_iterator());
}

/// The system lists a thread for a moment after it has been joined.
bool threadsBecome(std::ptrdiff_t count) {
  const auto deadline = Clock::now() + kPatience;
  while (entriesOf("/proc/self/task") != count) {
    if (Clock::now() > deadline) return false;
    std::this_thread::yield();
  }
  return true;
}

auto atLeast(std::size_t count) {
  return [count](const std::vector<ReceivedRequest>& requests) { return requests.size() >= count; };
}

/// What holds over HTTP and over HTTPS alike.
class BothSchemes : public testing::TestWithParam<Scheme> {
 protected:
  std::string url() const { return logUrl(*collector_, GetParam()); }
  HttpResult post(const std::string& body = "[{}]") { return client_.post(url(), body); }

  std::optional<Collector> collector_{std::in_place};
  HttpClient client_;
};

INSTANTIATE_TEST_SUITE_P(Collector, BothSchemes, testing::Values(Scheme::Http, Scheme::Https),
                         [](const auto& each) { return each.param == Scheme::Http ? "Http" : "Https"; });

TEST_P(BothSchemes, RecordsAPostAsItCame) {
  EXPECT_EQ(post(R"([{"a":"x"},{"a":"y"}])").status, 200);
  const auto requests = collector_->requests();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0].method, "POST");
  EXPECT_EQ(requests[0].path, "/v2/log");
  EXPECT_EQ(requests[0].body, R"([{"a":"x"},{"a":"y"}])");
  EXPECT_EQ(requests[0].isHttps, GetParam() == Scheme::Https);
  EXPECT_TRUE(requests[0].isArray);
  EXPECT_EQ(requests[0].elements.size(), 2U);
  EXPECT_EQ(collector_->acceptedElements(), 2U);
}

TEST_P(BothSchemes, ServesManyPostsOverOneConnection) {
  for (int i = 0; i < 20; ++i) ASSERT_EQ(post().status, 200);
  const auto requests = collector_->requests();
  ASSERT_EQ(requests.size(), 20U);
  for (const auto& request : requests) EXPECT_EQ(request.connectionPort, requests[0].connectionPort);
}

TEST_P(BothSchemes, ServesTwoClientsOverTwoConnections) {
  HttpClient other;
  ASSERT_EQ(post().status, 200);
  ASSERT_EQ(other.post(url(), "[]").status, 200);
  const auto requests = collector_->requests();
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_NE(requests[0].connectionPort, requests[1].connectionPort);
}

TEST_P(BothSchemes, TakesABodyOfSeveralMebibytes) {
  const std::string body = "[{\"a\":\"" + std::string(std::size_t{3} * 1024 * 1024, 'x') + "\"}]";
  EXPECT_EQ(post(body).status, 200);
  const auto requests = collector_->requests();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_TRUE(requests[0].body == body);
  EXPECT_TRUE(requests[0].elements.at(0).isReadable);
}

TEST_P(BothSchemes, CutsTheConnectionBeforeTheHead) {
  collector_->setBehaviour({.fault = Fault::CutBeforeHead});
  const HttpResult result = post();
  EXPECT_NE(result.code, CURLE_OK);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(collector_->requests().size(), 1U);
  EXPECT_EQ(collector_->acceptedElements(), 0U);
}

TEST_P(BothSchemes, CutsTheConnectionAfterTheHead) {
  collector_->setBehaviour({.status = 203, .fault = Fault::CutAfterHead});
  const HttpResult result = post();
  EXPECT_NE(result.code, CURLE_OK);
  EXPECT_EQ(result.status, 203);
  EXPECT_EQ(result.body, "");
  EXPECT_EQ(collector_->requests().size(), 1U);
}

TEST_P(BothSchemes, StaysSilentUntilTheClientGivesUp) {
  collector_->setBehaviour({.fault = Fault::Silent});
  client_.setTimeout(200ms);
  EXPECT_EQ(post().code, CURLE_OPERATION_TIMEDOUT);
  EXPECT_TRUE(collector_->waitFor(atLeast(1), kPatience));
}

TEST_P(BothSchemes, AnswersAgainAfterEachFault) {
  collector_->setBehaviourForNext(
      {{.fault = Fault::CutBeforeHead}, {.fault = Fault::CutAfterHead}, {.status = 503}});
  EXPECT_NE(post().code, CURLE_OK);
  EXPECT_NE(post().code, CURLE_OK);
  EXPECT_EQ(post().status, 503);
  EXPECT_EQ(post().status, 200);
}

TEST_P(BothSchemes, WaitsTheDelayBeforeItAnswers) {
  collector_->setBehaviour({.delay = 150ms});
  const auto begin = Clock::now();
  EXPECT_EQ(post().status, 200);
  EXPECT_GE(Clock::now() - begin, 150ms);
}

TEST_P(BothSchemes, StopsQuicklyWithAnIdleConnectionKeptAlive) {
  ASSERT_EQ(post().status, 200);
  const auto begin = Clock::now();
  collector_.reset();
  EXPECT_LT(Clock::now() - begin, kQuickly);
}

TEST_P(BothSchemes, StopsQuicklyWithAClientThatNeverSentAnything) {
  const RawClient idle(GetParam() == Scheme::Http ? collector_->httpPort() : collector_->httpsPort());
  ASSERT_EQ(post().status, 200);
  const auto begin = Clock::now();
  collector_.reset();
  EXPECT_LT(Clock::now() - begin, kQuickly);
}

TEST_P(BothSchemes, StopsQuicklyWhileItIsSilentOrDelaysAnAnswer) {
  for (const Behaviour& behaviour : {Behaviour{.fault = Fault::Silent}, Behaviour{.delay = 10min}}) {
    collector_.emplace();
    collector_->setBehaviour(behaviour);
    auto result =
        std::async(std::launch::async, [this, target = url()] { return client_.post(target, "[{}]"); });
    ASSERT_TRUE(collector_->waitFor(atLeast(1), kPatience));
    const auto begin = Clock::now();
    collector_.reset();
    EXPECT_LT(Clock::now() - begin, kQuickly);
    EXPECT_NE(result.get().code, CURLE_OK);
  }
}

TEST(Collector, SendsNothingWhenItCutsBeforeTheHead) {
  Collector collector({.behaviour = {.fault = Fault::CutBeforeHead}});
  RawClient client(collector.httpPort());
  client.send("POST /v2/log HTTP/1.1\r\nHost: x\r\nContent-Length: 2\r\n\r\n[]");
  EXPECT_EQ(client.readToEnd(), "");
}

TEST(Collector, PromisesMoreThanItSendsWhenItCutsAfterTheHead) {
  Collector collector({.behaviour = {.fault = Fault::CutAfterHead}});
  RawClient client(collector.httpPort());
  client.send("POST /v2/log HTTP/1.1\r\nHost: x\r\nContent-Length: 2\r\n\r\n[]");
  const std::string received = client.readToEnd();
  EXPECT_TRUE(received.starts_with("HTTP/1.1 200 ")) << received;
  EXPECT_NE(received.find("Content-Length: 1024\r\n"), std::string::npos) << received;
  EXPECT_TRUE(received.ends_with("\r\n\r\n")) << received;
}

TEST(Collector, AnswersWithAnyStatus) {
  Collector collector;
  for (const int status : {100, 101, 102, 199, 200, 201, 202, 204, 206, 299, 301,
                           304, 400, 401, 404, 413, 429, 499, 500, 502, 503, 599}) {
    collector.setBehaviour({.status = status});
    RawClient client(collector.httpPort());
    client.send("POST /v2/log HTTP/1.1\r\nHost: x\r\nConnection: close\r\nContent-Length: 2\r\n\r\n[]");
    const std::string received = client.readToEnd();
    EXPECT_TRUE(received.starts_with("HTTP/1.1 " + std::to_string(status) + " ")) << received;
    const bool mayHaveBody = status >= 200 && status != 204 && status != 304;
    EXPECT_EQ(received.ends_with("{\"status\":" + std::to_string(status) + "}"), mayHaveBody) << received;
  }
}

TEST(Collector, KeepsTheConnectionAfterAnAnswerWithoutABody) {
  Collector collector;
  HttpClient client;
  for (const int status : {204, 304, 500, 200}) {
    collector.setBehaviour({.status = status});
    const HttpResult result = client.post(logUrl(collector, Scheme::Http), "[]");
    EXPECT_EQ(result.code, CURLE_OK);
    EXPECT_EQ(result.status, status);
  }
  const auto requests = collector.requests();
  for (const auto& request : requests) EXPECT_EQ(request.connectionPort, requests[0].connectionPort);
}

TEST(Collector, EndsTheConnectionAfterAStatusThatIsNotFinal) {
  Collector collector({.behaviour = {.status = 100}});
  RawClient client(collector.httpPort());
  client.send("POST /v2/log HTTP/1.1\r\nHost: x\r\nContent-Length: 2\r\n\r\n[]");
  EXPECT_TRUE(client.readToEnd().starts_with("HTTP/1.1 100 "));
}

TEST(Collector, CountsOnlyElementsAnsweredWith200AsAccepted) {
  Collector collector;
  collector.setBehaviourForNext({{.status = 500}, {.status = 204}, {}});
  HttpClient client;
  for (int i = 0; i < 3; ++i) client.post(logUrl(collector, Scheme::Http), "[{},{}]");
  EXPECT_EQ(collector.requests().size(), 3U);
  EXPECT_EQ(collector.acceptedElements(), 2U);
}

TEST(Collector, TakesAPostUnderAnyPathThatEndsWithTheCollectorsOwn) {
  Collector collector;
  HttpClient client;
  EXPECT_EQ(client.post(base(collector, Scheme::Http) + "/some/where/v2/log?x=1", "[]").status, 200);
  ASSERT_EQ(collector.requests().size(), 1U);
  EXPECT_EQ(collector.requests()[0].path, "/some/where/v2/log?x=1");
}

TEST(Collector, RefusesAPostElsewhere) {
  Collector collector;
  HttpClient client;
  EXPECT_EQ(client.post(base(collector, Scheme::Http) + "/v2/other", "[]").status, 404);
  EXPECT_TRUE(collector.requests().empty());
}

TEST(Collector, GivesTheHeadersOfTheClientAlone) {
  Collector collector;
  RawClient client(collector.httpPort());
  client.send(
      "POST /v2/log HTTP/1.1\r\nHost: x\r\ncontent-type: application/json\r\nX-Twice: 1\r\nX-Twice: 2\r\n"
      "Content-Length: 2\r\nConnection: close\r\n\r\n[]");
  client.readToEnd();
  const auto requests = collector.requests();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0].contentType, "application/json");
  EXPECT_EQ(requests[0].headers.count("x-twice"), 2U);
  EXPECT_EQ(requests[0].headers.size(), 6U);
}

TEST(Collector, TakesAChunkedBody) {
  Collector collector;
  RawClient client(collector.httpPort());
  client.send("POST /v2/log HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\nConnection: close\r\n\r\n");
  client.send("3\r\n[{}\r\n");
  client.send("1\r\n]\r\n0\r\n\r\n");
  EXPECT_TRUE(client.readToEnd().starts_with("HTTP/1.1 200 "));
  ASSERT_EQ(collector.requests().size(), 1U);
  EXPECT_EQ(collector.requests()[0].body, "[{}]");
}

TEST(Collector, AnswersTwoRequestsThatArriveTogether) {
  Collector collector;
  RawClient client(collector.httpPort());
  const std::string request = "POST /v2/log HTTP/1.1\r\nHost: x\r\nContent-Length: 4\r\n\r\n[{}]";
  client.send(request +
              "POST /v2/log HTTP/1.1\r\nHost: x\r\nConnection: close\r\nContent-Length: 2\r\n\r\n[]");
  client.readToEnd();
  EXPECT_EQ(collector.requests().size(), 2U);
}

TEST(Collector, DoesNotWaitForABodyThatIsNotAnnounced) {
  Collector collector;
  RawClient client(collector.httpPort());
  client.send("POST /v2/log HTTP/1.1\r\nHost: x\r\n\r\n");
  EXPECT_TRUE(client.readUntil("{\"status\":200}").starts_with("HTTP/1.1 200 "));
}

TEST(Collector, RecordsNoRequestThatBreaksOff) {
  Collector collector;
  {
    RawClient(collector.httpPort()).send("POST /v2/log HTTP/1.1\r\nHost: x\r\nContent-Length: 99\r\n\r\n[{}");
  }
  HttpClient client;
  ASSERT_EQ(client.post(logUrl(collector, Scheme::Http), "[]").status, 200);
  EXPECT_EQ(collector.requests().size(), 1U);
}

TEST(Collector, SurvivesADeeplyNestedBody) {
  Collector collector;
  HttpClient client;
  EXPECT_EQ(client.post(logUrl(collector, Scheme::Http), std::string(1'000'000, '[')).status, 200);
  ASSERT_EQ(collector.requests().size(), 1U);
  EXPECT_FALSE(collector.requests()[0].isArray);
}

TEST(Collector, SurvivesALongPath) {
  Collector collector;
  HttpClient client;
  EXPECT_EQ(client.get(base(collector, Scheme::Http) + "/" + std::string(8000, 'a')).status, 200);
}

TEST(Collector, RecordsABodyThatIsNoArray) {
  Collector collector;
  HttpClient client;
  EXPECT_EQ(client.post(logUrl(collector, Scheme::Http), "hello").status, 200);
  ASSERT_EQ(collector.requests().size(), 1U);
  EXPECT_FALSE(collector.requests()[0].isArray);
  EXPECT_EQ(collector.requests()[0].body, "hello");
}

TEST(Collector, AnswersASettingsRequestWithTheSwitchesGiven) {
  Collector collector(
      {.settings = {.crash = false, .networkInsights = true, .urls = {"http://a/", "https://b"}}});
  HttpClient client;
  const HttpResult result = client.get(base(collector, Scheme::Http) + "/v2/app/logsconf");
  EXPECT_EQ(result.status, 200);
  EXPECT_EQ(
      result.body,
      R"({"status":200,"result":{"log":{"enable":true},"crash":{"enable":false},"session":{"enable":true},)"
      R"("networkinsights":{"enable":true,"urls":["http://a/","https://b"]}}})");
}

TEST(Collector, KnowsBothPathsOfTheSettings) {
  Collector collector;
  HttpClient client;
  client.get(base(collector, Scheme::Http) + "/v2/app/logsconf");
  client.get(base(collector, Scheme::Https) + "/v2/settings/app/logsconf");
  EXPECT_EQ(collector.settingsPaths(),
            (std::vector<std::string>{"/v2/app/logsconf", "/v2/settings/app/logsconf"}));
}

TEST(Collector, GivesTheSettingsAnswerThatItWasTold) {
  Collector collector;
  HttpClient client;
  const std::string url = base(collector, Scheme::Http) + "/v2/app/logsconf";
  collector.setSettingsAnswer(503, "{broken");
  HttpResult result = client.get(url);
  EXPECT_EQ(result.status, 503);
  EXPECT_EQ(result.body, "{broken");
  collector.setSettings({.log = false});
  result = client.get(url);
  EXPECT_EQ(result.status, 200);
  EXPECT_NE(result.body.find(R"("log":{"enable":false})"), std::string::npos) << result.body;
}

TEST(Collector, CutsTheConnectionOfASettingsRequest) {
  Collector collector;
  collector.setSettingsBehaviour({.fault = Fault::CutBeforeHead});
  HttpClient client;
  EXPECT_NE(client.get(base(collector, Scheme::Http) + "/v2/app/logsconf").code, CURLE_OK);
  EXPECT_EQ(collector.settingsPaths().size(), 1U);
}

TEST(Collector, AnswersAProbe) {
  Collector collector;
  HttpClient client;
  const HttpResult result = client.get(base(collector, Scheme::Https) + "/any/thing?x=1");
  EXPECT_EQ(result.status, 200);
  EXPECT_EQ(result.body, "ok");
  const auto probes = collector.probes();
  ASSERT_EQ(probes.size(), 1U);
  EXPECT_EQ(probes[0].path, "/any/thing?x=1");
  EXPECT_EQ(probes[0].headers.find("host")->second, "127.0.0.1:" + std::to_string(collector.httpsPort()));
  EXPECT_TRUE(probes[0].isHttps);
}

TEST(Collector, AnswersProbesAloneAsItIsToldForProbes) {
  Collector collector;
  HttpClient client;
  const std::string url = base(collector, Scheme::Http);
  collector.setProbeBehaviour({.status = 404});
  EXPECT_EQ(client.get(url + "/probe").status, 404);
  EXPECT_EQ(client.get(url + "/v2/app/logsconf").status, 200);
  EXPECT_EQ(client.post(url + "/v2/log", "[]").status, 200);
  collector.setProbeBehaviour({.fault = Fault::CutBeforeHead});
  EXPECT_NE(client.get(url + "/probe").code, CURLE_OK);
}

TEST(Collector, SendsAClientOnToALocation) {
  Collector collector;
  collector.setProbeBehaviour({.status = 302, .location = "/elsewhere"});
  RawClient client(collector.httpPort());
  client.send("GET /probe HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
  const std::string received = client.readToEnd();
  EXPECT_TRUE(received.starts_with("HTTP/1.1 302 ")) << received;
  EXPECT_NE(received.find("Location: /elsewhere\r\n"), std::string::npos) << received;
}

TEST(Collector, SendsNobodyOnWithoutALocation) {
  Collector collector;
  collector.setProbeBehaviour({.status = 302});
  RawClient client(collector.httpPort());
  client.send("GET /probe HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
  EXPECT_EQ(client.readToEnd().find("Location"), std::string::npos);
}

TEST(Collector, CanBeVerifiedByItsCertificate) {
  Collector collector;
  Collector other;
  HttpClient client;
  client.trustOnly(collector.certificate());
  EXPECT_EQ(client.get("https://localhost:" + std::to_string(collector.httpsPort())).status, 200);
  EXPECT_EQ(client.get("https://127.0.0.1:" + std::to_string(collector.httpsPort())).status, 0);
  EXPECT_EQ(client.get("https://localhost:" + std::to_string(other.httpsPort())).status, 0);
}

TEST(Collector, ServesOthersWhileManyConnectionsAreSilent) {
  Collector collector({.behaviour = {.fault = Fault::Silent}});
  std::vector<std::unique_ptr<RawClient>> silent;
  for (int i = 0; i < 20; ++i) {
    silent.push_back(std::make_unique<RawClient>(collector.httpPort()));
    silent.back()->send("POST /v2/log HTTP/1.1\r\nHost: x\r\nContent-Length: 2\r\n\r\n[]");
  }
  ASSERT_TRUE(collector.waitFor(atLeast(20), kPatience));
  collector.setBehaviour({});
  HttpClient client;
  EXPECT_EQ(client.post(logUrl(collector, Scheme::Http), "[]").status, 200);
}

TEST(Collector, GivesEachPostToTheCallbackBeforeItIsRecorded) {
  std::atomic<std::size_t> elements = 0;
  Collector collector(
      {.onRequest = [&](const ReceivedRequest& request) { elements += request.elements.size(); }});
  std::array<std::thread, 4> clients;
  for (std::thread& one : clients) {
    one = std::thread([&] {
      HttpClient client;
      for (int j = 0; j < 5; ++j) client.post(logUrl(collector, Scheme::Http), "[{},{}]");
    });
  }
  EXPECT_TRUE(collector.waitFor(atLeast(20), kPatience));
  EXPECT_EQ(elements, 40U);
  for (std::thread& client : clients) client.join();
}

TEST(Collector, KeepsNoRequestsWhenToldSo) {
  std::atomic<int> calls = 0;
  Collector collector({.keepsRequests = false, .onRequest = [&](const ReceivedRequest&) { ++calls; }});
  HttpClient client;
  EXPECT_EQ(client.post(logUrl(collector, Scheme::Http), "[{}]").status, 200);
  EXPECT_TRUE(collector.requests().empty());
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(collector.acceptedElements(), 1U);
}

TEST(Collector, WaitsNoLongerThanItsPatience) {
  const Collector collector;
  EXPECT_FALSE(collector.waitFor(atLeast(1), 10ms));
  EXPECT_TRUE(collector.waitFor([](const Record& record) { return record.settingsPaths.empty(); }, 10ms));
}

TEST(Collector, RefusesAPortThatIsTaken) {
  const Collector first;
  EXPECT_THROW(Collector({.httpPort = first.httpPort()}), std::runtime_error);
  EXPECT_THROW(Collector({.httpsPort = first.httpsPort()}), std::runtime_error);
}

TEST(Collector, GivesItsPortBackWithConnectionsStillOpen) {
  HttpClient client;
  int port = 0;
  {
    const Collector first;
    port = first.httpPort();
    ASSERT_EQ(client.post(logUrl(first, Scheme::Http), "[]").status, 200);
  }
  const Collector second({.httpPort = port});
  EXPECT_EQ(client.post(logUrl(second, Scheme::Http), "[]").status, 200);
}

TEST(Collector, LeavesNoThreadAndNoFileBehind) {
  // Whatever the client, and a sanitizer at the first thread, set up once.
  HttpClient().get("http://127.0.0.1:1/");
  std::thread([] {}).join();
  const auto threads = entriesOf("/proc/self/task");
  const auto files = entriesOf("/proc/self/fd");
  {
    const Collector collector;
    HttpClient client;
    ASSERT_EQ(client.post(logUrl(collector, Scheme::Http), "[]").status, 200);
    ASSERT_EQ(client.post(logUrl(collector, Scheme::Https), "[]").status, 200);
  }
  EXPECT_TRUE(threadsBecome(threads));
  EXPECT_EQ(entriesOf("/proc/self/fd"), files);
}

TEST(Collector, LeavesTheSignalsOfTheProcessAlone) {
  struct sigaction before {};
  struct sigaction after {};
  sigset_t blocked;
  const auto kept = std::signal(SIGPIPE, [](int) {});
  ::sigaction(SIGPIPE, nullptr, &before);
  const Collector collector;
  ::sigaction(SIGPIPE, nullptr, &after);
  ::pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  EXPECT_EQ(after.sa_handler, before.sa_handler);
  EXPECT_EQ(::sigismember(&blocked, SIGTERM), 0);
  static_cast<void>(std::signal(SIGPIPE, kept));
}

}  // namespace
}  // namespace pxa::tools
