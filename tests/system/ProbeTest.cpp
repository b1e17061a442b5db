#include <atomic>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <pxalog/Diagnostics.h>
#include <pxalog/Host.h>
#include <pxalog/PXALog.h>

#include "api/handle/process_state.h"
#include "collector/Collector.h"
#include "support/ClosedPort.h"
#include "support/OwnDocuments.h"
#include "support/OwnNetwork.h"
#include "support/TemporaryDirectory.h"
#include "support/values.h"
#include "support/wait.h"

namespace pxa {
namespace {

using test::kPatience;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using tools::Collector;
using tools::Element;
using tools::Fault;
using tools::ReceivedProbe;
using tools::ReceivedRequest;

using Members = std::map<std::string, std::string>;
using Texts = std::vector<std::string>;

std::string http(const Collector& target, const std::string& path = "/") {
  return "http://127.0.0.1:" + std::to_string(target.httpPort()) + path;
}

/// An address on the name that the target's certificate gives.
std::string https(const Collector& target, const std::string& path = "/") {
  return "https://localhost:" + std::to_string(target.httpsPort()) + path;
}

/// The library on the real system, with a collector that also answers for the settings service. Addresses to
/// probe lie on another one.
class Probe : public testing::Test {
 protected:
  Probe() {
    Host::setLogSink([](const String&) {});
  }

  /// Opens a handle, whose id is its project, with these addresses in its settings.
  bool open(const std::string& project, const Texts& urls) {
    if (!collector_) collector_.emplace();
    Host::setSettingsService({"127.0.0.1:" + std::to_string(collector_->httpPort()), nullptr, nullptr});
    collector_->setSettings({.networkInsights = true, .urls = urls});
    return PXALog::
        init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart_withUnityVersion_forHandleId(
            "http://127.0.0.1", collector_->httpPort(), 1, project, "1.0", "ada", false, false, nullptr,
            project);
  }

  /// The results that the collector has got of a project.
  std::vector<Members> resultsOf(const std::string& project) const {
    std::vector<Members> results;
    for (const ReceivedRequest& request : collector_->requests())
      for (const Element& element : request.elements)
        if (element.members.at("logType") == "NETWORKINSIGHTS" &&
            element.members.at("projectName") == project)
          results.push_back(element.members);
    return results;
  }

  /// Opens a handle with these addresses in its settings and waits for as many results.
  std::vector<Members> resultsOfProbing(const Texts& urls) {
    const std::string project = "project" + std::to_string(++projects_);
    EXPECT_TRUE(open(project, urls));
    EXPECT_TRUE(test::waitUntil([&] { return resultsOf(project).size() >= urls.size(); }));
    return resultsOf(project);
  }

  Texts statusesOf(const Texts& urls) {
    Texts statuses;
    for (const Members& result : resultsOfProbing(urls)) statuses.push_back(result.at("Status"));
    return statuses;
  }
  std::string statusOf(const std::string& url) {
    const Texts statuses = statusesOf({url});
    return statuses.size() == 1 ? statuses[0] : "(results: " + std::to_string(statuses.size()) + ")";
  }

  /// The path of a new file in PEM of the certificate by which that collector can be verified.
  String certificateFileOf(const Collector& target) {
    const String path = directory_.path("authority" + std::to_string(target.httpsPort()) + ".pem");
    std::ofstream(path.c_str()) << target.certificate();
    return path;
  }

  const test::TemporaryDirectory directory_;
  const test::OwnDocuments documents_;
  std::optional<Collector> collector_;

