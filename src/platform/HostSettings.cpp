#include "platform/HostSettings.h"

#include <utility>

#include "foundation/Mutex.h"

namespace pxa::HostSettings {

namespace {

struct Settings {
  String documentsDirectory;
  Host::SettingsService service{PXALOG_SETTINGS_HOST, PXALOG_ALTERNATE_SETTINGS_HOST,
                                PXALOG_ALTERNATE_FOR_COLLECTOR};
  String certificateAuthorityFile;
  Host::DeviceFacts facts;
  Host::UnitySendMessage unitySendMessage;
  Host::LogSink logSink;
};

Mutex gs_mutex;
Settings& settings() REQUIRES(gs_mutex) {
  static auto& settings = *new Settings;
  return settings;
}

template <class T>
T copyOf(T Settings::*member) {
  const Guard guard(gs_mutex);
  return settings().*member;
}

/// The old value is destroyed after the lock is left: it may be a host's function object.
template <class T>
void replace(T Settings::*member, T value) {
  const Guard guard(gs_mutex);
  std::swap(settings().*member, value);
}

}  // namespace

String documentsDirectory() {
  return copyOf(&Settings::documentsDirectory);
}
void setDocumentsDirectory(const String& path) {
  replace(&Settings::documentsDirectory, path);
}

Host::SettingsService settingsService() {
  return copyOf(&Settings::service);
}
void setSettingsService(const Host::SettingsService& service) {
  replace(&Settings::service, service);
}

String certificateAuthorityFile() {
  return copyOf(&Settings::certificateAuthorityFile);
}
void setCertificateAuthorityFile(const String& path) {
  replace(&Settings::certificateAuthorityFile, path);
}

template <class Fact>
Fact deviceFact(Fact Host::DeviceFacts::*fact) {
  const Guard guard(gs_mutex);
  return settings().facts.*fact;
}
template String deviceFact(String Host::DeviceFacts::*);
template std::vector<String> deviceFact(std::vector<String> Host::DeviceFacts::*);
template std::optional<double> deviceFact(std::optional<double> Host::DeviceFacts::*);
template std::optional<std::uint64_t> deviceFact(std::optional<std::uint64_t> Host::DeviceFacts::*);
template std::optional<bool> deviceFact(std::optional<bool> Host::DeviceFacts::*);

void setDeviceFacts(const Host::DeviceFacts& facts) {
  replace(&Settings::facts, facts);
}

Host::UnitySendMessage unitySendMessage() {
  return copyOf(&Settings::unitySendMessage);
}
void setUnitySendMessage(Host::UnitySendMessage function) {
  replace(&Settings::unitySendMessage, std::move(function));
}

Host::LogSink logSink() {
  return copyOf(&Settings::logSink);
}
void setLogSink(Host::LogSink sink) {
  replace(&Settings::logSink, std::move(sink));
}

}  // namespace pxa::HostSettings
