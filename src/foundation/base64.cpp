#include "foundation/base64.h"

#include <cstddef>
#include <cstdint>

namespace pxa {

namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kGroupSize = 3;

/// The three bytes at the front as one number; bytes that are not there count as zero.
std::uint32_t groupOf(std::string_view bytes) {
  std::uint32_t group = 0;
  for (std::size_t i = 0; i < kGroupSize; ++i)
    group = group << 8 | (i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0U);
  return group;
}

}  // namespace

std::string base64(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / kGroupSize * 4);
  for (; !bytes.empty(); bytes.remove_prefix(bytes.size() < kGroupSize ? bytes.size() : kGroupSize)) {
    const std::uint32_t group = groupOf(bytes);
    text += kAlphabet[group >> 18];
    text += kAlphabet[group >> 12 & 0x3F];
    text += bytes.size() > 1 ? kAlphabet[group >> 6 & 0x3F] : '=';
    text += bytes.size() > 2 ? kAlphabet[group & 0x3F] : '=';
  }
  return text;
}

}  // namespace pxa
