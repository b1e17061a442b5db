#include "json/json_encoding.h"

#include <cstdint>

#include "foundation/ByteBuffer.h"
#include "foundation/utf8.h"

namespace pxa {

namespace {

struct Encoding {
  std::size_t unitSize;  // bytes
  bool isBigEndian;
  bool hasMark;
};

constexpr std::size_t kTellingBytes = 4;

/// Nothing for UTF-8.
std::optional<Encoding> encodingOf(std::string_view text) {
  if (text.size() < kTellingBytes) return std::nullopt;
  const auto isZero = [text](std::size_t position) { return text[position] == '\0'; };
  if (!isZero(0) && isZero(1)) {
    if (!isZero(2) && isZero(3)) return Encoding{2, false, false};
    if (isZero(2) && isZero(3)) return Encoding{4, false, false};
    return std::nullopt;
  }
  if (isZero(0) && isZero(2) && !isZero(3)) return Encoding{isZero(1) ? 4U : 2U, true, false};
  using namespace std::string_view_literals;
  if (text.starts_with("\x00\x00\xFE\xFF"sv)) return Encoding{4, true, true};
  if (text.starts_with("\xFF\xFE\x00\x00"sv)) return Encoding{4, false, true};
  if (text.starts_with("\xFE\xFF"sv)) return Encoding{2, true, true};
  if (text.starts_with("\xFF\xFE"sv)) return Encoding{2, false, true};
  return std::nullopt;
}

/// The units of a text, one after the other.
class Units {
 public:
  Units(std::string_view text, Encoding encoding) : rest_(text), encoding_(encoding) {}

  [[nodiscard]] bool isAtEnd() const { return rest_.empty(); }
  std::uint32_t take() {
    std::uint32_t unit = 0;
    for (std::size_t i = 0; i < encoding_.unitSize; ++i) {
      const std::size_t position = encoding_.isBigEndian ? i : encoding_.unitSize - 1 - i;
      unit = (unit << 8U) | static_cast<unsigned char>(rest_[position]);
    }
    rest_.remove_prefix(encoding_.unitSize);
    return unit;
  }

 private:
  std::string_view rest_;
  const Encoding encoding_;
};

/// The next character; nothing when it is broken.
std::optional<std::uint32_t> takeCharacter(Units& units, const Encoding& encoding) {
  const std::uint32_t unit = units.take();
  if (encoding.unitSize == 4 || !utf8::isSurrogate(unit)) {
    const bool isCharacter = unit <= utf8::kLastCodePoint && !utf8::isSurrogate(unit);
    return isCharacter ? std::optional(unit) : std::nullopt;
  }
  if (!utf8::isHighSurrogate(unit) || units.isAtEnd()) return std::nullopt;
  const std::uint32_t low = units.take();
  return utf8::isLowSurrogate(low) ? std::optional(utf8::ofSurrogates(unit, low)) : std::nullopt;
}

}  // namespace

std::optional<Data> jsonTextAsUtf8(const Data& text) {
  const std::optional<Encoding> encoding = encodingOf(text.view());
  if (!encoding) return text;
  if (text.size() % encoding->unitSize != 0) return std::nullopt;
  Units units(text.view(), *encoding);
  if (encoding->hasMark) units.take();
  ByteBuffer result;
  while (!units.isAtEnd()) {
    const std::optional<std::uint32_t> character = takeCharacter(units, *encoding);
    if (!character) return std::nullopt;
    result.commit(utf8::encode(*character, result.reserve(utf8::kLongestCharacter)));
  }
  return result.finish();
}

}  // namespace pxa
