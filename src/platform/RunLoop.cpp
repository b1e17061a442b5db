#include "platform/RunLoop.h"

namespace pxa {

namespace {

thread_local std::shared_ptr<RunLoop> currentRunLoop;

}  // namespace

bool RunLoop::run(std::chrono::milliseconds longest) {
  std::unique_lock lock(mutex_);
  return condition_.wait_for(lock, longest, [this] { return isStopped_; });
}

void RunLoop::stop() {
  const std::lock_guard lock(mutex_);
  isStopped_ = true;
  condition_.notify_all();
}

const std::shared_ptr<RunLoop>& RunLoop::current() noexcept {
  return currentRunLoop;
}

CurrentRunLoop::CurrentRunLoop() : runLoop_(std::make_shared<RunLoop>()) {
  currentRunLoop = runLoop_;
}

CurrentRunLoop::~CurrentRunLoop() {
  currentRunLoop = nullptr;
}

}  // namespace pxa
