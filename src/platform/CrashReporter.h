#pragma once

#include <cstdint>

#include <pxalog/CrashReport.h>

namespace pxa {

/// What a reporter calls on the crashed thread once the report is written: with the signal's information, the
/// thread's context, both as the system made them, and the context of the record. It runs in a signal handler
/// and may do only what one may do there.
struct CrashCallbacks {
  std::uint16_t version = 0;
  void* context = nullptr;
  void (*handleSignal)(const void* signalInformation, const void* userContext, void* context) = nullptr;
};

/// Catches what kills the process, and keeps the report of the last crash in a file. The one reporter of a
/// process. Thread-safe unless noted otherwise.
class CrashReporter {
 public:
  virtual ~CrashReporter() = default;

  /// Before enabling.
  virtual void setCrashCallbacks(const CrashCallbacks& callbacks) = 0;
  /// What reports say of the application; before enabling.
  virtual void setApplication(const String& identifier, const String& version) = 0;
  /// Installs the crash handlers. False, and an error if one is asked for, when that cannot be done.
  virtual bool enableCrashReporterAndReturnError(Error* error) = 0;

  /// For the post-crash callback: runs the operation on the host's main thread, or on one of the library's own
  /// where the host gave none or has lost it, and waits for its end, for as long as a crash may take.
  virtual void performOnMainThreadAndWait(void (*operation)(void* object), void* object) = 0;

  /// Whether a report was written that has not been purged. While a crash is handled: whether its own was.
  virtual bool hasPendingCrashReport() = 0;
  /// The bytes of the pending report; nil, and an error if one is asked for, when they cannot be read.
  virtual Data loadPendingCrashReportDataAndReturnError(Error* error) = 0;
  virtual void purgePendingCrashReport() = 0;
  /// The report as text, in the layout of that number; nil when there is no such layout.
  virtual String stringValueForCrashReport_withTextFormat(const CrashReport& report,
                                                          std::uint32_t textFormat) = 0;
};

}  // namespace pxa
