#include "platform/linux/LinuxThreads.h"

#include <csignal>
#include <pthread.h>
#include <string>
#include <thread>
#include <utility>

#include "platform/linux/crash/AlternateStack.h"
#include "platform/linux/crash/signal_names.h"

namespace pxa {

namespace {

/// Blocks, for a scope, every signal but those by which a thread learns of a fault of its own; a thread that
/// is created meanwhile inherits that.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t blocked;
    ::sigfillset(&blocked);
    for (const int fault : crash::kFatalSignals) ::sigdelset(&blocked, fault);
    ::pthread_sigmask(SIG_SETMASK, &blocked, &before_);
  }
  ~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_{};
};

constexpr std::size_t kLongestThreadName = 15;

}  // namespace

void LinuxThreads::start(const char* name, std::function<void()> body) {
  const SignalsBlocked blocked;
  std::thread([name = std::string(name).substr(0, kLongestThreadName), body = std::move(body)] {
    ::pthread_setname_np(::pthread_self(), name.c_str());
    crash::prepareAlternateStack();
    body();
  }).detach();
}

bool LinuxThreads::prepareForCrash() {
  return crash::prepareAlternateStack();
}

void LinuxThreads::yield() {
  std::this_thread::yield();
}

}  // namespace pxa
