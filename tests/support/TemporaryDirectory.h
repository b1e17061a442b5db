#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include <pxalog/String.h>

namespace pxa::test {

/// A new, empty directory that goes, with all that is in it, at the end of the scope.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "pxalog-test-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) throw std::filesystem::filesystem_error(name, lastError());
    path_ = name;
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  /// The path of something in the directory.
  [[nodiscard]] String path(const std::string& name) const { return (path_ / name).string(); }

 private:
  static std::error_code lastError() { return {errno, std::generic_category()}; }

  std::filesystem::path path_;
};

}  // namespace pxa::test
