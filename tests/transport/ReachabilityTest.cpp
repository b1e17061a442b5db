#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <vector>

#include <pxalog/ReachabilityFlags.h>
#include <pxalog/VeskReachability.h>

#include "support/FakePlatform.h"
#include "support/reachability.h"
#include "support/values.h"

// What a monitor watches and what it says of that. Changes: ReachabilityNotifierTest.

namespace pxa {
namespace {

using test::text;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

using namespace test::flags;
constexpr std::uint32_t kEveryKnownBit = 0x7003F;

const sockaddr* someAddress() {
  static const sockaddr_in address{.sin_family = AF_INET, .sin_port = 0, .sin_addr = {}, .sin_zero = {}};
  return reinterpret_cast<const sockaddr*>(&address);
}

class Reachability : public testing::Test {
 protected:
  static VeskReachabilityRef newMonitor() {
    return VeskReachability::reachabilityWithHostname("logs.example.com");
  }

  test::FakePlatform& p_ = test::FakePlatform::install();
  test::FakeReachability& system_ = p_.reachability;
  const VeskReachabilityRef monitor_ = newMonitor();
};

// Constructors, on a platform that was asked for nothing yet.

class ReachabilityConstructors : public testing::Test {
 protected:
  test::FakeReachability& system_ = test::FakePlatform::install().reachability;
};

TEST_F(ReachabilityConstructors, AskForATargetOfTheHost) {
  for (const auto create :
       {VeskReachability::reachabilityWithHostName, VeskReachability::reachabilityWithHostname}) {
    system_.hosts.clear();
    EXPECT_NE(create("löschwasser.example"), nullptr);
    ASSERT_EQ(system_.hosts.size(), 1U);
    EXPECT_EQ(text(system_.hosts[0]), "löschwasser.example");
  }
}

TEST_F(ReachabilityConstructors, GiveNoMonitorOfANilOrEmptyHost) {
  for (const String& host : {String(nullptr), String("")}) {
    EXPECT_EQ(VeskReachability::reachabilityWithHostName(host), nullptr);
    EXPECT_EQ(VeskReachability::reachabilityWithHostname(host), nullptr);
  }
}

TEST_F(ReachabilityConstructors, AskForATargetOfTheSocketAddress) {
  EXPECT_NE(VeskReachability::reachabilityWithAddress(someAddress()), nullptr);
  EXPECT_THAT(system_.addresses, ElementsAre(someAddress()));
}

TEST_F(ReachabilityConstructors, GiveNoMonitorOfANullAddress) {
  EXPECT_EQ(VeskReachability::reachabilityWithAddress(nullptr), nullptr);
  EXPECT_THAT(system_.addresses, IsEmpty());
}

TEST_F(ReachabilityConstructors, AskForATargetOfAnyRouteToTheInternet) {
  EXPECT_NE(VeskReachability::reachabilityForInternetConnection(), nullptr);
  EXPECT_THAT(system_.numbers, ElementsAre(0U));
}

TEST_F(ReachabilityConstructors, AskForATargetOfTheLinkLocalNetwork) {
  EXPECT_NE(VeskReachability::reachabilityForLocalWiFi(), nullptr);
  EXPECT_THAT(system_.numbers, ElementsAre(0xA9FE0000U));
}

TEST_F(ReachabilityConstructors, TakeATargetOfThePlatform) {
  const auto target = system_.createWithName("host");
  const auto monitor = VeskReachability::initWithReachabilityRef(target);
  ASSERT_NE(monitor, nullptr);
  EXPECT_EQ(monitor->reachabilityRef(), target);
  EXPECT_TRUE(monitor->reachableOnWWAN());
}

TEST_F(ReachabilityConstructors, GiveNoMonitorWithoutATarget) {
  system_.createsTargets = false;
  EXPECT_EQ(VeskReachability::reachabilityWithHostName("host"), nullptr);
  EXPECT_EQ(VeskReachability::reachabilityWithHostname("host"), nullptr);
  EXPECT_EQ(VeskReachability::reachabilityWithAddress(someAddress()), nullptr);
  EXPECT_EQ(VeskReachability::reachabilityForInternetConnection(), nullptr);
  EXPECT_EQ(VeskReachability::reachabilityForLocalWiFi(), nullptr);
  EXPECT_EQ(VeskReachability::initWithReachabilityRef(nullptr), nullptr);
}

// The questions.

/// The questions to which a monitor says yes.
std::vector<std::string> answersOf(const VeskReachability& monitor) {
  const struct {
    const char* question;
    bool (VeskReachability::*ask)() const;
  } questions[] = {{"reachable", &VeskReachability::isReachable},
                   {"via WWAN", &VeskReachability::isReachableViaWWAN},
                   {"via WiFi", &VeskReachability::isReachableViaWiFi},
                   {"required", &VeskReachability::connectionRequired},
                   {"is required", &VeskReachability::isConnectionRequired},
                   {"on demand", &VeskReachability::isConnectionOnDemand},
                   {"intervention", &VeskReachability::isInterventionRequired}};
  std::vector<std::string> answers;
  for (const auto& [question, ask] : questions)
    if ((monitor.*ask)()) answers.emplace_back(question);
  return answers;
}

TEST_F(Reachability, AnswersFromTheFlags) {
  const struct {
    std::uint32_t flags;
    std::vector<std::string> answers;
  } rows[] = {
      {0, {}},
      {kReachable, {"reachable", "via WiFi"}},
      {kReachable | kLocal | kDirect, {"reachable", "via WiFi"}},
      {kReachable | kTransient, {"reachable", "via WiFi"}},
      {kReachable | kRequired, {"reachable", "via WiFi", "required", "is required"}},
      {kReachable | kRequired | kTransient, {"via WiFi", "required", "is required"}},
      {kReachable | kWWAN, {"reachable", "via WWAN"}},
      {kReachable | kWWAN | kTransient, {"reachable", "via WWAN"}},
      {kReachable | kWWAN | kRequired | kTransient, {"via WWAN", "required", "is required"}},
      {kReachable | kRequired | kOnTraffic,
       {"reachable", "via WiFi", "required", "is required", "on demand"}},
      {kReachable | kRequired | kOnDemand, {"reachable", "via WiFi", "required", "is required", "on demand"}},
      {kReachable | kRequired | kIntervention,
       {"reachable", "via WiFi", "required", "is required", "intervention"}},
      {kReachable | kOnTraffic | kOnDemand | kIntervention, {"reachable", "via WiFi"}},
      {kEveryKnownBit, {"via WWAN", "required", "is required", "on demand", "intervention"}},
      {~kEveryKnownBit, {}},
      {~kEveryKnownBit | kReachable, {"reachable", "via WiFi"}},
      {kTransient, {}},
      {kWWAN, {}},
      {kLocal | kDirect, {}},
      {kOnTraffic | kOnDemand | kIntervention, {}},
      {kRequired, {"required", "is required"}},
      {kRequired | kOnTraffic, {"required", "is required", "on demand"}},
      {kRequired | kOnDemand, {"required", "is required", "on demand"}},
      {kRequired | kIntervention, {"required", "is required", "intervention"}},
  };
  for (const auto& row : rows) {
    system_.flags = row.flags;
    EXPECT_EQ(answersOf(*monitor_), row.answers) << std::hex << row.flags;
  }
}

TEST_F(Reachability, CountsACellularLinkAsReachableOnlyWhileItMay) {
  system_.flags = kReachable | kWWAN;
  EXPECT_THAT(answersOf(*monitor_), ElementsAre("reachable", "via WWAN"));
  monitor_->setReachableOnWWAN(false);
  EXPECT_THAT(answersOf(*monitor_), ElementsAre("via WWAN"));
  monitor_->setReachableOnWWAN(true);
  EXPECT_THAT(answersOf(*monitor_), ElementsAre("reachable", "via WWAN"));
}

TEST_F(Reachability, CountsAnyOtherLinkAsReachableEvenIfACellularOneIsNot) {
  monitor_->setReachableOnWWAN(false);
  system_.flags = kReachable;
  EXPECT_THAT(answersOf(*monitor_), ElementsAre("reachable", "via WiFi"));
}

TEST_F(Reachability, JudgesTheFlagsItIsGivenAndNotThoseOfNow) {
  const struct {
    std::uint32_t flags;
    bool isReachable;
    bool isReachableWithoutWWAN;
  } rows[] = {
      {0, false, false},
      {kReachable, true, true},
      {kReachable | kTransient, true, true},
      {kReachable | kRequired, true, true},
      {kReachable | kRequired | kTransient, false, false},
      {kReachable | kWWAN, true, false},
      {kReachable | kWWAN | kRequired, true, false},
      {kReachable | kWWAN | kRequired | kTransient, false, false},
      {kReachable | kOnTraffic | kOnDemand | kIntervention | kLocal | kDirect, true, true},
      {kEveryKnownBit & ~kReachable, false, false},
      {kEveryKnownBit & ~kRequired, true, false},
      {kEveryKnownBit, false, false},
      {~kEveryKnownBit, false, false},
  };
  for (const auto& row : rows) {
    system_.flags = row.isReachable ? 0 : kReachable;
    monitor_->setReachableOnWWAN(true);
    EXPECT_EQ(monitor_->isReachableWithFlags(row.flags), row.isReachable) << std::hex << row.flags;
    monitor_->setReachableOnWWAN(false);
    EXPECT_EQ(monitor_->isReachableWithFlags(row.flags), row.isReachableWithoutWWAN) << std::hex << row.flags;
  }
}

TEST_F(Reachability, TellsTheKindOfLink) {
  const struct {
    std::uint32_t flags;
    bool reachableOnWWAN;
    VeskReachability::Status status;
  } rows[] = {
      {0, true, VeskReachability::NotReachable},
      {kReachable, true, VeskReachability::ReachableViaWiFi},
      {kReachable | kWWAN, true, VeskReachability::ReachableViaWWAN},
      {kWWAN, true, VeskReachability::NotReachable},
      {kReachable | kRequired | kTransient, true, VeskReachability::NotReachable},
      {kReachable | kWWAN | kRequired | kTransient, true, VeskReachability::NotReachable},
      {0, false, VeskReachability::NotReachable},
      {kReachable, false, VeskReachability::ReachableViaWiFi},
      {kReachable | kWWAN, false, VeskReachability::NotReachable},
  };
  for (const auto& row : rows) {
    system_.flags = row.flags;
    monitor_->setReachableOnWWAN(row.reachableOnWWAN);
    EXPECT_EQ(monitor_->currentReachabilityStatus(), row.status)
        << std::hex << row.flags << (row.reachableOnWWAN ? "" : " without WWAN");
  }
}

TEST_F(Reachability, GivesTheKindsOfLinkTheirNumbers) {
  EXPECT_EQ(VeskReachability::NotReachable, 0);
  EXPECT_EQ(VeskReachability::ReachableViaWWAN, 1);
  EXPECT_EQ(VeskReachability::ReachableViaWiFi, 2);
}

TEST_F(Reachability, NamesTheKindOfLinkByComparingItWithTheSwitch) {
  // Status 1 cannot be had while the switch is off.
  const struct {
    std::uint32_t flags;
    bool reachableOnWWAN;
    const char* name;
  } rows[] = {
      {0, true, "No Connection"}, {kReachable | kWWAN, true, "Cellular"},  {kReachable, true, "WiFi"},
      {0, false, "Cellular"},     {kReachable | kWWAN, false, "Cellular"}, {kReachable, false, "WiFi"},
  };
  for (const auto& row : rows) {
    system_.flags = row.flags;
    monitor_->setReachableOnWWAN(row.reachableOnWWAN);
    EXPECT_EQ(text(monitor_->currentReachabilityString()), row.name)
        << std::hex << row.flags << (row.reachableOnWWAN ? "" : " without WWAN");
  }
}

TEST_F(Reachability, GivesTheFlagsAsTheyAre) {
  for (const std::uint32_t flags : {0U, kReachable, kEveryKnownBit, 0xFFFFFFFFU}) {
    system_.flags = flags;
    EXPECT_EQ(monitor_->reachabilityFlags(), flags);
  }
}

TEST_F(Reachability, WritesACharacterForEachFlag) {
  const struct {
    std::uint32_t flags;
    const char* text;
  } rows[] = {
      {0, "-- -------"},          {0x40000, "W- -------"},    {0x2, "-R -------"},
      {0x4, "-- c------"},        {0x1, "-- -t-----"},        {0x10, "-- --i----"},
      {0x8, "-- ---C---"},        {0x20, "-- ----D--"},       {0x10000, "-- -----l-"},
      {0x20000, "-- ------d"},    {0x40002, "WR -------"},    {0x7003F, "WR ctiCDld"},
      {0xFFF8FFC0, "-- -------"}, {0xFFFFFFFF, "WR ctiCDld"},
  };
  for (const auto& row : rows) {
    system_.flags = row.flags;
    EXPECT_EQ(text(monitor_->currentReachabilityFlags()), row.text) << std::hex << row.flags;
  }
}

TEST_F(Reachability, CountsFlagsThatCannotBeReadAsNone) {
  system_.flags = kEveryKnownBit & ~kTransient;
  ASSERT_THAT(answersOf(*monitor_), testing::SizeIs(6));
  system_.readsFlags = false;
  EXPECT_THAT(answersOf(*monitor_), IsEmpty());
  EXPECT_EQ(monitor_->reachabilityFlags(), 0U);
  EXPECT_EQ(monitor_->currentReachabilityStatus(), VeskReachability::NotReachable);
  EXPECT_EQ(text(monitor_->currentReachabilityString()), "No Connection");
  EXPECT_EQ(text(monitor_->currentReachabilityFlags()), "-- -------");
}

TEST_F(Reachability, JudgesGivenFlagsEvenIfNoneCanBeRead) {
  system_.readsFlags = false;
  EXPECT_TRUE(monitor_->isReachableWithFlags(kReachable));
}

TEST_F(Reachability, DescribesItselfByItsClassAndIdentity) {
  const auto other = newMonitor();
  EXPECT_THAT(text(monitor_->description()), MatchesRegex("<VeskReachability: 0x[0-9a-f]+>"));
  EXPECT_EQ(text(monitor_->description()), text(monitor_->description()));
  EXPECT_NE(text(monitor_->description()), text(other->description()));
}

TEST_F(Reachability, WritesNothingOnTheConsoleForQuestions) {
  system_.readsFlags = false;
  answersOf(*monitor_);
  EXPECT_THAT(p_.log.lines(), IsEmpty());
}

// The fields.

TEST_F(Reachability, HasNeitherCallbacksNorAQueueAtFirst) {
  EXPECT_EQ(monitor_->reachabilityRef(), system_.targets.at(0).lock());
  EXPECT_TRUE(monitor_->reachableOnWWAN());
  EXPECT_EQ(monitor_->reachabilitySerialQueue(), nullptr);
  EXPECT_FALSE(monitor_->reachableBlock());
  EXPECT_FALSE(monitor_->unreachableBlock());
  EXPECT_EQ(monitor_->reachabilityObject(), nullptr);
}

TEST_F(Reachability, KeepsTheTargetItIsGiven) {
  const auto other = system_.createWithName("other.example");
  monitor_->setReachabilityRef(other);
  EXPECT_EQ(monitor_->reachabilityRef(), other);
  EXPECT_TRUE(system_.targets.at(0).expired());
}

TEST_F(Reachability, AnswersWithoutATarget) {
  monitor_->setReachabilityRef(nullptr);
  EXPECT_EQ(monitor_->reachabilityRef(), nullptr);
  EXPECT_THAT(answersOf(*monitor_), IsEmpty());
  EXPECT_EQ(monitor_->reachabilityFlags(), 0U);
  EXPECT_EQ(monitor_->currentReachabilityStatus(), VeskReachability::NotReachable);
  EXPECT_EQ(text(monitor_->currentReachabilityFlags()), "-- -------");
}

TEST_F(Reachability, KeepsTheQueueItIsGiven) {
  const auto queue = std::make_shared<test::FakeQueue>();
  monitor_->setReachabilitySerialQueue(queue);
  EXPECT_EQ(monitor_->reachabilitySerialQueue(), queue);
  monitor_->setReachabilitySerialQueue(nullptr);
  EXPECT_EQ(monitor_->reachabilitySerialQueue(), nullptr);
}

TEST_F(Reachability, KeepsTheObjectItIsGivenAlive) {
  auto other = newMonitor();
  const std::weak_ptr watched = other;
  monitor_->setReachabilityObject(other);
  EXPECT_EQ(monitor_->reachabilityObject(), other);
  other.reset();
  EXPECT_FALSE(watched.expired());
  monitor_->setReachabilityObject(nullptr);
  EXPECT_TRUE(watched.expired());
}

using Getter = VeskReachability::Callback (VeskReachability::*)() const;
using Setter = void (VeskReachability::*)(VeskReachability::Callback);
const struct {
  Getter get;
  Setter set;
  Getter getOther;
} kCallbacks[] = {
    {&VeskReachability::reachableBlock, &VeskReachability::setReachableBlock,
     &VeskReachability::unreachableBlock},
    {&VeskReachability::unreachableBlock, &VeskReachability::setUnreachableBlock,
     &VeskReachability::reachableBlock},
};

TEST_F(Reachability, KeepsEachCallback) {
  for (const auto& field : kCallbacks) {
    const auto monitor = newMonitor();
    const VeskReachability* given = nullptr;
    (monitor.get()->*field.set)([&given](VeskReachability& its) { given = &its; });
    const auto callback = (monitor.get()->*field.get)();
    ASSERT_TRUE(callback);
    callback(*monitor);
    EXPECT_EQ(given, monitor.get());
    EXPECT_FALSE((monitor.get()->*field.getOther)());
  }
}

TEST_F(Reachability, KeepsACopyOfEachCallback) {
  for (const auto& field : kCallbacks) {
    std::string called;
    VeskReachability::Callback callback = [&called](VeskReachability&) { called += "first"; };
    (monitor_.get()->*field.set)(callback);
    callback = [&called](VeskReachability&) { called += "second"; };
    (monitor_.get()->*field.get)()(*monitor_);
    EXPECT_EQ(called, "first");
  }
}

TEST_F(Reachability, LetsGoOfACallbackThatIsTakenAway) {
  for (const auto& field : kCallbacks) {
    auto captured = std::make_shared<int>();
    const std::weak_ptr watched = captured;
    (monitor_.get()->*field.set)([captured = std::move(captured)](VeskReachability&) {});
    EXPECT_FALSE(watched.expired());
    (monitor_.get()->*field.set)({});
    EXPECT_TRUE(watched.expired());
    EXPECT_FALSE((monitor_.get()->*field.get)());
  }
}

}  // namespace
}  // namespace pxa
