#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include <pxalog/Dictionary.h>
#include <pxalog/Value.h>

namespace pxa {

class VeskEvent;
using VeskEventRef = std::shared_ptr<VeskEvent>;

/// One log line, crash report or measurement on its way from the call that builds it to the collector. Plain
/// data: it checks nothing and copies nothing; whoever holds the fields dictionary it was given sees and
/// makes changes. Members are values of any kind, for an event read back from a file holds what the file
/// held.
///
/// Not locked: built on the caller's thread, handed over through the block queue, then touched by the send
/// thread alone.
class VeskEvent {
 public:
  /// Every member null, the send time 0.
  VeskEvent() = default;

  /// Selector: initWithProjectName:projectVersion:logType:logSource:body:sendTime:host:fields:handleId:
  /// The send time is in milliseconds since 1970-01-01 00:00 UTC.
  static VeskEventRef initWithProjectName_projectVersion_logType_logSource_body_sendTime_host_fields_handleId(
      Value projectName, Value projectVersion, Value logType, Value logSource, Value body,
      std::int64_t sendTime, Value host, Value fields, Value handleId);

  [[nodiscard]] const Value& projectName() const { return projectName_; }
  [[nodiscard]] const Value& projectVersion() const { return projectVersion_; }
  [[nodiscard]] const Value& logType() const { return logType_; }
  [[nodiscard]] const Value& logSource() const { return logSource_; }
  [[nodiscard]] const Value& body() const { return body_; }
  [[nodiscard]] std::int64_t sendTime() const { return sendTime_; }
  [[nodiscard]] const Value& host() const { return host_; }
  [[nodiscard]] const Value& fields() const { return fields_; }
  [[nodiscard]] const Value& handleId() const { return handleId_; }

  void setProjectName(Value value) { projectName_ = std::move(value); }
  void setProjectVersion(Value value) { projectVersion_ = std::move(value); }
  void setLogType(Value value) { logType_ = std::move(value); }
  void setLogSource(Value value) { logSource_ = std::move(value); }
  void setBody(Value value) { body_ = std::move(value); }
  void setSendTime(std::int64_t value) { sendTime_ = value; }
  void setHost(Value value) { host_ = std::move(value); }
  void setFields(Value value) { fields_ = std::move(value); }

  /// Keeps a value that nothing reads: an event gets its handle id when it is made, and never another one.
  void sethandleId(Value value) { laterHandleId_ = std::move(value); }
  void unsetProjectVersion() { projectVersion_ = nullptr; }

  /// Selectors: encodeWithCoder:, initWithCoder:. The coder is the dictionary of one archived event.
  void encodeWithCoder(Dictionary& coder) const;
  static VeskEventRef initWithCoder(const Dictionary& coder);

 private:
  Value projectName_;
  Value projectVersion_;
  Value logType_;
  Value logSource_;
  Value body_;
  std::int64_t sendTime_ = 0;
  Value host_;
  Value fields_;
  Value handleId_;
  Value laterHandleId_;
};

}  // namespace pxa
