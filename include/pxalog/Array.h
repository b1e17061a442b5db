#pragma once

#include <cstddef>
#include <initializer_list>

#include <pxalog/Value.h>

namespace pxa {

/// An ordered list of values, or nil. Shared by reference: whoever holds it sees every change.
/// Not synchronised: a change needs the one who makes it to be alone. A nil array ignores changes, an
/// immutable one too.
class PXALOG_EXPORT Array {
 public:
  /// A new, empty array.
  Array();
  Array(std::initializer_list<Value> values);
  /// nil.
  Array(std::nullptr_t) noexcept : body_(nullptr) {}
  Array(const Array& other) noexcept;
  Array(Array&& other) noexcept : body_(std::exchange(other.body_, nullptr)) {}
  Array& operator=(Array other) noexcept {
    std::swap(body_, other.body_);
    return *this;
  }
  ~Array();

  [[nodiscard]] bool isNil() const noexcept { return body_ == nullptr; }
  [[nodiscard]] std::size_t size() const noexcept { return static_cast<std::size_t>(end() - begin()); }
  /// The value at the position; null behind the end.
  [[nodiscard]] Value at(std::size_t position) const noexcept;
  void append(Value value);

  /// From now on this array, whoever holds it, ignores changes; what its values hold is not touched.
  void makeImmutable() noexcept;
  [[nodiscard]] bool isMutable() const noexcept;

  /// Valid until the next change.
  [[nodiscard]] const Value* begin() const noexcept;
  [[nodiscard]] const Value* end() const noexcept;

 private:
  friend class Value;
  friend struct detail::Adopt;
  static constexpr std::size_t kDefaultCapacity = 4;
  explicit Array(detail::ArrayBody* adopted) noexcept : body_(adopted) {}
  detail::ArrayBody* body_;
};

}  // namespace pxa
