#include "platform/crash_report_file.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <type_traits>
#include <utility>

#include <pxalog/CrashReport.h>

namespace pxa {

using namespace crash_report_file;

namespace {

/// Reads what a section is made of. What is not there reads as nothing, and the reader is unsound from then
/// on.
class Reader {
 public:
  explicit Reader(std::string_view bytes) : rest_(bytes) {}

  [[nodiscard]] bool isSound() const { return isSound_; }
  [[nodiscard]] bool isAtEnd() const { return rest_.empty(); }

  std::string_view bytes(std::size_t size) {
    if (size > rest_.size()) {
      isSound_ = false;
      return {};
    }
    const std::string_view taken = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return taken;
  }

  template <class Number>
  Number number() {
    std::make_unsigned_t<Number> value = 0;
    const std::string_view taken = bytes(sizeof(Number));
    for (auto byte = taken.rbegin(); byte != taken.rend(); ++byte)
      value = value << 8 | static_cast<unsigned char>(*byte);
    return static_cast<Number>(value);
  }

  bool flag() { return number<std::uint32_t>() != 0; }

  String text() {
    const auto size = number<std::uint32_t>();
    return size == kNil ? String() : String(bytes(size));
  }

  std::optional<std::int64_t> processId() {
    const auto id = number<std::int64_t>();
    return id < 0 ? std::nullopt : std::optional(id);
  }

  CrashReport::CodeType codeType() {
    const auto type = number<std::int32_t>();
    return {.type = type, .subtype = number<std::int32_t>()};
  }

  CrashReport::Frames frames() {
    constexpr std::size_t kSize = sizeof(std::uint64_t);
    const std::size_t count = number<std::uint32_t>();
    CrashReport::Frames frames;
    Reader addresses(count <= rest_.size() / kSize ? bytes(count * kSize) : bytes(rest_.size() + 1));
    if (isSound_) frames.reserve(count);
    while (!addresses.isAtEnd()) frames.push_back(addresses.number<std::uint64_t>());
    return frames;
  }

  std::vector<CrashReport::Register> registers() {
    std::vector<CrashReport::Register> registers;
    for (auto left = number<std::uint32_t>(); left > 0 && isSound_; --left) {
      String name = text();
      registers.push_back({.name = std::move(name), .value = number<std::uint64_t>()});
    }
    return registers;
  }

 private:
  std::string_view rest_;
  bool isSound_ = true;
};

CrashReport::OperatingSystem operatingSystemOf(std::uint32_t number) {
  using enum CrashReport::OperatingSystem;
  for (const auto known : {iOS, Linux})
    if (number == static_cast<std::uint32_t>(known)) return known;
  return Unknown;
}

void readSystem(Reader& reader, CrashReport& report) {
  report.operatingSystem = operatingSystemOf(reader.number<std::uint32_t>());
  report.systemVersion = reader.text();
  report.systemBuild = reader.text();
  report.architecture = reader.codeType();
  report.time = reader.number<std::int64_t>();
}

void readMachine(Reader& reader, CrashReport& report) {
  report.machineModel = reader.text();
}

void readCodeType(Reader& reader, CrashReport& report) {
  report.codeType = reader.codeType();
}

void readApplication(Reader& reader, CrashReport& report) {
  report.applicationIdentifier = reader.text();
  report.applicationVersion = reader.text();
}

void readProcess(Reader& reader, CrashReport& report) {
  report.process.name = reader.text();
  report.process.id = reader.processId();
  report.process.path = reader.text();
  report.process.parentName = reader.text();
  report.process.parentId = reader.processId();
}

void readSignal(Reader& reader, CrashReport& report) {
  report.signal.name = reader.text();
  report.signal.code = reader.text();
  report.signal.address = reader.number<std::uint64_t>();
}

void readException(Reader& reader, CrashReport& report) {
  CrashReport::Exception& exception = report.exception.emplace();
  exception.name = reader.text();
  exception.reason = reader.text();
  exception.frames = reader.frames();
}

void readThread(Reader& reader, CrashReport& report) {
  CrashReport::Thread& thread = report.threads.emplace_back();
  thread.number = reader.number<std::int64_t>();
  thread.isCrashed = reader.flag();
  thread.name = reader.text();
  thread.frames = reader.frames();
  thread.registers = reader.registers();
}

void readImage(Reader& reader, CrashReport& report) {
  CrashReport::Image& image = report.images.emplace_back();
  image.base = reader.number<std::uint64_t>();
  image.size = reader.number<std::uint64_t>();
  image.path = reader.text();
  image.uuid = reader.text();
  const bool hasCodeType = reader.flag();
  const CrashReport::CodeType codeType = reader.codeType();
  if (hasCodeType) image.codeType = codeType;
}

void readNothing(Reader&, CrashReport&) {}

struct SectionForm {
  void (*read)(Reader&, CrashReport&);
  bool repeats = false;
};

/// By the number of the section's kind.
constexpr std::array<SectionForm, 10> kSections = {{{readNothing},
                                                    {readSystem},
                                                    {readMachine},
                                                    {readCodeType},
                                                    {readApplication},
                                                    {readProcess},
                                                    {readSignal},
                                                    {readException},
                                                    {readThread, true},
                                                    {readImage, true}}};

/// Reads section after section; each step gives nullptr, or what is wrong with the file.
class Decoder {
 public:
  explicit Decoder(std::string_view bytes) : file_(bytes) {}

