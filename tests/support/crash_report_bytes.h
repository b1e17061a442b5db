#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include <pxalog/CrashReport.h>
#include <pxalog/Data.h>
#include <pxalog/String.h>

#include "platform/crash_report_file.h"

// What a crash reporter writes, byte for byte.
namespace pxa::test {

/// Puts bytes together; little-endian.
class CrashBytes {
 public:
  template <class Number>
  CrashBytes& number(Number value) {
    auto rest = static_cast<std::make_unsigned_t<Number>>(value);
    for (std::size_t i = 0; i < sizeof(Number); ++i, rest >>= 8)
      bytes_ += static_cast<char>(static_cast<unsigned char>(rest & 0xFF));
    return *this;
  }
  CrashBytes& u32(std::size_t value) { return number(static_cast<std::uint32_t>(value)); }
  CrashBytes& raw(std::string_view bytes) {
    bytes_ += bytes;
    return *this;
  }
  CrashBytes& rawText(std::string_view bytes) { return u32(bytes.size()).raw(bytes); }
  CrashBytes& text(const String& text) {
    return text.isNil() ? u32(crash_report_file::kNil) : rawText(text.view());
  }
  CrashBytes& id(std::optional<std::int64_t> id) { return number(id.value_or(-1)); }
  CrashBytes& codeType(CrashReport::CodeType codeType) {
    return number(codeType.type).number(codeType.subtype);
  }
  CrashBytes& frames(const CrashReport::Frames& frames) {
    u32(frames.size());
    for (const std::uint64_t frame : frames) number(frame);
    return *this;
  }

  [[nodiscard]] const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

struct CrashSection {
  using Kind = crash_report_file::Section;
  Kind kind;
  std::string content;
};

inline CrashSection threadSection(const CrashReport::Thread& thread) {
  CrashBytes bytes;
  bytes.number(thread.number).u32(thread.isCrashed ? 1 : 0).text(thread.name).frames(thread.frames);
  bytes.u32(thread.registers.size());
  for (const auto& its : thread.registers) bytes.text(its.name).number(its.value);
  return {CrashSection::Kind::Thread, bytes.bytes()};
}

inline CrashSection imageSection(const CrashReport::Image& image) {
  CrashBytes bytes;
  bytes.number(image.base).number(image.size).text(image.path).text(image.uuid);
  bytes.u32(image.codeType ? 1 : 0).codeType(image.codeType.value_or(CrashReport::CodeType()));
  return {CrashSection::Kind::Image, bytes.bytes()};
}

/// All sections of a report, End included.
inline std::vector<CrashSection> crashSectionsOf(const CrashReport& report) {
  using Kind = CrashSection::Kind;
  std::vector<CrashSection> sections;
  const auto add = [&](Kind kind, const CrashBytes& bytes) { sections.push_back({kind, bytes.bytes()}); };
  add(Kind::System, CrashBytes()
                        .u32(static_cast<std::uint32_t>(report.operatingSystem))
                        .text(report.systemVersion)
                        .text(report.systemBuild)
                        .codeType(report.architecture)
                        .number(report.time));
  add(Kind::Machine, CrashBytes().text(report.machineModel));
  if (report.codeType) add(Kind::CodeType, CrashBytes().codeType(*report.codeType));
  add(Kind::Application, CrashBytes().text(report.applicationIdentifier).text(report.applicationVersion));
  const CrashReport::Process& process = report.process;
  add(Kind::Process, CrashBytes()
                         .text(process.name)
                         .id(process.id)
                         .text(process.path)
                         .text(process.parentName)
                         .id(process.parentId));
  const CrashReport::Signal& signal = report.signal;
  add(Kind::Signal, CrashBytes().text(signal.name).text(signal.code).number(signal.address));
  if (const auto& exception = report.exception)
    add(Kind::Exception,
        CrashBytes().text(exception->name).text(exception->reason).frames(exception->frames));
  for (const CrashReport::Thread& thread : report.threads) sections.push_back(threadSection(thread));
  for (const CrashReport::Image& image : report.images) sections.push_back(imageSection(image));
  add(Kind::End, CrashBytes());
  return sections;
}

inline std::string crashFileOf(const std::vector<CrashSection>& sections) {
  CrashBytes file;
  file.raw(crash_report_file::kMagic);
  for (const CrashSection& section : sections)
    file.number(static_cast<std::uint32_t>(section.kind)).rawText(section.content);
  return file.bytes();
}

/// The file of a report.
inline std::string crashFileOf(const CrashReport& report) {
  return crashFileOf(crashSectionsOf(report));
}

}  // namespace pxa::test
