#pragma once

#include <cstdint>

#include <pxalog/Host.h>

namespace pxa {

/// What the host application told the library. Each getter gives a copy; thread-safe.
namespace HostSettings {

/// nil until the host names one.
String documentsDirectory();
void setDocumentsDirectory(const String& path);

Host::SettingsService settingsService();
void setSettingsService(const Host::SettingsService& service);

/// nil until the host names one.
String certificateAuthorityFile();
void setCertificateAuthorityFile(const String& path);

/// One of the host's facts about the device.
template <class Fact>
Fact deviceFact(Fact Host::DeviceFacts::*fact);
void setDeviceFacts(const Host::DeviceFacts& facts);
/// How often the host has told its facts.
std::uint64_t generationOfDeviceFacts() noexcept;

Host::UnitySendMessage unitySendMessage();
void setUnitySendMessage(Host::UnitySendMessage function);

/// Empty until the host gives one.
Host::MainThreadExecutor mainThreadExecutor();
/// An executor without a test, or a test without an executor, gives neither.
void setMainThread(Host::MainThreadExecutor executor, Host::IsMainThread isMainThread);
/// What the host's test says of the calling thread; false without one. Safe in a signal handler if the host's
/// test is.
bool isMainThread() noexcept;

bool keepsUndeliveredCrashes();
void setKeepUndeliveredCrashes(bool keep);

Host::LogSink logSink();
void setLogSink(Host::LogSink sink);

}  // namespace HostSettings

}  // namespace pxa
