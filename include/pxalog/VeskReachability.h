#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include <pxalog/Export.h>
#include <pxalog/ReachabilityFlags.h>
#include <pxalog/String.h>

/// A socket address of the system's own kind.
struct sockaddr;

namespace pxa {

class DispatchQueue;
class ReachabilityTarget;
class VeskReachability;
using VeskReachabilityRef = std::shared_ptr<VeskReachability>;

/// Name of the notification that a monitor posts on the main queue after each change of its flags; the
/// notification's object is the monitor. On a system without a main thread of the application's, as on Linux,
/// the main queue has a thread of the library's own.
inline constexpr const char* vesk_kReachabilityChangedNotification = "vesk_kReachabilityChangedNotification";

/// Watches whether a host can be reached, and over which kind of link.
///
/// The questions read the flags afresh, without waiting for a name server: until a host's name is resolved,
/// the default route answers for it. Flags that cannot be read count as 0, not reachable. While notifying,
/// the monitor keeps itself alive: whoever starts one stops it.
///
/// Thread-safe. It may be stopped and dropped at any time, from within its own callbacks too.
class PXALOG_EXPORT VeskReachability : public std::enable_shared_from_this<VeskReachability> {
 public:
  using Callback = std::function<void(VeskReachability& monitor)>;

  enum Status : std::int32_t {
    NotReachable = 0,
    ReachableViaWWAN = 1,  ///< over a cellular link
    ReachableViaWiFi = 2,  ///< over any other link
  };

  /// A monitor of a host: a name or a numeric address, of which a port and a path behind it are no part.
  /// nullptr for a nil or empty host. Selectors: reachabilityWithHostName:, reachabilityWithHostname:
  static VeskReachabilityRef reachabilityWithHostName(const String& host);
  static VeskReachabilityRef reachabilityWithHostname(const String& host);
  /// A monitor of an IPv4 or IPv6 socket address, of which the address alone counts; address 0 stands for
  /// any route to the Internet. nullptr for a null pointer and for another family.
  /// Selector: reachabilityWithAddress:
  static VeskReachabilityRef reachabilityWithAddress(const sockaddr* address);
  /// A monitor of any IPv4 route to the Internet. Selector: reachabilityForInternetConnection
  static VeskReachabilityRef reachabilityForInternetConnection();
  /// A monitor of the IPv4 link-local network. Selector: reachabilityForLocalWiFi
  static VeskReachabilityRef reachabilityForLocalWiFi();
  /// A monitor of a target of the platform. Selector: initWithReachabilityRef:
  static VeskReachabilityRef initWithReachabilityRef(std::shared_ptr<ReachabilityTarget> reachabilityRef);

  ~VeskReachability();
  VeskReachability(const VeskReachability&) = delete;
  VeskReachability& operator=(const VeskReachability&) = delete;

  /// Starts calling back and posting notifications on changes; nothing is called for the flags as they are
  /// now. False when the platform cannot tell of changes; why is on the console.
  bool startNotifier();
  /// A callback that is under way may still run on its own thread; no later one does.
  void stopNotifier();

  [[nodiscard]] bool isReachable() const;
  [[nodiscard]] bool isReachableWithFlags(std::uint32_t flags) const;
  [[nodiscard]] bool isReachableViaWWAN() const;
  [[nodiscard]] bool isReachableViaWiFi() const;
  /// Whether a connection must be made before the host can be reached; two spellings of one question.
  [[nodiscard]] bool connectionRequired() const;
  [[nodiscard]] bool isConnectionRequired() const;
  /// Whether that connection is made on traffic or on demand.
  [[nodiscard]] bool isConnectionOnDemand() const;
  /// Whether the user must do something for that connection.
  [[nodiscard]] bool isInterventionRequired() const;

  [[nodiscard]] Status currentReachabilityStatus() const;
  [[nodiscard]] std::uint32_t reachabilityFlags() const;
  /// "Cellular", "WiFi" or "No Connection" while a cellular link counts as reachable. While it does not,
  /// "Cellular" stands for status 0 and "No Connection" for status 1.
  [[nodiscard]] String currentReachabilityString() const;
  /// One character a flag, "-" for a flag that is clear: "WR ctiCDld" when all are set.
  [[nodiscard]] String currentReachabilityFlags() const;
  [[nodiscard]] String description() const;

  /// Runs the callback for these flags, then has the notification posted. Called by the platform on the
  /// monitor's serial queue. Selector: reachabilityChanged:
  void reachabilityChanged(std::uint32_t flags);

  /// Whether a cellular link counts as reachable; true at first.
  [[nodiscard]] bool reachableOnWWAN() const;
  void setReachableOnWWAN(bool isReachable);
  /// Run on the monitor's own serial queue when the flags changed and the host is, or is not, reachable with
  /// the new ones. What they throw is dropped. An empty function runs nothing.
  [[nodiscard]] Callback reachableBlock() const;
  void setReachableBlock(Callback callback);
  [[nodiscard]] Callback unreachableBlock() const;
  void setUnreachableBlock(Callback callback);

  /// The target that is watched.
  [[nodiscard]] std::shared_ptr<ReachabilityTarget> reachabilityRef() const;
  void setReachabilityRef(std::shared_ptr<ReachabilityTarget> reachabilityRef);
  /// The queue on which changes arrive while notifying; nullptr otherwise.
  [[nodiscard]] std::shared_ptr<DispatchQueue> reachabilitySerialQueue() const;
  void setReachabilitySerialQueue(std::shared_ptr<DispatchQueue> queue);
  /// The monitor itself while notifying; nullptr otherwise.
  [[nodiscard]] VeskReachabilityRef reachabilityObject() const;
  void setReachabilityObject(VeskReachabilityRef object);

 private:
  struct Fields;

  explicit VeskReachability(std::shared_ptr<ReachabilityTarget> reachabilityRef);
  String tryToNotify();
  String watchOn(const std::shared_ptr<DispatchQueue>& queue);
  void becomeIdle();
  template <class T>
  T copyOf(T Fields::*field) const;
  template <class T>
  void replace(T Fields::*field, T value);

  const std::unique_ptr<Fields> fields_;
};

}  // namespace pxa
