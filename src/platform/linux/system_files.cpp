#include "platform/linux/system_files.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/FileDescriptor.h"

namespace pxa {

namespace {

constexpr std::size_t kMostBytes = 16384;

/// What a file holds, at most 16 KiB of it; "" when it cannot be read without waiting.
std::string contentOf(const std::string& path) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!file.isOpen() || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return "";
  std::string content(kMostBytes, '\0');
  const ssize_t size = ::read(file.get(), content.data(), content.size());
  content.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
  return content;
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kAround(" \t\r\n\0", 5);
  const std::size_t first = text.find_first_not_of(kAround);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kAround) - first + 1);
}

String textOrNil(std::string_view text) {
  return text.empty() ? String(nullptr) : String(text);
}

std::string_view takeLine(std::string_view& rest) {
  const std::size_t end = std::min(rest.find('\n'), rest.size());
  const std::string_view line = rest.substr(0, end);
  rest.remove_prefix(std::min(end + 1, rest.size()));
  return line;
}

std::string_view withoutQuotes(std::string_view value) {
  const bool isQuoted =
      value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front();
  return isQuoted ? value.substr(1, value.size() - 2) : value;
}

}  // namespace

String firstLineOf(std::initializer_list<const char*> paths) {
  for (const char* path : paths) {
    const std::string content = contentOf(path);
    std::string_view rest = content;
    if (const std::string_view line = trimmed(takeLine(rest)); !line.empty()) return line;
  }
  return nullptr;
}

String versionIn(std::string_view osRelease) {
  constexpr std::string_view kKey = "VERSION_ID=";
  while (!osRelease.empty()) {
    const std::string_view line = trimmed(takeLine(osRelease));
    if (line.starts_with(kKey)) return textOrNil(trimmed(withoutQuotes(line.substr(kKey.size()))));
  }
  return nullptr;
}

std::string osRelease() {
  const std::string own = contentOf("/etc/os-release");
  return own.empty() ? contentOf("/usr/lib/os-release") : own;
}

String kernelParameter(const String& name) {
  std::string path(name.view());
  if (path.empty() || path.find('/') != std::string::npos) return nullptr;
  std::replace(path.begin(), path.end(), '.', '/');
  return textOrNil(trimmed(contentOf("/proc/sys/" + path)));
}

}  // namespace pxa
