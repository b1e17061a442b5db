#include "platform/linux/LinuxDeviceFacts.h"

#include <cstdlib>
#include <string_view>
#include <sys/utsname.h>

#include "platform/HostSettings.h"

namespace pxa {

namespace {

utsname kernelFacts() {
  utsname facts{};
  ::uname(&facts);
  return facts;
}

/// The identifier of the user's locale, without its encoding; nil where none is set.
String localeIdentifier() {
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = ::getenv(variable);
    if (value == nullptr || *value == '\0') continue;
    const std::string_view locale(value);
    return locale.substr(0, locale.find('.'));
  }
  return nullptr;
}

String hostsAnswerOr(String Host::DeviceFacts::*fact, String (*systemsAnswer)()) {
  String answer = HostSettings::deviceFact(fact);
  return answer.isEmpty() ? systemsAnswer() : answer;
}

String unknown() {
  return nullptr;
}

}  // namespace

String LinuxDeviceFacts::systemVersion() {
  return hostsAnswerOr(&Host::DeviceFacts::systemVersion, [] {
    static const auto& release = *new String(kernelFacts().release);
    return release;
  });
}

String LinuxDeviceFacts::machineModel() {
  return hostsAnswerOr(&Host::DeviceFacts::machineModel, [] {
    static const auto& machine = *new String(kernelFacts().machine);
    return machine;
  });
}

String LinuxDeviceFacts::vendorIdentifier() {
  return hostsAnswerOr(&Host::DeviceFacts::vendorIdentifier, unknown);
}

String LinuxDeviceFacts::carrierName() {
  return hostsAnswerOr(&Host::DeviceFacts::carrierName, unknown);
}

String LinuxDeviceFacts::carrierCountryCode() {
  return hostsAnswerOr(&Host::DeviceFacts::carrierCountryCode, unknown);
}

String LinuxDeviceFacts::localeDisplayName() {
  return hostsAnswerOr(&Host::DeviceFacts::localeDisplayName, [] {
    static const auto& locale = *new String(localeIdentifier());
    return locale;
  });
}

}  // namespace pxa
