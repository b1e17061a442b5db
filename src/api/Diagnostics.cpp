#include <pxalog/Diagnostics.h>

#include "api/handle/process_state.h"
#include "diagnostics/Ledger.h"

namespace pxa {

Diagnostics::Snapshot Diagnostics::snapshot() {
  Snapshot snapshot = ledger().snapshot();
  snapshot.isHeldBySynchronousStart = processFlags().isSendingHeld;
  snapshot.isHeldBySettings = processFlags().isSettingsPending;
  return snapshot;
}

}  // namespace pxa
