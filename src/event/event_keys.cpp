#include "event/event_keys.h"

#include <algorithm>
#include <array>

namespace pxa {

bool key::isRecordMember(std::string_view name) {
  static constexpr std::array<std::string_view, 6> kMembers = {"projectName", "projectVersion", "logType",
                                                               "logSource",   "body",           "sendTime"};
  return std::find(kMembers.begin(), kMembers.end(), name) != kMembers.end();
}

}  // namespace pxa
