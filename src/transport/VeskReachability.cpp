#include <array>
#include <cinttypes>
#include <cstdio>
#include <utility>

#include <pxalog/NotificationCenter.h>
#include <pxalog/VeskReachability.h>

#include "foundation/Mutex.h"
#include "platform/Platform.h"
#include "platform/console.h"

namespace pxa {

using namespace literals;

namespace {

constexpr const char* kQueueLabel = "com.pxa.log.reachability";
constexpr std::uint32_t kAnyAddress = 0;
constexpr std::uint32_t kLinkLocalNetwork = 0xA9FE0000;  // 169.254.0.0

bool hasAny(std::uint32_t flags, std::uint32_t bits) {
  return (flags & bits) != 0;
}

bool hasAll(std::uint32_t flags, std::uint32_t bits) {
  return (flags & bits) == bits;
}

String flagsText(std::uint32_t flags) {
  const auto mark = [flags](std::uint32_t bit, char character) {
    return hasAny(flags, bit) ? character : '-';
  };
  return std::string{mark(kReachabilityIsWWAN, 'W'),
                     mark(kReachabilityReachable, 'R'),
                     ' ',
                     mark(kReachabilityConnectionRequired, 'c'),
                     mark(kReachabilityTransientConnection, 't'),
                     mark(kReachabilityInterventionRequired, 'i'),
                     mark(kReachabilityConnectionOnTraffic, 'C'),
                     mark(kReachabilityConnectionOnDemand, 'D'),
                     mark(kReachabilityIsLocalAddress, 'l'),
                     mark(kReachabilityIsDirect, 'd')};
}

String lastErrorOf(const std::shared_ptr<ReachabilityTarget>& target) {
  return target == nullptr ? "Invalid argument"_text : target->lastError();
}

void stopWatching(const std::shared_ptr<ReachabilityTarget>& target) {
  if (target == nullptr) return;
  target->setCallback({});
  target->setDispatchQueue(nullptr);
}

}  // namespace

struct VeskReachability::Fields {
  // Callbacks are shared, so that no host's function object is copied or destroyed under the lock.
  using SharedCallback = std::shared_ptr<const Callback>;

