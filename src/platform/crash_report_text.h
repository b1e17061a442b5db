#pragma once

#include <cstddef>
#include <cstdint>

#include <pxalog/CrashReport.h>
#include <pxalog/String.h>

// A decoded crash report as the text of a crash log. Thread-safe; nothing throws but for want of memory.

namespace pxa {

/// What of a name is written as an escape, so that it cannot forge a line, or so that the text is pure ASCII.
enum class NameEscapes : std::uint8_t {
  LineBreaks,   ///< carriage returns and line feeds, as \r and \n
  AllButAscii,  ///< those, and every other byte that is not printable ASCII, as \xNN
};

/// A text that becomes larger is no text: a small file can stand for one of any size.
inline constexpr std::size_t kMaximumCrashText = std::size_t{64} * 1024 * 1024;

/// The whole text; nil when it is larger than kMaximumCrashText.
String crashReportText(const CrashReport& report, NameEscapes escapes);

/// The line of one stack frame.
String stackFrameText(std::uint64_t frame, std::int64_t index, const CrashReport& report,
                      NameEscapes escapes);

/// A random UUID; nil when none could be made.
String incidentIdentifier();

/// One and the same text for all crashes of this installation: the id by which its events are known too.
String crashReporterKey();

}  // namespace pxa
