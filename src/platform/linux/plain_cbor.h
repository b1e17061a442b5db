#pragma once

#include <cstddef>
#include <string_view>

namespace pxa {

struct CborLimits {
  std::size_t deepestNesting;
  std::size_t mostItems;
};

/// Whether the bytes are exactly one CBOR item without tags and without items of indefinite length, nested no
/// deeper and made of no more items than the limits say, with no length beyond the end of the bytes. Works
/// without recursion, in linear time: what it lets pass is safe to give to a recursive decoder.
bool isPlainCbor(std::string_view bytes, const CborLimits& limits);

}  // namespace pxa
