#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/crash_report_file.h"
#include "platform/linux/crash/FileInMaking.h"

namespace pxa::crash {

/// Writes a crash report section by section, in memory that is there already.
class ReportFile {
 public:
  /// The largest section must fit into the memory.
  ReportFile(FileInMaking& file, std::span<std::byte> memory) noexcept : file_(file), section_(memory) {}

  void begin() noexcept;
  /// A section's content is what is put between these two.
  void beginSection() noexcept { size_ = 0; }
  void endSection(crash_report_file::Section section) noexcept;

  void put32(std::uint32_t number) noexcept { putBytes(&number, sizeof number); }
  void put64(std::uint64_t number) noexcept { putBytes(&number, sizeof number); }
  /// nullptr is nil.
  void putText(const char* text) noexcept;
  void putFrames(std::span<const std::uint64_t> addresses) noexcept;

 private:
  void putBytes(const void* bytes, std::size_t count) noexcept;

  FileInMaking& file_;
  const std::span<std::byte> section_;
  std::size_t size_ = 0;
};

}  // namespace pxa::crash
