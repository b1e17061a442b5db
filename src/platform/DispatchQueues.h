#pragma once

#include <functional>
#include <memory>

namespace pxa {

/// Runs tasks one after another, in the order in which they came, on a thread of its own choice.
/// Thread-safe.
class DispatchQueue {
 public:
  virtual ~DispatchQueue() = default;
  /// Returns at once. What a task throws is dropped.
  virtual void async(std::function<void()> task) = 0;
};

class DispatchQueues {
 public:
  virtual ~DispatchQueues() = default;
  /// A queue with a label for debuggers; tasks that it holds run even when nobody else holds it any more.
  /// nullptr when none can be made.
  virtual std::shared_ptr<DispatchQueue> createSerialQueue(const char* label) = 0;
  /// The queue of the application's main thread.
  virtual DispatchQueue& mainQueue() = 0;
};

}  // namespace pxa
