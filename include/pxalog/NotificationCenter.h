#pragma once

#include <functional>
#include <memory>

#include <pxalog/Export.h>
#include <pxalog/String.h>

namespace pxa {

class VeskReachability;

/// Word of something that happened.
struct PXALOG_EXPORT Notification {
  String name;
  std::shared_ptr<VeskReachability> object = nullptr;  ///< the monitor that posted it, if one did
};

/// Posted by Host::didEnterBackground and Host::willEnterForeground.
inline constexpr const char* kDidEnterBackgroundNotification = "UIApplicationDidEnterBackgroundNotification";
inline constexpr const char* kWillEnterForegroundNotification =
    "UIApplicationWillEnterForegroundNotification";

/// Passes notifications on to whoever asked for their name, on the thread that posts them. Thread-safe.
class PXALOG_EXPORT NotificationCenter {
 public:
  using Callback = std::function<void(const Notification& notification)>;

  NotificationCenter();
  ~NotificationCenter();
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;

  /// The centre of this process, which is never destroyed.
  static NotificationCenter& defaultCenter();

  /// Calls back with every notification of that name. The observer is any address that stands for whoever
  /// asks; it is not dereferenced. An observer that is there already for the name gets the new callback
  /// instead. What a callback throws is dropped. An empty callback is not added.
  void addObserver(const void* observer, const String& name, Callback callback);
  /// Ends all callbacks of the observer; one that runs on another thread right now may still be running when
  /// this returns. An unknown observer is ignored.
  void removeObserver(const void* observer);

  /// Calls the callbacks for its name, in the order in which they were added, before it returns.
  void post(const Notification& notification);

 private:
  struct Observers;
  const std::unique_ptr<Observers> observers_;
};

}  // namespace pxa