 private:
  int projects_ = 0;
};

Texts pathsOf(const std::vector<ReceivedProbe>& probes) {
  Texts paths;
  for (const ReceivedProbe& probe : probes) paths.push_back(probe.path);
  return paths;
}

// Results.

TEST_F(Probe, BringsItsResultAsALogOfItsOwnType) {
  const Collector target;
  const auto results = resultsOfProbing({http(target, "/a")});
  ASSERT_THAT(results, SizeIs(1));
  for (const auto& [key, value] : Members{{"projectName", "project1"},
                                          {"projectVersion", "1.0"},
                                          {"logSource", "ios-log"},
                                          {"body", "NETWORKINSIGHTS LOG"},
                                          {"logLevel", "INFO"},
                                          {"NIVersion", "1.0.0"},
                                          {"Url", http(target, "/a")},
                                          {"Status", "200"},
                                          {"UserID", "ada"},
                                          {"logVersion", "v2"}})
    EXPECT_EQ(results[0].at(key), value) << key;
  EXPECT_THAT(results[0].at("Latency"), MatchesRegex("[0-9]+"));
  EXPECT_THAT(results[0].at("sendTime"), SizeIs(13));
}

TEST_F(Probe, TellsTheStatusOfEveryAnswer) {
  Collector target;
  for (const int status : {204, 304, 404, 500, 599}) {
    target.setProbeBehaviour({.status = status});
    const auto results = resultsOfProbing({http(target)});
    ASSERT_THAT(results, SizeIs(1));
    EXPECT_EQ(results[0].at("Status"), std::to_string(status));
    EXPECT_THAT(results[0].at("Latency"), MatchesRegex("[0-9]+"));
  }
}

TEST_F(Probe, TellsStatusZeroOfAFailureAndGoesOn) {
  const Collector target;
  const test::ClosedPort refusing;
  Collector cutBeforeHead;
  cutBeforeHead.setProbeBehaviour({.fault = Fault::CutBeforeHead});
  Collector cutAfterHead;
  cutAfterHead.setProbeBehaviour({.fault = Fault::CutAfterHead});
  const Texts failing = {
      "http://127.0.0.1:" + std::to_string(refusing.number()),
      "http://no-such-host.invalid/",
      "no-such-host.invalid",
      http(cutBeforeHead),
      http(cutAfterHead),
      https(target),
      "https://127.0.0.1:" + std::to_string(target.httpPort()),
      "ftp://127.0.0.1:" + std::to_string(target.httpPort()) + "/",
      "file:///etc/hostname",
      "https:",
      "https:/",
      "http:/",
      "http://",
      "no address",
      "",
  };
  Texts urls = failing;
  urls.push_back(http(target));
  const auto results = resultsOfProbing(urls);
  ASSERT_THAT(results, SizeIs(urls.size()));
  for (std::size_t i = 0; i < urls.size(); ++i) {
    EXPECT_EQ(results[i].at("Url"), urls[i]);
    EXPECT_EQ(results[i].at("Status"), i < failing.size() ? "0" : "200") << urls[i];
    EXPECT_THAT(results[i].at("Latency"), MatchesRegex("[0-9]+")) << urls[i];
  }
}

// Addresses.

TEST_F(Probe, AsksForTheWholePathAtTheAddressesPort) {
  const Collector target;
  const Texts paths = {"", "/", "/a/b", "/a/", "/a//b", "/a?b=c/d&e"};
  Texts urls;
  for (const std::string& path : paths) urls.push_back(http(target, path));
  resultsOfProbing(urls);
  const auto probes = target.probes();
  EXPECT_THAT(pathsOf(probes), ElementsAre("/", "/", "/a/b", "/a/", "/a//b", "/a?b=c/d&e"));
  for (const ReceivedProbe& probe : probes)
    EXPECT_EQ(probe.headers.find("Host")->second, "127.0.0.1:" + std::to_string(target.httpPort()));
}

TEST_F(Probe, TakesEveryAddressThatBeginsWithHttpForHttp) {
  const Collector target;
  const std::string authority = "127.0.0.1:" + std::to_string(target.httpPort());
  const Texts urls = {"HTTP://" + authority + "/a", "hTTp2://" + authority + "/b"};
  const auto results = resultsOfProbing(urls);
  EXPECT_THAT(pathsOf(target.probes()), ElementsAre("/a", "/b"));
  ASSERT_THAT(results, SizeIs(2));
  for (std::size_t i = 0; i < urls.size(); ++i) {
    EXPECT_EQ(results[i].at("Url"), urls[i]);
    EXPECT_EQ(results[i].at("Status"), "200");
  }
}

TEST_F(Probe, TakesEveryAddressThatBeginsWithHttpsForHttps) {
  const Collector target;
  Host::setCertificateAuthorityFile(certificateFileOf(target));
  const std::string authority = "localhost:" + std::to_string(target.httpsPort());
  EXPECT_THAT(statusesOf({"HTTPS://" + authority + "/a", "httpS2://" + authority + "/b"}),
              ElementsAre("200", "200"));
  const auto probes = target.probes();
  EXPECT_THAT(pathsOf(probes), ElementsAre("/a", "/b"));
  for (const ReceivedProbe& probe : probes) EXPECT_TRUE(probe.isHttps);
}

TEST_F(Probe, AsksAtTheDefaultPortOfAnAddressWithoutOne) {
  PXA_NEEDS_OWN_NETWORK();
  ASSERT_TRUE(test::ip("link set lo up"));
  const Collector target({.httpPort = 80, .httpsPort = 443});
  Host::setCertificateAuthorityFile(certificateFileOf(target));
  const Texts urls = {"http://127.0.0.1",    "HTTP://127.0.0.1/a/", "httpx://127.0.0.1/b",
                      "https://localhost/c", "httpsx://localhost",  "http://127.0.0.1?d=e"};
  const auto results = resultsOfProbing(urls);
  ASSERT_THAT(results, SizeIs(urls.size()));
  for (std::size_t i = 0; i < urls.size(); ++i) {
    EXPECT_EQ(results[i].at("Url"), urls[i]);
    EXPECT_EQ(results[i].at("Status"), "200") << urls[i];
  }
  EXPECT_THAT(pathsOf(target.probes()), ElementsAre("/", "/a/", "/b", "/c", "/", "/?d=e:80"));
}

TEST_F(Probe, UsesAnAddressOfTwoPartsAsItIs) {
  const Collector target;
  const std::string url = "http:/127.0.0.1:" + std::to_string(target.httpPort());
  EXPECT_EQ(statusOf(url), "200");
  EXPECT_THAT(pathsOf(target.probes()), ElementsAre("/"));
}

// Redirects.

TEST_F(Probe, FollowsRedirectsAndTellsTheLastStatus) {
  Collector end;
  end.setProbeBehaviour({.status = 404});
  Collector second;
  second.setProbeBehaviour({.status = 307, .location = http(end, "/end")});
  Collector first;
  for (const int status : {301, 302, 303, 307, 308}) {
    first.setProbeBehaviour({.status = status, .location = http(second, "/second")});
    const auto results = resultsOfProbing({http(first, "/first")});
    ASSERT_THAT(results, SizeIs(1));
    EXPECT_EQ(results[0].at("Status"), "404") << status;
    EXPECT_EQ(results[0].at("Url"), http(first, "/first")) << status;
    EXPECT_EQ(pathsOf(end.probes()).back(), "/end") << status;
  }
  EXPECT_THAT(end.probes(), SizeIs(5));
}

TEST_F(Probe, TellsTheStatusOfARedirectToNowhere) {
  Collector target;
  target.setProbeBehaviour({.status = 302});
  EXPECT_EQ(statusOf(http(target)), "302");
}

TEST_F(Probe, TellsStatusZeroOfRedirectsThatEndInAFailure) {
  const Collector unknown;
  const test::ClosedPort refusing;
  for (const std::string& location :
       {"http://127.0.0.1:" + std::to_string(refusing.number()), https(unknown),
        std::string("ftp://127.0.0.1/"), std::string("file:///etc/hostname"), std::string("/again")}) {
    Collector target;
    target.setProbeBehaviour({.status = 302, .location = location});
    EXPECT_EQ(statusOf(http(target)), "0") << location;
  }
}

// One after the other.

TEST_F(Probe, AsksForEachAddressOnceAndInOrder) {
  const Collector target;
  const auto results = resultsOfProbing({http(target, "/b"), http(target, "/a"), http(target, "/b")});
  ASSERT_THAT(results, SizeIs(3));
  EXPECT_EQ(results[1].at("Url"), http(target, "/a"));
  EXPECT_THAT(pathsOf(target.probes()), ElementsAre("/b", "/a", "/b"));
}

TEST_F(Probe, AsksAgainForAHandleThatIsOpenedLater) {
  const Collector target;
  EXPECT_EQ(statusOf(http(target, "/a")), "200");
  EXPECT_EQ(statusOf(http(target, "/a")), "200");
  EXPECT_THAT(target.probes(), SizeIs(2));
}

TEST_F(Probe, AsksForNoSecondAddressBeforeTheFirstIsAnswered) {
  std::optional<Collector> silent(std::in_place);
  silent->setProbeBehaviour({.fault = Fault::Silent});
  const Collector target;
  ASSERT_TRUE(open("shop", {http(*silent), http(target)}));
  ASSERT_TRUE(silent->waitFor([](const tools::Record& record) { return !record.probes.empty(); }, kPatience));

  PXALog::info_withMessage_atLocation_forHandleId(nullptr, "meanwhile", nullptr, "shop");
  ASSERT_TRUE(test::waitForSnapshot(
      [](const Diagnostics::Snapshot& now) { return now.events.delivered >= 2; }));  // the session log too
  EXPECT_THAT(target.probes(), IsEmpty());
  EXPECT_THAT(resultsOf("shop"), IsEmpty());

  silent.reset();
  ASSERT_TRUE(test::waitUntil([&] { return resultsOf("shop").size() == 2; }));
  EXPECT_EQ(resultsOf("shop")[0].at("Status"), "0");
  EXPECT_EQ(resultsOf("shop")[1].at("Status"), "200");
}

// Certificates.

TEST_F(Probe, VerifiesServersAgainstTheAuthoritiesThatTheHostNamesFromThenOn) {
  const Collector target;
  const String known = certificateFileOf(target);
  EXPECT_EQ(statusOf(https(target)), "0");
  Host::setCertificateAuthorityFile(known);
  EXPECT_EQ(statusOf(https(target)), "200");
  Host::setCertificateAuthorityFile(nullptr);
  EXPECT_EQ(statusOf(https(target)), "0");
  Host::setCertificateAuthorityFile(known);
  EXPECT_EQ(statusOf(https(target)), "200");
}

TEST_F(Probe, TellsStatusZeroWhereTheAuthoritiesCannotBeRead) {
  const Collector target;
  const String noCertificate = directory_.path("text.pem");
  std::ofstream(noCertificate.c_str()) << "no certificate\n";
  Host::setCertificateAuthorityFile(certificateFileOf(target));
  EXPECT_EQ(statusOf(https(target)), "200");
  for (const String& file : {directory_.path("missing.pem"), noCertificate}) {
    Host::setCertificateAuthorityFile(file);
    EXPECT_THAT(statusesOf({https(target), http(target)}), ElementsAre("0", "200")) << test::text(file);
  }
}

TEST_F(Probe, RefusesACertificateOfAnotherNameOrAuthority) {
  const Collector target;
  const Collector other;
  Host::setCertificateAuthorityFile(certificateFileOf(target));
  EXPECT_THAT(
      statusesOf({"https://127.0.0.1:" + std::to_string(target.httpsPort()), https(other), https(target)}),
      ElementsAre("0", "0", "200"));
  EXPECT_THAT(other.probes(), IsEmpty());
}

TEST_F(Probe, VerifiesWhereARedirectLeads) {
  const Collector target;
  Collector redirecting;
  redirecting.setProbeBehaviour({.status = 302, .location = https(target)});
  EXPECT_EQ(statusOf(http(redirecting)), "0");
  Host::setCertificateAuthorityFile(certificateFileOf(target));
  EXPECT_EQ(statusOf(http(redirecting)), "200");
}

TEST_F(Probe, DoesNotLendItsAuthoritiesToCollectors) {
  Host::setCertificateAuthorityFile(directory_.path("missing.pem"));
  const Collector https;
  ASSERT_TRUE(PXALog::init_onPort_byProtocol_ofAppKey_withVersion_forUserId(
      "https://127.0.0.1", https.httpsPort(), 0, "shop", "1.0", nullptr));
  EXPECT_TRUE(
      test::waitForSnapshot([](const Diagnostics::Snapshot& now) { return now.events.delivered == 1; }));
}

/// The system's own authorities are the target alone, under both names by which they are looked for.
class ProbeOfSystem : public Probe {
 protected:
  void SetUp() override {
    const std::filesystem::path authorities = directory_.path() / "system";
    std::filesystem::create_directory(authorities);
    for (const char* name : {"ca-certificates.crt", kHashOfLocalhost})
      std::ofstream(authorities / name) << target_.certificate();
    if (!test::showInstead("/etc/ssl/certs", authorities.string()))
      GTEST_SKIP() << "mount namespaces are forbidden here";
  }

