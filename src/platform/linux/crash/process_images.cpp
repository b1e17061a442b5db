#include "platform/linux/crash/process_images.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstring>
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <span>
#include <unistd.h>

#include "platform/linux/crash/FaultGuard.h"

namespace pxa::crash {

namespace {

using Header = ElfW(Ehdr);
using Segment = ElfW(Phdr);
using Note = ElfW(Nhdr);

/// Reads a file line by line.
class LineReader {
 public:
  explicit LineReader(const char* path) noexcept : descriptor_(::open(path, O_RDONLY | O_CLOEXEC)) {}
  ~LineReader() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  /// The next line without its line feed, cut if it is long; nullptr at the end.
  const char* next() noexcept {
    std::size_t length = 0;
    for (char byte = 0; read(byte);) {
      if (byte == '\n') return finish(length);
      if (length + 1 < sizeof line_) line_[length++] = byte;
    }
    return length > 0 ? finish(length) : nullptr;
  }

 private:
  bool read(char& byte) noexcept {
    if (position_ == size_) {
      ssize_t got = -1;
      do {
        got = ::read(descriptor_, buffer_, sizeof buffer_);
      } while (got < 0 && errno == EINTR);
      if (got <= 0) return false;
      position_ = 0;
      size_ = static_cast<std::size_t>(got);
    }
    byte = buffer_[position_++];
    return true;
  }
  const char* finish(std::size_t length) noexcept {
    line_[length] = '\0';
    return line_;
  }

  int descriptor_;
  char buffer_[4096];
  std::size_t position_ = 0;
  std::size_t size_ = 0;
  char line_[PATH_MAX + 128];
};

/// A line of the process's memory map: "start-end rwxp offset device inode   path".
struct Mapping {
  std::uint64_t start = 0;
  bool isReadable = false;
  bool isStartOfFile = false;
  const char* path = nullptr;
};

std::uint64_t takeHexadecimal(const char*& text) noexcept {
  std::uint64_t number = 0;
  for (;; ++text) {
    if (*text >= '0' && *text <= '9')
      number = number << 4U | static_cast<std::uint64_t>(*text - '0');
    else if (*text >= 'a' && *text <= 'f')
      number = number << 4U | static_cast<std::uint64_t>(*text - 'a' + 10);
    else
      return number;
  }
}

void skipField(const char*& text) noexcept {
  while (*text != ' ' && *text != '\0') ++text;
  while (*text == ' ') ++text;
}

Mapping parse(const char* line) noexcept {
  Mapping mapping;
  mapping.start = takeHexadecimal(line);
  skipField(line);
  mapping.isReadable = *line == 'r';
  skipField(line);
  mapping.isStartOfFile = takeHexadecimal(line) == 0;
  for (int field = 0; field < 3; ++field) skipField(line);
  mapping.path = line;
  return mapping;
}

/// The build id in the notes, as hexadecimal digits; false when there is none.
bool readBuildId(std::span<const std::byte> notes, std::span<char> text) noexcept {
  constexpr char kDigits[] = "0123456789abcdef";
  constexpr std::size_t kAlignment = 4;
  const auto aligned = [](std::size_t size) { return (size + kAlignment - 1) / kAlignment * kAlignment; };
  while (notes.size() >= sizeof(Note)) {
    Note note;
    std::memcpy(&note, notes.data(), sizeof note);
    const std::size_t nameSize = aligned(note.n_namesz);
    const std::size_t idSize = note.n_descsz;
    if (nameSize > notes.size() - sizeof note || idSize > notes.size() - sizeof note - nameSize) return false;
    const std::byte* name = notes.data() + sizeof note;
    if (note.n_type == NT_GNU_BUILD_ID && note.n_namesz == 4 && std::memcmp(name, "GNU", 4) == 0) {
      const std::size_t count = std::min(idSize, (text.size() - 1) / 2);
      for (std::size_t i = 0; i < count; ++i) {
        const auto byte = std::to_integer<unsigned>(name[nameSize + i]);
        text[2 * i] = kDigits[byte >> 4U];
        text[2 * i + 1] = kDigits[byte & 15U];
      }
      text[2 * count] = '\0';
      return count > 0;
    }
    notes = notes.subspan(std::min(notes.size(), sizeof note + nameSize + aligned(idSize)));
  }
  return false;
}

/// What the head of an image in memory says of it; an image of size 0 when it is none.
class ImageReader {
 public:
  explicit ImageReader(const Mapping& mapping) noexcept : mapping_(mapping) {}

  void read() noexcept {
    const auto* header = reinterpret_cast<const Header*>(mapping_.start);
    const bool isImage = std::memcmp(header->e_ident, ELFMAG, SELFMAG) == 0 &&
                         (header->e_type == ET_EXEC || header->e_type == ET_DYN) &&
                         header->e_phentsize == sizeof(Segment);
    if (!isImage) return;
    const std::span segments(reinterpret_cast<const Segment*>(mapping_.start + header->e_phoff),
                             header->e_phnum);
    std::uint64_t low = UINT64_MAX;
    std::uint64_t high = 0;
    for (const Segment& segment : segments) {
      if (segment.p_type != PT_LOAD) continue;
      low = std::min<std::uint64_t>(low, segment.p_vaddr);
      high = std::max<std::uint64_t>(high, segment.p_vaddr + segment.p_memsz);
    }
    if (low >= high) return;
    facts_ = {mapping_.start, high - low, mapping_.path, nullptr};
    for (const Segment& segment : segments)
      if (segment.p_type == PT_NOTE && facts_.uuid == nullptr) readNotes(segment, mapping_.start - low);
  }

  [[nodiscard]] const ImageFacts& facts() const noexcept { return facts_; }

 private:
  void readNotes(const Segment& segment, std::uint64_t bias) noexcept {
    const auto* notes = reinterpret_cast<const std::byte*>(bias + segment.p_vaddr);
    if (readBuildId({notes, segment.p_memsz}, buildId_)) facts_.uuid = buildId_;
  }

  const Mapping& mapping_;
  ImageFacts facts_;
  char buildId_[2 * 32 + 1];
};

}  // namespace

void listImages(void (*found)(const ImageFacts& image, void* object), void* object) noexcept {
  LineReader lines("/proc/self/maps");
  while (const char* line = lines.next()) {
    const Mapping mapping = parse(line);
    const bool mayBeImage = mapping.isStartOfFile && mapping.isReadable &&
                            (*mapping.path == '/' || std::strcmp(mapping.path, "[vdso]") == 0);
    if (!mayBeImage) continue;
    ImageReader image(mapping);
    FaultGuard::run([&] { image.read(); });
    if (image.facts().size > 0) found(image.facts(), object);
  }
}

}  // namespace pxa::crash
