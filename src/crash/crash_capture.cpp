#include "crash/crash_capture.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <pxalog/VeskFormatter.h>
#include <pxalog/VeskPhoneInfo.h>

#include "api/handle/GlobalLock.h"
#include "api/handle/common_fields.h"
#include "api/handle/handle_table.h"
#include "api/handle/host_address.h"
#include "api/handle/process_state.h"
#include "diagnostics/Ledger.h"
#include "event/VeskEvent.h"
#include "event/event_json.h"
#include "event/event_keys.h"
#include "event/send_time.h"
#include "foundation/base64.h"
#include "foundation/utf8.h"
#include "platform/HostSettings.h"
#include "platform/Platform.h"
#include "platform/RunLoop.h"
#include "platform/console.h"
#include "platform/crash_report_file.h"
#include "transport/VeskHttpsDelegate.h"
#include "transport/collector_request.h"

namespace pxa {

using namespace literals;
using namespace std::chrono_literals;

namespace {

constexpr std::size_t kFieldsCapacity = 10;
constexpr std::chrono::milliseconds kLongestWaitForLock = 500ms;
/// A request gives up after ten seconds without progress.
constexpr std::chrono::milliseconds kLongestWaitForAnswer = 12s;

using CrashBlock = std::function<void()>;

Mutex gs_crashBlockMutex;
std::shared_ptr<const CrashBlock>& gs_crashBlock() REQUIRES(gs_crashBlockMutex) {
  static auto& block = *new std::shared_ptr<const CrashBlock>;
  return block;
}

/// Runs in the signal handler of the crashed thread.
void signalCallback(const void*, const void*, void* context) {
  Platform::current().crashReporter.performOnMainThreadAndWait(&PXALog::veskSendCrash, context);
}

void runCrashBlock() {
  std::shared_ptr<const CrashBlock> block;
  {
    const Guard guard(gs_crashBlockMutex);
    block = gs_crashBlock();
  }
  try {
    if (block != nullptr) (*block)();
  } catch (...) {
    // The report is sent all the same.
  }
}

/// The thread that holds the lock may be the one that crashed, which will never give it back.
void openHeldLock() {
  if (globalLock().openUnlessFreeWithin(kLongestWaitForLock))
    console::write("[sendCrashReport] the global lock is held : going on without it"_text);
}

void saveUndelivered() {
  if (!HostSettings::keepsUndeliveredCrashes()) return;
  if (const std::shared_ptr<VeskBlockQueue> queue = gs_blockQueue()) queue->saveFailedToFile();
}

std::string orNull(const String& text) {
  return text.isNil() ? "(null)" : std::string(text.view());
}

String errorCodeOf(const CrashReport& report) {
  return report.exception ? report.exception->name : report.signal.name;
}

String logBodyOf(const CrashReport& report) {
  std::string body = "signal: " + orNull(report.signal.name);
  if (report.exception)
    body +=
        ", exception: " + orNull(report.exception->name) + " raised by " + orNull(report.exception->reason);
  return body;
}

/// The base64 text of a text in ASCII; "" for any other.
String dumpDataOf(std::string_view text) {
  return utf8::isAscii(text) ? String(base64(text)) : ""_text;
}

Dictionary fieldsOf(std::string_view text, const String& errorCode) {
  Dictionary fields(kFieldsCapacity);
  fields.set(key::logLevel(), "FATAL"_text.utf8());
  PXALog::copyCommonFields_forHandlerId(fields, defaultHandleId());
  setOrUnknown(fields, key::freeMemory(), VeskPhoneInfo::sharedInstance().freeMemory());
  setOrUnknown(fields, key::freeDiskSpace(), VeskPhoneInfo::sharedInstance().freeSpace());
  {
    const GlobalGuard guard;
    processFlags().isCrashEventMade = true;
  }
  fields.set(key::dumpData(), dumpDataOf(text));
  // The test is the wrong way round and stays so: an error code that has text is never added.
  if (errorCode.isEmpty()) fields.set(key::errorCode(), ""_text.utf8());
  return fields;
}

VeskEventRef eventOf(const VeskHandle& handle, const Dictionary& fields, const String& logBody) {
  const GlobalGuard guard;
  const String host = PXALog::getHost();
  const std::int64_t sendTime = currentSendTime();
  return VeskEvent::initWithProjectName_projectVersion_logType_logSource_body_sendTime_host_fields_handleId(
      handle.projectName(), handle.projectVersion(), handle.logType(), handle.logSource(), logBody.utf8(),
      sendTime, host, fields, defaultHandleId());
}

/// A bulk of one event.
String requestBodyOf(const VeskEventRef& event) {
  const Data json = PXALog::getJsonFromVeskEvent(event);
  if (json.isNil()) return nullptr;
  return "[" + std::string(json.view()) + "]";
}

/// Treats the request as failed, though it is still on its way: the process has no time to see its end.
void giveBack(const String& body) {
  const std::shared_ptr<VeskHttpsDelegate> delegate = [] {
    const GlobalGuard guard;
    return gs_httpsDelegate();
  }();
  delegate->saveToFile_withSaveFlag(body, true);
}

/// Sends the body and returns when its own request has had an outcome.
void sendAndWait(const String& body) {
  CurrentRunLoop runLoop;
  {
    const GlobalGuard guard;
    const std::shared_ptr<VeskHttpsDelegate>& delegate = gs_httpsDelegate();
    delegate->setLog(body);
    delegate->setHandleId(defaultHandleId());
    delegate->setShouldStopRunloop(true);
    delegate->setEventCount(1);
    ledger().enter(&Ledger::Events::inFlight);
    PXALog::sendVeskEventByRestAPI_withVeskHttpsDelegate_withHandler(body, delegate, defaultHandleId());
    processFlags().isSendingHeld = false;
  }
  if (!runLoop.run(kLongestWaitForAnswer)) giveBack(body);
}

}  // namespace

void PXALog::setCrashBlock(std::function<void()> block) {
  std::shared_ptr<const CrashBlock> next;
  if (block) next = std::make_shared<const CrashBlock>(std::move(block));
  const Guard guard(gs_crashBlockMutex);
  gs_crashBlock().swap(next);
}

void PXALog::enableSendCrashReport() {
  try {
    CrashReporter& reporter = Platform::current().crashReporter;
    reporter.setCrashCallbacks({0, nullptr, &signalCallback});
    Platform::current().urlLoader.prepare();
    static_cast<void>(reporter.enableCrashReporterAndReturnError(nullptr));
  } catch (...) {
    // An application whose crashes cannot be caught still sends its logs.
  }
}

void PXALog::veskSendCrash(void*) {
  openHeldLock();
  runCrashBlock();
  sendCrashReport();
  saveUndelivered();
}

void PXALog::sendCrashReport() {
  CrashReporter& reporter = Platform::current().crashReporter;
  if (!reporter.hasPendingCrashReport()) return;
  const Data data = reporter.loadPendingCrashReportDataAndReturnError(nullptr);
  const std::optional<CrashReport> report = CrashReport::initWithData_error(data);
  if (!report) return reporter.purgePendingCrashReport();
  const String text =
      reporter.stringValueForCrashReport_withTextFormat(*report, VeskFormatter::kTextFormatiOS);
  if (text.isNil()) return reporter.purgePendingCrashReport();
  transportFile_fileData_fileSize_errorCode_logBody(
      crash_report_file::kFileName, text.c_str(), static_cast<std::uint32_t>(utf8::utf16Length(text.view())),
      errorCodeOf(*report), logBodyOf(*report));
}

void PXALog::transportFile_fileData_fileSize_errorCode_logBody(const String&, const char* fileData,
                                                               std::uint32_t fileSize,
                                                               const String& errorCode,
                                                               const String& logBody) {
  {
    const GlobalGuard guard;
    if (!processFlags().isInitialised) return;
  }
  const VeskHandleRef handle = rdm_getHandler(defaultHandleId());
  if (handle == nullptr) return;
  try {
    const Dictionary fields = fieldsOf({fileData, fileSize}, errorCode);
    const String body = requestBodyOf(eventOf(*handle, fields, logBody));
    if (!body.isNil()) sendAndWait(body);
  } catch (...) {
    // The event is lost; the process ends as it would have.
  }
}

}  // namespace pxa
