#pragma once

#include <cstddef>
#include <string_view>
#include <utility>

#include <pxalog/detail/SharedBytes.h>

namespace pxa {

/// Bytes, or nil. Copies share one immutable buffer; a nil Data and an empty one are different values.
/// Thread-safe to read and to copy; one Data object is not to be assigned by two threads at once.
class Data {
 public:
  /// nil.
  constexpr Data() noexcept = default;
  constexpr Data(std::nullptr_t) noexcept {}
  /// A copy of the bytes.
  explicit Data(std::string_view bytes)
      : bytes_(detail::SharedBytes::copyOf(bytes, detail::SharedBytes::Encoding::Unknown)) {}

  Data(const Data& other) noexcept : bytes_(other.bytes_) { retain(); }
  Data(Data&& other) noexcept : bytes_(std::exchange(other.bytes_, nullptr)) {}
  Data& operator=(Data other) noexcept {
    std::swap(bytes_, other.bytes_);
    return *this;
  }
  ~Data() {
    if (bytes_ != nullptr) bytes_->release();
  }

  [[nodiscard]] bool isNil() const noexcept { return bytes_ == nullptr; }
  [[nodiscard]] std::size_t size() const noexcept { return view().size(); }
  /// The bytes; none for nil. Valid as long as a holder of this buffer lives.
  [[nodiscard]] std::string_view view() const noexcept {
    return bytes_ == nullptr ? std::string_view() : bytes_->view();
  }
  /// Whether the bytes are well-formed UTF-8; true for nil.
  [[nodiscard]] bool isUtf8() const noexcept { return bytes_ == nullptr || bytes_->isUtf8(); }

  /// Equal bytes; nil equals nil alone.
  friend bool operator==(const Data& left, const Data& right) noexcept {
    return left.bytes_ == right.bytes_ ||
           (left.bytes_ != nullptr && right.bytes_ != nullptr && left.view() == right.view());
  }

 private:
  friend class String;
  friend class Value;
  friend class ByteBuffer;
  explicit Data(detail::SharedBytes* adopted) noexcept : bytes_(adopted) {}
  void retain() const noexcept {
    if (bytes_ != nullptr) bytes_->retain();
  }

  detail::SharedBytes* bytes_ = nullptr;
};

}  // namespace pxa
