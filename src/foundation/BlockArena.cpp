#include "foundation/BlockArena.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

namespace pxa {

namespace {

/// At a block's start.
struct BlockHeader {
  std::atomic<std::uint32_t> things;
};

/// Stands for all things that an open block will still get.
constexpr std::uint32_t kOpen = std::uint32_t{1} << 31U;

void take(BlockHeader* block, std::uint32_t things) noexcept {
  if (block->things.fetch_sub(things, std::memory_order_acq_rel) != things) return;
  block->~BlockHeader();
  std::free(block);
}

void* allocateOrThrow(std::size_t size) {
  void* const memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

BlockArena::Room BlockArena::allocateAlone(std::size_t size) {
  return {allocateOrThrow(size), kAlone};
}

void BlockArena::giveBack(void* memory, Place place) noexcept {
  if (place == kAlone)
    std::free(memory);
  else
    take(reinterpret_cast<BlockHeader*>(static_cast<char*>(memory) - place * kUnit), 1);
}

BlockArena::Room BlockArena::allocateElsewhere(std::size_t size) {
  if (size > kLargestThing) return allocateAlone(size);
  openBlock();
  return allocate(size);
}

void BlockArena::openBlock() {
  static_assert(sizeof(BlockHeader) <= kUnit);
  const std::size_t size = std::clamp(blockSize_ * 2, kSmallestBlock, kLargestBlock);
  char* const block = static_cast<char*>(allocateOrThrow(size));
  closeBlock();
  new (block) BlockHeader{kOpen};
  block_ = block;
  blockSize_ = size;
  free_ = size - kUnit;
  things_ = 0;
}

void BlockArena::closeBlock() noexcept {
  if (block_ != nullptr) take(reinterpret_cast<BlockHeader*>(block_), kOpen - things_);
}

}  // namespace pxa
