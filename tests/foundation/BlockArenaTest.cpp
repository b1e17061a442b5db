#include <algorithm>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <thread>
#include <vector>

#include "foundation/BlockArena.h"

// That no memory is lost and none is used that was given back is for the sanitizers to see.

namespace pxa {
namespace {

struct Thing {
  BlockArena::Room room;
  std::size_t size;
  unsigned char content;
};

Thing makeThing(BlockArena& arena, std::size_t size) {
  const Thing thing{arena.allocate(size), size, static_cast<unsigned char>(size * 31)};
  std::memset(thing.room.memory, thing.content, size);
  return thing;
}

void giveBack(const Thing& thing) {
  const auto* const bytes = static_cast<const unsigned char*>(thing.room.memory);
  EXPECT_TRUE(std::all_of(bytes, bytes + thing.size, [&](auto byte) { return byte == thing.content; }))
      << thing.size;
  BlockArena::giveBack(thing.room.memory, thing.room.place);
}

std::vector<Thing> thingsOfManySizes(BlockArena& arena) {
  std::vector<Thing> things;
  std::mt19937 random(1);
  for (int i = 0; i < 2'000; ++i)
    things.push_back(makeThing(arena, 1 + random() % (i % 50 == 0 ? 20'000 : 100)));
  return things;
}

TEST(BlockArena, KeepsThingsApart) {
  BlockArena arena;
  for (const Thing& thing : thingsOfManySizes(arena)) giveBack(thing);
}

TEST(BlockArena, AlignsEveryThing) {
  BlockArena arena;
  for (std::size_t size = 1; size < 3'000; ++size) {
    const Thing thing = makeThing(arena, size);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(thing.room.memory) % alignof(std::uint64_t), 0U) << size;
    giveBack(thing);
  }
}

TEST(BlockArena, IsOutlivedByItsThings) {
  std::vector<Thing> things;
  {
    BlockArena arena;
    things = thingsOfManySizes(arena);
  }
  std::shuffle(things.begin(), things.end(), std::mt19937(2));
  for (const Thing& thing : things) giveBack(thing);
}

TEST(BlockArena, TakesThingsBackWhileItMakesOthers) {
  BlockArena arena;
  for (int i = 0; i < 10'000; ++i) giveBack(makeThing(arena, 40));
}

TEST(BlockArena, TakesThingsBackFromManyThreads) {
  std::vector<Thing> things;
  {
    BlockArena arena;
    things = thingsOfManySizes(arena);
  }
  std::vector<std::thread> threads;
  for (std::size_t first = 0; first < 4; ++first)
    threads.emplace_back([&things, first] {
      for (std::size_t i = first; i < things.size(); i += 4) giveBack(things[i]);
    });
  for (std::thread& thread : threads) thread.join();
}

TEST(BlockArena, GivesLargeThingsMemoryOfTheirOwn) {
  BlockArena arena;
  const Thing large = makeThing(arena, 1'000'000);
  EXPECT_EQ(large.room.place, BlockArena::kAlone);
  giveBack(large);
}

}  // namespace
}  // namespace pxa
