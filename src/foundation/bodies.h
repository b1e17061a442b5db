#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include <pxalog/Array.h>
#include <pxalog/Dictionary.h>
#include <pxalog/detail/Container.h>

#include "foundation/BlockArena.h"

/// The counted bodies behind Array and Dictionary. They are made by their create functions alone and destroyed
/// by Container, since what they hold lies behind them.
namespace pxa::detail {

/// The values lie in one block: at first behind the body itself, in the same allocation, later in a block of
/// their own.
class ArrayBody final : public Container {
 public:
  static ArrayBody* create(std::size_t capacity);
  /// Takes the values over, as bytes.
  static ArrayBody* createOf(Value* values, std::size_t count, BlockArena& arena);

  [[nodiscard]] const Value* begin() const noexcept { return values_; }
  [[nodiscard]] const Value* end() const noexcept { return values_ + size_; }
  void append(Value value);

 private:
  friend class Container;
  ArrayBody(const BlockArena::Room& room, std::size_t capacity) noexcept;
  ~ArrayBody();
  [[nodiscard]] Value* inlineValues() noexcept { return reinterpret_cast<Value*>(this + 1); }
  void grow();

  Value* values_;
  std::size_t size_ = 0;
  std::size_t capacity_;
};

/// The entries lie in one block in the order in which their keys were set: at first behind the body itself,
/// in the same allocation, later in a block of their own. Behind them lies a tag of each key, a byte that
/// tells most keys apart, in blocks of which many are compared at once. A removed entry has a nil key until
/// the next growth.
class DictionaryBody final : public Container {
 public:
  using Entry = Dictionary::Entry;

  static DictionaryBody* create(std::size_t capacity);
  static DictionaryBody* create(std::size_t capacity, BlockArena& arena);
  /// Takes keys and values over, as bytes; the keys must differ, at most kLinearSearchLimit of them.
  static DictionaryBody* createOfDistinct(String* keys, Value* values, std::size_t count, BlockArena& arena);

  [[nodiscard]] const Entry* begin() const noexcept { return entries_; }
  [[nodiscard]] const Entry* end() const noexcept { return entries_ + used_; }
  [[nodiscard]] std::size_t size() const noexcept { return live_; }
  [[nodiscard]] Entry* find(std::string_view key) const noexcept;
  void set(const String& key, Value&& value);
  enum class Replacing : bool { No, Yes };
  /// Sets the other's entries, or those alone whose keys are not there.
  void setAllOf(const DictionaryBody& other, Replacing replacing);
  void remove(std::string_view key) noexcept;

 private:
  friend class Container;
  DictionaryBody(const BlockArena::Room& room, std::size_t capacity) noexcept;
  ~DictionaryBody();
  [[nodiscard]] Entry* inlineEntries() noexcept { return reinterpret_cast<Entry*>(this + 1); }
  [[nodiscard]] char* tags() const noexcept { return reinterpret_cast<char*>(entries_ + capacity_); }
  [[nodiscard]] Entry* find(std::string_view key, std::uint8_t tag) const noexcept;
  /// A bit for each entry whose key may have that tag, perhaps some for no entry.
  [[nodiscard]] std::uint64_t positionsWithTag(std::uint8_t tag) const noexcept;
  [[nodiscard]] Entry* firstUnder(std::string_view key, std::uint64_t positions) const noexcept;
  [[nodiscard]] Entry* findInIndex(std::string_view key) const noexcept;
  [[nodiscard]] std::uint8_t tagAt(std::uint32_t position) const noexcept;
  void append(const String& key, Value&& value, std::uint8_t tag);
  /// Room for one more entry; drops removed entries on the way.
  void makeRoom();
  void rebuildIndex();
  void addToIndex(std::uint32_t position) noexcept;

  /// So few are looked through as fast.
  static constexpr std::uint32_t kMostWithoutTags = 4;
  static std::size_t sizeOfTags(std::size_t capacity) noexcept;
  static std::size_t sizeOfEntries(std::size_t capacity) noexcept;
  void writeTags() noexcept;

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

/// What a value holds, without taking a reference; the value must be of that kind, and not nil.
struct Borrow {
  static const DictionaryBody& dictionary(const Dictionary& dictionary) noexcept { return *dictionary.body_; }
  static const ArrayBody& array(const Value& value) noexcept { return *value.payload_.array; }
  static const DictionaryBody& dictionary(const Value& value) noexcept { return *value.payload_.dictionary; }
};

}  // namespace pxa::detail
