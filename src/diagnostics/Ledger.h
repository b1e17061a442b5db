#pragma once

#include <cstdint>

#include <pxalog/Diagnostics.h>

#include "foundation/Mutex.h"

namespace pxa {

/// Keeps the books on every event and every request. Whoever moves an event says so here in the same step,
/// under the lock that guards the place it leaves or enters, so that the sum is right in every snapshot.
/// Thread-safe. Its lock is taken last, after any other lock of the library.
class Ledger {
 public:
  using Events = Diagnostics::Events;
  using Dropped = Diagnostics::DroppedEvents;
  using Place = std::uint64_t Events::*;
  using Reason = std::uint64_t Dropped::*;

  /// Events that come into being, or back from a file of an earlier process.
  void enter(Place place, std::uint64_t count = 1);
  /// An event that comes into being in the place of one that goes.
  void enterInsteadOfAnother(Reason reason);
  void move(Place from, Place to, std::uint64_t count = 1);
  void drop(Place from, Reason reason, std::uint64_t count = 1);

  void requestStarted();
  void requestAnswered(int status);
  void requestFailed(const String& error);

  /// Events and requests at one moment; the flags are left at false.
  [[nodiscard]] Diagnostics::Snapshot snapshot() const;

 private:
  mutable Mutex mutex_;
  Events events_ GUARDED_BY(mutex_);
  Diagnostics::Requests requests_ GUARDED_BY(mutex_);
};

/// The ledger of this process.
Ledger& ledger();

}  // namespace pxa
