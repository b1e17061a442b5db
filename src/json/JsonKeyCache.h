#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include <pxalog/String.h>

namespace pxa {

/// Keys that were met lately, so that equal ones share one String. Remembers which key followed which, since
/// texts of many records repeat the sequence of their keys: then one comparison finds the next.
class JsonKeyCache {
 public:
  /// A point in time: how many keys had been taken until then.
  using Moment = std::uint64_t;
  struct Taken {
    const String& key;  // until the next key is taken
    Moment before;      // not taken since then, until now
  };

  [[nodiscard]] Moment now() const { return now_; }

  /// Whether the text begins with the key that followed the last one when that was last met, in double
  /// quotes.
  [[nodiscard]] bool isNext(std::string_view text) const {
    if (next_ == kNone) return false;
    const std::string_view key = known_[next_].text.view();
    return text.size() >= key.size() + 2 && text[0] == '"' && text[key.size() + 1] == '"' &&
           std::memcmp(text.data() + 1, key.data(), key.size()) == 0;
  }
  /// That key.
  Taken takeNext() { return taken(next_); }
  /// Any key, which must be UTF-8.
  Taken take(std::string_view key);
  /// Lets go of the last key that was too long to be kept.
  void forgetUncached() noexcept { uncached_ = nullptr; }

 private:
  using Position = std::uint16_t;  // in known_
  static constexpr Position kNone = 0xFFFF;
  /// With more different keys than that, all are forgotten.
  static constexpr std::size_t kMostKeys = 1024;
  /// Longer keys are not worth the search.
  static constexpr std::size_t kLongestKey = 64;

  struct Known {
    String text;
    Moment lastTaken;
    std::uint32_t hash;
    Position follower;
    bool standsPlainInText;  // between double quotes, without escapes
  };

  Taken taken(Position position);
  Position find(std::string_view key);
  Position add(std::string_view key, std::uint32_t hash);
  void rebuildIndex();
  [[nodiscard]] std::size_t freeSlotFor(std::uint32_t hash) const;

  std::vector<Known> known_;
  std::vector<Position> index_;  // open addressing
  Position last_ = kNone;
  Position next_ = kNone;
  Moment now_ = 0;
  Moment forgottenAt_ = 0;
  String uncached_;
};

}  // namespace pxa
