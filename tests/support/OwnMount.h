#pragma once

#include <filesystem>
#include <string>
#include <sys/mount.h>

#include "support/OwnNetwork.h"

namespace pxa::test {

/// A directory in a mount namespace of the test's own, which goes with it.
class OwnMount {
 public:
  explicit OwnMount(const std::filesystem::path& path) : path_(path.string()) {
    std::filesystem::create_directories(path);
    isMade_ = showInstead(path_, path_);
  }
  OwnMount(const OwnMount&) = delete;
  OwnMount& operator=(const OwnMount&) = delete;
  ~OwnMount() {
    while (isMade_ && ::umount2(path_.c_str(), MNT_DETACH) == 0) {
    }
  }

  /// Puts an empty file system of that size, as "size=4096", into its place; false where that is forbidden.
  [[nodiscard]] bool makeSmall(const char* size) const {
    return isMade_ && ::mount("tmpfs", path_.c_str(), "tmpfs", 0, size) == 0;
  }

 private:
  const std::string path_;
  bool isMade_ = false;
};

}  // namespace pxa::test
