#pragma once

#include <cstdint>

#include <pxalog/PXALog.h>

// How a crash of the application becomes an event. The platform's reporter writes the report and calls back;
// the work then moves to the main thread, while the crashed thread waits in its signal handler.

namespace pxa::PXALog {

/// Switches the platform's crash reporter on; a platform without one is not an error. Selector:
/// enableSendCrashReport
void enableSendCrashReport();

/// Runs the application's crash block, if there is one, and sends the report. On the main thread. Selector:
/// veskSendCrash:
void veskSendCrash(void* object);

/// Sends the pending report, if there is one. A report that cannot be decoded or has no text is purged; one
/// that was sent stays, and the next crash replaces it. Selector: sendCrashReport
void sendCrashReport();

/// Makes the crash event of handle "0" and waits until its request is answered, or has failed. It passes
/// neither the queue nor the gate. An error code is added only when it is nil or empty; this is intended, as
/// is counting the text's bytes in UTF-16 units. Selector:
/// transportFile:fileData:fileSize:errorCode:logBody:
void transportFile_fileData_fileSize_errorCode_logBody(const String& fileName, const char* fileData,
                                                       std::uint32_t fileSize, const String& errorCode,
                                                       const String& logBody);

}  // namespace pxa::PXALog
