#include <pxalog/Array.h>

#include "foundation/bodies.h"

namespace pxa {

Array::Array() : body_(new detail::ArrayBody) {}

Array::Array(std::initializer_list<Value> values) : Array() {
  body_->values = values;
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
  if (isMutable()) body_->values.push_back(std::move(value));
}

void Array::makeImmutable() noexcept {
  if (body_ != nullptr) body_->makeImmutable();
}

bool Array::isMutable() const noexcept {
  return body_ != nullptr && body_->isMutable();
}

const Value* Array::begin() const noexcept {
  return body_ == nullptr ? nullptr : body_->values.data();
}

const Value* Array::end() const noexcept {
  return body_ == nullptr ? nullptr : body_->values.data() + body_->values.size();
}

}  // namespace pxa
