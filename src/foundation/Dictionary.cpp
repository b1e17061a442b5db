#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

#include <pxalog/Dictionary.h>

#include "foundation/bodies.h"
#include "foundation/byte_blocks.h"
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

/// A byte in which most keys of a dictionary differ.
std::uint8_t tagOf(std::string_view key) {
  if (key.empty()) return 0;
  const auto at = [key](std::size_t i) { return std::size_t{static_cast<unsigned char>(key[i])}; };
  return static_cast<std::uint8_t>(key.size() + 3 * at(0) + 7 * at(key.size() / 2) + 13 * at(key.size() - 1));
}

}  // namespace

static_assert(sizeof(DictionaryBody) % alignof(Dictionary::Entry) == 0);

DictionaryBody* DictionaryBody::create(std::size_t capacity) {
  capacity = std::clamp<std::size_t>(capacity, 1, std::numeric_limits<std::uint32_t>::max() / 2);
  const BlockArena::Room room = BlockArena::allocateAlone(sizeof(DictionaryBody) + sizeOfEntries(capacity));
  return new (room.memory) DictionaryBody(room, capacity);
}

DictionaryBody* DictionaryBody::create(std::size_t capacity, BlockArena& arena) {
  const BlockArena::Room room = arena.allocate(sizeof(DictionaryBody) + sizeOfEntries(capacity));
  return new (room.memory) DictionaryBody(room, capacity);
}

DictionaryBody::DictionaryBody(const BlockArena::Room& room, std::size_t capacity) noexcept
    : Container(Type::Dictionary, room.place),
      entries_(inlineEntries()),
      capacity_(static_cast<std::uint32_t>(capacity)) {
  writeTags();
}

DictionaryBody::~DictionaryBody() {
  std::destroy_n(entries_, used_);
  if (entries_ != inlineEntries()) ::operator delete(static_cast<void*>(entries_));
}

std::size_t DictionaryBody::sizeOfTags(std::size_t capacity) noexcept {
  if (capacity <= kMostWithoutTags) return 0;
  return (std::min(capacity, Dictionary::kLinearSearchLimit) + kBlockSize - 1) / kBlockSize * kBlockSize;
}

std::size_t DictionaryBody::sizeOfEntries(std::size_t capacity) noexcept {
  return capacity * sizeof(Entry) + sizeOfTags(capacity);
}

void DictionaryBody::writeTags() noexcept {
  const std::size_t size = sizeOfTags(capacity_);
  std::memset(tags(), 0, size);
  for (std::uint32_t position = 0; position < std::min<std::size_t>(used_, size); ++position)
    tags()[position] = static_cast<char>(tagOf(entries_[position].key.view()));
}

DictionaryBody::Entry* DictionaryBody::find(std::string_view key) const noexcept {
  return find(key, tagOf(key));
}

DictionaryBody::Entry* DictionaryBody::find(std::string_view key, std::uint8_t tag) const noexcept {
  if (index_ != nullptr) return findInIndex(key);
  // Most keys that are asked for are not there.
  const std::uint64_t candidates = positionsWithTag(tag);
  return candidates == 0 ? nullptr : firstUnder(key, candidates);
}

std::uint64_t DictionaryBody::positionsWithTag(std::uint8_t tag) const noexcept {
  static_assert(Dictionary::kLinearSearchLimit == 4 * kBlockSize);
  if (capacity_ <= kMostWithoutTags) return (1U << used_) - 1;
  std::uint64_t positions = bitOfEachByte(loadBlock(tags()) == tag);
  for (std::uint32_t first = kBlockSize; first < used_; first += kBlockSize)
    positions |= std::uint64_t{bitOfEachByte(loadBlock(tags() + first) == tag)} << first;
  return positions;
}

DictionaryBody::Entry* DictionaryBody::firstUnder(std::string_view key,
                                                  std::uint64_t positions) const noexcept {
  for (; positions != 0; positions &= positions - 1) {
    const auto position = static_cast<std::uint32_t>(std::countr_zero(positions));
    if (position >= used_) break;
    if (isSameKey(entries_[position].key, key)) return entries_ + position;
  }
  return nullptr;
}

DictionaryBody::Entry* DictionaryBody::findInIndex(std::string_view key) const noexcept {
  for (std::uint32_t slot = textHash(key) & indexMask_; index_[slot] != kNoPosition;
       slot = (slot + 1) & indexMask_) {
    Entry& entry = entries_[index_[slot] - 1];
    if (isSameKey(entry.key, key) && !entry.key.isNil()) return &entry;
  }
  return nullptr;
}