  Mutex transition;  // held while the monitor starts or stops, before the other one
  Mutex mutex;       // guards all that follow
  std::shared_ptr<ReachabilityTarget> reachabilityRef;
  bool reachableOnWWAN = true;
  std::shared_ptr<DispatchQueue> reachabilitySerialQueue;
  SharedCallback reachableBlock;
  SharedCallback unreachableBlock;
  VeskReachabilityRef reachabilityObject;
};

template <class T>
T VeskReachability::copyOf(T Fields::*field) const {
  const Guard guard(fields_->mutex);
  return (*fields_).*field;
}

/// The old value is destroyed after the lock is left: it may be the host's, or the last to hold this monitor.
template <class T>
void VeskReachability::replace(T Fields::*field, T value) {
  const Guard guard(fields_->mutex);
  std::swap((*fields_).*field, value);
}

VeskReachabilityRef VeskReachability::reachabilityWithHostName(const String& host) {
  return reachabilityWithHostname(host);
}

VeskReachabilityRef VeskReachability::reachabilityWithHostname(const String& host) {
  return host.isEmpty() ? nullptr
                        : initWithReachabilityRef(Platform::current().reachability.createWithName(host));
}

VeskReachabilityRef VeskReachability::reachabilityWithAddress(const sockaddr* address) {
  return address == nullptr
             ? nullptr
             : initWithReachabilityRef(Platform::current().reachability.createWithAddress(address));
}

VeskReachabilityRef VeskReachability::reachabilityForInternetConnection() {
  return initWithReachabilityRef(Platform::current().reachability.createWithIPv4Address(kAnyAddress));
}

VeskReachabilityRef VeskReachability::reachabilityForLocalWiFi() {
  return initWithReachabilityRef(Platform::current().reachability.createWithIPv4Address(kLinkLocalNetwork));
}

VeskReachabilityRef VeskReachability::initWithReachabilityRef(
    std::shared_ptr<ReachabilityTarget> reachabilityRef) {
  if (reachabilityRef == nullptr) return nullptr;
  return std::unique_ptr<VeskReachability>(new VeskReachability(std::move(reachabilityRef)));
}

VeskReachability::VeskReachability(std::shared_ptr<ReachabilityTarget> reachabilityRef)
    : fields_(std::make_unique<Fields>()) {
  fields_->reachabilityRef = std::move(reachabilityRef);
}

VeskReachability::~VeskReachability() {
  stopWatching(reachabilityRef());
}

bool VeskReachability::startNotifier() {
  const VeskReachabilityRef self = shared_from_this();
  const String failure = tryToNotify();
  // Written without a lock: the console may be the host's own code.
  if (!failure.isEmpty()) console::write(failure);
  return failure.isNil();
}

/// nil when changes are told from now on; otherwise what to write on the console, "" for nothing.
String VeskReachability::tryToNotify() {
  const Guard guard(fields_->transition);
  setReachabilityObject(shared_from_this());
  const std::shared_ptr<DispatchQueue> queue = Platform::current().queues.createSerialQueue(kQueueLabel);
  setReachabilitySerialQueue(queue);
  String failure = queue == nullptr ? ""_text : watchOn(queue);
  if (!failure.isNil()) becomeIdle();
  return failure;
}

/// The same.
String VeskReachability::watchOn(const std::shared_ptr<DispatchQueue>& queue) {
  const std::shared_ptr<ReachabilityTarget> target = reachabilityRef();
  const auto tellMonitor = [weak = weak_from_this()](std::uint32_t flags) {
    if (const VeskReachabilityRef monitor = weak.lock()) monitor->reachabilityChanged(flags);
  };
  if (target == nullptr || !target->setCallback(tellMonitor))
    return "SCNetworkReachabilitySetCallback() failed: " + std::string(lastErrorOf(target).view());
  if (!target->setDispatchQueue(queue))
    return "SCNetworkReachabilitySetDispatchQueue() failed: " + std::string(target->lastError().view());
  return nullptr;
}

void VeskReachability::stopNotifier() {
  // Its own hold may be the last one.
  const VeskReachabilityRef self = shared_from_this();
  const Guard guard(fields_->transition);
  becomeIdle();
}

void VeskReachability::becomeIdle() {
  stopWatching(reachabilityRef());
  setReachabilitySerialQueue(nullptr);
  setReachabilityObject(nullptr);
}

bool VeskReachability::isReachable() const {
  return isReachableWithFlags(reachabilityFlags());
}

bool VeskReachability::isReachableWithFlags(std::uint32_t flags) const {
  if (!hasAny(flags, kReachabilityReachable)) return false;
  if (hasAll(flags, kReachabilityConnectionRequired | kReachabilityTransientConnection)) return false;
  return !hasAny(flags, kReachabilityIsWWAN) || reachableOnWWAN();
}

bool VeskReachability::isReachableViaWWAN() const {
  return hasAll(reachabilityFlags(), kReachabilityReachable | kReachabilityIsWWAN);
}

bool VeskReachability::isReachableViaWiFi() const {
  const std::uint32_t flags = reachabilityFlags();
  return hasAny(flags, kReachabilityReachable) && !hasAny(flags, kReachabilityIsWWAN);
}

bool VeskReachability::connectionRequired() const {
  return hasAny(reachabilityFlags(), kReachabilityConnectionRequired);
}

bool VeskReachability::isConnectionRequired() const {
  return connectionRequired();
}

bool VeskReachability::isConnectionOnDemand() const {
  const std::uint32_t flags = reachabilityFlags();
  return hasAny(flags, kReachabilityConnectionRequired) &&
         hasAny(flags, kReachabilityConnectionOnTraffic | kReachabilityConnectionOnDemand);
}

bool VeskReachability::isInterventionRequired() const {
  return hasAll(reachabilityFlags(), kReachabilityConnectionRequired | kReachabilityInterventionRequired);
}

VeskReachability::Status VeskReachability::currentReachabilityStatus() const {
  const std::uint32_t flags = reachabilityFlags();
  if (!isReachableWithFlags(flags)) return NotReachable;
  return hasAny(flags, kReachabilityIsWWAN) ? ReachableViaWWAN : ReachableViaWiFi;
}

std::uint32_t VeskReachability::reachabilityFlags() const {
  const std::shared_ptr<ReachabilityTarget> target = reachabilityRef();
  return target == nullptr ? 0 : target->flags().value_or(0);
}

String VeskReachability::currentReachabilityString() const {
  const Status status = currentReachabilityStatus();
  // Compared with the switch, not with a status: so these texts have always come out.
  if (status == static_cast<std::int32_t>(reachableOnWWAN())) return "Cellular"_text;
  return status == ReachableViaWiFi ? "WiFi"_text : "No Connection"_text;
}

String VeskReachability::currentReachabilityFlags() const {
  return flagsText(reachabilityFlags());
}

String VeskReachability::description() const {
  std::array<char, 64> text{};
  // The format takes 32 bits of the identity.
  const auto identity = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(this));
  std::snprintf(text.data(), text.size(), "<VeskReachability: %#" PRIx32 ">", identity);
  return text.data();
}

