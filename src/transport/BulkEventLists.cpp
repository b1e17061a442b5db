#include "transport/BulkEventLists.h"

#include "diagnostics/Ledger.h"

namespace pxa {

namespace {

void giveUp(BulkEventLists::EventList& events) {
  ledger().drop(&Ledger::Events::gathered, &Ledger::Dropped::listReplaced, events.size());
  events.clear();
}

}  // namespace

void BulkEventLists::replaceList(const String& projectName) {
  if (EventList* list = find(projectName.view()))
    giveUp(*list);
  else
    lists_.emplace_back(projectName, EventList());
}

void BulkEventLists::removeAll() {
  for (auto& [projectName, events] : lists_) giveUp(events);
  lists_.clear();
}

BulkEventLists::EventList* BulkEventLists::find(std::string_view projectName) {
  for (auto& [name, events] : lists_)
    if (name.view() == projectName) return &events;
  return nullptr;
}

BulkEventLists& bulkEventLists() {
  static auto& lists = *new BulkEventLists;
  return lists;
}

}  // namespace pxa
