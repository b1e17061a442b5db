#include "event/SharedLineFields.h"

#include <algorithm>
#include <string_view>

#include "event/event_keys.h"
#include "foundation/ByteBuffer.h"
#include "json/JsonEmitter.h"

namespace pxa {

namespace {

bool isNameOfALinesOwn(std::string_view name) {
  if (key::isRecordMember(name)) return true;
  for (const String& other : {key::host(), key::logLevel(), key::errorCode(), key::bulkIndex()})
    if (other.view() == name) return true;
  return false;
}

bool canBeShared(const Dictionary::Entry& field) {
  const std::string_view name = field.key.view();
  return field.value.isUtf8() && !isNameOfALinesOwn(name) && name != key::dumpData().view();
}

Data membersOf(const Dictionary& fields) {
  ByteBuffer text;
  JsonEmitter json(text);
  for (const auto& [key, value] : fields) {
    json.memberName(key.view(), false);
    json.string(value.bytes());
  }
  return text.finish();
}

}  // namespace

SharedLineFieldsRef SharedLineFields::of(Dictionary fields) {
  if (!std::all_of(fields.begin(), fields.end(), canBeShared)) return nullptr;
  Data members = membersOf(fields);
  return std::make_shared<const SharedLineFields>(std::move(fields), std::move(members));
}

}  // namespace pxa
