#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include <pxalog/ReachabilityFlags.h>
#include <pxalog/String.h>

#include "platform/DispatchQueues.h"

struct sockaddr;

namespace pxa {

/// What a monitor watches. Thread-safe.
class ReachabilityTarget {
 public:
  using Callback = std::function<void(std::uint32_t flags)>;

  virtual ~ReachabilityTarget() = default;
  /// The flags now, without waiting for the network; nothing when they cannot be read.
  virtual std::optional<std::uint32_t> flags() = 0;
  /// Names what to call with the flags after each change of them; an empty function ends that. False when
  /// changes cannot be watched.
  virtual bool setCallback(Callback callback) = 0;
  /// Starts calling, on that queue, for changes from now on; nullptr ends that. No call waits for another:
  /// both may be made from within the callback. False when changes cannot be watched.
  virtual bool setDispatchQueue(std::shared_ptr<DispatchQueue> queue) = 0;
  /// The system's text for the last of the above that failed.
  virtual String lastError() = 0;
};

/// Makes targets; nullptr when none can be made.
class ReachabilityTargets {
 public:
  virtual ~ReachabilityTargets() = default;
  /// Of a host's name or numeric address, which a port and a path may follow.
  virtual std::shared_ptr<ReachabilityTarget> createWithName(const String& host) = 0;
  /// Of an IPv4 or IPv6 socket address; address 0 stands for any route to the Internet.
  virtual std::shared_ptr<ReachabilityTarget> createWithAddress(const sockaddr* address) = 0;
  /// Of an IPv4 address as a number: 127.0.0.1 is 0x7F000001.
  virtual std::shared_ptr<ReachabilityTarget> createWithIPv4Address(std::uint32_t address) = 0;
};

}  // namespace pxa
