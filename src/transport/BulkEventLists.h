#pragma once

#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

#include <pxalog/String.h>

#include "event/VeskEvent.h"

namespace pxa {

/// The events gathered for the next request of each project. A project has a list from its first
/// initialisation on. The caller of every operation holds the global lock.
class BulkEventLists {
 public:
  using EventList = std::vector<VeskEventRef>;

  /// Gives the project a new, empty list; what an earlier one holds is given up.
  void replaceList(const String& projectName);
  /// Forgets all projects.
  void removeAll();

  /// How many projects there are. They keep their positions.
  [[nodiscard]] std::size_t projectCount() const { return lists_.size(); }
  /// The project's list, or nullptr. Valid until the global lock is left.
  [[nodiscard]] EventList* find(std::string_view projectName);
  /// Empties the list at the position and returns what it held.
  [[nodiscard]] EventList takeList(std::size_t position) {
    return std::exchange(lists_[position].second, {});
  }

 private:
  std::vector<std::pair<String, EventList>> lists_;
};

/// The lists of this process.
BulkEventLists& bulkEventLists();

}  // namespace pxa
