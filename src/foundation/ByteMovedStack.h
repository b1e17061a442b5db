#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace pxa {

/// A stack of things that may be moved as bytes, like a Value or a String: no reference of theirs is counted
/// when it grows or when its top is taken away, and growing seldom copies.
template <class Element>
class ByteMovedStack {
 public:
  ByteMovedStack() = default;
  ByteMovedStack(const ByteMovedStack&) = delete;
  ByteMovedStack& operator=(const ByteMovedStack&) = delete;
  ~ByteMovedStack() {
    std::destroy_n(elements_, size_);
    std::free(static_cast<void*>(elements_));
  }

  [[nodiscard]] std::size_t size() const { return size_; }
  [[nodiscard]] Element& back() { return elements_[size_ - 1]; }
  [[nodiscard]] Element* from(std::size_t position) { return elements_ + position; }

  template <class... Arguments>
  void push(Arguments&&... arguments) {
    if (size_ == capacity_) grow();
    new (elements_ + size_) Element(std::forward<Arguments>(arguments)...);
    ++size_;
  }
  void pop() { popFrom(size_ - 1); }
  /// Destroys the elements from there on.
  void popFrom(std::size_t position) {
    std::destroy(elements_ + position, elements_ + size_);
    size_ = position;
  }
  /// Says that the elements from there on were moved elsewhere, as bytes.
  void forgetFrom(std::size_t position) { size_ = position; }

 private:
  [[gnu::noinline]] void grow() {
    constexpr std::size_t kSmallestCapacity = 32;
    const std::size_t capacity = capacity_ == 0 ? kSmallestCapacity : capacity_ * 2;
    if (capacity > SIZE_MAX / sizeof(Element)) throw std::bad_alloc();
    void* const elements = std::realloc(static_cast<void*>(elements_), capacity * sizeof(Element));
    if (elements == nullptr) throw std::bad_alloc();
    elements_ = static_cast<Element*>(elements);
    capacity_ = capacity;
  }

  Element* elements_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace pxa
