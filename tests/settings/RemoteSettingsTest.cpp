#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <pxalog/Host.h>

#include "api/handle/GlobalLock.h"
#include "api/handle/process_state.h"
#include "settings/remote_settings.h"
#include "support/FakePlatform.h"
#include "support/delivery.h"

namespace pxa {
namespace {

using testing::IsEmpty;

/// The four switches that settings set.
struct Switches {
  bool isNetworkInsight;
  bool isCrash;
  bool isLog;
  bool isSession;

  friend bool operator==(const Switches&, const Switches&) = default;
  friend std::ostream& operator<<(std::ostream& out, const Switches& switches) {
    return out << "insight " << switches.isNetworkInsight << ", crash " << switches.isCrash << ", log "
               << switches.isLog << ", session " << switches.isSession;
  }
};

constexpr Switches kAllOff{false, false, false, false};
constexpr Switches kAllOn{true, true, true, true};
constexpr Switches kAllButInsightOn{false, true, true, true};

void setSwitches(VeskHandle& handle, const Switches& switches) {
  handle.setIsNetworkInsight(switches.isNetworkInsight);
  handle.setIsCrash(switches.isCrash);
  handle.setIsLog(switches.isLog);
  handle.setIsSession(switches.isSession);
}

Switches switchesOf(const VeskHandle& handle) {
  return {handle.isNetworkInsight(), handle.isCrash(), handle.isLog(), handle.isSession()};
}

/// A process with one open handle, "h", whose switches stand the other way round before settings are applied.
class RemoteSettings : public testing::Test {
 protected:
  void SetUp() override {
    handle_ = test::openWithoutSessionLog("h");
    ASSERT_NE(handle_, nullptr);
  }

  VeskHandleRef apply(const String& text) {
    const GlobalGuard guard;
    return PXALog::Fill_Handler_by_SettingsAPI_loadData_HanderID(handle_, text, "h");
  }
  /// Addresses of the probe jobs queued so far.
  std::vector<std::string> jobs() {
    // A last job shows where the queue ends, for taking from an empty one waits.
    const auto end = std::make_shared<NetworkData>();
    gs_blockQueue()->enqueue_network(end);
    std::vector<std::string> urls;
    for (auto job = gs_blockQueue()->dequeue_network(); job != end; job = gs_blockQueue()->dequeue_network())
      urls.push_back(std::string(job->handlerId().view()) + " " + std::string(job->url().view()));
    return urls;
  }

  test::FakePlatform& p_ = test::FakePlatform::install();
  VeskHandleRef handle_;
};

using Jobs = std::vector<std::string>;

struct AnswerCase {
  const char* name;
  std::string text;
  Switches before;
  Switches expected;
  Jobs jobs = {};

