#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include <pxalog/String.h>

#include "event/VeskEvent.h"

namespace pxa {

/// How often each log was seen, under a key of its whole text, however long that is. Full, it forgets the
/// less repeated half. Not locked: the send thread alone changes it.
class DeduplicationStore {
 public:
  static constexpr std::size_t kMostEntries = 1000;

  /// The count under the key; nothing when there is none.
  [[nodiscard]] std::optional<std::int32_t> countOf(std::string_view key) const;
  /// Counts one more sighting of a key that is there. Counts saturate.
  void countRepeat(std::string_view key);
  /// Puts the count under the key, after making room. An empty key does nothing. Without the memory for it
  /// the key is left out; without the memory to make room the whole store starts anew with the key alone,
  /// counted 0.
  void insert(std::string key, std::int32_t count);
  [[nodiscard]] std::size_t size() const { return counts_.size(); }

 private:
  struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept {
      return std::hash<std::string_view>()(text);
    }
  };

  void forgetLessRepeatedHalf();

  std::unordered_map<std::string, std::int32_t, TextHash, std::equal_to<>> counts_;
};

/// The stores of this process, for logs and for Unity crashes; nullptr before the first initialisation.
DeduplicationStore* dedupeLogTable();
DeduplicationStore* dedupeCrashTable();
/// Makes both anew. Runs before the send thread is started.
void resetDedupeTables();

/// Keys of the stores: the texts of body and level, the log type and, for crashes, the text of the dump.
std::string logKeyOf(const VeskEvent& event);
std::string crashKeyOf(const VeskEvent& event);

namespace PXALog {

/// Put a count under a key; nothing before the first initialisation, or for an empty key.
/// Selectors: InsertQueue:value:, InsertCrashQueue:value:
void InsertQueue_value(const String& key, std::int32_t count);
void InsertCrashQueue_value(const String& key, std::int32_t count);

}  // namespace PXALog

}  // namespace pxa
