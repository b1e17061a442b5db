#include "api/identifiers.h"

#include "platform/installation_id.h"

namespace pxa {

String PXALog::generateUUID() {
  return newUuid();
}

String PXALog::dataFilePath() {
  return installationIdFile();
}

String PXALog::getDeviceID() {
  try {
    return installationId();
  } catch (...) {
    return nullptr;
  }
}

}  // namespace pxa
