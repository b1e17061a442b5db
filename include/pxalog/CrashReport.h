#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include <pxalog/Data.h>
#include <pxalog/Error.h>
#include <pxalog/Export.h>
#include <pxalog/String.h>

namespace pxa {

/// A decoded crash report: plain data. What the report does not say is nil or absent. Texts are as the report
/// holds them, with bytes that are not UTF-8 repaired.
struct PXALOG_EXPORT CrashReport {
  // NOLINTNEXTLINE(readability-identifier-naming): the system's own spelling.
  enum class OperatingSystem : std::uint32_t { Unknown = 0, iOS = 1, Linux = 2 };

  /// Processor types and subtypes, by the numbers that Mach-O files use.
  struct CodeType {
    std::int32_t type = 0;
    std::int32_t subtype = 0;
  };
  /// Set in the type of every 64-bit processor.
  static constexpr std::int32_t kAbi64 = 0x1000000;
  static constexpr std::int32_t kX86 = 7;
  static constexpr std::int32_t kArm = 12;
  static constexpr std::int32_t kPowerPc = 18;
  static constexpr std::int32_t kX86_64 = kX86 | kAbi64;
  static constexpr std::int32_t kArm64 = kArm | kAbi64;

  /// The process at the moment of the crash, by its own and its parent's name and id.
  struct Process {
    String name{};
    std::optional<std::int64_t> id{};
    String path{};
    String parentName{};
    std::optional<std::int64_t> parentId{};
  };

  struct Signal {
    String name{};  ///< "SIGSEGV"
    String code{};  ///< "SEGV_MAPERR"
    std::uint64_t address = 0;
  };

  /// Instruction pointers, the innermost first.
  using Frames = std::vector<std::uint64_t>;

  struct Exception {
    String name;
    String reason;
    Frames frames;  ///< of the place that threw it; may be empty
  };

  struct Register {
    String name{};
    std::uint64_t value = 0;
  };

  struct Thread {
    std::int64_t number = 0;
    bool isCrashed = false;
    String name{};
    Frames frames{};
    std::vector<Register> registers{};  ///< of the crashed thread
  };

  struct Image {
    std::uint64_t base = 0;
    std::uint64_t size = 0;
    String path{};
    String uuid{};
    std::optional<CodeType> codeType{};
  };

  /// Domain of the errors that initWithData_error reports.
  static constexpr const char* kErrorDomain = "CrashReportErrorDomain";

  /// Reads the bytes that a reporter has written. Nothing, and an error if one is asked for, when they are
  /// nil, damaged, cut off, not of this kind or more than 64 MiB. Bytes from anywhere are safe to give.
  /// Selector: initWithData:error:
  [[nodiscard]] static std::optional<CrashReport> initWithData_error(const Data& data,
                                                                     Error* error = nullptr);

  /// The image that holds the address, of several the one that starts first; nullptr when none does.
  [[nodiscard]] const Image* imageForAddress(std::uint64_t address) const;
  /// The thread whose crashed flag is set; nullptr when none is.
  [[nodiscard]] const Thread* crashedThread() const;
  /// The code type of the process; the system's architecture when the report names none.
  [[nodiscard]] CodeType processCodeType() const { return codeType.value_or(architecture); }

  OperatingSystem operatingSystem = OperatingSystem::Unknown;
  String systemVersion;
  String systemBuild;
  CodeType architecture;  ///< of the system
  std::int64_t time = 0;  ///< of the crash, in seconds since 1970
  String machineModel;
  std::optional<CodeType> codeType;  ///< of the process
  String applicationIdentifier;
  String applicationVersion;
  Process process;
  Signal signal;
  std::optional<Exception> exception;
  std::vector<Thread> threads;
  std::vector<Image> images;
};

}  // namespace pxa
