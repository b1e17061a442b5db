#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include <pxalog/String.h>

#include "api/handle/common_fields.h"
#include "event/SharedLineFields.h"
#include "event/VeskEvent.h"

namespace pxa {

/// Completes the events of one pass with what is only known when they are sent. The log lines of a handle
/// share what they are completed with until one of the facts behind it changes. Used by the send thread alone.
class EventCompletion {
 public:
  /// Sets the host, the common fields and the user. A log line that can share them does, and gets none of
  /// those that only travel with a dump. False, and nothing done, for an unknown handle.
  [[nodiscard]] bool complete(VeskEvent& event, const String& handleId);

 private:
  /// What lines of a handle share, and the facts behind it.
  struct Shared {
    std::optional<CommonFacts> facts;
    SharedLineFieldsRef fields;  // nullptr when lines cannot share them
  };
  const SharedLineFieldsRef& sharedFields(const String& handleId, const CommonFacts& facts);

  std::map<std::string, Shared, std::less<>> shared_;  // by handle id
};

/// Takes out the fields that only travel with a dump.
void removeDumpFields(Dictionary fields);

}  // namespace pxa
