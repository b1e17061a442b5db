#pragma once

namespace pxa::crash {

/// Gives the calling thread a stack of its own for signal handlers, with a guard page, freed when the thread
/// ends; a thread that has one keeps it. False when there is no memory.
bool prepareAlternateStack() noexcept;

}  // namespace pxa::crash
