#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include <pxalog/String.h>

namespace pxa {

struct FreeMemory {
  std::uint64_t pages;
  std::uint64_t pageSize;  ///< bytes
};

/// What the system knows of the device; nil, or nothing, for what it does not know. Thread-safe; nothing
/// throws but for want of memory.
class DeviceFacts {
 public:
  virtual ~DeviceFacts() = default;
  /// A number that changes when one of the facts does, free memory and free bytes aside; nothing when it
  /// cannot be told whether they have changed.
  virtual std::optional<std::uint64_t> generation() = 0;
  virtual String systemVersion() = 0;
  virtual String machineModel() = 0;
  /// Another control of the system, by its name.
  virtual String systemControl(const String& name) = 0;
  virtual String vendorIdentifier() = 0;
  virtual String carrierName() = 0;
  /// ISO country code of the cellular provider.
  virtual String carrierCountryCode() = 0;
  /// Display name of the user's locale.
  virtual String localeDisplayName() = 0;
  /// Language tags, the user's best first.
  virtual std::vector<String> preferredLanguages() = 0;
  /// Of the main screen, in points; 0 where there is none.
  virtual double screenWidth() = 0;
  virtual std::optional<FreeMemory> freeMemory() = 0;
  /// Free bytes of the file system that holds the documents directory.
  virtual std::optional<std::uint64_t> freeBytesForDocuments() = 0;
  /// Starts a shell and waits for it; what it prints goes nowhere.
  virtual bool canStartShell() = 0;
};

}  // namespace pxa
