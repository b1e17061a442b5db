#include "platform/SerialQueue.h"

#include <exception>
#include <utility>

#include "platform/Platform.h"

namespace pxa {

void SerialQueue::async(std::function<void()> task) {
  if (!task) return;
  const Guard guard(mutex_);
  tasks_.push_back(std::move(task));
  if (hasThread_) return;
  try {
    Platform::current().threads.start(threadName_, [self = shared_from_this()] { self->run(); });
    hasThread_ = true;
  } catch (const std::exception&) {
    // The next call tries again.
  }
}

void SerialQueue::run() noexcept {
  while (const std::function<void()> task = takeTask()) {
    try {
      task();
    } catch (...) {
      // A task that fails ends neither the queue nor the host's process.
    }
  }
}

std::function<void()> SerialQueue::takeTask() {
  const Guard guard(mutex_);
  if (tasks_.empty()) {
    hasThread_ = false;
    return {};
  }
  std::function<void()> task = std::move(tasks_.front());
  tasks_.pop_front();
  return task;
}

}  // namespace pxa
