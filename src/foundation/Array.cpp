#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>

#include <pxalog/Array.h>

#include "foundation/bodies.h"

namespace pxa {

namespace detail {

static_assert(sizeof(ArrayBody) % alignof(Value) == 0);

ArrayBody* ArrayBody::create(std::size_t capacity) {
  if (capacity > SIZE_MAX / 2 / sizeof(Value)) throw std::length_error("Array");
  const BlockArena::Room room = BlockArena::allocateAlone(sizeof(ArrayBody) + capacity * sizeof(Value));
  return new (room.memory) ArrayBody(room, capacity);
}

ArrayBody* ArrayBody::createOf(Value* values, std::size_t count, BlockArena& arena) {
  const BlockArena::Room room = arena.allocate(sizeof(ArrayBody) + count * sizeof(Value));
  auto* const body = new (room.memory) ArrayBody(room, count);
  if (count != 0)
    std::memcpy(static_cast<void*>(body->values_), static_cast<void*>(values), count * sizeof(Value));
  body->size_ = count;
  return body;
}

ArrayBody::ArrayBody(const BlockArena::Room& room, std::size_t capacity) noexcept
    : Container(Type::Array, room.place), values_(inlineValues()), capacity_(capacity) {}

ArrayBody::~ArrayBody() {
  std::destroy_n(values_, size_);
  if (values_ != inlineValues()) ::operator delete(static_cast<void*>(values_));
}

void ArrayBody::append(Value value) {
  if (size_ == capacity_) grow();
  new (values_ + size_) Value(std::move(value));
  ++size_;
}

void ArrayBody::grow() {
  const std::size_t capacity = std::max<std::size_t>(4, capacity_ * 2);
  auto* const values = static_cast<Value*>(::operator new(capacity * sizeof(Value)));
  std::uninitialized_move_n(values_, size_, values);
  std::destroy_n(values_, size_);
  if (values_ != inlineValues()) ::operator delete(static_cast<void*>(values_));
  values_ = values;
  capacity_ = capacity;
}

}  // namespace detail

Array::Array() : Array(detail::ArrayBody::create(kDefaultCapacity)) {}

Array::Array(std::initializer_list<Value> values) : Array(detail::ArrayBody::create(values.size())) {
  for (const Value& value : values) body_->append(value);
}

Array::Array(const Array& other) noexcept : body_(other.body_) {
  if (body_ != nullptr) body_->retain();
}

Array::~Array() {
  if (body_ != nullptr) body_->release();
}

Value Array::at(std::size_t position) const noexcept {
  return position < size() ? begin()[position] : Value();
}

void Array::append(Value value) {
  if (isMutable()) body_->append(std::move(value));
}

void Array::makeImmutable() noexcept {
  if (body_ != nullptr) body_->makeImmutable();
}

bool Array::isMutable() const noexcept {
  return body_ != nullptr && body_->isMutable();
}

const Value* Array::begin() const noexcept {
  return body_ == nullptr ? nullptr : body_->begin();
}

const Value* Array::end() const noexcept {
  return body_ == nullptr ? nullptr : body_->end();
}

}  // namespace pxa
