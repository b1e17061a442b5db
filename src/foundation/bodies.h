#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include <pxalog/Array.h>
#include <pxalog/Dictionary.h>
#include <pxalog/detail/Container.h>

/// The counted bodies behind Array and Dictionary.
namespace pxa::detail {

class ArrayBody final : public Container {
 public:
  ArrayBody() noexcept : Container(Type::Array) {}
  std::vector<Value> values;
};

/// The entries lie in one block in the order in which their keys were set: at first behind the body itself,
/// in the same allocation, later in a block of their own. A removed entry has a nil key until the next
/// growth.
class DictionaryBody final : public Container {
 public:
  using Entry = Dictionary::Entry;

  static DictionaryBody* create(std::size_t capacity);
  /// Takes keys and values over; the keys must differ, at most kLinearSearchLimit of them.
  static DictionaryBody* createOfDistinct(String* keys, Value* values, std::size_t count);
  /// What create() gave must be destroyed here: body and first entries are one allocation.
  static void destroyAndFree(DictionaryBody* body) noexcept;

  [[nodiscard]] const Entry* begin() const noexcept { return entries_; }
  [[nodiscard]] const Entry* end() const noexcept { return entries_ + used_; }
  [[nodiscard]] std::size_t size() const noexcept { return live_; }
  [[nodiscard]] Entry* find(std::string_view key) const noexcept;
  void set(const String& key, Value value);
  void remove(std::string_view key) noexcept;

 private:
  explicit DictionaryBody(std::size_t capacity) noexcept;
  ~DictionaryBody();
  [[nodiscard]] Entry* inlineEntries() noexcept;
  /// Room for one more entry; drops removed entries on the way.
  void makeRoom();
  void rebuildIndex();
  void addToIndex(std::uint32_t position) noexcept;

  Entry* entries_;
  std::uint32_t used_ = 0;  // entries in the block, removed ones included
  std::uint32_t live_ = 0;
  std::uint32_t capacity_;
  // Open addressing over positions + 1; empty up to kLinearSearchLimit entries.
  std::unique_ptr<std::uint32_t[]> index_;
  std::uint32_t indexMask_ = 0;
};

/// Makes values of bodies that are new, each with its one reference.
struct Adopt {
  static Array array(ArrayBody* body) noexcept { return Array(body); }
  static Dictionary dictionary(DictionaryBody* body) noexcept { return Dictionary(body); }
  /// The bytes must be marked as UTF-8.
  static String text(SharedBytes* bytes) noexcept { return String(bytes); }
};

}  // namespace pxa::detail
