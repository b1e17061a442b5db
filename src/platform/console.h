#pragma once

#include <string_view>

#include <pxalog/String.h>

/// The library's few console lines. They reach the host's sink only when the writing thread holds no lock of
/// the library any more, for the sink may be the host's own code.
namespace pxa::console {

/// Writes a line now, or keeps it until this thread has left the library's locks. Never throws.
void write(const String& line) noexcept;
/// A text and what it ends with.
void write(std::string_view text, std::string_view detail) noexcept;

/// Told by every lock of the library that a caller could see.
void lockTaken() noexcept;
void lockLeft() noexcept;

}  // namespace pxa::console
