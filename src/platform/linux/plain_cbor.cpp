#include "platform/linux/plain_cbor.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace pxa {

namespace {

enum class MajorType : std::uint8_t { Unsigned, Negative, Bytes, Text, Array, Map, Tag, Simple };

/// The first byte of an item and the number that comes with it.
struct Head {
  MajorType type;
  std::uint64_t argument;
};

/// Takes one head off the front; nothing for a cut or reserved one, or one of indefinite length.
std::optional<Head> takeHead(std::string_view& bytes) {
  if (bytes.empty()) return std::nullopt;
  const auto first = static_cast<unsigned char>(bytes.front());
  bytes.remove_prefix(1);
  Head head{static_cast<MajorType>(first >> 5U), first & 0x1FU};
  constexpr std::uint64_t kOneByteFollows = 24;
  constexpr std::uint64_t kEightBytesFollow = 27;
  if (head.argument < kOneByteFollows) return head;
  if (head.argument > kEightBytesFollow) return std::nullopt;

  const std::size_t size = std::size_t{1} << (head.argument - kOneByteFollows);
  if (bytes.size() < size) return std::nullopt;
  head.argument = 0;
  for (const char byte : bytes.substr(0, size))
    head.argument = (head.argument << 8U) | static_cast<unsigned char>(byte);
  bytes.remove_prefix(size);
  return head;
}

}  // namespace

bool isPlainCbor(std::string_view bytes, const CborLimits& limits) {
  std::size_t items = 0;
  std::vector<std::uint64_t> itemsLeft{1};  // of each container that is open, the root's one item first
  while (!itemsLeft.empty()) {
    if (itemsLeft.back() == 0) {
      itemsLeft.pop_back();
      continue;
    }
    --itemsLeft.back();
    const std::optional<Head> head = takeHead(bytes);
    if (!head || ++items > limits.mostItems) return false;
    switch (head->type) {
      case MajorType::Bytes:
      case MajorType::Text:
        if (head->argument > bytes.size()) return false;
        bytes.remove_prefix(head->argument);
        break;
      case MajorType::Array:
      case MajorType::Map:
        // Every item takes a byte at least.
        if (head->argument > bytes.size() || itemsLeft.size() > limits.deepestNesting) return false;
        itemsLeft.push_back(head->type == MajorType::Map ? head->argument * 2 : head->argument);
        break;
      case MajorType::Tag:
        return false;
      default:
        break;
    }
  }
  return bytes.empty();
}

}  // namespace pxa
