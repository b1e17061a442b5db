#pragma once

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

Host::UnitySendMessage unitySendMessage();
void setUnitySendMessage(Host::UnitySendMessage function);

Host::LogSink logSink();
void setLogSink(Host::LogSink sink);

}  // namespace HostSettings

}  // namespace pxa
