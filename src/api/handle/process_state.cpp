#include "api/handle/process_state.h"

#include "api/handle/GlobalLock.h"

namespace pxa {

namespace {

// Under the global lock.
std::shared_ptr<VeskBlockQueue>& sharedQueue() {
  static auto& queue = *new std::shared_ptr<VeskBlockQueue>;
  return queue;
}

}  // namespace

ProcessFlags& processFlags() {
  static auto& flags = *new ProcessFlags;
  return flags;
}

std::shared_ptr<VeskBlockQueue> gs_blockQueue() {
  const GlobalGuard guard;
  return sharedQueue();
}

VeskBlockQueue* blockQueue() {
  return sharedQueue().get();
}

void resetBlockQueue() {
  sharedQueue() = std::make_shared<VeskBlockQueue>();
}

}  // namespace pxa
