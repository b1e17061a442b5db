#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <string_view>
#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "platform/HostSettings.h"
#include "platform/linux/LinuxDeviceFacts.h"
#include "support/OwnNetwork.h"
#include "support/TemporaryDirectory.h"
#include "support/environment_locale.h"
#include "support/values.h"
#include "support/wait.h"

namespace pxa {
namespace {

using test::setLocale;
using test::text;
using test::waitUntil;

using Tags = std::vector<String>;
using Said = Host::DeviceFacts;

/// A fact as a text, and how the host says a number for it.
struct Fact {
  const char* name;
  std::string (*asked)(DeviceFacts&);
  void (*say)(Said&, unsigned number);
  bool isSteady = true;  ///< whether the system says the same at each question
};

template <auto ask>
std::string textOf(DeviceFacts& facts) {
  return text((facts.*ask)());
}
template <auto member>
void sayText(Said& said, unsigned number) {
  said.*member = std::to_string(number);
}
template <auto member>
void sayNumber(Said& said, unsigned number) {
  said.*member = number;
}

std::string firstLanguage(DeviceFacts& facts) {
  const Tags tags = facts.preferredLanguages();
  return tags.empty() ? "(none)" : text(tags.front());
}
void sayLanguage(Said& said, unsigned number) {
  said.preferredLanguages = {std::to_string(number)};
}

template <std::uint64_t FreeMemory::*member>
std::string memoryOf(DeviceFacts& facts) {
  const auto memory = facts.freeMemory();
  return memory ? std::to_string(memory.value().*member) : "(none)";
}

const Fact kFacts[] = {
    {"systemVersion", textOf<&DeviceFacts::systemVersion>, sayText<&Said::systemVersion>},
    {"machineModel", textOf<&DeviceFacts::machineModel>, sayText<&Said::machineModel>},
    {"vendorIdentifier", textOf<&DeviceFacts::vendorIdentifier>, sayText<&Said::vendorIdentifier>},
    {"carrierName", textOf<&DeviceFacts::carrierName>, sayText<&Said::carrierName>},
    {"carrierCountryCode", textOf<&DeviceFacts::carrierCountryCode>, sayText<&Said::carrierCountryCode>},
    {"localeDisplayName", textOf<&DeviceFacts::localeDisplayName>, sayText<&Said::localeDisplayName>},
    {"preferredLanguages", firstLanguage, sayLanguage},
    {"screenWidth",
     [](DeviceFacts& facts) { return std::to_string(static_cast<std::uint64_t>(facts.screenWidth())); },
     sayNumber<&Said::screenWidth>},
    {"freePages", memoryOf<&FreeMemory::pages>, sayNumber<&Said::freePages>, false},
    {"pageSize", memoryOf<&FreeMemory::pageSize>, sayNumber<&Said::pageSize>},
    {"freeBytes",
     [](DeviceFacts& facts) { return std::to_string(facts.freeBytesForDocuments().value_or(0)); },
     sayNumber<&Said::freeBytes>, false},
};

class DeviceFactsTest : public testing::Test {
 protected:
  DeviceFactsTest() { HostSettings::setDocumentsDirectory(directory_.path("documents")); }
  ~DeviceFactsTest() override {
    HostSettings::setDeviceFacts({});
    HostSettings::setDocumentsDirectory(nullptr);
  }

  std::vector<std::string> steadyAnswers() {
    std::vector<std::string> answers;
    for (const Fact& fact : kFacts)
      if (fact.isSteady) answers.push_back(fact.asked(facts_));
    return answers;
  }

