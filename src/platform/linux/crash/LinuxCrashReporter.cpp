#include "platform/linux/crash/LinuxCrashReporter.h"

#include <climits>
#include <exception>
#include <string>
#include <sys/utsname.h>
#include <unistd.h>

#include <pxalog/VeskFormatter.h>

#include "platform/Platform.h"
#include "platform/crash_report_file.h"
#include "platform/crash_report_text.h"
#include "platform/linux/crash/CrashThread.h"
#include "platform/linux/crash/crash_handlers.h"
#include "platform/linux/crash/uncaught_exception.h"
#include "platform/linux/crash/unwinding.h"

namespace pxa {

using namespace literals;

namespace {

constexpr const char* kErrorDomain = "CrashReporterErrorDomain";

/// Where the handlers find it in a process whose heap may be broken.
constinit crash::KnownFacts gs_facts;

String reportPath() {
  return std::string(Platform::current().files.documentsDirectory().view()) + "/" +
         crash_report_file::kFileName;
}

template <class Text>
void keep(Text& place, const String& text) {
  place.clear();
  if (!text.isNil()) place.append(text.c_str());
}

void keepFacts(const String& applicationIdentifier, const String& applicationVersion) {
  const String path = reportPath();
  keep(gs_facts.reportPath, path);
  keep(gs_facts.temporaryPath, path);
  gs_facts.temporaryPath.append(".new");
  utsname system{};
  if (::uname(&system) == 0) {
    keep(gs_facts.systemVersion, system.release);
    keep(gs_facts.systemBuild, system.version);
  }
  keep(gs_facts.machineModel, Platform::current().device.machineModel());
  keep(gs_facts.applicationIdentifier, applicationIdentifier);
  keep(gs_facts.applicationVersion, applicationVersion);
  std::string program(PATH_MAX, '\0');
  const ssize_t size = ::readlink("/proc/self/exe", program.data(), program.size() - 1);
  program.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
  keep(gs_facts.processPath, program);
  keep(gs_facts.processName, program.substr(program.rfind('/') + 1));
}

void set(Error* error, const String& message) {
  if (error != nullptr) *error = Error::withDescription(kErrorDomain, 1, message);
}

}  // namespace

void LinuxCrashReporter::setCrashCallbacks(const CrashCallbacks& callbacks) {
  const Guard guard(mutex_);
  callbacks_ = callbacks;
}

void LinuxCrashReporter::setApplication(const String& identifier, const String& version) {
  const Guard guard(mutex_);
  applicationIdentifier_ = identifier;
  applicationVersion_ = version;
}

bool LinuxCrashReporter::enableCrashReporterAndReturnError(Error* error) {
  const Guard guard(mutex_);
  if (isEnabled_) return true;
  try {
    keepFacts(applicationIdentifier_, applicationVersion_);
    crash::crashThread().start();
  } catch (const std::exception& failure) {
    set(error, failure.what());
    return false;
  }
  crash::prepareUnwinding();
  crash::installCrashHandlers(gs_facts, callbacks_);
  crash::installTerminateHandler();
  isEnabled_ = true;
  return true;
}

void LinuxCrashReporter::performOnMainThreadAndWait(void (*operation)(void* object), void* object) {
  crash::performElsewhereAndWait(operation, object);
}

bool LinuxCrashReporter::hasPendingCrashReport() {
  if (crash::crashState() == crash::CrashState::None)
    return Platform::current().files.fileExists(reportPath());
  return crash::crashState() == crash::CrashState::Reported;
}

Data LinuxCrashReporter::loadPendingCrashReportDataAndReturnError(Error* error) {
  const std::optional<Data> content = Platform::current().files.read(reportPath());
  if (content) return *content;
  set(error, "the report cannot be read"_text);
  return nullptr;
}

void LinuxCrashReporter::purgePendingCrashReport() {
  Platform::current().files.removeFile(reportPath());
}

String LinuxCrashReporter::stringValueForCrashReport_withTextFormat(const CrashReport& report,
                                                                    std::uint32_t textFormat) {
  if (textFormat != VeskFormatter::kTextFormatiOS) return nullptr;
  return crashReportText(report, NameEscapes::AllButAscii);
}

}  // namespace pxa
