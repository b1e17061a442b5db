#include <vector>

#include <pxalog/PXALog.h>

#include "api/handle/GlobalLock.h"
#include "api/handle/common_fields.h"
#include "api/handle/handle_table.h"
#include "api/handle/host_address.h"
#include "api/validation.h"

namespace pxa {

using namespace literals;

namespace {

/// Changes a handle under the global lock; nothing for an unknown id. Nothing that fails in it leaves.
template <class Change>
void withHandle(const String& handleId, Change change) {
  try {
    const GlobalGuard guard;
    if (const VeskHandleRef handle = PXALog::rdm_getHandler(handleId)) change(*handle);
  } catch (...) {
    // No memory for the change: the handle stays as it is.
  }
}

bool isRemovable(const String& key) {
  return !isReservedField(key.view()) && !isProtectedField(key.view());
}

}  // namespace

void PXALog::enableHost(bool isEnabled) {
  storeHostSwitch(isEnabled);
}

void PXALog::setUserId(const String& userId) {
  setUserId_forHandlerId(userId, defaultHandleId());
}

void PXALog::setUserId_Keepcell(const String& userId) {
  setUserId_forHandlerId(userId, keepcellHandleId());
}

void PXALog::setUserId_forHandlerId(const String& userId, const String& handleId) {
  withHandle(handleId, [&](VeskHandle& handle) { handle.setUserId(userId); });
}

void PXALog::setLogType(const String& logType) {
  setLogType_forHandlerId(logType, defaultHandleId());
}

void PXALog::setLogType_Keepcell(const String& logType) {
  setLogType_forHandlerId(logType, keepcellHandleId());
}

void PXALog::setLogType_forHandlerId(const String& logType, const String& handleId) {
  withHandle(handleId, [&](VeskHandle& handle) { handle.setLogType(logType); });
}

void PXALog::setLogSource(const String& logSource) {
  setLogSource_forHandlerId(logSource, defaultHandleId());
}

void PXALog::setLogSource_Keepcell(const String& logSource) {
  setLogSource_forHandlerId(logSource, keepcellHandleId());
}

void PXALog::setLogSource_forHandlerId(const String& logSource, const String& handleId) {
  withHandle(handleId, [&](VeskHandle& handle) { handle.setLogSource(logSource); });
}

void PXALog::setLogDeduplicate(bool isDeduplicate) {
  setLogDeduplicate_forHandlerId(isDeduplicate, defaultHandleId());
}

void PXALog::setLogDeduplicate_Keepcell(bool isDeduplicate) {
  setLogDeduplicate_forHandlerId(isDeduplicate, keepcellHandleId());
}

void PXALog::setLogDeduplicate_forHandlerId(bool isDeduplicate, const String& handleId) {
  withHandle(handleId, [&](VeskHandle& handle) { handle.setIsDeduplicate(isDeduplicate); });
}

void PXALog::setCustomField_forKey(const String& value, const String& key) {
  setCustomField_forKey_forHandleId(value, key, defaultHandleId());
}

void PXALog::setCustomField_Keepcell_forKey(const String& value, const String& key) {
  setCustomField_forKey_forHandleId(value, key, keepcellHandleId());
}

void PXALog::setCustomField_forKey_forHandleId(const String& value, const String& key,
                                               const String& handleId) {
  if (!isValidField(key) || isReservedField(key.view())) return;
  const Data stored = value.isNil() ? "-"_text.utf8() : value.utf8();
  withHandle(handleId, [&](VeskHandle& handle) {
    handle.customFields().remove(key.view());
    handle.customFields().set(key, stored);
  });
}

void PXALog::removeCustomFieldForKey(const String& key) {
  removeCustomFieldForKey_forHandleId(key, defaultHandleId());
}

void PXALog::removeCustomFieldForKey_Keepcell(const String& key) {
  removeCustomFieldForKey_forHandleId(key, keepcellHandleId());
}

void PXALog::removeCustomFieldForKey_forHandleId(const String& key, const String& handleId) {
  if (key.isNil() || !isRemovable(key)) return;
  withHandle(handleId, [&](VeskHandle& handle) { handle.customFields().remove(key.view()); });
}

void PXALog::removeAllCustomFields() {
  removeAllCustomFields(defaultHandleId());
}

void PXALog::removeAllCustomFields_Keepcell() {
  removeAllCustomFields(keepcellHandleId());
}

void PXALog::removeAllCustomFields(const String& handleId) {
  withHandle(handleId, [](VeskHandle& handle) {
    std::vector<String> removable;
    for (const Dictionary::Entry& field : handle.customFields())
      if (isRemovable(field.key)) removable.push_back(field.key);
    for (const String& key : removable) handle.customFields().remove(key.view());
  });
}

}  // namespace pxa
