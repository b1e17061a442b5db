#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "foundation/ascii.h"

namespace pxa {

/// The decimal digits that eight bytes begin with: how many, and the number that they are.
struct DigitBlock {
  std::size_t count;
  std::uint64_t number;
};
inline constexpr std::size_t kDigitBlockSize = 8;
inline constexpr std::uint64_t kPowersForBlocks[kDigitBlockSize + 1] = {
    1, 10, 100, 1000, 10'000, 100'000, 1'000'000, 10'000'000, 100'000'000};

/// Without a branch for each digit, of which no processor can know when they end.
inline DigitBlock loadDigits(const char* bytes) noexcept {
  static_assert(std::endian::native == std::endian::little);
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, kDigitBlockSize);
  word ^= 0x3030303030303030U;  // a digit's byte is its value now, any other one is 10 at least
  const std::uint64_t others = (word | (word + 0x7676767676767676U)) & 0x8080808080808080U;
  const std::size_t count = static_cast<std::size_t>(std::countr_zero(others)) / 8;
  if (count == 0) return {0, 0};
  word <<= 8 * (kDigitBlockSize - count);  // zeros in front
  word = word * 10 + (word >> 8U);         // every other byte: two digits
  const std::uint64_t first = (word & 0x000000FF000000FFU) * (100 + (std::uint64_t{1'000'000} << 32U));
  const std::uint64_t second = ((word >> 16U) & 0x000000FF000000FFU) * (1 + (std::uint64_t{10'000} << 32U));
  return {count, (first + second) >> 32U};
}

/// Appends the digits that stand here to a number, modulo 2^64, and returns where they end.
inline const char* takeDigits(const char* current, const char* end, std::uint64_t& number) noexcept {
  while (static_cast<std::size_t>(end - current) >= kDigitBlockSize) {
    const DigitBlock block = loadDigits(current);
    number = number * kPowersForBlocks[block.count] + block.number;
    current += block.count;
    if (block.count != kDigitBlockSize) return current;
  }
  for (; current != end && ascii::isDigit(*current); ++current)
    number = number * 10 + static_cast<std::uint64_t>(*current - '0');
  return current;
}

}  // namespace pxa
