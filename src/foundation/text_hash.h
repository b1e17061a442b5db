#pragma once

#include <cstdint>
#include <string_view>

namespace pxa {

/// A hash that differs from process to process, so that nobody can prepare texts that collide.
std::uint32_t textHash(std::string_view text) noexcept;

}  // namespace pxa
