#include "platform/HostSettings.h"

#include <atomic>
#include <memory>
#include <utility>
#include <vector>

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
  Host::MainThreadExecutor mainThreadExecutor;
  // Never destroyed: a signal handler may be in one.
  std::vector<std::unique_ptr<const Host::IsMainThread>> mainThreadTests;
  bool keepsUndeliveredCrashes = false;
  Host::LogSink logSink;
};

Mutex gs_mutex;
Settings& settings() REQUIRES(gs_mutex) {
  static auto& settings = *new Settings;
  return settings;
}

std::atomic<const Host::IsMainThread*> gs_isMainThread = nullptr;
std::atomic<std::uint64_t> gs_generationOfDeviceFacts = 0;

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
  ++gs_generationOfDeviceFacts;
}
std::uint64_t generationOfDeviceFacts() noexcept {
  return gs_generationOfDeviceFacts;
}

Host::UnitySendMessage unitySendMessage() {
  return copyOf(&Settings::unitySendMessage);
}
void setUnitySendMessage(Host::UnitySendMessage function) {
  replace(&Settings::unitySendMessage, std::move(function));
}

Host::MainThreadExecutor mainThreadExecutor() {
  return copyOf(&Settings::mainThreadExecutor);
}
void setMainThread(Host::MainThreadExecutor executor, Host::IsMainThread isMainThread) {
  const bool isGiven = executor && isMainThread;
  auto test = isGiven ? std::make_unique<const Host::IsMainThread>(std::move(isMainThread)) : nullptr;
  if (!isGiven) executor = nullptr;
  const Guard guard(gs_mutex);
  gs_isMainThread = test.get();
  if (test != nullptr) settings().mainThreadTests.push_back(std::move(test));
  std::swap(settings().mainThreadExecutor, executor);
}
bool isMainThread() noexcept {
  const Host::IsMainThread* test = gs_isMainThread;
  try {
    return test != nullptr && (*test)();
  } catch (...) {
    return false;
  }
}

bool keepsUndeliveredCrashes() {
  return copyOf(&Settings::keepsUndeliveredCrashes);
}
void setKeepUndeliveredCrashes(bool keep) {
  replace(&Settings::keepsUndeliveredCrashes, keep);
}

Host::LogSink logSink() {
  return copyOf(&Settings::logSink);
}
void setLogSink(Host::LogSink sink) {
  replace(&Settings::logSink, std::move(sink));
}

}  // namespace pxa::HostSettings