void DictionaryBody::set(const String& key, Value&& value) {
  const std::uint8_t tag = tagOf(key.view());
  if (Entry* entry = find(key.view(), tag))
    entry->value = std::move(value);
  else
    append(key, std::move(value), tag);
}

void DictionaryBody::setAllOf(const DictionaryBody& other, Replacing replacing) {
  for (std::uint32_t position = 0; position < other.used_; ++position) {
    const Entry& entry = other.entries_[position];
    if (entry.key.isNil()) continue;
    const std::uint8_t tag = other.tagAt(position);
    Entry* const own = find(entry.key.view(), tag);
    if (own == nullptr)
      append(entry.key, Value(entry.value), tag);
    else if (replacing == Replacing::Yes)
      own->value = entry.value;
  }
}

std::uint8_t DictionaryBody::tagAt(std::uint32_t position) const noexcept {
  return position < sizeOfTags(capacity_) ? static_cast<std::uint8_t>(tags()[position])
                                          : tagOf(entries_[position].key.view());
}

void DictionaryBody::append(const String& key, Value&& value, std::uint8_t tag) {
  if (used_ == capacity_) makeRoom();
  new (entries_ + used_) Entry{key, std::move(value)};
  if (used_ < Dictionary::kLinearSearchLimit && capacity_ > kMostWithoutTags)
    tags()[used_] = static_cast<char>(tag);
  ++used_;
  ++live_;
  if (index_ != nullptr)
    addToIndex(used_ - 1);
  else if (used_ > Dictionary::kLinearSearchLimit)
    rebuildIndex();
}

DictionaryBody* DictionaryBody::createOfDistinct(String* keys, Value* values, std::size_t count,
                                                 BlockArena& arena) {
  const BlockArena::Room room = arena.allocate(sizeof(DictionaryBody) + sizeOfEntries(count));
  auto* const body = new (room.memory) DictionaryBody(room, count);
  for (std::size_t i = 0; i < count; ++i) {
    Entry* const entry = body->entries_ + i;
    std::memcpy(static_cast<void*>(&entry->key), static_cast<void*>(keys + i), sizeof(String));
    std::memcpy(static_cast<void*>(&entry->value), static_cast<void*>(values + i), sizeof(Value));
  }
  body->used_ = body->live_ = static_cast<std::uint32_t>(count);
  body->writeTags();
  return body;
}

void DictionaryBody::remove(std::string_view key) noexcept {
  Entry* entry = find(key);
  if (entry == nullptr) return;
  const Entry removed = std::exchange(*entry, Entry{});
  --live_;
  if (index_ != nullptr) return;
  const auto position = static_cast<std::size_t>(entry - entries_);
  const std::size_t behind = --used_ - position;
  std::memmove(static_cast<void*>(entry), static_cast<const void*>(entry + 1), behind * sizeof(Entry));
  if (capacity_ > kMostWithoutTags) std::memmove(tags() + position, tags() + position + 1, behind);
}

void DictionaryBody::makeRoom() {
  if (live_ > std::numeric_limits<std::uint32_t>::max() / 4) throw std::length_error("Dictionary");
  const std::uint32_t capacity = std::max({kSmallestGrowth, capacity_, live_ * 2});
  auto* entries = static_cast<Entry*>(::operator new(sizeOfEntries(capacity)));
  std::uint32_t kept = 0;
  for (Entry* entry = entries_; entry != entries_ + used_; ++entry)
    if (!entry->key.isNil()) new (entries + kept++) Entry(std::move(*entry));
  std::destroy_n(entries_, used_);
  if (entries_ != inlineEntries()) ::operator delete(static_cast<void*>(entries_));
  entries_ = entries;
  used_ = kept;
  capacity_ = capacity;
  writeTags();
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

void Dictionary::setAll(const Dictionary& other) {
  if (isMutable() && !other.isNil() && body_ != other.body_)
    body_->setAllOf(*other.body_, detail::DictionaryBody::Replacing::Yes);
}

void Dictionary::setMissing(const Dictionary& other) {
  if (isMutable() && !other.isNil() && body_ != other.body_)
    body_->setAllOf(*other.body_, detail::DictionaryBody::Replacing::No);
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
