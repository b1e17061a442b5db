// Files of crash reports, as anyone may have changed them: what can be read can be written as a text of lines
// that no name breaks, and that is pure ASCII where it is asked to be.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include <pxalog/VeskFormatter.h>

#include "platform/crash_report_text.h"

namespace {

std::size_t framesOf(const pxa::CrashReport& report) {
  std::size_t count = report.exception ? report.exception->frames.size() : 0;
  for (const pxa::CrashReport::Thread& thread : report.threads) count += thread.frames.size();
  return count;
}

/// How many lines the text has at least, and at most with its lines of registers and of an exception.
bool hasLinesOf(const pxa::CrashReport& report, std::string_view text) {
  constexpr std::size_t kOfEveryReport = 19;
  constexpr std::size_t kOfExceptionAndRegisters = 8;
  const std::size_t least =
      kOfEveryReport + framesOf(report) + 2 * report.threads.size() + report.images.size();
  const pxa::CrashReport::Thread* const crashed = report.crashedThread();
  const std::size_t registers = crashed == nullptr ? 0 : crashed->registers.size();
  const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  return lines >= least && lines <= least + kOfExceptionAndRegisters + (registers + 3) / 4;
}

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char byte) { return byte == '\n' || (byte >= ' ' && byte <= '~'); });
}

/// The text, as the library's own reporter writes it, has lines for all that the report holds and no others.
void check(const pxa::CrashReport& report) {
  using pxa::VeskFormatter;
  const pxa::String text =
      VeskFormatter::stringValueForCrashReport_withTextFormat(report, VeskFormatter::kTextFormatiOS);
  const pxa::String ascii = pxa::crashReportText(report, pxa::NameEscapes::AllButAscii);
  if (!text.isNil() && !hasLinesOf(report, text.view())) std::abort();
  if (!ascii.isNil() && (!hasLinesOf(report, ascii.view()) || !isAscii(ascii.view()))) std::abort();
  for (const pxa::CrashReport::Thread& thread : report.threads) {
    if (thread.frames.empty() || text.isNil()) continue;
    const pxa::String line = VeskFormatter::formatStackFrame_frameIndex_report(thread.frames[0], 0, report);
    if (text.view().find(line.view()) == std::string_view::npos) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const pxa::Data file(std::string_view(reinterpret_cast<const char*>(bytes), size));
  if (const auto report = pxa::CrashReport::initWithData_error(file)) check(*report);
  return 0;
}
