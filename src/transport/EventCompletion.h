#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include <pxalog/String.h>

#include "api/handle/common_fields.h"
#include "event/CommonFields.h"
#include "event/VeskEvent.h"

namespace pxa {

/// Completes the events of one pass with what is only known when they are sent. The log lines of a handle
/// share their common fields for as long as these stay the same. Used by the send thread alone.
class EventCompletion {
 public:
  /// Sets the host, the common fields and the user. False, and nothing done, for an unknown handle.
  [[nodiscard]] bool complete(VeskEvent& event, const String& handleId);

 private:
  /// What log lines got, and from which facts it was made.
  struct LinesOfAHandle {
    std::optional<CommonFacts> facts;
    CommonFieldsRef fields;  // nullptr when they cannot share them
  };
  const CommonFieldsRef& fieldsOfLines(const String& handleId, const CommonFacts& facts);

  std::map<std::string, LinesOfAHandle, std::less<>> lines_;  // by handle id
};

/// Takes out the fields that only travel with a dump.
void removeDumpFields(Dictionary fields);

}  // namespace pxa
