#pragma once

#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <string_view>

#include <pxalog/Value.h>

namespace pxa {

/// Values under String keys, or nil. Enumerated in the order in which the keys were first set. Shared by
/// reference: whoever holds it sees every change. Not synchronised: a change needs the one who makes it to be
/// alone. A nil dictionary is empty and ignores changes; an
/// immutable one ignores them too.
///
/// Made for event records: up to kLinearSearchLimit entries are searched one after the other, many at once,
/// without hashing; larger dictionaries keep a hash index.
class PXALOG_EXPORT Dictionary {
 public:
  struct Entry {
    String key;  ///< nil where an entry was removed; the iterator passes over those
    Value value;
  };

  static constexpr std::size_t kLinearSearchLimit = 64;

  /// A new, empty dictionary with room for that many entries in its first allocation.
  explicit Dictionary(std::size_t capacity = kDefaultCapacity);
  Dictionary(std::initializer_list<Entry> entries);
  /// nil.
  Dictionary(std::nullptr_t) noexcept : body_(nullptr) {}
  Dictionary(const Dictionary& other) noexcept;
  Dictionary(Dictionary&& other) noexcept : body_(std::exchange(other.body_, nullptr)) {}
  Dictionary& operator=(Dictionary other) noexcept {
    std::swap(body_, other.body_);
    return *this;
  }
  ~Dictionary();

  [[nodiscard]] bool isNil() const noexcept { return body_ == nullptr; }
  [[nodiscard]] std::size_t size() const noexcept;
  [[nodiscard]] bool contains(std::string_view key) const noexcept { return find(key) != nullptr; }
  /// The value under the key, or nullptr. Valid until the next change.
  [[nodiscard]] const Value* find(std::string_view key) const noexcept;
  /// The value under the key; null when there is none.
  [[nodiscard]] Value value(std::string_view key) const noexcept;

  /// Puts the value under the key; a key that is there keeps its place. A nil key does nothing.
  void set(const String& key, Value value);
  /// Puts every entry of the other under its key, or those alone whose keys are not there.
  void setAll(const Dictionary& other);
  void setMissing(const Dictionary& other);
  /// Takes the key out; a key that is not there does nothing.
  void remove(std::string_view key) noexcept;

  /// From now on this dictionary, whoever holds it, ignores changes; what its values hold is not touched.
  void makeImmutable() noexcept;
  [[nodiscard]] bool isMutable() const noexcept;

  class Iterator {
   public:
    using difference_type = std::ptrdiff_t;
    using value_type = Entry;
    using pointer = const Entry*;
    using reference = const Entry&;
    using iterator_category = std::forward_iterator_tag;

    Iterator() noexcept = default;
    Iterator(const Entry* position, const Entry* end) noexcept : position_(position), end_(end) {
      skipRemoved();
    }
    const Entry& operator*() const noexcept { return *position_; }
    const Entry* operator->() const noexcept { return position_; }
    Iterator& operator++() noexcept {
      ++position_;
      skipRemoved();
      return *this;
    }
    Iterator operator++(int) noexcept {
      Iterator before = *this;
      ++*this;
      return before;
    }
    friend bool operator==(const Iterator& left, const Iterator& right) noexcept {
      return left.position_ == right.position_;
    }

   private:
    void skipRemoved() noexcept {
      while (position_ != end_ && position_->key.isNil()) ++position_;
    }
    const Entry* position_ = nullptr;
    const Entry* end_ = nullptr;
  };

  /// Valid until the next change.
  [[nodiscard]] Iterator begin() const noexcept;
  [[nodiscard]] Iterator end() const noexcept;

 private:
  friend class Value;
  friend struct detail::Adopt;
  friend struct detail::Borrow;
  static constexpr std::size_t kDefaultCapacity = 10;
  explicit Dictionary(detail::DictionaryBody* adopted) noexcept : body_(adopted) {}
  detail::DictionaryBody* body_;
};

}  // namespace pxa
