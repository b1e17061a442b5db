#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "api/handle/GlobalLock.h"
#include "api/handle/handle_table.h"
#include "diagnostics/Ledger.h"
#include "event/VeskEvent.h"
#include "transport/BulkEventLists.h"

namespace pxa::test {

/// The record that carries reachability and network type for all handles.
inline VeskHandleRef network() {
  const GlobalGuard guard;
  return networkRecord();
}

/// The project's list of gathered events, or nullptr.
inline BulkEventLists::EventList* listOf(std::string_view project) {
  const GlobalGuard guard;
  return bulkEventLists().find(project);
}

inline std::size_t projectCount() {
  const GlobalGuard guard;
  return bulkEventLists().projectCount();
}

/// Gathers an event for the next request of the project.
inline void gatherEvent(std::string_view project) {
  ledger().enter(&Ledger::Events::gathered);
  listOf(project)->push_back(std::make_shared<VeskEvent>());
}

}  // namespace pxa::test