  const test::TemporaryDirectory directory_;
  LinuxDeviceFacts facts_;
};

/// Numbers that no system gives for any fact.
constexpr unsigned kSaid = 4'000'000'001;
constexpr unsigned kSaidLater = 4'000'000'003;

TEST_F(DeviceFactsTest, AreReplacedEachAloneByWhatTheHostSays) {
  for (const Fact& fact : kFacts) {
    Said said;
    fact.say(said, kSaid);
    HostSettings::setDeviceFacts(said);
    for (const Fact& other : kFacts)
      EXPECT_EQ(other.asked(facts_) == std::to_string(kSaid), &other == &fact)
          << other.name << " where the host says " << fact.name;
  }
}

TEST_F(DeviceFactsTest, AreReplacedAtAnyTime) {
  for (const Fact& fact : kFacts) {
    for (const unsigned number : {kSaid, kSaidLater}) {
      Said said;
      fact.say(said, number);
      HostSettings::setDeviceFacts(said);
      EXPECT_EQ(fact.asked(facts_), std::to_string(number)) << fact.name;
    }
    HostSettings::setDeviceFacts({});
    EXPECT_NE(fact.asked(facts_), std::to_string(kSaidLater)) << fact.name;
  }
}

TEST_F(DeviceFactsTest, AreOfAnotherGenerationWhenTheHostHasSaidSomething) {
  const auto before = facts_.generation();
  ASSERT_TRUE(before);
  EXPECT_EQ(facts_.generation(), before);
  HostSettings::setDeviceFacts({});
  EXPECT_NE(facts_.generation(), before);
}

TEST_F(DeviceFactsTest, AreTheSystemsWhereTheHostSaysNothing) {
  setLocale({{"LANG", "ko_KR"}});
  const std::vector<std::string> systems = steadyAnswers();
  Said nothing;
  for (String Said::*fact : {&Said::systemVersion, &Said::machineModel, &Said::vendorIdentifier,
                             &Said::carrierName, &Said::carrierCountryCode, &Said::localeDisplayName})
    nothing.*fact = "";
  HostSettings::setDeviceFacts(nothing);
  EXPECT_EQ(steadyAnswers(), systems);
}

TEST_F(DeviceFactsTest, AreNilForACarrier) {
  EXPECT_TRUE(facts_.carrierName().isNil());
  EXPECT_TRUE(facts_.carrierCountryCode().isNil());
}

TEST_F(DeviceFactsTest, HaveNoScreen) {
  EXPECT_EQ(facts_.screenWidth(), 0);
}

TEST_F(DeviceFactsTest, HaveTheScreenOfTheHost) {
  Said said;
  said.screenWidth = 767.9;
  HostSettings::setDeviceFacts(said);
  EXPECT_EQ(facts_.screenWidth(), 767.9);
}

TEST_F(DeviceFactsTest, HaveTheSystemControlsOfTheKernel) {
  EXPECT_EQ(facts_.systemControl("kernel.ostype"), "Linux");
  EXPECT_TRUE(facts_.systemControl("no.such.control").isNil());
  EXPECT_TRUE(facts_.systemControl(nullptr).isNil());
}

// Version and model

utsname kernel() {
  utsname facts{};
  EXPECT_EQ(::uname(&facts), 0);
  return facts;
}

/// What a shell prints that runs the command.
std::string printedBy(const char* command) {
  FILE* pipe = ::popen(command, "r");
  std::string output;
  for (int character = std::fgetc(pipe); character != EOF; character = std::fgetc(pipe))
    output.push_back(static_cast<char>(character));
  ::pclose(pipe);
  return output;
}

TEST_F(DeviceFactsTest, HaveTheVersionOfTheDistribution) {
  const std::string version = printedBy(
      "unset VERSION_ID; for file in /etc/os-release /usr/lib/os-release; do "
      "[ -r $file ] && . $file && break; done; printf %s \"$VERSION_ID\"");
  if (version.empty()) GTEST_SKIP() << "this distribution has no versions";
  EXPECT_EQ(facts_.systemVersion(), version);
}

/// A system whose os-release file is the test's own.
class OsReleaseFile : public DeviceFactsTest {
 protected:
  void SetUp() override {
    show("");
    if (!test::showInstead("/etc/os-release", file_)) GTEST_SKIP() << "mounts are forbidden here";
  }
  void show(std::string_view content) const { std::ofstream(file_) << content; }

