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
  const SharedLineFieldsRef shared = event.line() != nullptr ? sharedFields(handleId, *facts) : nullptr;
  if (shared != nullptr)
    event.completeLine(shared);
  else
    completeFields(event.fields().dictionary(), *facts);
  return true;
}

const SharedLineFieldsRef& EventCompletion::sharedFields(const String& handleId, const CommonFacts& facts) {
  auto known = shared_.find(handleId.view());
  if (known == shared_.end()) known = shared_.emplace(handleId.view(), Shared()).first;
  Shared& shared = known->second;
  if (!shared.facts || !facts.isKnownToEqual(*shared.facts)) {
    Dictionary fields;
    completeFields(fields, facts);
    removeDumpFields(fields);
    shared = {facts, SharedLineFields::of(std::move(fields))};
  }
  return shared.fields;
}

void removeDumpFields(Dictionary fields) {
  fields.remove(key::symbolMethod().view());
  fields.remove(key::crashStyle().view());
}

}  // namespace pxa
