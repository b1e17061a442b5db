#include "platform/installation_id.h"

#include <string>

#include "platform/Platform.h"

namespace pxa {

using namespace literals;

namespace {

String newInstallationId() {
  String vendorIdentifier = Platform::current().device.vendorIdentifier();
  return vendorIdentifier.isNil() ? newUuid() : vendorIdentifier;
}

}  // namespace

String newUuid() {
  String uuid = Platform::current().uuids.createUuid();
  return uuid.isNil() ? ""_text : uuid;
}

String installationIdFile() {
  return std::string(Platform::current().files.documentsDirectory().view()) + "/RDM_iOS_DEVICE_ID";
}

String installationId() {
  FileSystem& files = Platform::current().files;
  const String path = installationIdFile();
  if (files.fileExists(path)) return String::fromUtf8(files.read(path).value_or(nullptr));
  String id = newInstallationId();
  files.write(path, id.utf8());
  return id;
}

}  // namespace pxa
