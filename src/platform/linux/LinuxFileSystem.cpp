#include "platform/linux/LinuxFileSystem.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <pwd.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/ByteBuffer.h"
#include "platform/HostSettings.h"
#include "platform/linux/FileDescriptor.h"

namespace pxa {

namespace {

constexpr mode_t kOwnerOnlyFile = 0600;
constexpr mode_t kOwnerOnlyDirectory = 0700;

std::string homeDirectory() {
  if (const char* home = ::getenv("HOME"); home != nullptr && *home != '\0') return home;
  passwd entry{};
  passwd* found = nullptr;
  std::string buffer(16384, '\0');
  if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr)
    return found->pw_dir;
  return "/tmp";
}

std::string userDataDirectory() {
  if (const char* directory = ::getenv("XDG_DATA_HOME"); directory != nullptr && *directory == '/')
    return directory;
  return homeDirectory() + "/.local/share";
}

/// Makes the directory and those above it; what is there already stays as it is.
void makeDirectories(const std::string& path) {
  for (std::size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
    ::mkdir(path.substr(0, slash).c_str(), kOwnerOnlyDirectory);
    if (slash == std::string::npos) return;
  }
}

bool writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

/// False when the content may not have reached the disk. A file system that knows no flushing has nothing to
/// flush.
bool flush(int descriptor) {
  return ::fsync(descriptor) == 0 || errno == EINVAL || errno == ENOSYS;
}

std::string directoryOf(const String& path) {
  const std::string directory = std::filesystem::path(path.view()).parent_path().string();
  return directory.empty() ? "." : directory;
}

/// A name in the same directory that no other writer of this or another process uses.
std::string temporaryPathBeside(const String& path) {
  static std::atomic<unsigned> counter = 0;
  return directoryOf(path) + "/.pxalog-" + std::to_string(::getpid()) + "-" + std::to_string(counter++) +
         ".tmp";
}

void flushDirectoryOf(const String& path) {
  const FileDescriptor descriptor(::open(directoryOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (descriptor.isOpen()) ::fsync(descriptor.get());
}

}  // namespace

String LinuxFileSystem::documentsDirectory() {
  String directory = HostSettings::documentsDirectory();
  if (directory.isEmpty()) directory = userDataDirectory() + "/" + ::program_invocation_short_name;
  makeDirectories(std::string(directory.view()));
  return directory;
}

bool LinuxFileSystem::fileExists(const String& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

std::optional<Data> LinuxFileSystem::read(const String& path) {
  // Non-blocking, so that a pipe in the file's place is refused instead of waited for.
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!file.isOpen() || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;

  ByteBuffer content;
  constexpr std::size_t kChunk = 65536;
  for (;;) {
    const ssize_t count = ::read(file.get(), content.reserve(kChunk), kChunk);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    if (count == 0) return content.finish();
    content.commit(static_cast<std::size_t>(count));
  }
}

bool LinuxFileSystem::write(const String& path, const Data& content) {
  const FileDescriptor file(
      ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, kOwnerOnlyFile));
  return file.isOpen() && ::fchmod(file.get(), kOwnerOnlyFile) == 0 && writeAll(file.get(), content.view());
}

bool LinuxFileSystem::writeAtomically(const String& path, const Data& content) {
  const std::string temporary = temporaryPathBeside(path);
  {
    const FileDescriptor file(
        ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, kOwnerOnlyFile));
    if (!file.isOpen()) return false;
    if (!writeAll(file.get(), content.view()) || !flush(file.get())) {
      ::unlink(temporary.c_str());
      return false;
    }
  }
  if (::rename(temporary.c_str(), path.c_str()) != 0) {
    ::unlink(temporary.c_str());
    return false;
  }
  flushDirectoryOf(path);
  return true;
}

bool LinuxFileSystem::removeFile(const String& path) {
  return ::unlink(path.c_str()) == 0 || errno == ENOENT || errno == ENOTDIR;
}

}  // namespace pxa
