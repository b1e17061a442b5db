#include "transport/deduplication.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <string_view>
#include <vector>

#include "event/event_json.h"
#include "event/event_keys.h"

namespace pxa {

namespace {

std::unique_ptr<DeduplicationStore>& logTable() {
  static auto& table = *new std::unique_ptr<DeduplicationStore>;
  return table;
}

std::unique_ptr<DeduplicationStore>& crashTable() {
  static auto& table = *new std::unique_ptr<DeduplicationStore>;
  return table;
}

std::string logTextOf(const VeskEvent& event) {
  const std::string_view body = textOfBytes(&event.body());
  const std::string_view level = textOfBytes(event.field(key::logLevel().view()));
  const std::string_view type =
      event.logType().kind() == Value::Kind::String ? event.logType().bytes() : std::string_view();
  std::string text;
  text.reserve(body.size() + level.size() + type.size());
  return text.append(body).append(level).append(type);
}

}  // namespace

std::optional<std::int32_t> DeduplicationStore::countOf(const Key& key) const {
  const auto found = counts_.find(key);
  if (found == counts_.end()) return std::nullopt;
  return found->second;
}

void DeduplicationStore::countRepeat(const Key& key) {
  const auto found = counts_.find(key);
  if (found != counts_.end() && found->second < std::numeric_limits<std::int32_t>::max()) ++found->second;
}

void DeduplicationStore::insert(Key key, std::int32_t count) {
  if (key.text().empty()) return;
  if (counts_.size() < kMostEntries) {
    try {
      counts_.insert_or_assign(std::move(key), count);
    } catch (const std::exception&) {
      if (const auto found = counts_.find(key); found != counts_.end()) counts_.erase(found);
    }
    return;
  }
  try {
    forgetLessRepeatedHalf();
    counts_.insert_or_assign(std::move(key), count);
  } catch (const std::exception&) {
    counts_.clear();
    counts_.insert_or_assign(std::move(key), 0);
  }
}

void DeduplicationStore::forgetLessRepeatedHalf() {
  std::vector<decltype(counts_)::iterator> entries;
  entries.reserve(counts_.size());
  for (auto entry = counts_.begin(); entry != counts_.end(); ++entry) entries.push_back(entry);
  const auto half = entries.begin() + static_cast<std::ptrdiff_t>(entries.size() / 2);
  std::nth_element(entries.begin(), half, entries.end(),
                   [](const auto& left, const auto& right) { return left->second < right->second; });
  for (auto entry = entries.begin(); entry != half; ++entry) counts_.erase(*entry);
}

DeduplicationStore* dedupeLogTable() {
  return logTable().get();
}

DeduplicationStore* dedupeCrashTable() {
  return crashTable().get();
}

void resetDedupeTables() {
  logTable() = std::make_unique<DeduplicationStore>();
  crashTable() = std::make_unique<DeduplicationStore>();
}

DeduplicationStore::Key logKeyOf(const VeskEvent& event) {
  return DeduplicationStore::Key(logTextOf(event));
}

DeduplicationStore::Key crashKeyOf(const VeskEvent& event) {
  return DeduplicationStore::Key(logTextOf(event).append(textOfBytes(event.field(key::dumpData().view()))));
}

void PXALog::InsertQueue_value(const String& key, std::int32_t count) {
  if (DeduplicationStore* store = dedupeLogTable())
    store->insert(DeduplicationStore::Key(std::string(key.view())), count);
}

void PXALog::InsertCrashQueue_value(const String& key, std::int32_t count) {
  if (DeduplicationStore* store = dedupeCrashTable())
    store->insert(DeduplicationStore::Key(std::string(key.view())), count);
}

}  // namespace pxa
