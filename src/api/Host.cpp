#include <utility>

#include <pxalog/Host.h>
#include <pxalog/NotificationCenter.h>

#include "platform/HostSettings.h"

namespace pxa {

void Host::setDocumentsDirectory(const String& path) {
  HostSettings::setDocumentsDirectory(path);
}

void Host::didEnterBackground() {
  NotificationCenter::defaultCenter().post({kDidEnterBackgroundNotification});
}

void Host::willEnterForeground() {
  NotificationCenter::defaultCenter().post({kWillEnterForegroundNotification});
}

void Host::setSettingsService(const SettingsService& service) {
  HostSettings::setSettingsService(service);
}

void Host::setCertificateAuthorityFile(const String& path) {
  HostSettings::setCertificateAuthorityFile(path);
}

void Host::setDeviceFacts(const DeviceFacts& facts) {
  HostSettings::setDeviceFacts(facts);
}

void Host::setUnitySendMessage(UnitySendMessage function) {
  HostSettings::setUnitySendMessage(std::move(function));
}

void Host::setLogSink(LogSink sink) {
  HostSettings::setLogSink(std::move(sink));
}

}  // namespace pxa
