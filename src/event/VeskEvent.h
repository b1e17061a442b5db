#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <variant>

#include <pxalog/Dictionary.h>
#include <pxalog/String.h>
#include <pxalog/Value.h>

#include "event/SharedLineFields.h"

namespace pxa {

class VeskEvent;
using VeskEventRef = std::shared_ptr<VeskEvent>;

/// What the events of a handle have in common. They share it; it never changes.
struct EventOrigin {
  Value projectName;
  Value projectVersion;
  Value logType;
  Value logSource;
  Value handleId;
  Value laterHandleId{};  ///< kept, never read

  bool operator==(const EventOrigin&) const = default;
};
using EventOriginRef = std::shared_ptr<const EventOrigin>;

/// The fields of a log line, before anyone asks for a dictionary of them.
struct LineFields {
  Value logLevel;
  Value errorCode;             ///< null for none
  SharedLineFieldsRef shared;  ///< nullptr until the line is completed
};

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
  VeskEvent() : origin_(noOrigin()) {}
  /// The send time is in milliseconds since 1970-01-01 00:00 UTC.
  VeskEvent(EventOriginRef origin, Value body, std::int64_t sendTime, Value host, Value fields)
      : origin_(std::move(origin)),
        body_(std::move(body)),
        sendTime_(sendTime),
        host_(std::move(host)),
        fields_(std::move(fields)) {}
  /// A log line with its level, "" for nil, and its error code, none for nil and "". The host is "" until the
  /// event is sent. Whoever makes the event gives it its origin before anyone asks for that.
  VeskEvent(const String& logLevel, const String& errorCode, Data body, std::int64_t sendTime);

  /// Selector: initWithProjectName:projectVersion:logType:logSource:body:sendTime:host:fields:handleId:
  static VeskEventRef initWithProjectName_projectVersion_logType_logSource_body_sendTime_host_fields_handleId(
      Value projectName, Value projectVersion, Value logType, Value logSource, Value body,
      std::int64_t sendTime, Value host, Value fields, Value handleId);

  [[nodiscard]] const Value& projectName() const { return origin_->projectName; }
  [[nodiscard]] const Value& projectVersion() const { return origin_->projectVersion; }
  [[nodiscard]] const Value& logType() const { return origin_->logType; }
  [[nodiscard]] const Value& logSource() const { return origin_->logSource; }
  [[nodiscard]] const Value& body() const { return body_; }
  [[nodiscard]] std::int64_t sendTime() const { return sendTime_; }
  [[nodiscard]] const Value& host() const { return host_; }
  /// The dictionary of a log line is made when it is first asked for.
  [[nodiscard]] const Value& fields() const {
    if (line() != nullptr) makeFields();
    return *std::get_if<Value>(&fields_);
  }
  /// The fields of a log line of which no dictionary is made; nullptr for any other event. Valid until fields()
  /// is asked for or the event is changed.
  [[nodiscard]] const LineFields* line() const { return std::get_if<LineFields>(&fields_); }
  /// Gives a log line of which no dictionary is made the fields that it shares with others.
  void completeLine(SharedLineFieldsRef shared) {
    std::get_if<LineFields>(&fields_)->shared = std::move(shared);
  }
  /// The field under the key; nullptr when there is none. Valid as long as line().
  [[nodiscard]] const Value* field(std::string_view key) const;
  [[nodiscard]] const Value& handleId() const { return origin_->handleId; }

  void setOrigin(EventOriginRef origin) { origin_ = std::move(origin); }
  void setProjectName(Value value) { changeOrigin(&EventOrigin::projectName, std::move(value)); }
  void setProjectVersion(Value value) { changeOrigin(&EventOrigin::projectVersion, std::move(value)); }
  void setLogType(Value value) { changeOrigin(&EventOrigin::logType, std::move(value)); }
  void setLogSource(Value value) { changeOrigin(&EventOrigin::logSource, std::move(value)); }
  void setBody(Value value) { body_ = std::move(value); }
  void setSendTime(std::int64_t value) { sendTime_ = value; }
  void setHost(Value value) { host_ = std::move(value); }
  void setFields(Value value) { fields_ = std::move(value); }

  /// Keeps a value that nothing reads: an event gets its handle id when it is made, and never another one.
  void sethandleId(Value value) { changeOrigin(&EventOrigin::laterHandleId, std::move(value)); }
  void unsetProjectVersion() { setProjectVersion(nullptr); }

  /// Selectors: encodeWithCoder:, initWithCoder:. The coder is the dictionary of one archived event.
  void encodeWithCoder(Dictionary& coder) const;
  static VeskEventRef initWithCoder(const Dictionary& coder);

 private:
  static const EventOriginRef& noOrigin();
  /// From then on the event has an origin of its own.
  void changeOrigin(Value EventOrigin::*member, Value value);
  void makeFields() const;

  EventOriginRef origin_;
  Value body_;
  std::int64_t sendTime_ = 0;
  Value host_;
  mutable std::variant<Value, LineFields> fields_;
};

}  // namespace pxa
