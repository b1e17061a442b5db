#include <pxalog/VeskFormatter.h>

#include "platform/crash_report_text.h"

namespace pxa {

String VeskFormatter::stringValueForCrashReport_withTextFormat(const CrashReport& report,
                                                               std::uint32_t textFormat) {
  if (textFormat != kTextFormatiOS) return nullptr;
  return crashReportText(report, NameEscapes::LineBreaks);
}

String VeskFormatter::formatStackFrame_frameIndex_report(std::uint64_t frame, std::int64_t frameIndex,
                                                         const CrashReport& report) {
  return stackFrameText(frame, frameIndex, report, NameEscapes::LineBreaks);
}

String VeskFormatter::uuid() {
  return incidentIdentifier();
}

String VeskFormatter::reportKey() {
  return crashReporterKey();
}

}  // namespace pxa
