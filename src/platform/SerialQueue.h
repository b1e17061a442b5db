#pragma once

#include <deque>
#include <functional>
#include <memory>

#include "foundation/Mutex.h"
#include "platform/DispatchQueues.h"

namespace pxa {

/// A queue that has a thread only while it has tasks. Kept alive by whoever made it and by that thread.
class SerialQueue final : public DispatchQueue, public std::enable_shared_from_this<SerialQueue> {
 public:
  /// The thread's name.
  explicit SerialQueue(const char* threadName) noexcept : threadName_(threadName) {}

  /// When the system has no thread to give, the task waits for the next call.
  void async(std::function<void()> task) override;

 private:
  void run() noexcept;
  /// The next task; an empty one, and the thread is no longer counted on, when there is none.
  std::function<void()> takeTask();

  const char* const threadName_;
  Mutex mutex_;
  std::deque<std::function<void()>> tasks_ GUARDED_BY(mutex_);
  bool hasThread_ GUARDED_BY(mutex_) = false;
};

}  // namespace pxa
