#include "diagnostics/Ledger.h"

namespace pxa {

namespace Diagnostics {

static_assert(sizeof(DroppedEvents) == 16 * sizeof(std::uint64_t), "a reason that total() does not count");

std::uint64_t DroppedEvents::total() const noexcept {
  return queueFull + noHandleId + unknownHandle + noProjectList + listReplaced + sessionSwitch + crashSwitch +
         logSwitch + duplicate + tooManyFailures + noJsonForm + noHandleForRequest + unreadableBody +
         trimmedOnReload + fileReplaced + outOfMemory;
}

std::uint64_t Events::total() const noexcept {
  return waiting + gathered + inFlight + failed + saved + delivered + dropped.total();
}

}  // namespace Diagnostics

void Ledger::enter(Place place, std::uint64_t count) {
  const Guard guard(mutex_);
  events_.entered += count;
  events_.*place += count;
}

void Ledger::enterInsteadOfAnother(Reason reason) {
  const Guard guard(mutex_);
  ++events_.entered;
  ++(events_.dropped.*reason);
}

void Ledger::move(Place from, Place to, std::uint64_t count) {
  const Guard guard(mutex_);
  events_.*from -= count;
  events_.*to += count;
}

void Ledger::drop(Place from, Reason reason, std::uint64_t count) {
  const Guard guard(mutex_);
  events_.*from -= count;
  events_.dropped.*reason += count;
}

void Ledger::requestStarted() {
  const Guard guard(mutex_);
  ++requests_.started;
}

void Ledger::requestAnswered(int status) {
  const Guard guard(mutex_);
  ++(status == 200 ? requests_.delivered : requests_.refused);
  requests_.lastHttpStatus = status;
}

void Ledger::requestFailed(const String& error) {
  const Guard guard(mutex_);
  ++requests_.failed;
  requests_.lastTransportError = error;
}

Diagnostics::Snapshot Ledger::snapshot() const {
  const Guard guard(mutex_);
  Diagnostics::Snapshot snapshot;
  snapshot.events = events_;
  snapshot.requests = requests_;
  return snapshot;
}

Ledger& ledger() {
  static auto& ledger = *new Ledger;
  return ledger;
}

}  // namespace pxa
