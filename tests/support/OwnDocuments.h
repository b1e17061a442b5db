#pragma once

#include <filesystem>

#include <pxalog/Host.h>

#include "support/TemporaryDirectory.h"

namespace pxa::test {

/// A documents directory for one test. It goes with the test; what threads of the library still write then
/// goes nowhere.
class OwnDocuments {
 public:
  OwnDocuments() { Host::setDocumentsDirectory(directory_.path().string()); }
  OwnDocuments(const OwnDocuments&) = delete;
  OwnDocuments& operator=(const OwnDocuments&) = delete;
  ~OwnDocuments() { Host::setDocumentsDirectory("/dev/null/documents"); }

  [[nodiscard]] const std::filesystem::path& path() const { return directory_.path(); }

 private:
  const TemporaryDirectory directory_;
};

}  // namespace pxa::test
