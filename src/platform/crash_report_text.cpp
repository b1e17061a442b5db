#include "platform/crash_report_text.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <pxalog/VeskFormatter.h>

#include "platform/Platform.h"
#include "platform/installation_id.h"

namespace pxa {

namespace {

using CodeType = CrashReport::CodeType;
using Image = CrashReport::Image;
using Thread = CrashReport::Thread;

constexpr std::string_view kMissing = "???";

/// Numbers in C's notation; up to 127 characters.
[[gnu::format(printf, 1, 2)]] std::string formatted(const char* format, ...) {
  std::array<char, 128> text{};
  std::va_list numbers;
  va_start(numbers, format);
  std::vsnprintf(text.data(), text.size(), format, numbers);  // NOLINT(clang-analyzer-valist.Uninitialized)
  va_end(numbers);
  return text.data();
}

/// A byte as two digits.
std::string hexOf(char byte) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  const auto number = static_cast<unsigned char>(byte);
  return {kDigits[number >> 4], kDigits[number & 0xF]};
}

std::string escaped(std::string_view name, NameEscapes escapes) {
  std::string text;
  text.reserve(name.size());
  for (const char byte : name) {
    const bool isPrintableAscii = byte >= ' ' && byte <= '~';
    if (byte == '\r')
      text += "\\r";
    else if (byte == '\n')
      text += "\\n";
    else if (escapes == NameEscapes::LineBreaks || isPrintableAscii)
      text += byte;
    else
      text.append("\\x") += hexOf(byte);
  }
  return text;
}

std::string_view viewOf(const String& name) {
  return name.isNil() ? kMissing : name.view();
}

std::string textOf(std::optional<std::int64_t> number) {
  return number ? std::to_string(*number) : std::string(kMissing);
}

/// In UTC. A time that has no year of four digits is as good as missing.
std::string dateOf(std::int64_t secondsSince1970) {
  using namespace std::chrono;
  constexpr sys_seconds kFirst = sys_days(year(0) / January / 1);
  constexpr sys_seconds kEnd = sys_days(year(10000) / January / 1);
  const sys_seconds time{seconds(secondsSince1970)};
  if (time < kFirst || time >= kEnd) return std::string(kMissing);
  const sys_days today = floor<days>(time);
  const year_month_day date(today);
  const hh_mm_ss clock(time - today);
  return formatted("%04d-%02u-%02u %02d:%02d:%02d +0000", int{date.year()}, unsigned{date.month()},
                   unsigned{date.day()}, static_cast<int>(clock.hours().count()),
                   static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count()));
}

bool is64Bit(CodeType codeType) {
  return (codeType.type & CrashReport::kAbi64) != 0;
}

const char* operatingSystemName(CrashReport::OperatingSystem system) {
  return system == CrashReport::OperatingSystem::iOS ? "iPhone OS" : "Mac OS X";
}

std::string codeTypeName(CodeType codeType) {
  switch (codeType.type) {
    case CrashReport::kArm64:
      return "ARM-64";
    case CrashReport::kX86_64:
      return "X86-64";
    case CrashReport::kPowerPc:
      return "PPC";
    case CrashReport::kArm:
      return "ARM";
    case CrashReport::kX86:
      return "X86";
    default:
      return formatted("Unknown (%" PRId32 ")", codeType.type);
  }
}

std::string_view arm64Name(std::int32_t subtype) {
  switch (subtype) {
    case 0:
      return "arm64";
    case 13:
      return "armv8";
    default:
      return "arm64-unknown";
  }
}

std::string_view armName(std::int32_t subtype) {
  switch (subtype) {
    case 6:
      return "armv6";
    case 9:
      return "armv7";
    case 11:
      return "armv7s";
    default:
      return "arm-unknown";
  }
}

std::string_view architectureName(const std::optional<CodeType>& codeType) {
  switch (codeType.value_or(CodeType()).type) {
    case CrashReport::kArm64:
      return arm64Name(codeType->subtype);
    case CrashReport::kArm:
      return armName(codeType->subtype);
    case CrashReport::kX86:
      return "i386";
    case CrashReport::kX86_64:
      return "x86_64";
    case CrashReport::kPowerPc:
      return "powerpc";
    default:
      return kMissing;
  }
}

/// The last component of a path.
std::string_view fileNameOf(const String& path) {
  std::string_view name = viewOf(path);
  while (name.size() > 1 && name.ends_with('/')) name.remove_suffix(1);
  const std::size_t slash = name.rfind('/');
  return name.size() > 1 && slash != std::string_view::npos ? name.substr(slash + 1) : name;
}

/// The last address of an image; its first one where it has no size.
std::uint64_t lastAddressOf(const Image& image) {
  if (image.size == 0) return image.base;
  return image.base + std::min(image.size - 1, std::numeric_limits<std::uint64_t>::max() - image.base);
}

