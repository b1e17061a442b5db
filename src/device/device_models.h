#pragma once

#include <cstdint>
#include <string_view>

namespace pxa {

/// Codes of the two simulators, which the machine string does not tell apart.
inline constexpr std::uint32_t kPhoneSimulator = 2;
inline constexpr std::uint32_t kTabletSimulator = 3;

/// Whether the machine string is that of a simulator, whatever screen it shows. Asked of strings that
/// deviceModelCode does not know.
bool isSimulatorMachine(std::string_view machine);

/// The code of a device's machine string; 0 for an unknown one.
std::uint32_t deviceModelCode(std::string_view machine);

/// The display name of a code; "Unknown iOS device" for one without a name.
std::string_view deviceModelName(std::uint32_t code);

}  // namespace pxa