  const char* decode() {
    if (file_.bytes(kMagic.size()) != kMagic) return "Not a crash report";
    while (!has(Section::End))
      if (const char* fault = readSection(); fault != nullptr) return fault;
    if (!file_.isAtEnd()) return "Bytes after the end of the crash report";
    if (!has(Section::System) || !has(Section::Signal)) return "The crash report lacks a section";
    return nullptr;
  }

  CrashReport takeReport() { return std::move(report_); }

 private:
  [[nodiscard]] bool has(Section section) const { return seen_[static_cast<std::size_t>(section)]; }

  const char* readSection() {
    const std::size_t kind = file_.number<std::uint32_t>();
    Reader content(file_.bytes(file_.number<std::uint32_t>()));
    if (!file_.isSound()) return "The crash report is cut off";
    if (kind >= kSections.size()) return nullptr;
    if (std::exchange(seen_[kind], true) && !kSections[kind].repeats)
      return "The crash report repeats a section";
    kSections[kind].read(content, report_);
    return content.isSound() && content.isAtEnd() ? nullptr : "A section of the crash report is damaged";
  }

  Reader file_;
  CrashReport report_;
  std::array<bool, kSections.size()> seen_{};
};

/// nullptr, or why there is no report.
const char* decode(const Data& data, std::optional<CrashReport>& report) {
  if (data.isNil()) return "There is no crash report";
  if (data.size() > kMaximumSize) return "The crash report is too large";
  Decoder decoder(data.view());
  if (const char* fault = decoder.decode(); fault != nullptr) return fault;
  report = decoder.takeReport();
  return nullptr;
}

}  // namespace

std::optional<CrashReport> CrashReport::initWithData_error(const Data& data, Error* error) {
  std::optional<CrashReport> report;
  const char* const fault = decode(data, report);
  if (fault != nullptr && error != nullptr) *error = Error::withDescription(kErrorDomain, -1, fault);
  return report;
}

const CrashReport::Image* CrashReport::imageForAddress(std::uint64_t address) const {
  const Image* first = nullptr;
  for (const Image& image : images) {
    const bool holdsAddress = address >= image.base && address - image.base < image.size;
    if (holdsAddress && (first == nullptr || image.base < first->base)) first = &image;
  }
  return first;
}

const CrashReport::Thread* CrashReport::crashedThread() const {
  const auto thread =
      std::find_if(threads.begin(), threads.end(), [](const Thread& t) { return t.isCrashed; });
  return thread == threads.end() ? nullptr : &*thread;
}

}  // namespace pxa
