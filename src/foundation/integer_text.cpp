#include "foundation/integer_text.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace pxa {

std::int64_t leadingInteger(std::string_view text) noexcept {
  constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";
  text.remove_prefix(std::min(text.find_first_not_of(kWhiteSpace), text.size()));
  const bool isNegative = text.starts_with('-');
  if (isNegative || text.starts_with('+')) text.remove_prefix(1);
  if (text.empty() || text.front() < '0' || text.front() > '9') return 0;

  std::uint64_t magnitude = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), magnitude);
  constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (result.ec == std::errc::result_out_of_range || magnitude > kLargest)
    return isNegative ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
  const auto value = static_cast<std::int64_t>(magnitude);
  return isNegative ? -value : value;
}

std::int32_t saturatedToInt32(std::int64_t value) noexcept {
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, std::numeric_limits<std::int32_t>::min(),
                                                            std::numeric_limits<std::int32_t>::max()));
}

}  // namespace pxa
