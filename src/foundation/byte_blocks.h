#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// Sixteen bytes at a time, on every processor that the compiler knows.
namespace pxa {

using ByteBlock = std::uint8_t __attribute__((vector_size(16)));
inline constexpr std::size_t kBlockSize = sizeof(ByteBlock);

constexpr ByteBlock blockOf(std::uint8_t byte) noexcept {
  return ByteBlock{} + byte;
}

inline ByteBlock loadBlock(const char* bytes) noexcept {
  ByteBlock block;
  std::memcpy(&block, bytes, kBlockSize);
  return block;
}

template <class Word>
inline Word loadWord(const char* bytes) noexcept {
  Word word;
  std::memcpy(&word, bytes, sizeof(Word));
  return word;
}

template <class Word>
struct WordBlock {
  typedef Word Type __attribute__((vector_size(kBlockSize)));
};

/// The bytes, fewer than a block, and zeros behind them. Reads nothing else.
inline ByteBlock loadBlock(const char* bytes, std::size_t count) noexcept {
  // The last word overlaps the first; it is shifted to where it belongs.
  const char* const end = bytes + count;
  std::uint64_t low = 0;
  std::uint64_t high = 0;
  if (count >= 8) {
    low = loadWord<std::uint64_t>(bytes);
    high = loadWord<std::uint64_t>(end - 8) >> 8 * (15 - count) >> 8;
  } else if (count >= 4) {
    low = loadWord<std::uint32_t>(bytes) | std::uint64_t{loadWord<std::uint32_t>(end - 4)} << 8 * (count - 4);
  } else {
    for (std::size_t i = 0; i < count; ++i) low |= std::uint64_t{loadWord<std::uint8_t>(bytes + i)} << 8 * i;
  }
  return reinterpret_cast<ByteBlock>(WordBlock<std::uint64_t>::Type{low, high});
}

/// A block of nothing but the bytes of two words.
template <class Word>
inline ByteBlock blockOf(Word first, Word last) noexcept {
  typename WordBlock<Word>::Type words = typename WordBlock<Word>::Type{} + first;
  words[0] = last;
  return reinterpret_cast<ByteBlock>(words);
}

inline void storeBlock(char* bytes, const ByteBlock& block) noexcept {
  std::memcpy(bytes, &block, kBlockSize);
}

/// A bit for each byte of a comparison's result, the first the lowest.
template <class Marks>
inline std::uint32_t bitOfEachByte(const Marks& marks) noexcept {
  using Characters = char __attribute__((vector_size(16)));
#ifdef __SSE2__
  return static_cast<std::uint32_t>(__builtin_ia32_pmovmskb128(reinterpret_cast<Characters>(marks)));
#else
  const auto characters = reinterpret_cast<Characters>(marks);
  std::uint32_t bits = 0;
  for (std::size_t i = 0; i < kBlockSize; ++i) bits |= (characters[i] != 0 ? 1U : 0U) << i;
  return bits;
#endif
}

/// The position of the first byte of a comparison's result that is set; kBlockSize when none is.
template <class Marks>
inline std::size_t firstMark(const Marks& marks) noexcept {
  static_assert(sizeof(Marks) == kBlockSize && std::endian::native == std::endian::little);
#ifdef __SSE2__
  return static_cast<std::size_t>(std::countr_zero(bitOfEachByte(marks) | 1U << kBlockSize));
#else
  std::uint64_t halves[2];
  std::memcpy(halves, &marks, kBlockSize);
  if (halves[0] != 0) return static_cast<std::size_t>(std::countr_zero(halves[0])) / 8;
  if (halves[1] != 0) return 8 + static_cast<std::size_t>(std::countr_zero(halves[1])) / 8;
  return kBlockSize;
#endif
}

template <class Marks>
inline bool hasMark(const Marks& marks) noexcept {
#ifdef __SSE2__
  return bitOfEachByte(marks) != 0;
#else
  std::uint64_t halves[2];
  std::memcpy(halves, &marks, kBlockSize);
  return (halves[0] | halves[1]) != 0;
#endif
}

}  // namespace pxa
