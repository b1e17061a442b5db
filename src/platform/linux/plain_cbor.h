#pragma once

#include <cstddef>
#include <string_view>

namespace pxa {

/// Whether the bytes are exactly one CBOR item without tags and without items of indefinite length, nested no
/// deeper than the limit, with no length beyond the end of the bytes. Works without recursion, in linear
/// time: what it lets pass is safe to give to a recursive decoder.
bool isPlainCbor(std::string_view bytes, std::size_t deepestNesting);

}  // namespace pxa
