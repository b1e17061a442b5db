#include <pxalog/detail/Container.h>

#include "foundation/bodies.h"

namespace pxa::detail {

namespace {

/// Bodies of this thread whose last reference is gone. A body that dies while another one is being destroyed
/// waits here instead of being destroyed inside it, so that nesting costs no stack.
struct PendingDestruction {
  Container* first = nullptr;
  bool isDraining = false;
};
thread_local PendingDestruction pending;

}  // namespace

void Container::destroy() noexcept {
  nextToDestroy_ = pending.first;
  pending.first = this;
  if (pending.isDraining) return;
  pending.isDraining = true;
  while (pending.first != nullptr) {
    Container* body = pending.first;
    pending.first = body->nextToDestroy_;
    body->destroyBody();
  }
  pending.isDraining = false;
}

void Container::destroyBody() noexcept {
  const BlockArena::Place place = place_;
  if (type_ == Type::Array)
    static_cast<ArrayBody*>(this)->~ArrayBody();
  else
    static_cast<DictionaryBody*>(this)->~DictionaryBody();
  BlockArena::giveBack(this, place);
}

}  // namespace pxa::detail
