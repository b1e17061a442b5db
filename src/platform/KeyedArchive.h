#pragma once

#include <optional>

#include <pxalog/Dictionary.h>

namespace pxa {

/// A self-describing form of a dictionary of nulls, numbers, texts, bytes, arrays and dictionaries.
class KeyedArchive {
 public:
  virtual ~KeyedArchive() = default;
  /// The archive; throws std::invalid_argument for what has no archived form: an object, or nesting of more
  /// than a few dozen levels. Numbers keep their kind. Thread-safe.
  virtual Data archive(const Dictionary& root) = 0;
  /// What an archive holds; nothing when it is not one. Thread-safe.
  virtual std::optional<Dictionary> unarchive(const Data& archive) = 0;
};

}  // namespace pxa
