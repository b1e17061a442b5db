#include "platform/linux/LinuxFileSystem.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <pwd.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <uuid/uuid.h>

#include "foundation/ByteBuffer.h"
#include "platform/HostSettings.h"
#include "platform/linux/FileDescriptor.h"

namespace pxa {

namespace {

constexpr off_t kLargestFile = off_t{256} * 1024 * 1024;
constexpr std::size_t kSmallestChunk = 4096;
constexpr std::size_t kLargestChunk = 65536;
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
  if (::mkdir(path.c_str(), kOwnerOnlyDirectory) == 0 || errno == EEXIST) return;
  for (std::size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
    ::mkdir(path.substr(0, slash).c_str(), kOwnerOnlyDirectory);
    if (slash == std::string::npos) return;
  }
}

/// How many bytes of a file of that size are read at once. A small one shall not take much memory.
std::size_t chunkFor(off_t size) {
  return std::clamp(static_cast<std::size_t>(size), kSmallestChunk, kLargestChunk);
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

/// A file in the same directory that nobody can see, so that none is left behind when the process is killed
/// while it writes; not open where the file system knows no such files.
FileDescriptor openUnnamedFileBeside(const String& path) {
  return FileDescriptor(::open(directoryOf(path).c_str(), O_WRONLY | O_TMPFILE | O_CLOEXEC, kOwnerOnlyFile));
}

bool giveName(const FileDescriptor& file, const std::string& path) {
  const std::string open = "/proc/self/fd/" + std::to_string(file.get());
  return ::linkat(AT_FDCWD, open.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

/// Writes the whole content to a new file and to the disk; false, and no file, when that failed.
bool writeNewFile(const std::string& path, const Data& content) {
  FileDescriptor file = openUnnamedFileBeside(path);
  if (file.isOpen() && writeAll(file.get(), content.view()) && flush(file.get()) && giveName(file, path))
    return true;
  // A file system without such files, or a system without /proc.
  file = FileDescriptor(
      ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, kOwnerOnlyFile));
  if (!file.isOpen()) return false;
  if (writeAll(file.get(), content.view()) && flush(file.get())) return true;
  ::unlink(path.c_str());
  return false;
}

constexpr std::string_view kTemporaryStart = ".pxalog-";
constexpr std::string_view kTemporaryEnd = ".tmp";
constexpr std::chrono::hours kLongestWrite{1};

/// A name in the same directory that no other writer uses: not in this process, and not in one that has the
/// same process number in another container.
std::string temporaryPathBeside(const String& path) {
  uuid_t uuid;
  uuid_generate_random(uuid);
  std::array<char, UUID_STR_LEN> text{};
  uuid_unparse_lower(uuid, text.data());
  return directoryOf(path).append("/").append(kTemporaryStart).append(text.data()).append(kTemporaryEnd);
}

/// Removes what writers have left that were killed long ago.
void removeOldTemporariesBeside(const String& path) {
  std::error_code error;
  for (std::filesystem::directory_iterator entry(directoryOf(path), error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (!name.starts_with(kTemporaryStart) || !name.ends_with(kTemporaryEnd)) continue;
    std::error_code gone;
    const auto age = std::filesystem::file_time_type::clock::now() - entry->last_write_time(gone);
    if (!gone && age > kLongestWrite) ::unlink(entry->path().c_str());
  }
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
  if (status.st_size > kLargestFile) return std::nullopt;

  ByteBuffer content;
  const std::size_t chunk = chunkFor(status.st_size);
  for (;;) {
    const ssize_t count = ::read(file.get(), content.reserve(chunk), chunk);
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
  removeOldTemporariesBeside(path);
  const std::string temporary = temporaryPathBeside(path);
  if (!writeNewFile(temporary, content)) return false;
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
