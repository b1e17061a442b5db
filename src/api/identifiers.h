#pragma once

#include <pxalog/String.h>

namespace pxa::PXALog {

/// A new random UUID in upper case; "" when none could be made. Selector: generateUUID
String generateUUID();

/// Path of the file that keeps the device id. Selector: dataFilePath
String dataFilePath();

/// The id of this installation: what the file holds, or else a new one, which is written to the file. nil
/// when the file is there and holds no text. Selector: getDeviceID
String getDeviceID();

}  // namespace pxa::PXALog
