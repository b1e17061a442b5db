#include "api/identifiers.h"

#include <string>

#include "platform/Platform.h"

namespace pxa {

using namespace literals;

namespace {

String newDeviceId() {
  String vendorIdentifier = Platform::current().device.vendorIdentifier();
  return vendorIdentifier.isNil() ? PXALog::generateUUID() : vendorIdentifier;
}

}  // namespace

String PXALog::generateUUID() {
  String uuid = Platform::current().uuids.createUuid();
  return uuid.isNil() ? ""_text : uuid;
}

String PXALog::dataFilePath() {
  return std::string(Platform::current().files.documentsDirectory().view()) + "/RDM_iOS_DEVICE_ID";
}

String PXALog::getDeviceID() {
  try {
    FileSystem& files = Platform::current().files;
    const String path = dataFilePath();
    if (files.fileExists(path)) return String::fromUtf8(files.read(path).value_or(nullptr));
    String id = newDeviceId();
    files.write(path, id.utf8());
    return id;
  } catch (...) {
    return nullptr;
  }
}

}  // namespace pxa
