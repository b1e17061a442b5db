#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/Mutex.h"
#include "platform/linux/Rtnetlink.h"

namespace pxa {

/// The host's part of a text in which a port or a path may follow it, without the brackets of an IPv6
/// address.
std::string_view hostPart(std::string_view text);

/// The address that a host is written as, or that its name always stands for; nothing for a name that must
/// be resolved.
std::optional<IpAddress> addressWrittenAs(const std::string& host);

/// The addresses of a host name, looked up on threads of their own. Thread-safe. Kept alive by whoever made
/// it and by a look-up that is under way.
class HostAddresses : public std::enable_shared_from_this<HostAddresses> {
 public:
  /// What is called after each look-up that gave addresses, on the thread that made it; it must not throw.
  HostAddresses(std::string host, std::function<void()> onResolved)
      : host_(std::move(host)), onResolved_(std::move(onResolved)) {}

  /// Looks the name up, once more if a look-up is under way that may have begun too early.
  void resolve();
  /// The addresses that the last look-up gave that gave any; none before the first one.
  std::vector<IpAddress> known();

 private:
  void lookUpWhileAsked() noexcept;

  const std::string host_;
  const std::function<void()> onResolved_;
  Mutex mutex_;
  std::vector<IpAddress> known_ GUARDED_BY(mutex_);
  bool isLookingUp_ GUARDED_BY(mutex_) = false;
  bool isAsked_ GUARDED_BY(mutex_) = false;
};

}  // namespace pxa
