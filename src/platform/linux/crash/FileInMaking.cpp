#include "platform/linux/crash/FileInMaking.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace pxa::crash {

namespace {

constexpr mode_t kOwnerOnlyFile = 0600;
constexpr mode_t kOwnerOnlyDirectory = 0700;

int create(const char* path) noexcept {
  return ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, kOwnerOnlyFile);
}

void makeDirectoriesOf(const char* path) noexcept {
  char directory[PATH_MAX];
  for (std::size_t length = 1; path[length] != '\0' && length < sizeof directory; ++length) {
    if (path[length] != '/') continue;
    std::memcpy(directory, path, length);
    directory[length] = '\0';
    ::mkdir(directory, kOwnerOnlyDirectory);
  }
}

}  // namespace

FileInMaking::FileInMaking(const char* temporaryPath, const char* path, std::span<std::byte> buffer) noexcept
    : temporaryPath_(temporaryPath), path_(path), descriptor_(create(temporaryPath)), buffer_(buffer) {
  if (descriptor_ >= 0) return;
  makeDirectoriesOf(temporaryPath);
  descriptor_ = create(temporaryPath);
  if (descriptor_ < 0) fail();
}

void FileInMaking::write(const void* bytes, std::size_t count) noexcept {
  const auto* from = static_cast<const std::byte*>(bytes);
  while (count > 0 && !isFailed_) {
    const std::size_t part = std::min(count, buffer_.size() - size_);
    std::memcpy(buffer_.data() + size_, from, part);
    size_ += part;
    from += part;
    count -= part;
    if (size_ == buffer_.size()) flush();
  }
}

void FileInMaking::flush() noexcept {
  for (std::size_t done = 0; done < size_ && !isFailed_;) {
    const ssize_t written = ::write(descriptor_, buffer_.data() + done, size_ - done);
    if (written > 0)
      done += static_cast<std::size_t>(written);
    else if (written == 0 || errno != EINTR)
      fail();
  }
  size_ = 0;
}

bool FileInMaking::finish() noexcept {
  flush();
  if (descriptor_ >= 0 && ::close(descriptor_) != 0) fail();
  if (!isFailed_ && ::rename(temporaryPath_, path_) != 0) fail();
  if (isFailed_) ::unlink(temporaryPath_);
  return !isFailed_;
}

}  // namespace pxa::crash
