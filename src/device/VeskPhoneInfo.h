#pragma once

#include <pxalog/String.h>

namespace pxa {

/// Facts about the phone and its user. Thread-safe.
class VeskPhoneInfo {
 public:
  static VeskPhoneInfo& sharedInstance();

  /// Display name of the user's locale; "" when it is not known.
  [[nodiscard]] String locale() const;
};

}  // namespace pxa