std::vector<const Image*> sortedImagesOf(const CrashReport& report) {
  std::vector<const Image*> images;
  images.reserve(report.images.size());
  for (const Image& image : report.images) images.push_back(&image);
  // Of equal ones the first stays the first.
  std::sort(images.begin(), images.end(), [](const Image* left, const Image* right) {
    const int order = rdm_sdk_binaryImageSort(*left, *right);
    return order != 0 ? order < 0 : left < right;
  });
  return images;
}

/// As much room as the text leaves of the width.
std::string padding(std::string_view text, std::size_t width) {
  return std::string(width - std::min(width, text.size()), ' ');
}

/// What a frame's line says of the image that holds it.
struct FrameImage {
  FrameImage(const Image& image, NameEscapes escapes)
      : base(image.base), fileName(escaped(fileNameOf(image.path), escapes)) {}

  std::uint64_t base;
  std::string fileName;
};

/// Finds the image of an address as CrashReport::imageForAddress does, but in many images fast.
class ImageFinder {
 public:
  ImageFinder(const std::vector<const Image*>& sortedImages, NameEscapes escapes) {
    for (const Image* image : sortedImages)
      if (image->size > 0) add(*image, escapes);
  }

  /// nullptr when no image holds the address.
  [[nodiscard]] const FrameImage* find(std::uint64_t address) const {
    const auto range =
        std::lower_bound(ranges_.begin(), ranges_.end(), address,
                         [](const Range& left, std::uint64_t sought) { return left.last < sought; });
    return range == ranges_.end() || address < range->first ? nullptr : &range->image;
  }

 private:
  struct Range {
    std::uint64_t first;
    std::uint64_t last;
    FrameImage image;
  };

  /// Takes what no image before this one has.
  void add(const Image& image, NameEscapes escapes) {
    const std::uint64_t last = lastAddressOf(image);
    std::uint64_t first = image.base;
    if (!ranges_.empty()) {
      if (last <= ranges_.back().last) return;
      first = std::max(first, ranges_.back().last + 1);
    }
    ranges_.push_back({first, last, FrameImage(image, escapes)});
  }

  std::vector<Range> ranges_;  ///< in order of address, none overlapping another
};

/// A text in the making. What is put behind a text that is too large already is dropped.
class Writer {
 public:
  explicit Writer(NameEscapes escapes) : escapes_(escapes) {}

  Writer& put(std::string_view text) {
    if (!isTooLarge()) text_ += text;
    return *this;
  }
  Writer& putName(std::string_view name) { return isTooLarge() ? *this : put(escaped(name, escapes_)); }
  Writer& putName(const String& name) { return putName(viewOf(name)); }

  [[nodiscard]] bool isTooLarge() const { return text_.size() > kMaximumCrashText; }
  [[nodiscard]] String text() const { return isTooLarge() ? String() : String(text_); }

 private:
  const NameEscapes escapes_;
  std::string text_;
};

void putFrame(Writer& out, std::uint64_t frame, std::int64_t index, const FrameImage* image) {
  const std::string_view fileName = image == nullptr ? kMissing : image->fileName;
  const std::uint64_t base = image == nullptr ? 0 : image->base;
  const auto offset = static_cast<std::int64_t>(image == nullptr ? 0 : frame - base);
  out.put(formatted("%-4" PRId64, index)).put(fileName).put(padding(fileName, 36));
  out.put(formatted("0x%08" PRIx64 " 0x%" PRIx64 " + %" PRId64 "\n", frame, base, offset));
}

/// The blocks of the text, in their order.
class Layout {
 public:
  Layout(const CrashReport& report, NameEscapes escapes)
      : report_(report),
        codeType_(report.processCodeType()),
        images_(sortedImagesOf(report)),
        finder_(images_, escapes),
        crashed_(report.crashedThread()),
        escapes_(escapes),
        out_(escapes) {}

  String text() {
    putHeader();
    putDateAndSystem();
    putSignal();
    if (report_.exception) putException(*report_.exception);
    for (const Thread& thread : report_.threads) putThread(thread);
    if (crashed_ != nullptr) putRegisters(*crashed_);
    putImages();
    return out_.text();
  }

 private:
  void putHeader() {
    const CrashReport::Process& process = report_.process;
    out_.put("Incident Identifier: ").putName(incidentIdentifier()).put("\n");
    out_.put("CrashReporter Key:   ").putName(crashReporterKey()).put("\n");
    out_.put("Hardware Model:      ").putName(report_.machineModel).put("\n");
    out_.put("Process:         ").putName(process.name).put(" [").put(textOf(process.id)).put("]\n");
    out_.put("Path:            ").putName(process.path).put("\n");
    out_.put("Identifier:      ").putName(report_.applicationIdentifier).put("\n");
    out_.put("Version:         ").putName(report_.applicationVersion).put("\n");
    out_.put("Code Type:       ").put(codeTypeName(codeType_)).put("\n");
    out_.put("Parent Process:  ")
        .putName(process.parentName)
        .put(" [")
        .put(textOf(process.parentId))
        .put("]\n");
    out_.put("\n");
  }

