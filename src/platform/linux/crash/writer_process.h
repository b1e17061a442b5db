#pragma once

#include "platform/linux/crash/report_writer.h"

namespace pxa::crash {

/// Writes the report from a process of its own that shares this one's memory, so that a fault or a hang ends
/// that process and not this one; first with every stack and, should that fail, with fewer. Whether the file is
/// there. For the signal handler of the crashed thread.
bool writeReportFromOwnProcess(const KnownFacts& facts, const Crash& crash,
                               const Deadline& deadline) noexcept;

}  // namespace pxa::crash
