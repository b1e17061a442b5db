#pragma once

namespace pxa {

/// Catches what kills the process. Nothing is caught on a platform without a reporter.
class CrashReporter {
 public:
  virtual ~CrashReporter() = default;
  /// Installs the crash handlers; false when the platform has none.
  virtual bool enable() = 0;
};

}  // namespace pxa
