#include "platform/linux/crash/CrashThread.h"

#include <exception>

#include "platform/HostSettings.h"
#include "platform/Platform.h"
#include "platform/linux/crash/AlternateStack.h"

namespace pxa::crash {

namespace {

/// A stack overflow of the host's main thread shall be reported whichever thread has switched reporting on.
void prepareMainThread() {
  if (const Host::MainThreadExecutor execute = HostSettings::mainThreadExecutor())
    execute([] { prepareAlternateStack(); });
}

}  // namespace

void CrashThread::start() {
  Platform::current().threads.start("pxa-crash", [this] { run(); });
}

void CrashThread::perform(Operation operation, void* object, const Deadline& deadline) noexcept {
  operation_ = operation;
  object_ = object;
  moveOn(Idle, Wanted);
  // Lost before the work was wanted, or with this very crash.
  if (isMainThreadLost_ || HostSettings::isMainThread()) moveOn(Wanted, WantedHere);
  for (std::uint32_t state = state_; state != Over && !deadline.isOver(); state = state_)
    waitWhile(state_, state, deadline);
}

void CrashThread::run() {
  countCurrentThread();
  try {
    prepareMainThread();
  } catch (...) {
    // The host's executor takes no work for now.
  }
  while (state_ == Idle) waitWhile(state_, Idle);
  if (state_ == Wanted && giveToMainThread())
    while (state_ == Wanted) waitWhile(state_, Wanted);
  work();
}

bool CrashThread::giveToMainThread() {
  try {
    const Host::MainThreadExecutor execute = HostSettings::mainThreadExecutor();
    if (execute) execute([this] { work(); });
    return static_cast<bool>(execute);
  } catch (...) {
    return false;
  }
}

void CrashThread::work() noexcept {
  if (!moveOn(Wanted, UnderWay) && !moveOn(WantedHere, UnderWay)) return;
  countCurrentThread();
  try {
    operation_(object_);
  } catch (...) {
    // The process ends as it would have.
  }
  setAndWake(state_, Over);
}

void CrashThread::countCurrentThread() noexcept {
  const pid_t current = currentThreadId();
  if (counts(current)) return;
  for (std::atomic<pid_t>& thread : threads_) {
    pid_t none = 0;
    if (thread.compare_exchange_strong(none, current)) return;
  }
}

bool CrashThread::counts(pid_t thread) const noexcept {
  for (const std::atomic<pid_t>& counted : threads_)
    if (counted == thread) return true;
  return false;
}

void CrashThread::giveUp() noexcept {
  setAndWake(state_, Over);
}

void CrashThread::loseMainThread() noexcept {
  isMainThreadLost_ = true;
  moveOn(Wanted, WantedHere);
}

bool CrashThread::moveOn(State from, State to) noexcept {
  std::uint32_t expected = from;
  if (!state_.compare_exchange_strong(expected, to)) return false;
  wake(state_);
  return true;
}

CrashThread& crashThread() noexcept {
  static constinit CrashThread thread;
  return thread;
}

}  // namespace pxa::crash
