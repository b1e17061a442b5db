#include "event/VeskEvent.h"

#include "event/event_keys.h"
#include "foundation/bodies.h"

namespace pxa {

using namespace literals;

VeskEvent::VeskEvent(const String& logLevel, const String& errorCode, Data body, std::int64_t sendTime)
    : body_(std::move(body)),
      sendTime_(sendTime),
      host_(""_text),
      fields_(LineFields{(logLevel.isNil() ? ""_text : logLevel).utf8(),
                         errorCode.isEmpty() ? Value() : errorCode.utf8(), nullptr}) {}

VeskEventRef
VeskEvent::initWithProjectName_projectVersion_logType_logSource_body_sendTime_host_fields_handleId(
    Value projectName, Value projectVersion, Value logType, Value logSource, Value body,
    std::int64_t sendTime, Value host, Value fields, Value handleId) {
  auto origin = std::make_shared<const EventOrigin>(EventOrigin{std::move(projectName),
                                                                std::move(projectVersion), std::move(logType),
                                                                std::move(logSource), std::move(handleId)});
  return std::make_shared<VeskEvent>(std::move(origin), std::move(body), sendTime, std::move(host),
                                     std::move(fields));
}

const EventOriginRef& VeskEvent::noOrigin() {
  static const auto& none = *new EventOriginRef(std::make_shared<EventOrigin>());
  return none;
}

const Value* VeskEvent::field(std::string_view key) const {
  if (const LineFields* line = this->line()) {
    if (key == key::logLevel().view()) return &line->logLevel;
    if (key == key::errorCode().view()) return line->errorCode.isNull() ? nullptr : &line->errorCode;
    return line->shared == nullptr ? nullptr : line->shared->fields().find(key);
  }
  const Value& all = fields();
  if (all.kind() != Value::Kind::Dictionary) return nullptr;
  const auto* const entry = detail::Borrow::dictionary(all).find(key);
  return entry == nullptr ? nullptr : &entry->value;
}

void VeskEvent::makeFields() const {
  const LineFields& line = *this->line();
  Dictionary fields;
  if (!line.errorCode.isNull()) fields.set(key::errorCode(), line.errorCode);
  fields.set(key::logLevel(), line.logLevel);
  if (line.shared != nullptr) fields.setAll(line.shared->fields());
  fields_ = Value(std::move(fields));
}

void VeskEvent::changeOrigin(Value EventOrigin::*member, Value value) {
  auto changed = std::make_shared<EventOrigin>(*origin_);
  (*changed).*member = std::move(value);
  origin_ = std::move(changed);
}

[[gnu::cold]] void VeskEvent::encodeWithCoder(Dictionary& coder) const {
  coder.set(key::projectName(), projectName());
  coder.set(key::projectVersion(), projectVersion());
  coder.set(key::logType(), logType());
  coder.set(key::logSource(), logSource());
  coder.set(key::body(), body_);
  coder.set(key::sendTime(), sendTime_);
  coder.set(key::host(), host_);
  coder.set(key::fields(), fields());
  coder.set(key::handleId(), handleId());
}

[[gnu::cold]] VeskEventRef VeskEvent::initWithCoder(const Dictionary& coder) {
  const auto decode = [&](const String& key) { return coder.value(key.view()); };
  return initWithProjectName_projectVersion_logType_logSource_body_sendTime_host_fields_handleId(
      decode(key::projectName()), decode(key::projectVersion()), decode(key::logType()),
      decode(key::logSource()), decode(key::body()), decode(key::sendTime()).number().longLongValue(),
      decode(key::host()), decode(key::fields()), decode(key::handleId()));
}

}  // namespace pxa
