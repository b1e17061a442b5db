#pragma once

#include <string>
#include <string_view>

namespace pxa {

/// The bytes as base64 text: the standard alphabet, padded with "=", without line breaks.
std::string base64(std::string_view bytes);

}  // namespace pxa
