#include "foundation/text_hash.h"

#include <chrono>
#include <cstddef>
#include <cstring>
#include <random>

namespace pxa {

namespace {

__extension__ using Wide = unsigned __int128;

std::uint64_t randomNumber() noexcept {
  try {
    std::random_device device;
    return (std::uint64_t{device()} << 32U) | device();
  } catch (...) {
    // No source of randomness: the time and where this process lies in memory must do.
    static char place = 0;
    const auto time = std::chrono::steady_clock::now().time_since_epoch().count();
    return static_cast<std::uint64_t>(time) * 0x9E3779B97F4A7C15U ^ reinterpret_cast<std::uintptr_t>(&place);
  }
}

struct Secrets {
  std::uint64_t first = randomNumber() | 1U;
  std::uint64_t second = randomNumber();
};

const Secrets& secrets() noexcept {
  static const Secrets secrets;
  return secrets;
}

/// Both halves of the product, so that every bit of either number counts.
std::uint64_t folded(std::uint64_t left, std::uint64_t right) noexcept {
  const Wide product = static_cast<Wide>(left) * right;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64U);
}

std::uint64_t wordAt(const char* bytes, std::size_t count = sizeof(std::uint64_t)) noexcept {
  std::uint64_t word = 0;
  if (count != 0) std::memcpy(&word, bytes, count);
  return word;
}

}  // namespace

std::uint32_t textHash(std::string_view text) noexcept {
  const Secrets& secret = secrets();
  std::uint64_t hash = secret.second ^ text.size();
  while (text.size() > sizeof(std::uint64_t)) {
    hash = folded(hash ^ wordAt(text.data()), secret.first) + secret.second;
    text.remove_prefix(sizeof(std::uint64_t));
  }
  hash = folded(hash ^ wordAt(text.data(), text.size()), secret.first);
  return static_cast<std::uint32_t>(folded(hash ^ secret.second, 0x9E3779B97F4A7C15U));
}

}  // namespace pxa
