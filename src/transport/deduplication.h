#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

#include <pxalog/String.h>

#include "event/VeskEvent.h"
#include "foundation/text_hash.h"

namespace pxa {

/// How often each log was seen, under a key of its whole text, however long that is. Full, it forgets the
/// less repeated half. Not locked: the send thread alone changes it.
class DeduplicationStore {
 public:
  static constexpr std::size_t kMostEntries = 1000;

  /// A text, hashed once for all that is asked with it.
  class Key {
   public:
    Key(std::string text) : text_(std::move(text)), hash_(textHash(text_)) {}
    [[nodiscard]] const std::string& text() const { return text_; }
    bool operator==(const Key& other) const { return hash_ == other.hash_ && text_ == other.text_; }

   private:
    friend class DeduplicationStore;
    std::string text_;
    std::uint32_t hash_;
  };

  /// The count under the key; nothing when there is none.
  [[nodiscard]] std::optional<std::int32_t> countOf(const Key& key) const;
  /// Counts one more sighting of a key that is there. Counts saturate.
  void countRepeat(const Key& key);
  /// Puts the count under the key, after making room. An empty key does nothing. Without the memory for it
  /// the key is left out; without the memory to make room the whole store starts anew with the key alone,
  /// counted 0.
  void insert(Key key, std::int32_t count);
  [[nodiscard]] std::size_t size() const { return counts_.size(); }

 private:
  struct Hash {
    std::size_t operator()(const Key& key) const noexcept { return key.hash_; }
  };

  void forgetLessRepeatedHalf();

  std::unordered_map<Key, std::int32_t, Hash> counts_;
};

/// The stores of this process, for logs and for Unity crashes; nullptr before the first initialisation.
DeduplicationStore* dedupeLogTable();
DeduplicationStore* dedupeCrashTable();
/// Makes both anew. Runs before the send thread is started.
void resetDedupeTables();

/// Keys of the stores: the texts of body and level, the log type and, for crashes, the text of the dump.
DeduplicationStore::Key logKeyOf(const VeskEvent& event);
DeduplicationStore::Key crashKeyOf(const VeskEvent& event);

namespace PXALog {

/// Put a count under a key; nothing before the first initialisation, or for an empty key.
/// Selectors: InsertQueue:value:, InsertCrashQueue:value:
void InsertQueue_value(const String& key, std::int32_t count);
void InsertCrashQueue_value(const String& key, std::int32_t count);

}  // namespace PXALog

}  // namespace pxa
