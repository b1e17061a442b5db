#pragma once

#include <cstdint>
#include <string_view>

namespace pxa {

/// The integer at the start of the text: leading white space, a sign, digits. 0 where there is none, and the
/// nearest limit where it does not fit.
std::int64_t leadingInteger(std::string_view text) noexcept;

/// The value, or the nearest limit of 32 bits.
std::int32_t saturatedToInt32(std::int64_t value) noexcept;

}  // namespace pxa
