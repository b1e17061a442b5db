#include "api/handle/handle_table.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "api/handle/GlobalLock.h"

namespace pxa {

using namespace literals;

namespace {

struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>()(text); }
};

using HandleTable = std::unordered_map<std::string, VeskHandleRef, TextHash, std::equal_to<>>;

// Both under the global lock.
std::optional<HandleTable>& handleTable() {
  static auto& table = *new std::optional<HandleTable>;
  return table;
}

VeskHandleRef& mutableNetworkRecord() {
  static auto& record = *new VeskHandleRef;
  return record;
}

/// Most look-ups are for the record of the one before. Under the global lock.
const HandleTable::value_type* gs_lastFound = nullptr;

const VeskHandleRef* recordUnder(const String& handleId) {
  const std::optional<HandleTable>& table = handleTable();
  if (handleId.isNil() || !table) return nullptr;
  if (gs_lastFound == nullptr || gs_lastFound->first != handleId.view()) {
    const auto found = table->find(handleId.view());
    if (found == table->end()) return nullptr;
    gs_lastFound = &*found;
  }
  return &gs_lastFound->second;
}

}  // namespace

String defaultHandleId() {
  return "0"_text;
}

String keepcellHandleId() {
  return "Keepcell"_text;
}

[[gnu::cold]] void PXALog::rdm_setHandler(const String& handleId) {
  std::optional<HandleTable>& table = handleTable();
  if (handleId.isNil() || !table) return;
  (*table)[std::string(handleId.view())] = std::make_shared<VeskHandle>();
}

VeskHandleRef PXALog::rdm_getHandler(const String& handleId) {
  const GlobalGuard guard;
  const VeskHandleRef* const record = recordUnder(handleId);
  return record == nullptr ? nullptr : *record;
}

VeskHandle* findHandle(const String& handleId) {
  const VeskHandleRef* const record = recordUnder(handleId);
  return record == nullptr ? nullptr : record->get();
}

void resetHandleTable() {
  gs_lastFound = nullptr;
  handleTable().emplace();
}

const VeskHandleRef& networkRecord() {
  return mutableNetworkRecord();
}

void resetNetworkRecord() {
  mutableNetworkRecord() = std::make_shared<VeskHandle>();
}

}  // namespace pxa
