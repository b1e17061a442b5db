#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include <pxalog/String.h>

namespace pxa {

/// Keys that were met lately, so that equal ones share one String. Holds one key for each value of a hash; a
/// further one takes its place.
class JsonKeyCache {
 public:
  /// The key's String, new or shared. The text must be UTF-8, the hash that of textHash.
  const String& shared(std::string_view key, std::uint32_t hash);

 private:
  static constexpr std::size_t kSlots = 1024;
  /// Longer keys are not worth the search.
  static constexpr std::size_t kLongestKey = 64;

  std::array<String, kSlots> slots_;
  String uncached_;
};

}  // namespace pxa
