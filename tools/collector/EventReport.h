#pragma once

#include <cstddef>
#include <iosfwd>
#include <map>
#include <mutex>
#include <string>

#include "collector/Collector.h"

namespace pxa::tools {

/// Tells a person, and a file, what the collector receives. Thread-safe; the streams belong to the report
/// alone while it lives.
class EventReport {
 public:
  struct Targets {
    std::ostream* lines = nullptr;    ///< a readable line for each event; nil for none
    std::ostream* crashes = nullptr;  ///< the text of each crash report; nil for none
    std::ostream* ndjson = nullptr;   ///< a JSON object a line for each event; nil for none
    bool isColoured = false;
  };

  explicit EventReport(Targets targets);

  /// Writes every element of the request and flushes.
  void add(const ReceivedRequest& request);

  /// One line, without its end: how many requests and events there were, and of which log types.
  std::string summary() const;

 private:
  void count(const ReceivedRequest& request);
  void writeLines(const ReceivedRequest& request);
  void writeCrashes(const ReceivedRequest& request);
  void writeNdjson(const ReceivedRequest& request);

  // Constant after construction.
  const Targets targets_;

  // Guarded by mutex_, as are the streams.
  mutable std::mutex mutex_;
  std::size_t requests_ = 0;
  std::size_t events_ = 0;
  std::size_t unreadable_ = 0;
  std::map<std::string, std::size_t> eventsByLogType_;
};

}  // namespace pxa::tools
