#include "api/handle/process_state.h"

#include "api/handle/GlobalLock.h"

namespace pxa {

namespace {

// Under the global lock.
std::shared_ptr<VeskBlockQueue>& blockQueue() {
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
  return blockQueue();
}

void resetBlockQueue() {
  blockQueue() = std::make_shared<VeskBlockQueue>();
}

}  // namespace pxa
