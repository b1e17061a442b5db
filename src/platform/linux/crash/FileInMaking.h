#pragma once

#include <cstddef>
#include <span>

namespace pxa::crash {

/// A file that gets its name only when it is whole. Written by plain system calls, in memory that is there
/// already.
class FileInMaking {
 public:
  /// Opens the file under its temporary name, and makes the directories that it lies in. The texts and the
  /// buffer must outlive this object.
  FileInMaking(const char* temporaryPath, const char* path, std::span<std::byte> buffer) noexcept;
  FileInMaking(const FileInMaking&) = delete;
  FileInMaking& operator=(const FileInMaking&) = delete;

  void write(const void* bytes, std::size_t count) noexcept;
  /// What was written is not to become a file.
  void fail() noexcept { isFailed_ = true; }
  /// Closes the file and gives it its name; false, and nothing is left behind, when anything has failed.
  bool finish() noexcept;

 private:
  void flush() noexcept;

  const char* temporaryPath_;
  const char* path_;
  int descriptor_;
  bool isFailed_ = false;
  const std::span<std::byte> buffer_;
  std::size_t size_ = 0;
};

}  // namespace pxa::crash
