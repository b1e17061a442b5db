#pragma once

#include <cstdint>

namespace pxa::crash {

/// A program or library in memory.
struct ImageFacts {
  std::uint64_t base = 0;
  std::uint64_t size = 0;
  const char* path = nullptr;
  const char* uuid = nullptr;  // the build id in hexadecimal; nullptr without one
};

/// Calls back with every image of this memory, in the order of their addresses. Needs a FaultGuard.
void listImages(void (*found)(const ImageFacts& image, void* object), void* object) noexcept;

}  // namespace pxa::crash
