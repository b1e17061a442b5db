#pragma once

#include <cstdint>
#include <optional>

#include <pxalog/Data.h>
#include <pxalog/String.h>

namespace pxa {

/// Files of the user's documents directory. Thread-safe; nothing throws but for want of memory.
class FileSystem {
 public:
  virtual ~FileSystem() = default;

  /// The directory that the library keeps its files in; the host's choice, or the user's data directory.
  virtual String documentsDirectory() = 0;
  /// Whether a regular file is there.
  virtual bool fileExists(const String& path) = 0;
  /// The whole content; nothing when it cannot be read, or is larger than 256 MiB, which no file of the
  /// library's own is.
  virtual std::optional<Data> read(const String& path) = 0;
  /// Writes the whole content over whatever file was there; false when that failed.
  virtual bool write(const String& path, const Data& content) = 0;
  /// The same, but readers see either the old file or the new one, never a part.
  virtual bool writeAtomically(const String& path, const Data& content) = 0;
  /// Removes a file, never a directory; false when it is still there.
  virtual bool removeFile(const String& path) = 0;
};

}  // namespace pxa
