#pragma once

#include <pxalog/Export.h>
#include <pxalog/String.h>

namespace pxa {

/// Facts about the phone and its user. Thread-safe; the system is asked for the locale and the languages
/// once, for memory and space each time.
class PXALOG_EXPORT VeskPhoneInfo {
 public:
  /// The one instance, which lives as long as the process.
  static VeskPhoneInfo& sharedInstance();

  VeskPhoneInfo(const VeskPhoneInfo&) = delete;
  VeskPhoneInfo& operator=(const VeskPhoneInfo&) = delete;

  /// The language that the user likes best, as a language tag ("en-US"); nil when none is set.
  [[nodiscard]] String preferedLanguage() const;
  /// Free memory, as "%u kB" of a 32-bit number that wraps; nil when it cannot be read.
  [[nodiscard]] String freeMemory() const;
  /// Free space of the file system that holds the documents directory, as "%u kB" of a single-precision
  /// number: large sizes are rounded, and those that do not fit 32 bits give 4294967295. nil when it cannot
  /// be read.
  [[nodiscard]] String freeSpace() const;
  /// Whether a shell can be started, which a sandboxed application cannot. The first call of the process
  /// starts one and waits for it; later ones remember the answer.
  [[nodiscard]] bool isJailbroken() const;
  /// Display name of the user's locale, in the user's language; "" when it is not known.
  [[nodiscard]] String locale() const;

 private:
  VeskPhoneInfo() = default;
};

}  // namespace pxa
