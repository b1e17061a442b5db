#pragma once

#include <cstdint>

#include <pxalog/CrashReport.h>

namespace pxa {

/// Writes a decoded crash report as the text of a crash log. Class-level operations; thread-safe; nothing is
/// thrown but for want of memory.
class PXALOG_EXPORT VeskFormatter {
 public:
  VeskFormatter() = delete;

  /// The layouts of a crash log.
  // NOLINTNEXTLINE(readability-identifier-naming): the system's own spelling.
  enum TextFormat : std::uint32_t { kTextFormatiOS = 0 };

  /// The whole text. nil for a format that is none of TextFormat, and for a report whose text is larger than
  /// 64 MiB. Line breaks inside names are written as escapes, so that a name cannot forge a line. Selector:
  /// stringValueForCrashReport:withTextFormat:
  [[nodiscard]] static String stringValueForCrashReport_withTextFormat(const CrashReport& report,
                                                                       std::uint32_t textFormat);
  /// One line for a stack frame, with its line feed. Selector: formatStackFrame:frameIndex:report:
  [[nodiscard]] static String formatStackFrame_frameIndex_report(std::uint64_t frame, std::int64_t frameIndex,
                                                                 const CrashReport& report);
  /// A new incident identifier: a random UUID; nil when none could be made.
  [[nodiscard]] static String uuid();
  /// The crash-reporter key: one and the same for all crashes of this installation, its device id. nil when
  /// that cannot be read or made.
  [[nodiscard]] static String reportKey();
};

/// How a report's images are ordered: by base address. Below 0 when the left one comes first, above 0 when the
/// right one does.
[[nodiscard]] PXALOG_EXPORT int rdm_sdk_binaryImageSort(const CrashReport::Image& left,
                                                        const CrashReport::Image& right) noexcept;

}  // namespace pxa