  void putDateAndSystem() {
    out_.put("Date/Time:       ").put(dateOf(report_.time)).put("\n");
    out_.put("OS Version:      ").put(operatingSystemName(report_.operatingSystem)).put(" ");
    out_.putName(report_.systemVersion).put(" (").putName(report_.systemBuild).put(")\n");
    out_.put("Report Version:  104\n\n");
  }

  void putSignal() {
    const CrashReport::Signal& signal = report_.signal;
    out_.put("Exception Type:  ").putName(signal.name).put("\n");
    out_.put("Exception Codes: ").putName(signal.code).put(formatted(" at 0x%" PRIx64 "\n", signal.address));
    out_.put(formatted("Crashed Thread:  %" PRId64 "\n\n", crashedNumber()));
  }

  void putException(const CrashReport::Exception& exception) {
    out_.put("Application Specific Information:\n");
    out_.put("*** Terminating app due to uncaught exception '").putName(exception.name);
    out_.put("', reason: '").putName(exception.reason).put("'\n\n");
    if (exception.frames.empty()) return;
    out_.put(formatted("Thread %" PRId64 " name:  Exception Backtrace\n", crashedNumber()));
    out_.put(formatted("Thread %" PRId64 ":\n", crashedNumber()));
    putFrames(exception.frames);
  }

  void putThread(const Thread& thread) {
    out_.put(formatted("Thread %" PRId64, thread.number)).put(&thread == crashed_ ? " Crashed:\n" : ":\n");
    putFrames(thread.frames);
  }

  /// With the empty line that ends the block.
  void putFrames(const CrashReport::Frames& frames) {
    std::int64_t index = 0;
    for (const std::uint64_t frame : frames) putFrame(out_, frame, index++, finder_.find(frame));
    out_.put("\n");
  }

  void putRegisters(const Thread& thread) {
    constexpr std::size_t kPerLine = 4;
    out_.put(formatted("Thread %" PRId64 " crashed with ", thread.number)).put(codeTypeName(codeType_));
    out_.put(" Thread State:\n");
    for (std::size_t i = 0; i < thread.registers.size(); ++i) {
      putRegister(thread.registers[i]);
      if (i % kPerLine == kPerLine - 1 || i + 1 == thread.registers.size()) out_.put("\n");
    }
    out_.put("\n");
  }

  void putRegister(const CrashReport::Register& its) {
    const bool isScratch = codeType_.type == CrashReport::kArm && its.name == "r12";
    const std::string name = escaped(isScratch ? "ip" : viewOf(its.name), escapes_);
    out_.put(padding(name, 6)).put(name);
    out_.put(is64Bit(codeType_) ? formatted(": 0x%016" PRIx64 " ", its.value)
                                : formatted(": 0x%08" PRIx64 " ", its.value));
  }

  void putImages() {
    out_.put("Binary Images:\n");
    for (const Image* image : images_) putImage(*image);
  }

  void putImage(const Image& image) {
    const std::uint64_t last = lastAddressOf(image);
    const bool isTheProgram = !image.path.isNil() && image.path == report_.process.path;
    out_.put(is64Bit(codeType_) ? formatted("%#18" PRIx64 " - %#18" PRIx64 " ", image.base, last)
                                : formatted("%#10" PRIx64 " - %#10" PRIx64 " ", image.base, last));
    out_.put(isTheProgram ? "+" : " ").putName(fileNameOf(image.path)).put(" ");
    out_.put(architectureName(image.codeType)).put("  <").putName(image.uuid).put("> ");
    out_.putName(image.path).put("\n");
  }

  [[nodiscard]] std::int64_t crashedNumber() const { return crashed_ == nullptr ? 0 : crashed_->number; }

  const CrashReport& report_;
  const CodeType codeType_;
  const std::vector<const Image*> images_;
  const ImageFinder finder_;
  const Thread* const crashed_;
  const NameEscapes escapes_;
  Writer out_;
};

}  // namespace

String crashReportText(const CrashReport& report, NameEscapes escapes) {
  return Layout(report, escapes).text();
}

String stackFrameText(std::uint64_t frame, std::int64_t index, const CrashReport& report,
                      NameEscapes escapes) {
  Writer out(escapes);
  const Image* const image = report.imageForAddress(frame);
  const auto found = image == nullptr ? std::nullopt : std::optional(FrameImage(*image, escapes));
  putFrame(out, frame, index, found ? &*found : nullptr);
  return out.text();
}

String incidentIdentifier() {
  return Platform::current().uuids.createUuid();
}

String crashReporterKey() {
  return installationId();
}

int rdm_sdk_binaryImageSort(const Image& left, const Image& right) noexcept {
  if (left.base == right.base) return 0;
  return left.base < right.base ? -1 : 1;
}

}  // namespace pxa
