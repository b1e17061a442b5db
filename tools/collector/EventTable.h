#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "collector/Collector.h"

namespace pxa::tools {

/// Keeps what the collector receives as the rows of a table: log type, level, project, the common fields,
/// message. Thread-safe.
class EventTable {
 public:
  void add(const ReceivedRequest& request);

  /// The table, each column as wide as its widest cell, each row ended by a line end. What does not fit a
  /// column is cut; nothing in it steers a terminal.
  std::string text() const;

 private:
  using Row = std::vector<std::string>;

  mutable std::mutex mutex_;
  std::vector<Row> rows_;  // guarded by mutex_
};

}  // namespace pxa::tools
