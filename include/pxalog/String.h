#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include <pxalog/Data.h>

namespace pxa {

namespace detail {
struct Adopt;
}

/// An immutable UTF-8 text, or nil. Copies share one buffer; nil and "" are different values.
/// Every constructor that takes bytes repairs what is not UTF-8 with U+FFFD, one for each maximal broken
/// part. Thread-safe to read and to copy; one String object is not to be assigned by two threads at once.
class PXALOG_EXPORT String {
 public:
  /// nil.
  constexpr String() noexcept = default;
  constexpr String(std::nullptr_t) noexcept {}
  /// A copy of a NUL-terminated text; a null pointer gives nil.
  String(const char* text) : String(text == nullptr ? String() : String(std::string_view(text))) {}
  String(std::string_view text);
  String(const std::string& text) : String(std::string_view(text)) {}

  String(const String& other) noexcept : bytes_(other.bytes_) { retain(); }
  String(String&& other) noexcept : bytes_(std::exchange(other.bytes_, nullptr)) {}
  String& operator=(String other) noexcept {
    std::swap(bytes_, other.bytes_);
    return *this;
  }
  ~String() {
    if (bytes_ != nullptr) bytes_->release();
  }

  /// The text of the bytes, sharing their buffer; nil when they are nil or not UTF-8.
  static String fromUtf8(const Data& bytes) noexcept;

  [[nodiscard]] bool isNil() const noexcept { return bytes_ == nullptr; }
  /// nil or "".
  [[nodiscard]] bool isEmpty() const noexcept { return view().empty(); }
  /// Length in bytes; 0 for nil.
  [[nodiscard]] std::size_t size() const noexcept { return view().size(); }
  /// The UTF-8 bytes; none for nil. Valid as long as a holder of this buffer lives.
  [[nodiscard]] std::string_view view() const noexcept {
    return bytes_ == nullptr ? std::string_view() : bytes_->view();
  }
  /// The same text, NUL-terminated; "" for nil.
  [[nodiscard]] const char* c_str() const noexcept { return bytes_ == nullptr ? "" : bytes_->view().data(); }
  /// The UTF-8 bytes as Data, sharing the buffer; nil for nil.
  [[nodiscard]] Data utf8() const noexcept {
    retain();
    return Data(bytes_);
  }

  /// The integer at the start of the text: leading white space, a sign, digits. 0 where there is none, and
  /// the nearest limit where it does not fit.
  [[nodiscard]] std::int64_t longLongValue() const noexcept;
  [[nodiscard]] std::int32_t intValue() const noexcept;

  /// Equal texts; nil equals nil alone.
  friend bool operator==(const String& left, const String& right) noexcept {
    return left.bytes_ == right.bytes_ ||
           (left.bytes_ != nullptr && right.bytes_ != nullptr && left.view() == right.view());
  }
  friend bool operator==(const String& left, const char* right) noexcept {
    return right == nullptr ? left.isNil() : !left.isNil() && left.view() == right;
  }

 private:
  friend class Value;
  friend class Number;
  friend struct detail::Adopt;
  template <detail::SharedBytes* bytes>
  friend String constantString() noexcept;
  constexpr explicit String(detail::SharedBytes* adopted) noexcept : bytes_(adopted) {}
  void retain() const noexcept {
    if (bytes_ != nullptr) bytes_->retain();
  }

  detail::SharedBytes* bytes_ = nullptr;
};

/// A String over a constant buffer; what the _text literal uses.
template <detail::SharedBytes* bytes>
inline String constantString() noexcept {
  return String(bytes);
}

namespace detail {

template <std::size_t N>
struct LiteralText {
  constexpr LiteralText(const char (&text)[N]) { std::copy_n(text, N, characters); }
  char characters[N]{};
};

template <LiteralText text>
inline constinit SharedBytes literalBytes{SharedBytes::kImmortal, SharedBytes::Encoding::Utf8,
                                          sizeof(text.characters) - 1, text.characters};

}  // namespace detail

namespace literals {

/// "INFO"_text: a String over a constant buffer that is neither allocated nor counted.
/// The literal must be UTF-8 without NUL characters.
template <detail::LiteralText text>
inline String operator""_text() noexcept {
  return constantString<&detail::literalBytes<text>>();
}

}  // namespace literals

}  // namespace pxa
