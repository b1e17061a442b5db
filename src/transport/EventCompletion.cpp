#include "transport/EventCompletion.h"

#include <utility>

#include "api/handle/host_address.h"
#include "event/event_json.h"
#include "event/event_keys.h"

namespace pxa {

namespace {

/// An event without a user takes the handle's, as text.
void completeUserId(Dictionary& fields, const String& userId) {
  if (!userId.isNil() && textOfBytes(fields.find(key::userId().view())).empty())
    fields.set(key::userId(), userId);
}

void completeFields(Dictionary fields, const CommonFacts& facts) {
  facts.copyTo(fields);
  completeUserId(fields, facts.userId);
}

}  // namespace

bool EventCompletion::complete(VeskEvent& event, const String& handleId) {
  const std::optional<CommonFacts> facts = CommonFacts::of(handleId);
  if (!facts) return false;
  event.setHost(PXALog::getHost());
  if (event.line() != nullptr)
    if (const CommonFieldsRef& shared = fieldsOfLines(handleId, *facts); shared != nullptr) {
      event.completeLine(shared);
      return true;
    }
  completeFields(event.fields().dictionary(), *facts);
  return true;
}

const CommonFieldsRef& EventCompletion::fieldsOfLines(const String& handleId, const CommonFacts& facts) {
  auto known = lines_.find(handleId.view());
  if (known == lines_.end()) known = lines_.emplace(handleId.view(), LinesOfAHandle()).first;
  LinesOfAHandle& lines = known->second;
  if (!lines.facts || !lines.facts->areStill(facts)) {
    Dictionary fields;
    completeFields(fields, facts);
    removeDumpFields(fields);
    lines = {facts, CommonFields::of(std::move(fields))};
  }
  return lines.fields;
}

void removeDumpFields(Dictionary fields) {
  fields.remove(key::symbolMethod().view());
  fields.remove(key::crashStyle().view());
}

}  // namespace pxa
