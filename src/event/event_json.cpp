#include "event/event_json.h"

#include <array>
#include <charconv>
#include <optional>
#include <utility>

#include "event/event_keys.h"
#include "json/JsonEmitter.h"

namespace pxa {

namespace {

/// A decimal number as a JSON string needs no escapes and no allocation.
class DecimalText {
 public:
  explicit DecimalText(std::int64_t value)
      : end_(std::to_chars(digits_.data(), digits_.data() + digits_.size(), value).ptr) {}
  [[nodiscard]] std::string_view view() const {
    return {digits_.data(), static_cast<std::size_t>(end_ - digits_.data())};
  }

 private:
  std::array<char, 24> digits_;
  char* end_;
};

/// Writes the members of one event's object: the record's own first, each only if the fields hold no entry of
/// that name, then the fields, then the index in the bulk. Makes no dictionary of the fields of a log line.
template <class Sink>
class EventEmitter {
 public:
  EventEmitter(const VeskEvent& event, std::optional<std::int32_t> bulkIndex, Sink& sink)
      : event_(event),
        fields_(event.line() == nullptr ? event.fields().dictionary() : nullptr),
        bulkIndex_(bulkIndex),
        sink_(sink),
        json_(sink) {}

  [[nodiscard]] bool object() {
    json_.byte('{');
    if (!recordMembers() || !lineMembers()) return false;
    for (const Dictionary::Entry& field : fields_) {
      if (bulkIndex_ && field.key.view() == key::bulkIndex().view()) continue;
      if (!member(field.key.view(), field.value)) return false;
    }
    if (bulkIndex_) decimalMember(key::bulkIndex().view(), *bulkIndex_);
    json_.byte('}');
    return true;
  }

 private:
  bool recordMembers() {
    if (!recordMember(key::projectName(), event_.projectName()) ||
        !recordMember(key::projectVersion(), event_.projectVersion()) ||
        !recordMember(key::logType(), event_.logType()) ||
        !recordMember(key::logSource(), event_.logSource()) || !recordMember(key::body(), event_.body()))
      return false;
    if (event_.sendTime() != 0 && !fields_.contains(key::sendTime().view()))
      decimalMember(key::sendTime().view(), event_.sendTime());
    return recordMember(key::host(), event_.host());
  }

  bool lineMembers() {
    const LineFields* line = event_.line();
    if (line == nullptr) return true;
    if (!line->errorCode.isNull() && !member(key::errorCode().view(), line->errorCode)) return false;
    if (!member(key::logLevel().view(), line->logLevel)) return false;
    if (line->shared != nullptr) sink_.append(line->shared->members().view());
    return true;
  }

  bool recordMember(const String& name, const Value& value) {
    return value.isNull() || fields_.contains(name.view()) || member(name.view(), value);
  }

  bool member(std::string_view name, const Value& value) {
    return json_.member(name, value, std::exchange(isFirst_, false));
  }

  void decimalMember(std::string_view name, std::int64_t value) {
    json_.memberName(name, std::exchange(isFirst_, false));
    json_.string(DecimalText(value).view());
  }

  const VeskEvent& event_;
  const Dictionary fields_;
  const std::optional<std::int32_t> bulkIndex_;
  Sink& sink_;
  JsonEmitter<Sink> json_;
  bool isFirst_ = true;
};

Data jsonOf(const VeskEventRef& event, std::optional<std::int32_t> bulkIndex) {
  using namespace literals;
  if (event == nullptr) return "{}"_text.utf8();
  ByteBuffer text;
  return EventEmitter(*event, bulkIndex, text).object() ? text.finish() : nullptr;
}

}  // namespace

Data PXALog::getJsonFromVeskEvent(const VeskEventRef& event) {
  return jsonOf(event, std::nullopt);
}

Data PXALog::getJsonFromVeskEvent_rdmBulkIndex(const VeskEventRef& event, std::int32_t index) {
  return jsonOf(event, index);
}

String PXALog::idToNSString(const Value& object) {
  using namespace literals;
  return object.kind() == Value::Kind::Data ? String::fromUtf8(object.data()) : ""_text;
}

bool appendJsonOfBulkEvent(const VeskEvent& event, std::int32_t index, ByteBuffer& text) {
  const std::size_t before = text.size();
  if (EventEmitter(event, index, text).object()) return true;
  text.truncate(before);
  return false;
}

std::size_t jsonLengthOf(const VeskEvent& event) {
  JsonLength length;
  return EventEmitter(event, std::nullopt, length).object() ? length.size() : 0;
}

std::string_view textOfBytes(const Value* object) {
  return object != nullptr && object->kind() == Value::Kind::Data && object->isUtf8() ? object->bytes()
                                                                                      : std::string_view();
}

}  // namespace pxa
