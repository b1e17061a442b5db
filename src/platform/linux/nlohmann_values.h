#pragma once

#include <cstddef>
#include <optional>

#include <pxalog/Data.h>
#include <pxalog/Value.h>

#include "platform/JsonParser.h"
#include "platform/KeyedArchive.h"

namespace pxa {

class NlohmannJsonParser final : public JsonParser {
 public:
  std::optional<Value> parse(const Data& text) override;
};

/// Archives as CBOR, RFC 8949: texts as text strings, Data as byte strings.
class CborKeyedArchive final : public KeyedArchive {
 public:
  /// Deeper archives are refused: the library that reads them works recursively.
  static constexpr std::size_t kDeepestNesting = 64;
  /// Archives of more items are refused too, so that a small file cannot take much memory: each item of a
  /// file may take about 100 bytes. 2000 events of a thousand fields each are fewer.
  static constexpr std::size_t kMostItems = 4'000'000;

  Data archive(const Dictionary& root) override;
  std::optional<Dictionary> unarchive(const Data& archive) override;
};

}  // namespace pxa
