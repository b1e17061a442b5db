#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "event/VeskEvent.h"
#include "foundation/ByteBuffer.h"

namespace pxa {

namespace PXALog {

/// The event as one flat JSON object; nil when a value in it has no JSON form. No event gives "{}".
/// Entries of the event's fields replace the record's own members of the same name. The event is left
/// unchanged. Selectors: getJsonFromVeskEvent:, getJsonFromVeskEvent:rdmBulkIndex:
Data getJsonFromVeskEvent(const VeskEventRef& event);
Data getJsonFromVeskEvent_rdmBulkIndex(const VeskEventRef& event, std::int32_t index);

/// The text of bytes that are UTF-8, nil of bytes that are not, and "" of anything else, a text included.
/// Selector: idToNSString:
String idToNSString(const Value& object);

}  // namespace PXALog

/// Appends getJsonFromVeskEvent:rdmBulkIndex: to the buffer; on false the buffer is as before.
[[nodiscard]] bool appendJsonOfBulkEvent(const VeskEvent& event, std::int32_t index, ByteBuffer& text);

/// Length of getJsonFromVeskEvent: without writing it; 0 when there is none.
std::size_t jsonLengthOf(const VeskEvent& event);

/// A view of idToNSString:, without taking a reference; empty for nil.
std::string_view textOfBytes(const Value* object);

}  // namespace pxa