 private:
  const std::string file_ = (directory_.path() / "os-release").string();
};

TEST_F(OsReleaseFile, NamesTheVersionOfTheSystem) {
  show("NAME=Some\nVERSION_ID='7.5 beta'\n");
  EXPECT_EQ(facts_.systemVersion(), "7.5 beta");
}

TEST_F(OsReleaseFile, LeavesTheVersionToTheKernelWhenItHasNone) {
  show("NAME=Some\n");
  EXPECT_EQ(facts_.systemVersion(), kernel().release);
}

TEST_F(OsReleaseFile, IsAskedOnce) {
  show("VERSION_ID=1\n");
  EXPECT_EQ(facts_.systemVersion(), "1");
  show("VERSION_ID=2\n");
  EXPECT_EQ(facts_.systemVersion(), "1");
}

TEST_F(DeviceFactsTest, NameTheKindOfProcessorWhereTheMachineHasNoName) {
  for (const char* file : {"/proc/device-tree/model", "/sys/class/dmi/id/product_name"})
    if (std::filesystem::exists(file)) GTEST_SKIP() << "this machine may have a name";
  EXPECT_EQ(facts_.machineModel(), kernel().machine);
}

TEST_F(DeviceFactsTest, NameTheMachine) {
  EXPECT_FALSE(facts_.machineModel().isEmpty());
}

// Vendor identifier

constexpr const char* kUuid = "[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}";

TEST_F(DeviceFactsTest, IdentifyTheInstallationByAUuidOrNotAtAll) {
  EXPECT_THAT(text(facts_.vendorIdentifier()), testing::AnyOf("(nil)", testing::MatchesRegex(kUuid)));
}

/// A machine with an id of the test's own.
class MachineId : public DeviceFactsTest {
 protected:
  static constexpr const char* kId = "0123456789abcdef0123456789abcdef\n";

  void SetUp() override {
    show(kId);
    for (const char* path : {"/etc/machine-id", "/var/lib/dbus/machine-id"}) {
      if (!std::filesystem::exists(path)) continue;
      // One may be a link to the other; what is shown twice in one place cannot be removed at the end.
      isShown_ = std::filesystem::equivalent(path, file_) || test::showInstead(path, file_);
      if (!isShown_) GTEST_SKIP() << "mounts are forbidden here";
    }
    if (!isShown_) GTEST_SKIP() << "this machine has no id";
  }
  void show(std::string_view content) const { std::ofstream(file_) << content; }
  std::string identifier() { return text(facts_.vendorIdentifier()); }
  std::string identifierWithDocuments(const std::string& name) {
    HostSettings::setDocumentsDirectory(directory_.path(name));
    return identifier();
  }

 private:
  const std::string file_ = (directory_.path() / "machine-id").string();
  bool isShown_ = false;
};

TEST_F(MachineId, MakesAUuidThatStaysTheSame) {
  const std::string first = identifier();
  EXPECT_THAT(first, testing::MatchesRegex(kUuid));
  EXPECT_EQ(identifier(), first);
  EXPECT_EQ(text(LinuxDeviceFacts().vendorIdentifier()), first);
}

TEST_F(MachineId, MakesAnotherUuidForAnotherDocumentsDirectory) {
  const std::string first = identifierWithDocuments("first");
  const std::string second = identifierWithDocuments("second");
  EXPECT_THAT(second, testing::MatchesRegex(kUuid));
  EXPECT_NE(second, first);
  EXPECT_EQ(identifierWithDocuments("first"), first);
}

TEST_F(MachineId, MakesAnotherUuidForAnotherMachine) {
  const std::string first = identifier();
  show("0123456789abcdef0123456789abcdee\n");
  EXPECT_THAT(identifier(), testing::MatchesRegex(kUuid));
  EXPECT_NE(identifier(), first);
  show(kId);
  EXPECT_EQ(identifier(), first);
}

TEST_F(MachineId, CannotBeToldFromTheUuid) {
  EXPECT_NE(identifier(), "01234567-89AB-CDEF-0123-456789ABCDEF");
}

TEST_F(MachineId, MakesNoUuidWhereTheMachineHasNone) {
  for (const char* content : {"", "\n", "uninitialized\n", "0123456789abcdef\n"}) {
    show(content);
    EXPECT_EQ(identifier(), "(nil)") << content;
  }
}

// Memory and space

TEST_F(DeviceFactsTest, CountTheFreePagesOfTheSystem) {
  const auto memory = facts_.freeMemory();
  ASSERT_TRUE(memory);
  EXPECT_EQ(memory->pageSize, static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE)));
  EXPECT_GT(memory->pages, 0U);
  EXPECT_LT(memory->pages, static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES)));
}

