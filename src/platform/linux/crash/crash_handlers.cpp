#include "platform/linux/crash/crash_handlers.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <pthread.h>
#include <unistd.h>

#include "platform/HostSettings.h"
#include "platform/linux/crash/AlternateStack.h"
#include "platform/linux/crash/CrashThread.h"
#include "platform/linux/crash/DescriptorReserve.h"
#include "platform/linux/crash/registers.h"
#include "platform/linux/crash/signal_names.h"
#include "platform/linux/crash/uncaught_exception.h"
#include "platform/linux/crash/writer_process.h"

namespace pxa::crash {

namespace {

constexpr std::size_t kSignalCount = std::size(kFatalSignals);

/// The request's ten seconds, and five for everything else.
constexpr double kLongestHandling = 15;
/// What waits for the handling to end waits a little longer than the handling may take.
constexpr double kLongestWaitForHandling = 17;
/// How long the signal of the first crash has to end the process before those of later ones go on their way.
constexpr double kHeadStart = 1;

enum Phase : std::uint32_t { Waiting, Handling, Ended };

// Set before the handlers are installed.
const KnownFacts* gs_facts = nullptr;
CrashCallbacks gs_callbacks;
pid_t gs_process = 0;
struct sigaction gs_previous[kSignalCount];

Word gs_phase = Waiting;
std::atomic<CrashState> gs_state = CrashState::None;
std::atomic<pid_t> gs_crashedThread = 0;

// Of the crash that is handled; set by its thread.
Crash gs_crash;
siginfo_t gs_signalInformation;
constinit std::optional<Deadline> gs_deadline;

void onSignal(int signal, siginfo_t* information, void* context) noexcept;

const struct sigaction& previousActionOf(int signal) noexcept {
  std::size_t index = 0;
  while (kFatalSignals[index] != signal) ++index;
  return gs_previous[index];
}

bool isIgnored(const struct sigaction& action) noexcept {
  return (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == SIG_IGN;
}

/// False where the host has installed a handler of its own since.
bool isInstalled(int signal) noexcept {
  struct sigaction current {};
  return ::sigaction(signal, nullptr, &current) == 0 && (current.sa_flags & SA_SIGINFO) != 0 &&
         current.sa_sigaction == &onSignal;
}

/// Puts back what was there before this handler; of one signal also where the host's own handler, installed
/// later, has called this one: it counts on what it calls to end the process.
void restorePreviousActions(int signal) noexcept {
  for (std::size_t i = 0; i < kSignalCount; ++i)
    if (kFatalSignals[i] == signal || isInstalled(kFatalSignals[i]))
      ::sigaction(kFatalSignals[i], &gs_previous[i], nullptr);
}

void setBlocked(int signal, int how) noexcept {
  sigset_t set;
  ::sigemptyset(&set);
  ::sigaddset(&set, signal);
  ::sigprocmask(how, &set, nullptr);
}

void sendToThisThread(int signal, const siginfo_t& information) noexcept {
  siginfo_t copy = information;
  ::syscall(SYS_rt_tgsigqueueinfo, ::getpid(), currentThreadId(), signal, &copy);
}

/// To process 1 the system does not send what only ends it. A fault comes again by itself; what was a trap
/// does not.
void endFirstProcess(int signal, const siginfo_t& information) noexcept {
  const struct sigaction& previous = previousActionOf(signal);
  const bool wouldEnd = (previous.sa_flags & SA_SIGINFO) == 0 && previous.sa_handler == SIG_DFL;
  const bool isTrap = (signal == SIGTRAP || signal == SIGSYS) && information.si_code > 0;
  constexpr int kEndedBySignal = 128;
  if (::getpid() == 1 && wouldEnd && isTrap) ::_exit(kEndedBySignal + signal);
}

/// Sends the signal again to whoever would have had it. It stays blocked until this handler has returned, so
/// that it arrives in the context in which it came first.
void passOn(int signal, const siginfo_t& information) noexcept {
  restorePreviousActions(signal);
  setBlocked(signal, SIG_BLOCK);
  sendToThisThread(signal, information);
  endFirstProcess(signal, information);
}

void handle(int signal, const siginfo_t& information, const void* context) noexcept {
  gs_signalInformation = information;
  gs_deadline.emplace(kLongestHandling);
  gs_crash.signal = signal;
  gs_crash.code = information.si_code;
  // A signal that was sent has no address; its sender stands in that place.
  const bool isFault = information.si_code > 0;
  gs_crash.address = isFault ? reinterpret_cast<std::uint64_t>(information.si_addr) : 0;
  gs_crash.context = static_cast<const ucontext_t*>(context);
  gs_crash.process = gs_process;
  gs_crash.time = ::time(nullptr);
  gs_crash.thread = gs_crashedThread;
  gs_crash.exception = uncaughtExceptionOf(gs_crash.thread);

  gs_state = CrashState::NotReported;
  if (writeReportFromOwnProcess(*gs_facts, gs_crash, *gs_deadline)) gs_state = CrashState::Reported;
  descriptorReserve().release();
  if (gs_callbacks.handleSignal != nullptr)
    gs_callbacks.handleSignal(&information, context, gs_callbacks.context);
}

/// The handling itself has crashed: the process ends by the signal that it was about, at once.
void endByFirstSignal() noexcept {
  gs_phase = Ended;
  restorePreviousActions(gs_crash.signal);
  sendToThisThread(gs_crash.signal, gs_signalInformation);
  setBlocked(gs_crash.signal, SIG_UNBLOCK);
}

void waitForPhaseToPass(std::uint32_t phase, double longest) noexcept {
  const Deadline deadline(longest);
  while (gs_phase == phase && !deadline.isOver()) waitWhile(gs_phase, phase, deadline);
}

/// For a thread that crashes while the first crash is handled.
void letFirstCrashEnd(pid_t thread) noexcept {
  if (crashThread().counts(thread)) crashThread().giveUp();
  if (HostSettings::isMainThread()) crashThread().loseMainThread();
  waitForPhaseToPass(Handling, kLongestWaitForHandling);
  waitForPhaseToPass(Ended, kHeadStart);
}

/// Whether this crash is the first of the process.
bool claimHandling(pid_t thread) noexcept {
  std::uint32_t waiting = Waiting;
  if (!gs_phase.compare_exchange_strong(waiting, Handling)) return false;
  gs_crashedThread = thread;
  return true;
}

/// Keeps a cancellation that is under way from ending the thread inside the handler.
class CancellationDeferred {
 public:
  CancellationDeferred() noexcept { ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
  ~CancellationDeferred() { ::pthread_setcancelstate(before_, nullptr); }
  CancellationDeferred(const CancellationDeferred&) = delete;
  CancellationDeferred& operator=(const CancellationDeferred&) = delete;

 private:
  int before_ = 0;
};

/// A signal that somebody sent, and that did nothing before there was this handler. What a thread sends to
/// itself is abort's first try, which goes on whether the signal is ignored or not.
bool wasSentToBeIgnored(int signal, const siginfo_t& information) noexcept {
  const bool isAbort = signal == SIGABRT && information.si_code == SI_TKILL;
  return information.si_code <= 0 && !isAbort && isIgnored(previousActionOf(signal));
}

void onSignal(int signal, siginfo_t* information, void* context) noexcept {
  allowMisalignedAccess();
  const int error = errno;
  if (!wasSentToBeIgnored(signal, *information)) {
    const CancellationDeferred deferred;
    const pid_t thread = currentThreadId();
    const bool isOwnProcess = ::getpid() == gs_process;  // and not a child made by fork
    if (isOwnProcess && claimHandling(thread)) {
      handle(signal, *information, context);
      setAndWake(gs_phase, Ended);
    } else if (isOwnProcess && gs_phase == Handling) {
      if (thread == gs_crashedThread) return endByFirstSignal();
      letFirstCrashEnd(thread);
    }
    passOn(signal, *information);
  }
  errno = error;
}

}  // namespace

void installCrashHandlers(const KnownFacts& facts, const CrashCallbacks& callbacks) noexcept {
  gs_facts = &facts;
  gs_callbacks = callbacks;
  gs_process = ::getpid();
  prepareAlternateStack();
  descriptorReserve().open();

  struct sigaction action {};
  action.sa_sigaction = &onSignal;
  // A crash inside the handling shall come back here; nothing else shall interrupt it.
  action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER | SA_RESTART;
  ::sigfillset(&action.sa_mask);
  for (const int signal : kFatalSignals) ::sigdelset(&action.sa_mask, signal);
  // Known before the first signal can come.
  for (std::size_t i = 0; i < kSignalCount; ++i) ::sigaction(kFatalSignals[i], nullptr, &gs_previous[i]);
  for (const int signal : kFatalSignals) ::sigaction(signal, &action, nullptr);
  std::atexit(&letHandlingEnd);
}

void letHandlingEnd() noexcept {
  if (crashThread().counts(currentThreadId())) return;  // the crash block ends the process
  if (HostSettings::isMainThread()) crashThread().loseMainThread();
  waitForPhaseToPass(Handling, kLongestWaitForHandling);
}

void performElsewhereAndWait(void (*operation)(void*), void* object) noexcept {
  crashThread().perform(operation, object, *gs_deadline);
}

CrashState crashState() noexcept {
  return gs_state;
}

}  // namespace pxa::crash
