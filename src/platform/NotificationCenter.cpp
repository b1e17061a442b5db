#include "platform/NotificationCenter.h"

#include <algorithm>

namespace pxa {

NotificationCenter& NotificationCenter::defaultCenter() {
  static auto& center = *new NotificationCenter;
  return center;
}

void NotificationCenter::addObserver(const String& name, Observer observer) {
  const Guard guard(mutex_);
  const std::pair<String, Observer> entry(name, observer);
  if (std::find(observers_.begin(), observers_.end(), entry) == observers_.end()) observers_.push_back(entry);
}

void NotificationCenter::post(const Notification& notification) {
  std::vector<Observer> observers;
  {
    const Guard guard(mutex_);
    for (const auto& [name, observer] : observers_)
      if (name == notification.name) observers.push_back(observer);
  }
  for (const Observer observer : observers) observer(&notification);
}

}  // namespace pxa
