#pragma once

#include <pxalog/String.h>

namespace pxa {

/// A value of a host's own type that travels inside an Array or a Dictionary. The JSON writer takes the bytes
/// of an object that offers its own JSON, and refuses any other object.
class PXALOG_EXPORT Object {
 public:
  virtual ~Object();

  /// The name of the type, for messages.
  [[nodiscard]] virtual String className() const = 0;
  /// A text that tells this object from others; the class name unless overridden.
  [[nodiscard]] virtual String description() const;
  /// Whether JSONDataRepresentation gives this object's JSON; false unless overridden.
  [[nodiscard]] virtual bool offersJSONDataRepresentation() const;
  /// The JSON text of this object, written out unchanged and unchecked; nil when there is none. Must not
  /// change the arrays and dictionaries that are being written.
  [[nodiscard]] virtual Data JSONDataRepresentation() const;
};

}  // namespace pxa
