#include <pxalog/Diagnostics.h>

#include "api/handle/process_state.h"
#include "diagnostics/Ledger.h"

namespace pxa {

Diagnostics::Snapshot Diagnostics::snapshot() {
  const ProcessFlags& flags = processFlags();
  return {ledger().events(), ledger().requests(), flags.isSendingHeld, flags.isSettingsPending};
}

}  // namespace pxa
