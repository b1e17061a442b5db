#include "platform/linux/crash/ReportFile.h"

#include <bit>
#include <cstring>

namespace pxa::crash {

static_assert(std::endian::native == std::endian::little, "numbers are written as they are in memory");

void ReportFile::begin() noexcept {
  file_.write(crash_report_file::kMagic.data(), crash_report_file::kMagic.size());
}

void ReportFile::endSection(crash_report_file::Section section) noexcept {
  const std::uint32_t head[] = {static_cast<std::uint32_t>(section), static_cast<std::uint32_t>(size_)};
  file_.write(head, sizeof head);
  file_.write(section_.data(), size_);
}

void ReportFile::putText(const char* text) noexcept {
  if (text == nullptr) return put32(crash_report_file::kNil);
  const std::size_t size = std::strlen(text);
  put32(static_cast<std::uint32_t>(size));
  putBytes(text, size);
}

void ReportFile::putFrames(std::span<const std::uint64_t> addresses) noexcept {
  put32(static_cast<std::uint32_t>(addresses.size()));
  putBytes(addresses.data(), addresses.size_bytes());
}

/// A section that outgrows its memory cannot be read back, so it makes the whole file one that was not
/// written.
void ReportFile::putBytes(const void* bytes, std::size_t count) noexcept {
  if (count > section_.size() - size_) return file_.fail();
  std::memcpy(section_.data() + size_, bytes, count);
  size_ += count;
}

}  // namespace pxa::crash
