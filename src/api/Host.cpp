#include <utility>

#include <pxalog/Host.h>
#include <pxalog/NotificationCenter.h>

#include "platform/HostSettings.h"
#include "platform/Platform.h"

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

void Host::setMainThread(MainThreadExecutor executor, IsMainThread isMainThread) {
  HostSettings::setMainThread(std::move(executor), std::move(isMainThread));
}

bool Host::prepareThread() {
  return Platform::current().threads.prepareForCrash();
}

void Host::setKeepUndeliveredCrashes(bool keep) {
  HostSettings::setKeepUndeliveredCrashes(keep);
}

void Host::setLogSink(LogSink sink) {
  HostSettings::setLogSink(std::move(sink));
}

}  // namespace pxa