TEST_F(DeviceFactsTest, TakeBothNumbersOfFreeMemoryFromTheHost) {
  Said said;
  said.freePages = 1000;
  said.pageSize = 16384;
  HostSettings::setDeviceFacts(said);
  const auto memory = facts_.freeMemory();
  ASSERT_TRUE(memory);
  EXPECT_EQ(memory->pages, 1000U);
  EXPECT_EQ(memory->pageSize, 16384U);
}

TEST_F(DeviceFactsTest, TakeOneNumberOfFreeMemoryFromTheHostAndTheOtherFromTheSystem) {
  Said said;
  said.freePages = 0;
  HostSettings::setDeviceFacts(said);
  auto memory = facts_.freeMemory();
  ASSERT_TRUE(memory);
  EXPECT_EQ(memory->pages, 0U);
  EXPECT_EQ(memory->pageSize, static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE)));

  said = {};
  said.pageSize = 1;
  HostSettings::setDeviceFacts(said);
  memory = facts_.freeMemory();
  ASSERT_TRUE(memory);
  EXPECT_GT(memory->pages, 0U);
  EXPECT_EQ(memory->pageSize, 1U);
}

std::uint64_t freeBytesAt(const String& path) {
  struct statvfs facts {};
  EXPECT_EQ(::statvfs(path.c_str(), &facts), 0);
  return std::uint64_t{facts.f_bavail} * facts.f_frsize;
}

TEST_F(DeviceFactsTest, CountTheFreeBytesWhereTheDocumentsAre) {
  EXPECT_TRUE(waitUntil([this] {
    // Another process may use the file system between the two.
    const std::uint64_t expected = freeBytesAt(directory_.path(""));
    return facts_.freeBytesForDocuments() == expected;
  }));
}

TEST_F(DeviceFactsTest, CountNoFreeBytesWhereTheDocumentsHaveNoRoom) {
  HostSettings::setDocumentsDirectory("/proc");
  EXPECT_EQ(facts_.freeBytesForDocuments(), 0U);
}

TEST_F(DeviceFactsTest, DoNotKnowTheFreeBytesWithoutADocumentsDirectory) {
  std::ofstream((directory_.path() / "file").string()) << "content";
  HostSettings::setDocumentsDirectory(directory_.path("file/inside"));
  EXPECT_FALSE(facts_.freeBytesForDocuments());
}

TEST_F(DeviceFactsTest, TakeTheFreeBytesFromTheHostWithoutADocumentsDirectory) {
  Said said;
  said.freeBytes = 0;
  HostSettings::setDeviceFacts(said);
  HostSettings::setDocumentsDirectory("/dev/null/inside");
  EXPECT_EQ(facts_.freeBytesForDocuments(), 0U);
}

// Shell

bool hasChildren() {
  return ::waitpid(-1, nullptr, WNOHANG) >= 0 || errno != ECHILD;
}

TEST_F(DeviceFactsTest, KnowThatAShellStartsHere) {
  EXPECT_TRUE(facts_.canStartShell());
  EXPECT_TRUE(facts_.canStartShell()) << "at the second question";
}

TEST_F(DeviceFactsTest, PrintNothingWhenAShellStarts) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  const bool isStarted = facts_.canStartShell();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_TRUE(isStarted);
}

TEST_F(DeviceFactsTest, LeaveNoChildBehind) {
  ASSERT_FALSE(hasChildren());
  EXPECT_TRUE(facts_.canStartShell());
  EXPECT_FALSE(hasChildren());
}

TEST_F(DeviceFactsTest, KnowThatAShellCannotRunItsCommand) {
  ::setenv("PATH", directory_.path().c_str(), 1);
  testing::internal::CaptureStderr();
  const bool isStarted = facts_.canStartShell();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_FALSE(isStarted);
  EXPECT_FALSE(hasChildren());
}

