#pragma once

#include <pxalog/String.h>
#include <pxalog/Value.h>

namespace pxa {

/// A probe address as it is requested: with its port made explicit. An address that is neither http nor https
/// is left as it is.
String normalisedProbeAddress(const String& url);

namespace PXALog {

/// The body of the network-insight thread: takes probe jobs one by one, requests each address once, and
/// queues an event with latency and status. Selector: performanceSendThread:
void performanceSendThread(const Value& argument);

}  // namespace PXALog

}  // namespace pxa
