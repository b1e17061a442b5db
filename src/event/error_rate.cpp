#include "event/error_rate.h"

#include <stdexcept>
#include <string>

#include "event/event_keys.h"

namespace pxa {

std::int32_t errorRateOf(const VeskEvent& event) {
  const Value* errorRate = event.field(key::errorRate().view());
  if (errorRate == nullptr) return 0;
  if (errorRate->kind() == Value::Kind::String) return errorRate->string().intValue();
  if (errorRate->kind() == Value::Kind::Number) return errorRate->number().intValue();
  throw std::invalid_argument(std::string("no integer value: ") + errorRate->className().c_str());
}

}  // namespace pxa
