#include "settings/NetworkInSight.h"

#include <exception>
#include <string>

#include "platform/Platform.h"
#include "platform/console.h"

namespace pxa {

using namespace literals;

String NetworkInSight::settingFilePath() {
  return std::string(Platform::current().files.documentsDirectory().view()) + "/RDM_iOS_SETTING_FILE";
}

void NetworkInSight::performanceSave(const String& text) {
  try {
    FileSystem& files = Platform::current().files;
    const String path = settingFilePath();
    if (files.fileExists(path) && !files.removeFile(path)) return;
    files.write(path, text.isNil() ? ""_text.utf8() : text.utf8());
  } catch (const std::exception& failure) {
    console::write("[NetworkInsight] Save Error : ", failure.what());
  }
}

String NetworkInSight::performanceLoad() {
  try {
    FileSystem& files = Platform::current().files;
    const String path = settingFilePath();
    if (!files.fileExists(path)) return nullptr;
    return String::fromUtf8(files.read(path).value_or(nullptr));
  } catch (const std::exception& failure) {
    console::write("[NetworkInsight] Save Load : ", failure.what());
    return nullptr;
  }
}

}  // namespace pxa
