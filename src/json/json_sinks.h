#pragma once

#include <cstddef>
#include <cstring>
#include <new>
#include <string_view>

#include <pxalog/Number.h>

#include "json/quoted_text.h"

/// What JSON is written into: a ByteBuffer, whose places are addresses, or a JsonLength, whose places are
/// lengths. A sink gives a place with room for that many bytes behind it, put() and its relatives move the
/// place on, and the sink then takes it back.
namespace pxa {

/// A sink that only counts what would be written.
class JsonLength {
 public:
  [[nodiscard]] std::size_t reserve(std::size_t) const noexcept { return size_; }
  void commitUpTo(std::size_t size) noexcept { size_ = size; }
  void append(std::string_view bytes) noexcept { size_ += bytes.size(); }
  [[nodiscard]] std::size_t size() const noexcept { return size_; }

 private:
  std::size_t size_ = 0;
};

inline void put(char*& to, char byte) {
  *to++ = byte;
}
inline void put(std::size_t& size, char) {
  ++size;
}

inline void put(char*& to, std::string_view bytes) {
  std::memcpy(to, bytes.data(), bytes.size());
  to += bytes.size();
}
inline void put(std::size_t& size, std::string_view bytes) {
  size += bytes.size();
}

inline void putQuoted(char*& to, std::string_view text, const JsonEscapes& escapes) {
  to = writeQuoted(text, escapes, to);
}
inline void putQuoted(std::size_t& size, std::string_view text, const JsonEscapes& escapes) {
  size += quotedSize(text, escapes);
}

/// The digits of a number that does not keep them itself; they need kRoomForNumber.
inline constexpr std::size_t kRoomForNumber = sizeof(Number::TextStorage);
inline void putDigits(char*& to, const Number& number) {
  to += number.text(*new (to) Number::TextStorage).size();
}
inline void putDigits(std::size_t& size, const Number& number) {
  Number::TextStorage storage;
  size += number.text(storage).size();
}

}  // namespace pxa
