#include "platform/BackgroundThread.h"

#include <exception>

#include "platform/Platform.h"

namespace pxa {

namespace {

thread_local const BackgroundThread* currentThread = nullptr;

}  // namespace

bool BackgroundThread::start() {
  try {
    Platform::current().threads.start(name_, [self = shared_from_this()] { self->run(); });
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

void BackgroundThread::run() noexcept {
  currentThread = this;
  try {
    body_();
  } catch (...) {
    // A body that fails ends its own thread, never the host's process.
  }
  currentThread = nullptr;
}

bool BackgroundThread::currentIsCancelled() noexcept {
  return currentThread != nullptr && currentThread->isCancelled_;
}

}  // namespace pxa
