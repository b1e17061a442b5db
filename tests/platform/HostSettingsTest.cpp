#include <gtest/gtest.h>
#include <memory>
#include <string>

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

}  // namespace
}  // namespace pxa
