#pragma once

#include <optional>

#include <pxalog/Data.h>
#include <pxalog/Value.h>

namespace pxa {

/// The platform's own JSON parser, for what comes back from the network.
class JsonParser {
 public:
  virtual ~JsonParser() = default;
  /// The array or dictionary of the text; nothing for anything else. Thread-safe.
  virtual std::optional<Value> parse(const Data& text) = 0;
};

}  // namespace pxa
