#include "event/VeskEvent.h"

#include "event/event_keys.h"

namespace pxa {

VeskEventRef
VeskEvent::initWithProjectName_projectVersion_logType_logSource_body_sendTime_host_fields_handleId(
    Value projectName, Value projectVersion, Value logType, Value logSource, Value body,
    std::int64_t sendTime, Value host, Value fields, Value handleId) {
  auto event = std::make_shared<VeskEvent>();
  event->projectName_ = std::move(projectName);
  event->projectVersion_ = std::move(projectVersion);
  event->logType_ = std::move(logType);
  event->logSource_ = std::move(logSource);
  event->body_ = std::move(body);
  event->sendTime_ = sendTime;
  event->host_ = std::move(host);
  event->fields_ = std::move(fields);
  event->handleId_ = std::move(handleId);
  return event;
}

void VeskEvent::encodeWithCoder(Dictionary& coder) const {
  coder.set(key::projectName(), projectName_);
  coder.set(key::projectVersion(), projectVersion_);
  coder.set(key::logType(), logType_);
  coder.set(key::logSource(), logSource_);
  coder.set(key::body(), body_);
  coder.set(key::sendTime(), sendTime_);
  coder.set(key::host(), host_);
  coder.set(key::fields(), fields_);
  coder.set(key::handleId(), handleId_);
}

VeskEventRef VeskEvent::initWithCoder(const Dictionary& coder) {
  const auto decode = [&](const String& key) { return coder.value(key.view()); };
  return initWithProjectName_projectVersion_logType_logSource_body_sendTime_host_fields_handleId(
      decode(key::projectName()), decode(key::projectVersion()), decode(key::logType()),
      decode(key::logSource()), decode(key::body()), decode(key::sendTime()).number().longLongValue(),
      decode(key::host()), decode(key::fields()), decode(key::handleId()));
}

}  // namespace pxa
