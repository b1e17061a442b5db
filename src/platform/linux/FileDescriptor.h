#pragma once

#include <unistd.h>
#include <utility>

namespace pxa {

/// Owns a file descriptor; -1 is none.
class FileDescriptor {
 public:
  explicit FileDescriptor(int descriptor = -1) noexcept : descriptor_(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~FileDescriptor() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }

  [[nodiscard]] bool isOpen() const noexcept { return descriptor_ >= 0; }
  [[nodiscard]] int get() const noexcept { return descriptor_; }

 private:
  int descriptor_;
};

}  // namespace pxa
