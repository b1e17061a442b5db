#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "foundation/Mutex.h"
#include "platform/linux/FileDescriptor.h"

namespace pxa {

struct NetworkChange {
  bool isOfRoutes = false;  ///< of routes or addresses too, not of links alone
};

/// Who wants to hear that links, addresses or routes have changed.
class NetworkListener {
 public:
  virtual ~NetworkListener() = default;
  /// Called on the watcher's thread; must return soon and not throw.
  virtual void networkChanged(NetworkChange change) noexcept = 0;
};

/// Hears from the kernel, on a thread of its own, when links, addresses or routes change. Thread-safe; lives
/// as long as the process.
class NetworkWatcher {
 public:
  /// Starts to watch, if that was not done yet; 0, or the error, and the next call tries again.
  int start();

  /// A number that differs from an earlier one when something may have changed since; nothing while the
  /// kernel does not tell. Starts the watcher.
  std::optional<std::uint64_t> generation();

  /// Calls the listener after each change, as long as it lives. The messages that the kernel sends of one
  /// change in a row count as one.
  void addListener(std::weak_ptr<NetworkListener> listener);

 private:
  void run() noexcept;
  /// Reads what the kernel has sent and waits until it is silent for a moment; nothing when no word will come
  /// any more.
  std::optional<NetworkChange> hearOneChange();
  /// Reads what the kernel has sent and adds it to the change; false when no word will come any more.
  bool receiveInto(NetworkChange& change);
  void tellListeners(NetworkChange change) noexcept;
  std::vector<std::weak_ptr<NetworkListener>> listeners();

  std::atomic<bool> isWatching_ = false;
  std::atomic<std::uint64_t> generation_ = 0;
  Mutex mutex_;
  FileDescriptor socket_;  // opened under the lock, then the thread's alone
  std::vector<std::weak_ptr<NetworkListener>> listeners_ GUARDED_BY(mutex_);
};

}  // namespace pxa
