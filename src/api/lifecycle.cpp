#include <pxalog/PXALog.h>

#include "api/handle/process_state.h"

namespace pxa {

void PXALog::applicationDidEnterBackground(const Notification*) {
  if (const std::shared_ptr<VeskBlockQueue> queue = gs_blockQueue()) queue->saveToFile();
}

void PXALog::applicationWillEnterForeground(const Notification*) {
  if (const std::shared_ptr<VeskBlockQueue> queue = gs_blockQueue()) queue->FileToMemory();
}

}  // namespace pxa
