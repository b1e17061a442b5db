#include "json/JsonKeyCache.h"

#include <algorithm>

#include "foundation/bodies.h"
#include "foundation/text_hash.h"

namespace pxa {

namespace {

constexpr std::size_t kSmallestIndex = 64;

String newString(std::string_view text) {
  return detail::Adopt::text(detail::SharedBytes::copyOf(text, detail::SharedBytes::Encoding::Utf8));
}

}  // namespace

JsonKeyCache::Taken JsonKeyCache::take(std::string_view key) {
  if (key.size() <= kLongestKey) return taken(find(key));
  last_ = next_ = kNone;
  uncached_ = newString(key);
  const Moment before = ++now_;
  return {uncached_, before};
}

JsonKeyCache::Taken JsonKeyCache::taken(Position position) {
  Known& key = known_[position];
  if (last_ != kNone) known_[last_].follower = position;
  last_ = position;
  const bool isFollowed = key.follower != kNone && known_[key.follower].standsPlainInText;
  next_ = isFollowed ? key.follower : kNone;
  const Moment before = key.lastTaken;
  key.lastTaken = ++now_;
  return {key.text, before};
}

JsonKeyCache::Position JsonKeyCache::find(std::string_view key) {
  const std::uint32_t hash = textHash(key);
  if (!index_.empty()) {
    const std::size_t mask = index_.size() - 1;
    for (std::size_t slot = hash & mask; index_[slot] != kNone; slot = (slot + 1) & mask) {
      const Known& known = known_[index_[slot]];
      if (known.hash == hash && known.text.view() == key) return index_[slot];
    }
  }
  return add(key, hash);
}

JsonKeyCache::Position JsonKeyCache::add(std::string_view key, std::uint32_t hash) {
  if (known_.size() == kMostKeys) {
    known_.clear();
    std::fill(index_.begin(), index_.end(), kNone);
    last_ = next_ = kNone;
    forgottenAt_ = now_;
  }
  if ((known_.size() + 1) * 2 > index_.size()) rebuildIndex();
  const bool standsPlainInText = key.find_first_of("\"\\") == std::string_view::npos;
  known_.push_back({newString(key), forgottenAt_, hash, kNone, standsPlainInText});
  const auto position = static_cast<Position>(known_.size() - 1);
  index_[freeSlotFor(hash)] = position;
  return position;
}

void JsonKeyCache::rebuildIndex() {
  index_.assign(std::max(kSmallestIndex, index_.size() * 2), kNone);
  for (std::size_t i = 0; i < known_.size(); ++i)
    index_[freeSlotFor(known_[i].hash)] = static_cast<Position>(i);
}

std::size_t JsonKeyCache::freeSlotFor(std::uint32_t hash) const {
  const std::size_t mask = index_.size() - 1;
  std::size_t slot = hash & mask;
  while (index_[slot] != kNone) slot = (slot + 1) & mask;
  return slot;
}

}  // namespace pxa
