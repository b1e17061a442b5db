#include "diagnostics/Ledger.h"

namespace pxa {

namespace Diagnostics {

std::uint64_t DroppedEvents::total() const noexcept {
  return queueFull + noHandleId + unknownHandle + noProjectList + listReplaced + sessionSwitch + crashSwitch +
         logSwitch + duplicate + tooManyFailures + noJsonForm + noHandleForRequest + unreadableBody +
         trimmedOnReload + fileReplaced;
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

Ledger::Events Ledger::events() const {
  const Guard guard(mutex_);
  return events_;
}

Diagnostics::Requests Ledger::requests() const {
  const Guard guard(mutex_);
  return requests_;
}

Ledger& ledger() {
  static auto& ledger = *new Ledger;
  return ledger;
}

}  // namespace pxa
