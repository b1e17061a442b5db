#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>

#include <pxalog/Dictionary.h>

#include "foundation/bodies.h"
#include "foundation/text_hash.h"

namespace pxa {

namespace detail {

namespace {

constexpr std::uint32_t kNoPosition = 0;
constexpr std::uint32_t kSmallestGrowth = 4;

bool isSameKey(const String& key, std::string_view wanted) {
  const std::string_view text = key.view();
  return text.size() == wanted.size() && (text.data() == wanted.data() || text == wanted);
}

}  // namespace

static_assert(sizeof(DictionaryBody) % alignof(Dictionary::Entry) == 0);

DictionaryBody* DictionaryBody::create(std::size_t capacity) {
  capacity = std::clamp<std::size_t>(capacity, 1, std::numeric_limits<std::uint32_t>::max() / 2);
  const BlockArena::Room room = BlockArena::allocateAlone(sizeof(DictionaryBody) + capacity * sizeof(Entry));
  return new (room.memory) DictionaryBody(room, capacity);
}

DictionaryBody::DictionaryBody(const BlockArena::Room& room, std::size_t capacity) noexcept
    : Container(Type::Dictionary, room.place),
      entries_(inlineEntries()),
      capacity_(static_cast<std::uint32_t>(capacity)) {}

DictionaryBody::~DictionaryBody() {
  std::destroy_n(entries_, used_);
  if (entries_ != inlineEntries()) ::operator delete(static_cast<void*>(entries_));
}

DictionaryBody::Entry* DictionaryBody::find(std::string_view key) const noexcept {
  if (index_ == nullptr) {
    for (Entry* entry = entries_; entry != entries_ + used_; ++entry)
      if (isSameKey(entry->key, key) && !entry->key.isNil()) return entry;
    return nullptr;
  }
  for (std::uint32_t slot = textHash(key) & indexMask_; index_[slot] != kNoPosition;
       slot = (slot + 1) & indexMask_) {
    Entry& entry = entries_[index_[slot] - 1];
    if (isSameKey(entry.key, key) && !entry.key.isNil()) return &entry;
  }
  return nullptr;
}

void DictionaryBody::set(const String& key, Value value) {
  if (Entry* entry = find(key.view())) {
    entry->value = std::move(value);
    return;
  }
  if (used_ == capacity_) makeRoom();
  new (entries_ + used_) Entry{key, std::move(value)};
  ++used_;
  ++live_;
  if (index_ != nullptr)
    addToIndex(used_ - 1);
  else if (used_ > Dictionary::kLinearSearchLimit)
    rebuildIndex();
}

DictionaryBody* DictionaryBody::createOfDistinct(String* keys, Value* values, std::size_t count,
                                                 BlockArena& arena) {
  const BlockArena::Room room = arena.allocate(sizeof(DictionaryBody) + count * sizeof(Entry));
  auto* const body = new (room.memory) DictionaryBody(room, count);
  for (std::size_t i = 0; i < count; ++i) {
    Entry* const entry = body->entries_ + i;
    std::memcpy(static_cast<void*>(&entry->key), static_cast<void*>(keys + i), sizeof(String));
    std::memcpy(static_cast<void*>(&entry->value), static_cast<void*>(values + i), sizeof(Value));
  }
  body->used_ = body->live_ = static_cast<std::uint32_t>(count);
  return body;
}

void DictionaryBody::remove(std::string_view key) noexcept {
  Entry* entry = find(key);
  if (entry == nullptr) return;
  --live_;
  if (index_ == nullptr) {
    std::move(entry + 1, entries_ + used_, entry);
    std::destroy_at(entries_ + --used_);
  } else {
    *entry = Entry{};
  }
}

void DictionaryBody::makeRoom() {
  if (live_ > std::numeric_limits<std::uint32_t>::max() / 4) throw std::length_error("Dictionary");
  const std::uint32_t capacity = std::max({kSmallestGrowth, capacity_, live_ * 2});
  auto* entries = static_cast<Entry*>(::operator new(capacity * sizeof(Entry)));
  std::uint32_t kept = 0;
  for (Entry* entry = entries_; entry != entries_ + used_; ++entry)
    if (!entry->key.isNil()) new (entries + kept++) Entry(std::move(*entry));
  std::destroy_n(entries_, used_);
  if (entries_ != inlineEntries()) ::operator delete(static_cast<void*>(entries_));
  entries_ = entries;
  used_ = kept;
  capacity_ = capacity;
  if (index_ != nullptr) rebuildIndex();
}

void DictionaryBody::rebuildIndex() {
  const std::uint32_t slots = std::bit_ceil(capacity_ * 2);
  index_ = std::make_unique<std::uint32_t[]>(slots);
  indexMask_ = slots - 1;
  for (std::uint32_t position = 0; position < used_; ++position) addToIndex(position);
}

void DictionaryBody::addToIndex(std::uint32_t position) noexcept {
  std::uint32_t slot = textHash(entries_[position].key.view()) & indexMask_;
  while (index_[slot] != kNoPosition) slot = (slot + 1) & indexMask_;
  index_[slot] = position + 1;
}

}  // namespace detail

Dictionary::Dictionary(std::size_t capacity) : body_(detail::DictionaryBody::create(capacity)) {}

Dictionary::Dictionary(std::initializer_list<Entry> entries) : Dictionary(entries.size()) {
  for (const Entry& entry : entries) set(entry.key, entry.value);
}

Dictionary::Dictionary(const Dictionary& other) noexcept : body_(other.body_) {
  if (body_ != nullptr) body_->retain();
}

Dictionary::~Dictionary() {
  if (body_ != nullptr) body_->release();
}

std::size_t Dictionary::size() const noexcept {
  return body_ == nullptr ? 0 : body_->size();
}

const Value* Dictionary::find(std::string_view key) const noexcept {
  const Entry* entry = body_ == nullptr ? nullptr : body_->find(key);
  return entry == nullptr ? nullptr : &entry->value;
}

Value Dictionary::value(std::string_view key) const noexcept {
  const Value* value = find(key);
  return value == nullptr ? Value() : *value;
}

void Dictionary::set(const String& key, Value value) {
  if (isMutable() && !key.isNil()) body_->set(key, std::move(value));
}

void Dictionary::remove(std::string_view key) noexcept {
  if (isMutable()) body_->remove(key);
}

void Dictionary::makeImmutable() noexcept {
  if (body_ != nullptr) body_->makeImmutable();
}

bool Dictionary::isMutable() const noexcept {
  return body_ != nullptr && body_->isMutable();
}

Dictionary::Iterator Dictionary::begin() const noexcept {
  return body_ == nullptr ? Iterator() : Iterator(body_->begin(), body_->end());
}

Dictionary::Iterator Dictionary::end() const noexcept {
  return body_ == nullptr ? Iterator() : Iterator(body_->end(), body_->end());
}

}  // namespace pxa