void VeskReachability::reachabilityChanged(std::uint32_t flags) {
  const VeskReachabilityRef monitor = shared_from_this();
  const Fields::SharedCallback callback =
      copyOf(isReachableWithFlags(flags) ? &Fields::reachableBlock : &Fields::unreachableBlock);
  try {
    if (callback != nullptr && *callback) (*callback)(*this);
  } catch (...) {
    // The host's failure does not keep the notification back.
  }
  Platform::current().queues.mainQueue().async([monitor] {
    NotificationCenter::defaultCenter().post({vesk_kReachabilityChangedNotification, monitor});
  });
}

bool VeskReachability::reachableOnWWAN() const {
  return copyOf(&Fields::reachableOnWWAN);
}
void VeskReachability::setReachableOnWWAN(bool isReachable) {
  replace(&Fields::reachableOnWWAN, isReachable);
}

VeskReachability::Callback VeskReachability::reachableBlock() const {
  const Fields::SharedCallback callback = copyOf(&Fields::reachableBlock);
  return callback == nullptr ? Callback() : *callback;
}
void VeskReachability::setReachableBlock(Callback callback) {
  replace(&Fields::reachableBlock, std::make_shared<const Callback>(std::move(callback)));
}

VeskReachability::Callback VeskReachability::unreachableBlock() const {
  const Fields::SharedCallback callback = copyOf(&Fields::unreachableBlock);
  return callback == nullptr ? Callback() : *callback;
}
void VeskReachability::setUnreachableBlock(Callback callback) {
  replace(&Fields::unreachableBlock, std::make_shared<const Callback>(std::move(callback)));
}

std::shared_ptr<ReachabilityTarget> VeskReachability::reachabilityRef() const {
  return copyOf(&Fields::reachabilityRef);
}
void VeskReachability::setReachabilityRef(std::shared_ptr<ReachabilityTarget> reachabilityRef) {
  replace(&Fields::reachabilityRef, std::move(reachabilityRef));
}

std::shared_ptr<DispatchQueue> VeskReachability::reachabilitySerialQueue() const {
  return copyOf(&Fields::reachabilitySerialQueue);
}
void VeskReachability::setReachabilitySerialQueue(std::shared_ptr<DispatchQueue> queue) {
  replace(&Fields::reachabilitySerialQueue, std::move(queue));
}

VeskReachabilityRef VeskReachability::reachabilityObject() const {
  return copyOf(&Fields::reachabilityObject);
}
void VeskReachability::setReachabilityObject(VeskReachabilityRef object) {
  replace(&Fields::reachabilityObject, std::move(object));
}

}  // namespace pxa
