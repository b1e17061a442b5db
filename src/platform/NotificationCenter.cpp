#include <algorithm>
#include <utility>
#include <vector>

#include <pxalog/NotificationCenter.h>

#include "foundation/Mutex.h"

namespace pxa {

namespace {

struct Entry {
  const void* observer;
  String name;
  // Shared, so that no host's function object is copied or destroyed under the lock.
  std::shared_ptr<const NotificationCenter::Callback> callback;
};

}  // namespace

struct NotificationCenter::Observers {
  using SharedCallback = std::shared_ptr<const Callback>;

  Mutex mutex;
  std::vector<Entry> entries GUARDED_BY(mutex);

  std::vector<SharedCallback> callbacksFor(const String& name) {
    const Guard guard(mutex);
    std::vector<SharedCallback> callbacks;
    for (const Entry& entry : entries)
      if (entry.name == name) callbacks.push_back(entry.callback);
    return callbacks;
  }
  bool isThere(const SharedCallback& callback) {
    const Guard guard(mutex);
    return std::any_of(entries.begin(), entries.end(),
                       [&](const Entry& entry) { return entry.callback == callback; });
  }
};

NotificationCenter::NotificationCenter() : observers_(std::make_unique<Observers>()) {}
NotificationCenter::~NotificationCenter() = default;

NotificationCenter& NotificationCenter::defaultCenter() {
  static auto& center = *new NotificationCenter;
  return center;
}

void NotificationCenter::addObserver(const void* observer, const String& name, Callback callback) {
  if (!callback) return;
  Entry added{observer, name, std::make_shared<const Callback>(std::move(callback))};
  const Guard guard(observers_->mutex);
  auto& entries = observers_->entries;
  const auto known = std::find_if(entries.begin(), entries.end(), [&](const Entry& entry) {
    return entry.observer == added.observer && entry.name == added.name;
  });
  if (known != entries.end())
    std::swap(*known, added);
  else
    entries.push_back(std::move(added));
}

void NotificationCenter::removeObserver(const void* observer) {
  std::vector<Entry> removed;
  const Guard guard(observers_->mutex);
  auto& entries = observers_->entries;
  const auto others = std::stable_partition(entries.begin(), entries.end(),
                                            [&](const Entry& entry) { return entry.observer != observer; });
  removed.assign(std::make_move_iterator(others), std::make_move_iterator(entries.end()));
  entries.erase(others, entries.end());
}

void NotificationCenter::post(const Notification& notification) {
  for (const auto& callback : observers_->callbacksFor(notification.name)) {
    // One called before it may have removed it.
    if (!observers_->isThere(callback)) continue;
    try {
      (*callback)(notification);
    } catch (...) {
      // An observer that fails keeps nothing from the others.
    }
  }
}

}  // namespace pxa
