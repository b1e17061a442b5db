#include "platform/linux/LinuxReachability.h"

#include <atomic>
#include <cstring>
#include <exception>
#include <string>
#include <sys/socket.h>
#include <utility>

#include "foundation/Mutex.h"
#include "platform/linux/HostAddresses.h"
#include "platform/linux/reachability_flags.h"

namespace pxa {

namespace {

/// What a target and the changes on their way to it share: it lives until the last of them is done.
class Watch final : public NetworkListener, public std::enable_shared_from_this<Watch> {
 public:
  explicit Watch(std::vector<IpAddress> addresses) : addresses_(std::move(addresses)) {}

  /// The name's addresses count from now on. Before others know of this.
  void setName(const std::string& host) {
    name_ = std::make_shared<HostAddresses>(host, [weak = weak_from_this()] {
      if (const auto watch = weak.lock()) watch->compareSoon();
    });
  }

  void resolveName() noexcept {
    if (name_ != nullptr) name_->resolve();
  }

  std::optional<std::uint32_t> flags() {
    return reachabilityFlagsOf(name_ == nullptr ? addresses_ : name_->known());
  }

  void setCallback(ReachabilityTarget::Callback callback) {
    auto shared =
        callback ? std::make_shared<const ReachabilityTarget::Callback>(std::move(callback)) : nullptr;
    const Guard guard(mutex_);
    callback_.swap(shared);
  }

  /// Changes count from now on.
  void setQueue(std::shared_ptr<DispatchQueue> queue) {
    const std::uint32_t now = queue == nullptr ? 0 : flags().value_or(0);
    const Guard guard(mutex_);
    toldFlags_ = now;
    queue_.swap(queue);
  }

  void networkChanged(NetworkChange change) noexcept override {
    if (change.isOfRoutes) resolveName();
    compareSoon();
  }

 private:
  void compareSoon() noexcept {
    try {
      if (const auto queue = currentQueue())
        queue->async([self = shared_from_this(), queue] { self->tellIfChanged(queue); });
    } catch (const std::exception&) {
      // No memory: the next change is compared.
    }
  }

  /// On the queue. A change that was on its way when watching ended, or began anew, is not told.
  void tellIfChanged(const std::shared_ptr<DispatchQueue>& queue) {
    const std::uint32_t now = flags().value_or(0);
    std::shared_ptr<const ReachabilityTarget::Callback> callback;
    {
      const Guard guard(mutex_);
      if (queue_ != queue || now == std::exchange(toldFlags_, now)) return;
      callback = callback_;
    }
    if (callback != nullptr) (*callback)(now);
  }

  std::shared_ptr<DispatchQueue> currentQueue() {
    const Guard guard(mutex_);
    return queue_;
  }

  const std::vector<IpAddress> addresses_;
  std::shared_ptr<HostAddresses> name_;  // nullptr for a host that needs no look-up
  Mutex mutex_;
  std::shared_ptr<const ReachabilityTarget::Callback> callback_ GUARDED_BY(mutex_);
  std::shared_ptr<DispatchQueue> queue_ GUARDED_BY(mutex_);
  std::uint32_t toldFlags_ GUARDED_BY(mutex_) = 0;
};

class LinuxReachabilityTarget final : public ReachabilityTarget {
 public:
  LinuxReachabilityTarget(std::shared_ptr<Watch> watch, NetworkWatcher& watcher)
      : watch_(std::move(watch)), watcher_(watcher) {}
  ~LinuxReachabilityTarget() override { watch_->setQueue(nullptr); }
  LinuxReachabilityTarget(const LinuxReachabilityTarget&) = delete;
  LinuxReachabilityTarget& operator=(const LinuxReachabilityTarget&) = delete;

  std::optional<std::uint32_t> flags() override { return watch_->flags(); }

  bool setCallback(Callback callback) override {
    if (callback && !canWatch()) return false;
    watch_->setCallback(std::move(callback));
    return true;
  }

  bool setDispatchQueue(std::shared_ptr<DispatchQueue> queue) override {
    if (queue != nullptr && !canWatch()) return false;
    watch_->setQueue(std::move(queue));
    return true;
  }

  String lastError() override { return std::strerror(lastError_); }

 private:
  bool canWatch() {
    lastError_ = watcher_.start();
    return lastError_ == 0;
  }

  const std::shared_ptr<Watch> watch_;
  NetworkWatcher& watcher_;
  std::atomic<int> lastError_ = 0;
};

std::shared_ptr<ReachabilityTarget> targetOf(const std::shared_ptr<Watch>& watch, NetworkWatcher& watcher) {
  watcher.addListener(watch);
  return std::make_shared<LinuxReachabilityTarget>(watch, watcher);
}

}  // namespace

std::shared_ptr<ReachabilityTarget> LinuxReachabilityTargets::createWithName(const String& host) {
  if (host.isEmpty()) return nullptr;
  const std::string name(hostPart(host.view()));
  if (const auto address = addressWrittenAs(name))
    return targetOf(std::make_shared<Watch>(std::vector{*address}), watcher_);
  const auto watch = std::make_shared<Watch>(std::vector<IpAddress>());
  watcher_.start();  // for the look-ups that follow; where it cannot, there will be none
  watch->setName(name);
  auto target = targetOf(watch, watcher_);
  watch->resolveName();
  return target;
}

std::shared_ptr<ReachabilityTarget> LinuxReachabilityTargets::createWithAddress(const sockaddr* address) {
  const auto known = address == nullptr ? std::nullopt : IpAddress::of(*address);
  return known ? targetOf(std::make_shared<Watch>(std::vector{*known}), watcher_) : nullptr;
}

std::shared_ptr<ReachabilityTarget> LinuxReachabilityTargets::createWithIPv4Address(std::uint32_t address) {
  IpAddress known{AF_INET, {}};
  for (unsigned place = 0; place < 4; ++place)
    known.bytes[place] = static_cast<std::uint8_t>(address >> (24 - 8 * place));
  return targetOf(std::make_shared<Watch>(std::vector{known}), watcher_);
}

}  // namespace pxa
