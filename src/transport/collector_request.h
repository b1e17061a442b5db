#pragma once

#include <memory>

#include <pxalog/String.h>

#include "transport/VeskHttpsDelegate.h"

namespace pxa::PXALog {

/// Sends and empties every project's list: one request each, none for an empty list. Events that have failed
/// too often or have no JSON form are left out. Runs on the send thread. Selector: sendVeskEventByRestAPI
void sendVeskEventByRestAPI();

/// Posts the body to the handle's collector and returns at once; the outcome goes to a copy of the delegate.
/// An unknown handle does nothing. Selector: sendVeskEventByRestAPI:withVeskHttpsDelegate:withHandler:
void sendVeskEventByRestAPI_withVeskHttpsDelegate_withHandler(
    const String& body, const std::shared_ptr<VeskHttpsDelegate>& delegate, const String& handleId);

}  // namespace pxa::PXALog
