#pragma once

#include <cstddef>
#include <cstdint>

namespace pxa {

/// Room for many small things that are made together and given back one by one. They lie in blocks; a block
/// lives as long as one of its things does: whoever keeps one thing keeps at most kLargestBlock bytes.
/// An arena is for one thread; things may be given back by any thread.
class BlockArena {
 public:
  /// Where in its block a thing lies, which must be known to give it back; kAlone for one without a block.
  using Place = std::uint16_t;
  static constexpr Place kAlone = 0;
  struct Room {
    void* memory;
    Place place;
  };

  BlockArena() = default;
  BlockArena(const BlockArena&) = delete;
  BlockArena& operator=(const BlockArena&) = delete;
  ~BlockArena() { closeBlock(); }

  /// Room for so many bytes, one at least, aligned for pointers and 64-bit numbers. Large things lie alone.
  Room allocate(std::size_t size) {
    const std::size_t rounded = (size + kUnit - 1) / kUnit * kUnit;
    if (rounded > free_ || size > kLargestThing) return allocateElsewhere(size);
    void* const memory = block_ + (blockSize_ - free_);
    const auto place = static_cast<Place>((blockSize_ - free_) / kUnit);
    free_ -= rounded;
    ++things_;
    return {memory, place};
  }
  static Room allocateAlone(std::size_t size);
  static void giveBack(void* memory, Place place) noexcept;

 private:
  static constexpr std::size_t kUnit = 8;
  static constexpr std::size_t kLargestThing = 1024;
  static constexpr std::size_t kSmallestBlock = 2 * kLargestThing;
  static constexpr std::size_t kLargestBlock = 8 * kLargestThing;
  static_assert(kLargestBlock / kUnit <= UINT16_MAX);

  Room allocateElsewhere(std::size_t size);
  void openBlock();
  void closeBlock() noexcept;

  char* block_ = nullptr;
  std::size_t blockSize_ = 0;
  std::size_t free_ = 0;
  std::uint32_t things_ = 0;  // made in the block
};

}  // namespace pxa
