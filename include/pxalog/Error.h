#pragma once

#include <utility>

#include <pxalog/Dictionary.h>

namespace pxa {

/// Why an operation failed: a domain, a code of that domain, and further facts under keys.
/// A default-made Error stands for "no error".
class PXALOG_EXPORT Error {
 public:
  Error() noexcept : userInfo_(nullptr) {}
  Error(String domain, int code, Dictionary userInfo) noexcept
      : domain_(std::move(domain)), code_(code), userInfo_(std::move(userInfo)) {}
  /// An error whose user information holds the message under kLocalizedDescriptionKey.
  static Error withDescription(String domain, int code, String message);

  /// This error with another one as its cause, under kUnderlyingErrorKey. However long such a chain is, it
  /// goes in constant stack.
  [[nodiscard]] Error withUnderlying(Error cause) const;

  static const char* const kLocalizedDescriptionKey;
  static const char* const kUnderlyingErrorKey;

  /// Whether this is an error at all.
  [[nodiscard]] bool isError() const noexcept { return !domain_.isNil(); }
  [[nodiscard]] const String& domain() const noexcept { return domain_; }
  [[nodiscard]] int code() const noexcept { return code_; }
  [[nodiscard]] const Dictionary& userInfo() const noexcept { return userInfo_; }
  /// The message under kLocalizedDescriptionKey; nil when there is none.
  [[nodiscard]] String localizedDescription() const;
  /// The cause under kUnderlyingErrorKey; no error when there is none.
  [[nodiscard]] Error underlyingError() const;

 private:
  String domain_;
  int code_ = 0;
  Dictionary userInfo_;
};

}  // namespace pxa
