#include "platform/linux/crash/FaultGuard.h"

#include <csignal>

#include "platform/linux/crash/signal_names.h"

namespace pxa::crash {

sigjmp_buf FaultGuard::gs_wayOut;

void FaultGuard::install() noexcept {
  struct sigaction action {};
  ::sigfillset(&action.sa_mask);
  action.sa_handler = [](int) { siglongjmp(gs_wayOut, 1); };  // NOLINT(cert-err52-cpp)
  for (const int fault : kFatalSignals) ::sigaction(fault, &action, nullptr);
  // A file that may not grow further is one that could not be written.
  ::signal(SIGXFSZ, SIG_IGN);
}

}  // namespace pxa::crash
