#include "transport/VeskReachability.h"

#include "platform/Platform.h"

namespace pxa {

std::shared_ptr<VeskReachability> VeskReachability::reachabilityWithHostname(const String& host) {
  auto target = Platform::current().reachability.createWithName(host);
  return target == nullptr ? nullptr : std::make_shared<VeskReachability>(std::move(target));
}

bool VeskReachability::startNotifier() {
  return target_->setCallback([](std::uint32_t) {});
}

bool VeskReachability::isReachable() const {
  return isReachableWithFlags(target_->flags().value_or(0));
}

int VeskReachability::currentReachabilityStatus() const {
  const std::uint32_t flags = target_->flags().value_or(0);
  if (!isReachableWithFlags(flags)) return 0;
  return (flags & kReachabilityIsWWAN) != 0 ? 1 : 2;
}

bool VeskReachability::isReachableWithFlags(std::uint32_t flags) {
  constexpr std::uint32_t kNotConnectedYet =
      kReachabilityConnectionRequired | kReachabilityTransientConnection;
  return (flags & kReachabilityReachable) != 0 && (flags & kNotConnectedYet) != kNotConnectedYet;
}

}  // namespace pxa
