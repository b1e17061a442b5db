#pragma once

#include "foundation/Mutex.h"
#include "platform/CrashReporter.h"

namespace pxa {

/// Catches the signals that end a process and exceptions that nothing catches. The report lies in the file
/// "crashReport.plcrash" of the documents directory. How a crash goes: docs/crash.md.
class LinuxCrashReporter final : public CrashReporter {
 public:
  void setCrashCallbacks(const CrashCallbacks& callbacks) override;
  void setApplication(const String& identifier, const String& version) override;
  bool enableCrashReporterAndReturnError(Error* error) override;
  void performOnMainThreadAndWait(void (*operation)(void* object), void* object) override;
  bool hasPendingCrashReport() override;
  Data loadPendingCrashReportDataAndReturnError(Error* error) override;
  void purgePendingCrashReport() override;
  String stringValueForCrashReport_withTextFormat(const CrashReport& report,
                                                  std::uint32_t textFormat) override;

 private:
  Mutex mutex_;
  CrashCallbacks callbacks_ GUARDED_BY(mutex_);
  String applicationIdentifier_ GUARDED_BY(mutex_);
  String applicationVersion_ GUARDED_BY(mutex_);
  bool isEnabled_ GUARDED_BY(mutex_) = false;
};

}  // namespace pxa
