#pragma once

#include <pxalog/String.h>

namespace pxa {

/// Keeps the last answer of the settings service in a file, for a start without network.
class NetworkInSight {
 public:
  /// Selector: settingFilePath
  static String settingFilePath();
  /// Replaces the file; leaves an earlier one that cannot be removed. A failure is told on the console.
  /// Selector: performanceSave:
  static void performanceSave(const String& text);
  /// The saved text; nil when there is none that can be read. A failure is told on the console.
  /// Selector: performanceLoad
  static String performanceLoad();
};

}  // namespace pxa
