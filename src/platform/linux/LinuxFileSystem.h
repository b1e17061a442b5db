#pragma once

#include "platform/FileSystem.h"

namespace pxa {

/// Files that their owner alone can read.
class LinuxFileSystem final : public FileSystem {
 public:
  String documentsDirectory() override;
  bool fileExists(const String& path) override;
  std::optional<Data> read(const String& path) override;
  bool write(const String& path, const Data& content) override;
  bool writeAtomically(const String& path, const Data& content) override;
  bool removeFile(const String& path) override;
};

}  // namespace pxa
