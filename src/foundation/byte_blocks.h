#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// Sixteen bytes at a time, on every processor that the compiler knows.
namespace pxa {

using ByteBlock = std::uint8_t __attribute__((vector_size(16)));
inline constexpr std::size_t kBlockSize = sizeof(ByteBlock);

inline ByteBlock loadBlock(const char* bytes) noexcept {
  ByteBlock block;
  std::memcpy(&block, bytes, kBlockSize);
  return block;
}

inline void storeBlock(char* bytes, const ByteBlock& block) noexcept {
  std::memcpy(bytes, &block, kBlockSize);
}

/// The position of the first byte of a comparison's result that is set; kBlockSize when none is.
template <class Marks>
inline std::size_t firstMark(const Marks& marks) noexcept {
  static_assert(sizeof(Marks) == kBlockSize && std::endian::native == std::endian::little);
  std::uint64_t halves[2];
  std::memcpy(halves, &marks, kBlockSize);
  if (halves[0] != 0) return static_cast<std::size_t>(std::countr_zero(halves[0])) / 8;
  if (halves[1] != 0) return 8 + static_cast<std::size_t>(std::countr_zero(halves[1])) / 8;
  return kBlockSize;
}

template <class Marks>
inline bool hasMark(const Marks& marks) noexcept {
  std::uint64_t halves[2];
  std::memcpy(halves, &marks, kBlockSize);
  return (halves[0] | halves[1]) != 0;
}

}  // namespace pxa
