#include "json/quoted_text.h"

namespace pxa {

namespace {

/// Hands a string over in parts: out.plain(block, count) for the first bytes of a block, out.byte(byte) and
/// out.escape(character) for those between.
template <class Out>
void takeApart(std::string_view text, const JsonEscapes& escapes, Out& out) {
  while (true) {
    const ByteBlock block =
        text.size() >= kBlockSize ? loadBlock(text.data()) : loadBlock(text.data(), text.size());
    const std::size_t count = firstMark(escapes.marks(block));
    out.plain(block, count);
    text.remove_prefix(count);
    if (count == kBlockSize) continue;
    const char escape = text.empty() ? JsonEscapes::kEnd : escapes.of(text.front());
    if (escape == JsonEscapes::kEnd) return;
    if (escape == JsonEscapes::kPlain)
      out.byte(text.front());
    else
      out.escape(escape);
    text.remove_prefix(1);
  }
}

}  // namespace

char* writeEscaped(std::string_view text, const JsonEscapes& escapes, char* to) {
  struct {
    char* to;
    void plain(const ByteBlock& block, std::size_t count) {
      storeBlock(to, block);
      to += count;
    }
    void byte(char byte) { *to++ = byte; }
    void escape(char character) {
      *to++ = '\\';
      *to++ = character;
    }
  } out{to};
  out.byte('"');
  takeApart(text, escapes, out);
  out.byte('"');
  return out.to;
}

std::size_t escapedSize(std::string_view text, const JsonEscapes& escapes) {
  struct {
    std::size_t size = 2;
    void plain(const ByteBlock&, std::size_t count) { size += count; }
    void byte(char) { ++size; }
    void escape(char) { size += 2; }
  } out;
  takeApart(text, escapes, out);
  return out.size;
}

}  // namespace pxa
