#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/HostSettings.h"

namespace pxa {
namespace {

TEST(HostSettings, HaveNoDocumentsDirectoryUntilTheHostNamesOne) {
  EXPECT_TRUE(HostSettings::documentsDirectory().isNil());
  HostSettings::setDocumentsDirectory("/some/where");
  EXPECT_EQ(HostSettings::documentsDirectory(), "/some/where");
}

TEST(HostSettings, NameTheServiceThatTheLibraryWasBuiltWith) {
  const Host::SettingsService service = HostSettings::settingsService();
  EXPECT_FALSE(service.defaultHost.isEmpty());
  EXPECT_FALSE(service.alternateHost.isEmpty());
  EXPECT_FALSE(service.alternateForCollector.isEmpty());
}

TEST(HostSettings, NameTheServiceThatTheHostNames) {
  HostSettings::setSettingsService({"host:8080", "alternate", "collector"});
  const Host::SettingsService service = HostSettings::settingsService();
  EXPECT_EQ(service.defaultHost, "host:8080");
  EXPECT_EQ(service.alternateHost, "alternate");
  EXPECT_EQ(service.alternateForCollector, "collector");
}

Host::DeviceFacts factsOfTheDevice() {
  return {
      .systemVersion = HostSettings::deviceFact(&Host::DeviceFacts::systemVersion),
      .machineModel = HostSettings::deviceFact(&Host::DeviceFacts::machineModel),
      .vendorIdentifier = HostSettings::deviceFact(&Host::DeviceFacts::vendorIdentifier),
      .carrierName = HostSettings::deviceFact(&Host::DeviceFacts::carrierName),
      .carrierCountryCode = HostSettings::deviceFact(&Host::DeviceFacts::carrierCountryCode),
      .localeDisplayName = HostSettings::deviceFact(&Host::DeviceFacts::localeDisplayName),
      .preferredLanguages = HostSettings::deviceFact(&Host::DeviceFacts::preferredLanguages),
      .screenWidth = HostSettings::deviceFact(&Host::DeviceFacts::screenWidth),
      .freePages = HostSettings::deviceFact(&Host::DeviceFacts::freePages),
      .pageSize = HostSettings::deviceFact(&Host::DeviceFacts::pageSize),
      .freeBytes = HostSettings::deviceFact(&Host::DeviceFacts::freeBytes),
      .canStartShell = HostSettings::deviceFact(&Host::DeviceFacts::canStartShell),
  };
}

void expectNoFactsOfTheDevice() {
  const Host::DeviceFacts facts = factsOfTheDevice();
  EXPECT_TRUE(facts.systemVersion.isNil());
  EXPECT_TRUE(facts.machineModel.isNil());
  EXPECT_TRUE(facts.vendorIdentifier.isNil());
  EXPECT_TRUE(facts.carrierName.isNil());
  EXPECT_TRUE(facts.carrierCountryCode.isNil());
  EXPECT_TRUE(facts.localeDisplayName.isNil());
  EXPECT_TRUE(facts.preferredLanguages.empty());
  EXPECT_FALSE(facts.screenWidth);
  EXPECT_FALSE(facts.freePages);
  EXPECT_FALSE(facts.pageSize);
  EXPECT_FALSE(facts.freeBytes);
  EXPECT_FALSE(facts.canStartShell);
}

const Host::DeviceFacts kFactsOfADevice = {
    .systemVersion = "12.1",
    .machineModel = "iPad3,4",
    .vendorIdentifier = "vendor",
    .carrierName = "carrier",
    .carrierCountryCode = "kr",
    .localeDisplayName = "Elvish",
    .preferredLanguages = {"ko-KR", "en-US"},
    .screenWidth = 767.5,
    .freePages = 1,
    .pageSize = 2,
    .freeBytes = 3,
    .canStartShell = false,
};

TEST(HostSettings, SayNothingOfTheDeviceUntilTheHostDoes) {
  expectNoFactsOfTheDevice();
}

TEST(HostSettings, KeepWhatTheHostSaysOfTheDevice) {
  HostSettings::setDeviceFacts(kFactsOfADevice);
  const Host::DeviceFacts facts = factsOfTheDevice();
  EXPECT_EQ(facts.systemVersion, "12.1");
  EXPECT_EQ(facts.machineModel, "iPad3,4");
  EXPECT_EQ(facts.vendorIdentifier, "vendor");
  EXPECT_EQ(facts.carrierName, "carrier");
  EXPECT_EQ(facts.carrierCountryCode, "kr");
  EXPECT_EQ(facts.localeDisplayName, "Elvish");
  EXPECT_EQ(facts.preferredLanguages, (std::vector<String>{"ko-KR", "en-US"}));
  EXPECT_EQ(facts.screenWidth, 767.5);
  EXPECT_EQ(facts.freePages, 1U);
  EXPECT_EQ(facts.pageSize, 2U);
  EXPECT_EQ(facts.freeBytes, 3U);
  EXPECT_EQ(facts.canStartShell, false);
}

TEST(HostSettings, ForgetWhatTheHostNoLongerSaysOfTheDevice) {
  HostSettings::setDeviceFacts(kFactsOfADevice);
  HostSettings::setDeviceFacts({});
  expectNoFactsOfTheDevice();
}

TEST(HostSettings, GiveCopiesOfWhatTheHostSays) {
  HostSettings::setDeviceFacts(kFactsOfADevice);
  std::vector<String> languages = HostSettings::deviceFact(&Host::DeviceFacts::preferredLanguages);
  languages.clear();
  EXPECT_EQ(HostSettings::deviceFact(&Host::DeviceFacts::preferredLanguages).size(), 2U);
}

TEST(HostSettings, HaveNoFunctionsUntilTheHostGivesThem) {
  EXPECT_FALSE(HostSettings::logSink());
  EXPECT_FALSE(HostSettings::unitySendMessage());
}

TEST(HostSettings, KeepTheUnityFunction) {
  std::string heard;
  HostSettings::setUnitySendMessage([&](const char* object, const char* method, const char* message) {
    heard = std::string(object) + " " + method + " " + message;
  });
  HostSettings::unitySendMessage()("object", "method", "message");
  HostSettings::setUnitySendMessage(nullptr);
  EXPECT_EQ(heard, "object method message");
  EXPECT_FALSE(HostSettings::unitySendMessage());
}

TEST(HostSettings, KeepTheLogSink) {
  String heard;
  HostSettings::setLogSink([&](const String& line) { heard = line; });
  HostSettings::logSink()("line");
  HostSettings::setLogSink(nullptr);
  EXPECT_EQ(heard, "line");
  EXPECT_FALSE(HostSettings::logSink());
}

/// Part of a host's function that uses the library once more when it is destroyed.
struct Asking {
  Asking() = default;
  Asking(const Asking&) = delete;
  Asking& operator=(const Asking&) = delete;
  ~Asking() { HostSettings::setDocumentsDirectory("asked"); }
};

TEST(HostSettings, LetAFunctionGoThatUsesTheLibrary) {
  HostSettings::setLogSink([asking = std::make_shared<Asking>()](const String&) {});
  HostSettings::setLogSink(nullptr);
  EXPECT_EQ(HostSettings::documentsDirectory(), "asked");
}

TEST(HostSettings, HaveNoFileOfCertificateAuthoritiesUntilTheHostNamesOne) {
  EXPECT_TRUE(HostSettings::certificateAuthorityFile().isNil());
  Host::setCertificateAuthorityFile("/some/authorities.pem");
  EXPECT_EQ(HostSettings::certificateAuthorityFile(), "/some/authorities.pem");
}

TEST(HostSettings, ForgetTheFileOfCertificateAuthoritiesForNilOrEmpty) {
  for (const String& none : {String(nullptr), String("")}) {
    Host::setCertificateAuthorityFile("/some/authorities.pem");
    Host::setCertificateAuthorityFile(none);
    EXPECT_TRUE(HostSettings::certificateAuthorityFile().isEmpty());
  }
}

// The host's main thread.

bool hasMainThread() {
  return HostSettings::mainThreadExecutor() != nullptr;
}

void setMainThreadThatIsThisOne() {
  HostSettings::setMainThread([](const std::function<void()>& task) { task(); }, [] { return true; });
}

TEST(HostSettings, HaveNoMainThreadUntilTheHostGivesOne) {
  EXPECT_FALSE(hasMainThread());
  EXPECT_FALSE(HostSettings::isMainThread());
}

TEST(HostSettings, KeepTheHostsMainThread) {
  bool isMainThread = true;
  HostSettings::setMainThread([](const std::function<void()>& task) { task(); },
                              [&] { return isMainThread; });
  bool hasRun = false;
  HostSettings::mainThreadExecutor()([&] { hasRun = true; });
  EXPECT_TRUE(hasRun);
  EXPECT_TRUE(HostSettings::isMainThread());
  isMainThread = false;
  EXPECT_FALSE(HostSettings::isMainThread());
}

TEST(HostSettings, KeepNoMainThreadThatIsGivenByHalf) {
  for (const bool hasExecutor : {false, true}) {
    setMainThreadThatIsThisOne();
    ASSERT_TRUE(hasMainThread());
    if (hasExecutor)
      HostSettings::setMainThread([](const std::function<void()>&) {}, nullptr);
    else
      HostSettings::setMainThread(nullptr, [] { return true; });
    EXPECT_FALSE(hasMainThread()) << hasExecutor;
    EXPECT_FALSE(HostSettings::isMainThread()) << hasExecutor;
  }
}

TEST(HostSettings, ForgetTheMainThreadThatTheHostTakesBack) {
  setMainThreadThatIsThisOne();
  Host::setMainThread(nullptr, nullptr);
  EXPECT_FALSE(hasMainThread());
  EXPECT_FALSE(HostSettings::isMainThread());
}

TEST(HostSettings, TakeATestThatThrowsForNo) {
  HostSettings::setMainThread([](const std::function<void()>& task) { task(); },
                              []() -> bool { throw std::runtime_error("no thread"); });
  EXPECT_FALSE(HostSettings::isMainThread());
}

TEST(HostSettings, LetTheMainThreadBeReplacedWhileItIsAskedFor) {
  std::atomic<bool> isDone = false;
  std::thread asking([&] {
    while (!isDone) EXPECT_NO_THROW(static_cast<void>(HostSettings::isMainThread()));
  });
  for (int i = 0; i < 1000; ++i) {
    setMainThreadThatIsThisOne();
    HostSettings::setMainThread(nullptr, nullptr);
  }
  isDone = true;
  asking.join();
}

TEST(HostSettings, KeepNoUndeliveredCrashesUntilTheHostAsksForIt) {
  EXPECT_FALSE(HostSettings::keepsUndeliveredCrashes());
  Host::setKeepUndeliveredCrashes(true);
  EXPECT_TRUE(HostSettings::keepsUndeliveredCrashes());
  Host::setKeepUndeliveredCrashes(false);
  EXPECT_FALSE(HostSettings::keepsUndeliveredCrashes());
}

}  // namespace
}  // namespace pxa