  const Collector target_;

 private:
  /// Stands for the subject "localhost" in a directory of authorities.
  static constexpr const char* kHashOfLocalhost = "ce275665.0";
};

TEST_F(ProbeOfSystem, IsVerifiedAgainstTheSystemsAuthoritiesByDefault) {
  EXPECT_EQ(statusOf(https(target_)), "200");
  const Collector other;
  Host::setCertificateAuthorityFile(certificateFileOf(other));
  EXPECT_THAT(statusesOf({https(target_), https(other)}), ElementsAre("0", "200"));
  Host::setCertificateAuthorityFile(nullptr);
  EXPECT_THAT(statusesOf({https(target_), https(other)}), ElementsAre("200", "0"));
}

TEST_F(ProbeOfSystem, IsVerifiedAgainstTheAuthoritiesOfTheHostAlone) {
  const String file = directory_.path("stranger.pem");
  std::ofstream(file.c_str()) << R"(-----BEGIN CERTIFICATE-----
MIIBjTCCATOgAwIBAgIUbF2XNevnQVYy0E6aLEBp0yVq26IwCgYIKoZIzj0EAwIw
GzEZMBcGA1UEAwwQc3RyYW5nZXIuZXhhbXBsZTAgFw0yNjExMjExMzA3MzlaGA8y
MTI2MTAyODEzMDczOVowGzEZMBcGA1UEAwwQc3RyYW5nZXIuZXhhbXBsZTBZMBMG
ByqGSM49AgEGCCqGSM49AwEHA0IABN+rhbr0EqW3ObXzi8YSl6VyozlStKJAOoc2
H3l4upAcbVSb7QEdFGmHdpxyi2rHs+fQtcdEnJ5JCMWGuduf4+qjUzBRMB0GA1Ud
DgQWBBRQyCazZYFg9F06knR0xqJVgPoarzAfBgNVHSMEGDAWgBRQyCazZYFg9F06
knR0xqJVgPoarzAPBgNVHRMBAf8EBTADAQH/MAoGCCqGSM49BAMCA0gAMEUCIHrv
MD4vHZ6h7Qz97CAkMsvfwrpswcP4dH6v4W3aQsT3AiEA0wP/Uk8pX8R0myhsNZOZ
fIqv5IUOR7A/N4PDXmOEtGs=
-----END CERTIFICATE-----)";
  Host::setCertificateAuthorityFile(file);
  EXPECT_EQ(statusOf(https(target_)), "0");
}

// Jobs for nobody.

TEST_F(Probe, AsksNothingForAHandleThatIsUnknownOrHasNoProbes) {
  static std::atomic<int> otherLines = 0;
  Host::setLogSink([](const String& line) {
    if (line != "didReceiveResponse 200") ++otherLines;
  });
  const Collector target;
  ASSERT_TRUE(open("Keepcell", {}));
  EXPECT_EQ(statusOf(http(target, "/first")), "200");
  const auto before = Diagnostics::snapshot().events.entered;
  for (const char* handleId : {"unknown", "Keepcell", static_cast<const char*>(nullptr), "project1"}) {
    const auto job = std::make_shared<NetworkData>();
    job->setUrl(http(target, "/second"));
    job->setHandlerId(handleId);
    gs_blockQueue()->enqueue_network(job);
  }
  ASSERT_TRUE(test::waitUntil([&] { return resultsOf("project1").size() == 2; }));
  EXPECT_THAT(pathsOf(target.probes()), ElementsAre("/first", "/second"));
  EXPECT_EQ(Diagnostics::snapshot().events.entered, before + 1);
  EXPECT_EQ(otherLines, 0);
}

}  // namespace
}  // namespace pxa
