#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// The file that a crash reporter writes and CrashReport::initWithData_error reads.
//
// kMagic, then sections, the last of them End. A section is its kind (u32), the size of what follows (u32)
// and that many bytes. Numbers are little-endian. A text is its size (u32; kNil for nil) and its bytes.
// Frames are a count (u32) and that many addresses (u64). A code type is two i32, type and subtype. Every
// kind but Thread and Image comes at most once; System and Signal must be there; unknown kinds are passed
// over.

namespace pxa::crash_report_file {

inline constexpr std::string_view kMagic{"PXACRSH\x01", 8};
/// In the documents directory.
inline constexpr const char* kFileName = "crashReport.plcrash";
inline constexpr std::uint32_t kNil = 0xFFFFFFFF;
/// A larger file is none of a reporter's.
inline constexpr std::size_t kMaximumSize = std::size_t{64} * 1024 * 1024;

enum class Section : std::uint32_t {
  End = 0,          // empty
  System = 1,       // u32 operating system, text version, text build, code type, i64 seconds since 1970
  Machine = 2,      // text model
  CodeType = 3,     // code type of the process
  Application = 4,  // text identifier, text version
  Process = 5,      // text name, i64 id, text path, text parent's name, i64 parent's id; ids below 0: unknown
  Signal = 6,       // text name, text code, u64 address
  Exception = 7,    // text name, text reason, frames
  Thread = 8,       // i64 number, u32 is crashed, text name, frames, u32 count of registers,
                    // each: text name, u64 value
  Image = 9,        // u64 base, u64 size, text path, text uuid, u32 has a code type, code type
};

}  // namespace pxa::crash_report_file
