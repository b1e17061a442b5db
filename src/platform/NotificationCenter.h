#pragma once

#include <utility>
#include <vector>

#include <pxalog/String.h>

#include "foundation/Mutex.h"

namespace pxa {

struct Notification {
  String name;
};

inline constexpr const char* kDidEnterBackgroundNotification = "UIApplicationDidEnterBackgroundNotification";
inline constexpr const char* kWillEnterForegroundNotification =
    "UIApplicationWillEnterForegroundNotification";

/// Passes notifications on to whoever asked for their name, on the thread that posts them. Thread-safe.
class NotificationCenter {
 public:
  using Observer = void (*)(const Notification* notification);

  /// The centre of this process.
  static NotificationCenter& defaultCenter();

  /// An observer that is there already for the name is not added again.
  void addObserver(const String& name, Observer observer);
  void post(const Notification& notification);

 private:
  Mutex mutex_;
  std::vector<std::pair<String, Observer>> observers_ GUARDED_BY(mutex_);
};

}  // namespace pxa