  friend std::ostream& operator<<(std::ostream& out, const AnswerCase& one) { return out << one.name; }
};

class RemoteSettingsAnswer : public RemoteSettings, public testing::WithParamInterface<AnswerCase> {};

TEST_P(RemoteSettingsAnswer, SetsTheSwitchesAndQueuesTheProbes) {
  setSwitches(*handle_, GetParam().before);
  EXPECT_NO_THROW(apply(GetParam().text));
  EXPECT_EQ(switchesOf(*handle_), GetParam().expected);
  EXPECT_EQ(jobs(), GetParam().jobs);
}

/// An answer whose result is the text.
std::string result(const std::string& text) {
  return R"({"status":200,"result":)" + text + "}";
}
/// An answer with "enable" texts for each kind.
std::string enables(const char* insight, const char* crash, const char* log, const char* session,
                    const char* urls = R"(["http://a"])") {
  return result(std::string(R"({"networkinsights":{"enable":)") + insight + R"(,"urls":)" + urls +
                R"(},"crash":{"enable":)" + crash + R"(},"log":{"enable":)" + log +
                R"(},"session":{"enable":)" + session + "}}");
}

const Jobs kOneJob = {"h http://a"};

std::string nameOf(const testing::TestParamInfo<AnswerCase>& param) {
  return param.param.name;
}

INSTANTIATE_TEST_SUITE_P(
    Switches, RemoteSettingsAnswer,
    testing::Values(
        AnswerCase{"AllOn", enables("true", "true", "true", "true"), kAllOff, kAllOn, kOneJob},
        AnswerCase{"AllOff", enables("false", "false", "false", "false"), kAllOn, kAllOff},
        AnswerCase{"OnlyInsight",
                   enables("true", "false", "false", "false"),
                   kAllOff,
                   {true, false, false, false},
                   kOneJob},
        AnswerCase{
            "OnlyCrash", enables("false", "true", "false", "false"), kAllOff, {false, true, false, false}},
        AnswerCase{
            "OnlyLog", enables("false", "false", "true", "false"), kAllOff, {false, false, true, false}},
        AnswerCase{
            "OnlySession", enables("false", "false", "false", "true"), kAllOff, {false, false, false, true}},
        AnswerCase{"Numbers", enables("1", "0", "-1", "0.5"), kAllOff, {true, false, true, true}, kOneJob},
        AnswerCase{"Zeros", enables("0", "0.0", "-0", "0e5"), kAllOn, kAllOff},
        AnswerCase{"LargeNumbers", enables("4294967296", "1e300", "1e-300", "18446744073709551615"), kAllOff,
                   kAllOn, kOneJob},
        AnswerCase{"TextsAreFalse", enables(R"("true")", R"("1")", R"("YES")", R"("")"), kAllOn, kAllOff},
        AnswerCase{"StatusIsNotLookedAt",
                   R"({"status":500,"result":{"crash":{"enable":true}}})",
                   kAllOff,
                   {false, true, false, false}},
        AnswerCase{"EntriesAroundAreNotLookedAt",
                   R"({"more":[1],"result":{"x":null,"log":{"y":5,"enable":true}}})",
                   kAllOff,
                   {false, false, true, false}}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    MissingKeys, RemoteSettingsAnswer,
    testing::Values(
        AnswerCase{"EmptyObject", "{}", kAllOn, kAllOff},
        AnswerCase{"NoResult", R"({"status":200})", kAllOn, kAllOff},
        AnswerCase{"EmptyResult", result("{}"), kAllOn, kAllOff},
        AnswerCase{"EmptyKinds", result(R"({"networkinsights":{},"crash":{},"log":{},"session":{}})"), kAllOn,
                   kAllOff},
        AnswerCase{"OneKindOnly", result(R"({"log":{"enable":true}})"), kAllOn, {false, false, true, false}},
        AnswerCase{"KeysInAnotherCase", result(R"({"Log":{"enable":true},"log":{"Enable":true}})"), kAllOn,
                   kAllOff},
        AnswerCase{"NoUrls",
                   result(R"({"networkinsights":{"enable":true}})"),
                   kAllOff,
                   {true, false, false, false}}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(NotJson, RemoteSettingsAnswer,
                         testing::Values(AnswerCase{"Empty", "", kAllOn, kAllOff},                          //
                                         AnswerCase{"Text", "<html>no settings</html>", kAllOn, kAllOff},   //
                                         AnswerCase{"BrokenOff", R"({"result":{"log":)", kAllOn, kAllOff},  //
                                         AnswerCase{"TwoObjects", "{}{}", kAllOn, kAllOff},                 //
                                         AnswerCase{"BareNumber", "200", kAllOn, kAllOff},                  //
                                         AnswerCase{"BareText", R"("text")", kAllOn, kAllOff},              //
                                         AnswerCase{"BareNull", "null", kAllOn, kAllOff},                   //
                                         AnswerCase{"BareTrue", "true", kAllOn, kAllOff}),
                         nameOf);

INSTANTIATE_TEST_SUITE_P(
    WrongContainers, RemoteSettingsAnswer,
    testing::Values(AnswerCase{"ArrayAtTheTop", "[]", kAllOff, kAllButInsightOn},
                    AnswerCase{"ResultIsAnArray", result("[]"), kAllOff, kAllButInsightOn},
                    AnswerCase{"ResultIsANumber", result("5"), kAllOff, kAllButInsightOn},
                    AnswerCase{"ResultIsAText", result(R"("text")"), kAllOff, kAllButInsightOn},
                    AnswerCase{"ResultIsNull", result("null"), kAllOff, kAllButInsightOn},
                    AnswerCase{"LogIsABoolean", result(R"({"log":true})"), kAllOff, kAllButInsightOn},
                    AnswerCase{"CrashIsAnArray", result(R"({"crash":[true]})"), kAllOff, kAllButInsightOn},
                    AnswerCase{"SessionIsNull", result(R"({"session":null})"), kAllOff, kAllButInsightOn},
                    AnswerCase{"InsightIsAText", result(R"({"networkinsights":"on"})"), kAllOff,
                               kAllButInsightOn},
                    AnswerCase{"InsightStaysAsItWas",
                               result(R"({"networkinsights":"on"})"),
                               {true, false, false, false},
                               kAllOn}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    WrongValues, RemoteSettingsAnswer,
    testing::Values(
        AnswerCase{"LogIsNull", enables("false", "true", "null", "true"), kAllOff, kAllButInsightOn},
        AnswerCase{"CrashIsAnArray", enables("false", "[]", "true", "true"), kAllOff, kAllButInsightOn},
        AnswerCase{"SessionIsAnObject", enables("false", "true", "true", "{}"), kAllOff, kAllButInsightOn},
        AnswerCase{"InsightIsNullAndStaysOff", enables("null", "false", "false", "false"), kAllOff,
                   kAllButInsightOn},
        AnswerCase{"InsightIsNullAndStaysOn",
                   enables("null", "false", "false", "false"),
                   {true, false, false, false},
                   kAllOn},
        AnswerCase{"InsightIsSetBeforeAWrongCrash", enables("true", "null", "false", "false"), kAllOff,
                   kAllOn},
        AnswerCase{"InsightIsClearedBeforeAWrongCrash", enables("false", "null", "false", "false"), kAllOn,
                   kAllButInsightOn},
        AnswerCase{"ASwitchThatWasSetOffIsOnAgain", enables("false", "false", "false", "null"), kAllOn,
                   kAllButInsightOn}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Urls, RemoteSettingsAnswer,
    testing::Values(
        AnswerCase{"InOrder",
                   enables("true", "true", "true", "true", R"(["http://b","http://a","http://b"])"),
                   kAllOff,
                   kAllOn,
                   {"h http://b", "h http://a", "h http://b"}},
        AnswerCase{"None", enables("true", "true", "true", "true", "[]"), kAllOff, kAllOn},
        AnswerCase{"NotWhileInsightIsOff", enables("false", "true", "true", "true"), kAllOff,
                   kAllButInsightOn},
        AnswerCase{"WhateverTheirText",
                   enables("true", "true", "true", "true", R"(["","no address"])"),
                   kAllOff,
                   kAllOn,
                   {"h ", "h no address"}},
        AnswerCase{"WithoutWhatIsNoText",
                   enables("true", "false", "false", "false", R"([5,"http://a",null,["http://b"],{},true])"),
                   kAllOff,
                   {true, false, false, false},
                   kOneJob},
        AnswerCase{"NoArrayButAText", enables("true", "false", "false", "false", R"("http://a")"), kAllOff,
                   kAllOn},
        AnswerCase{"NoArrayButANumber", enables("true", "false", "false", "false", "5"), kAllOff, kAllOn},
        AnswerCase{"NoArrayWhileInsightIsOff", enables("false", "false", "false", "false", "5"), kAllOn,
                   kAllOff}),
    nameOf);

TEST_F(RemoteSettings, SwitchEverythingOffWithoutAText) {
  setSwitches(*handle_, kAllOn);
  apply(nullptr);
  EXPECT_EQ(switchesOf(*handle_), kAllOff);
}

TEST_F(RemoteSettings, GiveBackTheHandle) {
  EXPECT_EQ(apply(enables("true", "true", "true", "true")), handle_);
  EXPECT_EQ(apply("no json"), handle_);
  EXPECT_EQ(apply("[]"), handle_);
}

TEST_F(RemoteSettings, StartTheSendThreadOnce) {
  const std::size_t threads = p_.threads.startedNames().size();
  apply(enables("false", "true", "true", "true"));
  EXPECT_EQ(p_.threads.startedNames().size(), threads + 1);
  apply(enables("false", "true", "true", "true"));
  EXPECT_EQ(p_.threads.startedNames().size(), threads + 1);
}

TEST_F(RemoteSettings, StartTheSendThreadEvenWhenEverythingIsOff) {
  const std::size_t threads = p_.threads.startedNames().size();
  apply("no json");
  EXPECT_EQ(p_.threads.startedNames().size(), threads + 1);
}

TEST_F(RemoteSettings, AreAppliedWhenTheSystemHasNoThreadToGive) {
  p_.threads.hasThreads = false;
  setSwitches(*handle_, kAllOff);
  EXPECT_NO_THROW(apply(enables("true", "true", "true", "true")));
  EXPECT_EQ(switchesOf(*handle_), kAllOn);
}

TEST_F(RemoteSettings, DoNotSayThatTheHandleHasSettings) {
  apply(enables("true", "true", "true", "true"));
  EXPECT_FALSE(handle_->isSettings());
}

TEST_F(RemoteSettings, CanSwitchOnAllKindsButInsight) {
  setSwitches(*handle_, kAllOff);
  switchOnAllKinds(*handle_);
  EXPECT_EQ(switchesOf(*handle_), kAllButInsightOn);
}

// The status.

TEST(SettingsStatus, IsReadAsAnInteger) {
  const std::pair<const char*, std::int32_t> cases[] = {
      {R"({"status":200})", 200},   {R"({"status":-1})", -1},    {R"({"status":200.9})", 200},
      {R"({"status":"200"})", 200}, {R"({"status":"none"})", 0}, {R"({})", 0},
      {R"({"Status":200})", 0}};
  for (const auto& [text, expected] : cases) EXPECT_EQ(statusOfSettings(text), expected) << text;
}

TEST(SettingsStatus, IsZeroWithoutJson) {
  for (const String& text : {String(), String(""), String("<html>"), String("200")})
    EXPECT_EQ(statusOfSettings(text), 0);
}

TEST(SettingsStatus, CannotBeReadFromAnAnswerOfTheWrongShape) {
  for (const char* text : {"[]", R"({"status":null})", R"({"status":[]})", R"({"status":{}})"})
    EXPECT_THROW(statusOfSettings(text), std::invalid_argument) << text;
}

// Where a project asks.

class SettingsAddress : public testing::Test {
 protected:
  SettingsAddress() {
    Host::setSettingsService({"settings.example:8080", "alternate.example", "special.example"});
    handle_.setProjectName("app");
  }
  std::string addressFor(const char* collectorUrl) {
    const GlobalGuard guard;
    handle_.setCollectorUrl(collectorUrl);
    return std::string(settingsAddress(handle_).view());
  }

  VeskHandle handle_;
};

TEST_F(SettingsAddress, LiesOnTheDefaultHost) {
  EXPECT_EQ(addressFor("collector.example"), "http://settings.example:8080/v2/app/logsconf");
}

TEST_F(SettingsAddress, LiesOnTheAlternateHostForOneCollector) {
  EXPECT_EQ(addressFor("special.example"), "http://alternate.example:10092/v2/settings/app/logsconf");
}

TEST_F(SettingsAddress, LiesOnTheAlternateHostForExactlyThatCollector) {
  for (const char* collector : {"Special.example", "special.example/", "special.example:443",
                                "x.special.example", "https://special.example", ""})
    EXPECT_EQ(addressFor(collector), "http://settings.example:8080/v2/app/logsconf") << collector;
}

TEST_F(SettingsAddress, NamesTheProject) {
  handle_.setProjectName("another-App_1");
  EXPECT_EQ(addressFor("collector.example"), "http://settings.example:8080/v2/another-App_1/logsconf");
}

TEST_F(SettingsAddress, DoesNotDependOnPortAndProtocolOfTheCollector) {
  handle_.setCollectorPort(443);
  handle_.setProtocol(0);
  EXPECT_EQ(addressFor("collector.example"), "http://settings.example:8080/v2/app/logsconf");
}

TEST_F(SettingsAddress, IsTakenFromTheServiceAsItIsNow) {
  Host::setSettingsService({"later.example", "", ""});
  EXPECT_EQ(addressFor("collector.example"), "http://later.example/v2/app/logsconf");
}

TEST(SettingsAddressWithoutAService, ResolvesNowhere) {
  VeskHandle handle;
  handle.setProjectName("app");
  handle.setCollectorUrl("collector.example");
  const GlobalGuard guard;
  EXPECT_THAT(std::string(settingsAddress(handle).view()),
              testing::MatchesRegex("http://[a-z0-9.-]*[.]invalid/v2/app/logsconf"));
}

}  // namespace
}  // namespace pxa
