#pragma once

#include <pxalog/String.h>

namespace pxa {

/// A new random UUID in upper case; "" when none could be made.
String newUuid();

/// Path of the file that keeps the id of this installation.
String installationIdFile();

/// The id of this installation: what the file holds, or else a new one, which is written to the file. nil
/// when the file is there and holds no text.
String installationId();

}  // namespace pxa