TEST_F(DeviceFactsTest, TakeTheHostsWordOnShells) {
  Said said;
  said.canStartShell = false;
  HostSettings::setDeviceFacts(said);
  EXPECT_FALSE(facts_.canStartShell());
  ::setenv("PATH", directory_.path().c_str(), 1);
  said.canStartShell = true;
  HostSettings::setDeviceFacts(said);
  EXPECT_TRUE(facts_.canStartShell());
}

// The user

TEST_F(DeviceFactsTest, NameTheLocaleOfTheEnvironment) {
  setLocale({{"LANG", "en_US"}, {"LC_MESSAGES", "de_AT"}, {"LC_ALL", "ko_KR.UTF-8"}});
  EXPECT_EQ(LinuxDeviceFacts().localeDisplayName(), "한국어(대한민국)");
}

TEST_F(DeviceFactsTest, NameNoLocaleInTheCLocale) {
  setLocale({{"LANG", "en_US"}, {"LC_ALL", "C.UTF-8"}});
  EXPECT_TRUE(LinuxDeviceFacts().localeDisplayName().isNil());
}

TEST_F(DeviceFactsTest, NameNoLocaleWithoutAny) {
  setLocale({{"LANGUAGE", "de"}});
  EXPECT_TRUE(LinuxDeviceFacts().localeDisplayName().isNil());
}

TEST_F(DeviceFactsTest, ReadTheEnvironmentWhenTheyAreMade) {
  setLocale({{"LANG", "en_US"}});
  LinuxDeviceFacts facts;
  setLocale({{"LANG", "ko_KR"}});
  EXPECT_EQ(facts.localeDisplayName(), "English (United States)");
  EXPECT_EQ(facts.preferredLanguages(), Tags{"en-US"});
}

TEST_F(DeviceFactsTest, PreferTheLanguagesOfTheEnvironment) {
  setLocale({{"LANGUAGE", "de_AT:de:en_US"}, {"LANG", "en_US.UTF-8"}});
  EXPECT_EQ(LinuxDeviceFacts().preferredLanguages(), (Tags{"de-AT", "de", "en-US"}));
}

TEST_F(DeviceFactsTest, PreferNoLanguageInTheCLocale) {
  setLocale({{"LANGUAGE", "de_AT:de"}, {"LC_ALL", "C"}, {"LANG", "en_US"}});
  EXPECT_EQ(LinuxDeviceFacts().preferredLanguages(), Tags());
}

TEST_F(DeviceFactsTest, PreferTheLanguagesOfTheHost) {
  setLocale({{"LANG", "en_US"}});
  LinuxDeviceFacts facts;
  Said said;
  said.preferredLanguages = {"ko-KR", "de"};
  HostSettings::setDeviceFacts(said);
  EXPECT_EQ(facts.preferredLanguages(), (Tags{"ko-KR", "de"}));
  HostSettings::setDeviceFacts({});
  EXPECT_EQ(facts.preferredLanguages(), Tags{"en-US"});
}

TEST_F(DeviceFactsTest, AnswerManyThreadsWhileTheHostSpeaks) {
  constexpr int kThreads = 4;
  const std::vector<std::string> systems = steadyAnswers();
  std::atomic<int> asking = kThreads;
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i)
    threads.emplace_back([&] {
      for (int k = 0; k < 20; ++k) {
        const std::vector<std::string> answers = steadyAnswers();
        for (std::size_t fact = 0; fact < systems.size(); ++fact)
          EXPECT_THAT(answers.at(fact), testing::AnyOf(systems[fact], std::to_string(kSaid)));
        EXPECT_TRUE(facts_.freeMemory() && facts_.freeBytesForDocuments());
        EXPECT_TRUE(facts_.canStartShell());
      }
      --asking;
    });
  Said said;
  for (const Fact& fact : kFacts) fact.say(said, kSaid);
  while (asking > 0) {
    HostSettings::setDeviceFacts(said);
    HostSettings::setDeviceFacts({});
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace pxa
