#include "platform/Platform.h"

#include <atomic>

namespace pxa {

namespace {

std::atomic<const Platform*> gs_platform = nullptr;

}  // namespace

const Platform& Platform::current() {
  const Platform* installed = gs_platform.load(std::memory_order_acquire);
  return installed != nullptr ? *installed : systemPlatform();
}

void Platform::install(const Platform& platform) {
  gs_platform.store(&platform, std::memory_order_release);
}

}  // namespace pxa
