#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <pxalog/CrashReport.h>
#include <pxalog/Diagnostics.h>
#include <pxalog/Host.h>
#include <pxalog/PXALog.h>

#include "api/handle/GlobalLock.h"
#include "api/handle/common_fields.h"
#include "api/handle/process_state.h"
#include "crash/crash_capture.h"
#include "platform/RunLoop.h"
#include "support/BackgroundCall.h"
#include "support/FakePlatform.h"
#include "support/HookedFiles.h"
#include "support/crash_report_bytes.h"
#include "support/crash_reports.h"
#include "support/delivery.h"
#include "support/handles.h"
#include "support/lock_probe.h"
#include "support/queued_events.h"
#include "support/values.h"
#include "transport/VeskHttpsDelegate.h"
#include "transport/collector_request.h"

namespace pxa {
namespace {

using test::BackgroundCall;
using test::openHandle;
using test::text;
using test::textsOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* kLockIsHeld = "[sendCrashReport] the global lock is held : going on without it";

CrashReport reportOf(const String& signal) {
  CrashReport report = test::x86_64Report();
  report.signal.name = signal;
  return report;
}

CrashReport reportOf(const String& signal, const String& exception, const String& reason) {
  CrashReport report = reportOf(signal);
  report.exception = CrashReport::Exception{.name = exception, .reason = reason, .frames = {}};
  return report;
}

Data bytesOf(const CrashReport& report) {
  return Data(test::crashFileOf(report));
}

void transport(std::string_view report, const String& errorCode = "SIGSEGV",
               const String& logBody = "signal: SIGSEGV") {
  PXALog::transportFile_fileData_fileSize_errorCode_logBody(
      "crashReport.plcrash", report.data(), static_cast<std::uint32_t>(report.size()), errorCode, logBody);
}

// Switching the reporter on.

TEST(EnableSendCrashReport, SetsTheCallbackBeforeItEnablesTheReporter) {
  test::FakePlatform& p = test::installWithHandle();
  ASSERT_EQ(p.crashReporter.enabledCount, 1);
  EXPECT_EQ(p.crashReporter.enabledCallbacks.version, 0);
  EXPECT_EQ(p.crashReporter.enabledCallbacks.context, nullptr);
  EXPECT_NE(p.crashReporter.enabledCallbacks.handleSignal, nullptr);
}

TEST(EnableSendCrashReport, HasReadyWhatTheRequestOfACrashTakes) {
  EXPECT_EQ(test::installWithHandle().urlLoader.preparedCount, 1);
}

TEST(EnableSendCrashReport, TellsTheReporterTheProjectAndItsVersion) {
  test::FakePlatform& p = test::installWithHandle();
  EXPECT_EQ(p.crashReporter.applicationIdentifier, test::kAppKey);
  EXPECT_EQ(p.crashReporter.applicationVersion, test::kVersion);
}

TEST(EnableSendCrashReport, KeepsQuietOfAReporterThatCannotBeEnabled) {
  void (*const failures[])(test::FakeCrashReporter&) = {
      [](test::FakeCrashReporter& reporter) { reporter.throwsOnCallbacks = true; },
      [](test::FakeCrashReporter& reporter) { reporter.throws = true; },
      [](test::FakeCrashReporter& reporter) { reporter.isEnabled = false; },
  };
  for (const auto fail : failures) {
    test::FakePlatform& p = test::FakePlatform::install();
    fail(p.crashReporter);
    EXPECT_NO_THROW(PXALog::enableSendCrashReport());
    EXPECT_THAT(p.log.lines(), IsEmpty());
  }
}

/// A process with handle "0", a collector that takes every request, and the report of a crash.
class CrashCapture : public testing::Test {
 protected:
  CrashCapture() {
    handle_ = test::openWithoutSessionLog("0", {.userId = "user"});
    p_.urlLoader.answerAllWith(200);
    p_.crashReporter.pendingReport = bytesOf(reportOf("SIGSEGV"));
    before_ = Diagnostics::snapshot().events;
  }

  void crash() { p_.crashReporter.crash(); }
  void crashWith(const CrashReport& report) {
    p_.crashReporter.pendingReport = bytesOf(report);
    crash();
  }
  /// On a thread of its own; nobody answers its request until the test does.
  BackgroundCall<void> crashUnanswered() {
    p_.urlLoader.answerAllWith(0);
    return BackgroundCall([&p = p_] { p.crashReporter.crash(); });
  }

  std::size_t requestCount() const { return p_.urlLoader.started().size(); }
  /// What the last request's one event holds under the key; "(none)" when it lacks it.
  std::string sent(std::string_view key) const {
    const std::vector<std::string> texts = textsOf(p_, requestCount() - 1, key);
    return texts.size() == 1 ? texts[0] : "(not one event)";
  }
  std::vector<std::string> sentKeys() const {
    const std::vector<Dictionary> events = test::elementsOf(p_.urlLoader.bodies().back());
    return events.size() == 1 ? test::keysOf(events[0]) : std::vector<std::string>();
  }

  test::FakePlatform& p_ = test::FakePlatform::install();
  VeskHandleRef handle_;
  Diagnostics::Events before_;
};

// The crash block.

TEST_F(CrashCapture, SendsTheReportWithoutACrashBlock) {
  crash();
  EXPECT_EQ(requestCount(), 1U);
}

TEST_F(CrashCapture, RunsTheCrashBlockOnceBeforeTheReportIsLookedAt) {
  int runs = 0;
  PXALog::setCrashBlock([&] {
    ++runs;
    EXPECT_THAT(p_.crashReporter.textFormats, IsEmpty());
    EXPECT_EQ(requestCount(), 0U);
  });
  crash();
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(requestCount(), 1U);
}

TEST_F(CrashCapture, RunsTheCrashBlockThatWasSetLast) {
  std::vector<std::string> runs;
  PXALog::setCrashBlock([&] { runs.emplace_back("first"); });
  PXALog::setCrashBlock([&] { runs.emplace_back("second"); });
  crash();
  EXPECT_THAT(runs, ElementsAre("second"));
}

TEST_F(CrashCapture, RunsNoCrashBlockAfterItWasTakenAway) {
  int runs = 0;
  PXALog::setCrashBlock([&] { ++runs; });
  PXALog::setCrashBlock(nullptr);
  crash();
  EXPECT_EQ(runs, 0);
  EXPECT_EQ(requestCount(), 1U);
}

TEST_F(CrashCapture, LetsTheCrashBlockGoThatWasTakenAway) {
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watched = held;
  PXALog::setCrashBlock([held = std::move(held)] {});
  EXPECT_FALSE(watched.expired());
  PXALog::setCrashBlock(nullptr);
  EXPECT_TRUE(watched.expired());
}

TEST_F(CrashCapture, RunsTheCrashBlockWhereThereIsNoReport) {
  int runs = 0;
  PXALog::setCrashBlock([&] { ++runs; });
  p_.crashReporter.pendingReport = nullptr;
  crash();
  EXPECT_EQ(runs, 1);
}

TEST_F(CrashCapture, SendsTheReportAfterACrashBlockThatThrows) {
  PXALog::setCrashBlock([] { throw std::runtime_error("out of the block"); });
  crash();
  EXPECT_EQ(requestCount(), 1U);
}

TEST_F(CrashCapture, LetsTheCrashBlockUseTheLibrary) {
  PXALog::setCrashBlock([] {
    PXALog::setCrashBlock(nullptr);
    PXALog::setCustomField_forKey("in the block", "set");
    PXALog::info_withMessage(nullptr, "from the block");
  });
  crash();
  EXPECT_EQ(sent("set"), "in the block");
  EXPECT_THAT(test::bodiesOf(test::takeEvents()), ElementsAre("from the block"));
}

// On the main thread.

TEST_F(CrashCapture, MovesAllWorkToTheMainThread) {
  int runs = 0;
  PXALog::setCrashBlock([&] { ++runs; });
  p_.crashReporter.performs = false;
  crash();
  EXPECT_THAT(p_.crashReporter.performedObjects, SizeIs(1));
  EXPECT_EQ(runs, 0);
  EXPECT_EQ(requestCount(), 0U);
}

TEST_F(CrashCapture, HandsTheContextOfTheCallbackOn) {
  int context = 0;
  p_.crashReporter.callbacks.context = &context;
  crash();
  EXPECT_THAT(p_.crashReporter.performedObjects, ElementsAre(&context));
}

// The pending report.

TEST_F(CrashCapture, SendsNothingWithoutAReport) {
  p_.crashReporter.pendingReport = nullptr;
  crash();
  EXPECT_EQ(requestCount(), 0U);
  EXPECT_EQ(p_.crashReporter.purgedCount, 0);
}

TEST_F(CrashCapture, PurgesAReportThatCannotBeDecoded) {
  p_.crashReporter.pendingReport = Data("no report");
  crash();
  EXPECT_EQ(requestCount(), 0U);
  EXPECT_EQ(p_.crashReporter.purgedCount, 1);
}

TEST_F(CrashCapture, PurgesAReportThatCannotBeRead) {
  p_.crashReporter.isReadable = false;
  crash();
  EXPECT_EQ(requestCount(), 0U);
  EXPECT_EQ(p_.crashReporter.purgedCount, 1);
}

TEST_F(CrashCapture, PurgesAReportWithoutText) {
  p_.crashReporter.text = nullptr;
  crash();
  EXPECT_EQ(requestCount(), 0U);
  EXPECT_EQ(p_.crashReporter.purgedCount, 1);
}

TEST_F(CrashCapture, LeavesAReportThatWasHandedOver) {
  for (const int status : {200, 500}) {
    p_.urlLoader.answerAllWith(status);
    crash();
    EXPECT_TRUE(p_.crashReporter.hasPendingCrashReport()) << status;
  }
  EXPECT_EQ(p_.crashReporter.purgedCount, 0);
}

TEST_F(CrashCapture, AsksForTheTextInTheLayoutOfNumberZero) {
  crash();
  EXPECT_THAT(p_.crashReporter.textFormats, ElementsAre(0U));
}

TEST_F(CrashCapture, SendsTheSameReportAgainAtTheNextCrash) {
  crash();
  crash();
  EXPECT_EQ(requestCount(), 2U);
}

// The body.

TEST_F(CrashCapture, NamesTheSignalInItsBody) {
  crashWith(reportOf("SIGBUS"));
  EXPECT_EQ(sent("body"), "signal: SIGBUS");
}

TEST_F(CrashCapture, NamesSignalExceptionAndReasonInItsBody) {
  crashWith(reportOf("SIGABRT", "NSRangeException", "index 3 beyond bounds [0 .. 2]"));
  EXPECT_EQ(sent("body"),
            "signal: SIGABRT, exception: NSRangeException raised by index 3 beyond bounds [0 .. 2]");
}

TEST_F(CrashCapture, TakesNamesIntoItsBodyAsTheyAre) {
  crashWith(reportOf("SIGABRT", "Fehler \"%@\"", "größer\n%s"));
  EXPECT_EQ(sent("body"), "signal: SIGABRT, exception: Fehler \"%@\" raised by größer\n%s");
}

TEST_F(CrashCapture, WritesNullForANameThatIsNotThere) {
  crashWith(reportOf(nullptr, nullptr, nullptr));
  EXPECT_EQ(sent("body"), "signal: (null), exception: (null) raised by (null)");
}

// The error code.

TEST_F(CrashCapture, NeverTellsAnErrorCodeThatHasText) {
  crashWith(reportOf("SIGSEGV"));
  EXPECT_EQ(sent("errorCode"), "(none)");
  crashWith(reportOf("SIGABRT", "NSRangeException", "reason"));
  EXPECT_EQ(sent("errorCode"), "(none)");
}

TEST_F(CrashCapture, TellsAnEmptyErrorCodeWhereThereIsNone) {
  for (const String& none : {String(""), String(nullptr)}) {
    crashWith(reportOf(none));
    EXPECT_EQ(sent("errorCode"), "") << text(none);
    crashWith(reportOf("SIGABRT", none, "reason"));
    EXPECT_EQ(sent("errorCode"), "") << text(none);
    EXPECT_EQ(sentKeys().back(), "errorCode");
  }
}

TEST_F(CrashCapture, TakesTheNameOfTheExceptionAsErrorCode) {
  crashWith(reportOf("", "NSRangeException", "reason"));
  EXPECT_EQ(sent("errorCode"), "(none)");
}

// The dump.

TEST_F(CrashCapture, SendsTheTextOfTheReportInBase64) {
  const std::pair<const char*, const char*> cases[] = {
      {"", ""},
      {"a", "YQ=="},
      {"ab", "YWI="},
      {"abc", "YWJj"},
      {"abcd", "YWJjZA=="},
      {"line\nline\t\x01\x7f", "bGluZQpsaW5lCQF/"},
      {"<<>>", "PDw+Pg=="},
      {"\x03\x6f\x7f", "A29/"},
  };
  for (const auto& [report, dump] : cases) {
    p_.crashReporter.text = report;
    crash();
    EXPECT_EQ(sent("DmpData"), dump) << report;
  }
}

TEST_F(CrashCapture, SendsALongTextWithoutLineBreaks) {
  for (const std::size_t size : {1000U, 100'000U, 100'001U}) {
    p_.crashReporter.text = std::string(size, 'a');
    crash();
    const std::string dump = sent("DmpData");
    EXPECT_EQ(dump.size(), 4 * ((size + 2) / 3));
    EXPECT_EQ(dump.find('\n'), std::string::npos);
  }
}

TEST_F(CrashCapture, SendsAnEmptyDumpForATextThatIsNotAscii) {
  for (const char* report :
       {"ü", "crash in Größe", "a text\nwith a last line like this: –", "\xF0\x9F\x92\xA5"}) {
    p_.crashReporter.text = report;
    crash();
    EXPECT_EQ(sent("DmpData"), "") << report;
  }
}

TEST_F(CrashCapture, SendsAsManyBytesOfTheTextAsItIsTold) {
  const char* report = "abcdef";
  PXALog::transportFile_fileData_fileSize_errorCode_logBody("crashReport.plcrash", report, 3, "code", "body");
  EXPECT_EQ(sent("DmpData"), "YWJj");
  PXALog::transportFile_fileData_fileSize_errorCode_logBody("crashReport.plcrash", report, 0, "code", "body");
  EXPECT_EQ(sent("DmpData"), "");
}

TEST_F(CrashCapture, SendsAnEmptyDumpForBytesThatAreNoText) {
  transport("ab\xff");
  EXPECT_EQ(sent("DmpData"), "");
}

// The event.

TEST_F(CrashCapture, IsAnEventOfHandleZerosProject) {
  PXALog::setLogType("my type");
  PXALog::setLogSource("my source");
  openHandle({.appKey = "another", .version = "9", .handleId = "another"});
  crash();
  const std::pair<const char*, const char*> members[] = {
      {"projectName", test::kAppKey}, {"projectVersion", test::kVersion},
      {"logType", "my type"},         {"logSource", "my source"},
      {"logLevel", "FATAL"},          {"UserID", "user"},
      {"rdmBulkIndex", "(none)"},     {"CrashStyle", "unity-cs"},
  };
  for (const auto& [key, value] : members) EXPECT_EQ(sent(key), value) << key;
}

TEST_F(CrashCapture, HasItsFieldsInTheirOrder) {
  PXALog::setCustomField_forKey("blue", "colour");
  const std::vector<std::string> common = [] {
    Dictionary fields;
    PXALog::copyCommonFields_forHandlerId(fields, "0");
    return test::keysOf(fields);
  }();
  std::vector<std::string> expected = {"projectName", "projectVersion", "logType", "logSource",
                                       "body",        "sendTime",       "host",    "logLevel"};
  expected.insert(expected.end(), common.begin(), common.end());
  expected.insert(expected.end(), {"FreeMemory", "FreeDiskSpace", "DmpData"});
  crash();
  EXPECT_EQ(sentKeys(), expected);
  EXPECT_THAT(common, Contains("colour"));
}

TEST_F(CrashCapture, IsStampedInWholeMilliseconds) {
  p_.clock.setSecondsSince1970(1'600'000'000.1239);
  crash();
  EXPECT_EQ(sent("sendTime"), "1600000000123");
}

TEST_F(CrashCapture, HasTheHostsAddress) {
  crash();
  EXPECT_EQ(sent("host"), "192.0.2.7");
  p_.interfaces.interfaces.reset();
  crash();
  EXPECT_EQ(sent("host"), "localhost");
  PXALog::enableHost(false);
  crash();
  EXPECT_EQ(sent("host"), "-");
}

TEST_F(CrashCapture, TellsFreeMemoryAndFreeSpace) {
  p_.device.memory = {{.pages = 10, .pageSize = 4096}};
  p_.device.freeBytes = 2048;
  crash();
  EXPECT_EQ(sent("FreeMemory"), "40 kB");
  EXPECT_EQ(sent("FreeDiskSpace"), "2 kB");
}

TEST_F(CrashCapture, CallsFreeMemoryAndFreeSpaceUnknownWhereTheyAre) {
  crash();
  EXPECT_EQ(sent("FreeMemory"), "Unknown");
  EXPECT_EQ(sent("FreeDiskSpace"), "Unknown");
}

TEST_F(CrashCapture, MarksThatACrashEventIsMade) {
  EXPECT_FALSE(processFlags().isCrashEventMade);
  crash();
  EXPECT_TRUE(processFlags().isCrashEventMade);
}

TEST_F(CrashCapture, DropsWhatBuildingTheEventThrows) {
  p_.device.throwsOnMemory = true;
  EXPECT_NO_THROW(crash());
  EXPECT_EQ(requestCount(), 0U);
  EXPECT_EQ(p_.crashReporter.purgedCount, 0);
  EXPECT_TRUE(test::isGlobalLockFree());
}

// Who is to send it.

TEST(CrashCaptureWithoutHandleZero, SendsAndPurgesNothingBeforeInitialisation) {
  test::FakePlatform& p = test::FakePlatform::install();
  PXALog::enableSendCrashReport();
  p.crashReporter.pendingReport = bytesOf(reportOf("SIGSEGV"));
  int runs = 0;
  PXALog::setCrashBlock([&] { ++runs; });
  p.crashReporter.crash();
  EXPECT_EQ(runs, 1);
  EXPECT_THAT(p.urlLoader.started(), IsEmpty());
  EXPECT_EQ(p.crashReporter.purgedCount, 0);
  EXPECT_EQ(Diagnostics::snapshot().events.entered, 0U);
}

TEST(CrashCaptureWithoutHandleZero, SendsNothingByAnIncompleteHandleOfAProcessThatIsNotInitialised) {
  test::FakePlatform& p = test::FakePlatform::install();
  p.reachability.createsTargets = false;
  openHandle({.unityVersion = "2019.4", .handleId = "without a monitor"});
  p.reachability.createsTargets = true;
  EXPECT_THROW(openHandle({.handleId = "0"}), std::invalid_argument);
  ASSERT_NE(PXALog::rdm_getHandler("0"), nullptr);
  transport("the text of the report");
  EXPECT_THAT(p.urlLoader.started(), IsEmpty());
}

TEST(CrashCaptureWithoutHandleZero, SendsNothingByOtherHandles) {
  test::FakePlatform& p = test::FakePlatform::install();
  openHandle({.handleId = "mine"});
  openHandle({.handleId = "Keepcell"});
  p.crashReporter.pendingReport = bytesOf(reportOf("SIGSEGV"));
  p.crashReporter.crash();
  EXPECT_THAT(p.urlLoader.started(), IsEmpty());
  EXPECT_EQ(p.crashReporter.purgedCount, 0);
}

// The request.

TEST_F(CrashCapture, GoesToHandleZerosCollectorAsABulkOfOne) {
  openHandle({.url = "https://other.example.com", .handleId = "another"});
  crash();
  ASSERT_EQ(requestCount(), 1U);
  const UrlRequest request = p_.urlLoader.started()[0].request;
  EXPECT_EQ(request.url, "https://logs.example.com:443/v2/log");
  EXPECT_EQ(request.method, "POST");
  const std::string body = p_.urlLoader.bodies()[0];
  EXPECT_EQ(body.substr(0, 2), "[{");
  EXPECT_EQ(body.substr(body.size() - 2), "}]");
  EXPECT_THAT(test::elementsOf(body), SizeIs(1));
}

TEST_F(CrashCapture, ShowsItsRequestInTheDelegateThatAllShare) {
  const BackgroundCall call = crashUnanswered();
  ASSERT_TRUE(p_.urlLoader.waitForRequests(1));
  {
    const GlobalGuard guard;
    EXPECT_EQ(gs_httpsDelegate()->log(), String(p_.urlLoader.bodies()[0]));
    EXPECT_EQ(gs_httpsDelegate()->handleId(), "0");
    EXPECT_TRUE(gs_httpsDelegate()->shouldStopRunloop());
  }
  p_.urlLoader.answer(0, 200);
  EXPECT_TRUE(call.returns());
}

TEST_F(CrashCapture, PassesNeitherTheQueueNorTheSwitchesNorTheGate) {
  handle_->setIsCrash(false);
  handle_->setIsLog(false);
  for (int i = 0; i < 3; ++i) crash();
  EXPECT_EQ(requestCount(), 3U);
  EXPECT_THAT(test::takeEvents(), IsEmpty());
  EXPECT_EQ(Diagnostics::snapshot().events.dropped.total(), before_.dropped.total());
}

TEST_F(CrashCapture, IsSentWhileSettingsArePending) {
  processFlags().isSettingsPending = true;
  crash();
  EXPECT_EQ(requestCount(), 1U);
}

TEST_F(CrashCapture, LeavesTheLogsInTheQueue) {
  PXALog::info_withMessage(nullptr, "before the crash");
  crash();
  EXPECT_THAT(test::bodiesOf(test::takeEvents()), ElementsAre("before the crash"));
}

TEST_F(CrashCapture, EndsTheHoldOfASynchronousStart) {
  openHandle({.isSyncStart = true, .handleId = "held"});
  for (const int status : {200, 500}) {
    processFlags().isSendingHeld = true;
    p_.urlLoader.answerAllWith(status);
    crash();
    EXPECT_FALSE(Diagnostics::snapshot().isHeldBySynchronousStart) << status;
  }
}

TEST_F(CrashCapture, LeavesTheHoldOfASynchronousStartWhereNothingIsSent) {
  processFlags().isSendingHeld = true;
  p_.crashReporter.pendingReport = nullptr;
  crash();
  EXPECT_TRUE(Diagnostics::snapshot().isHeldBySynchronousStart);
}

// Waiting for the answer.

TEST_F(CrashCapture, WaitsForTheAnswer) {
  for (const int status : {200, 404, 500}) {
    const std::size_t position = requestCount();
    const BackgroundCall call = crashUnanswered();
    ASSERT_TRUE(p_.urlLoader.waitForRequests(position + 1));
    EXPECT_TRUE(call.blocks()) << status;
    p_.urlLoader.answer(position, status);
    EXPECT_TRUE(call.returns()) << status;
  }
}

TEST_F(CrashCapture, WaitsForTheFailure) {
  const BackgroundCall call = crashUnanswered();
  ASSERT_TRUE(p_.urlLoader.waitForRequests(1));
  EXPECT_TRUE(call.blocks());
  p_.urlLoader.fail(0, Error::withDescription("test", 1, "no route"));
  EXPECT_TRUE(call.returns());
}

TEST_F(CrashCapture, DoesNotTakeTheAnswerToAnotherRequestForItsOwn) {
  const auto post = [] {
    const GlobalGuard guard;
    gs_httpsDelegate()->setLog(R"([{"body":"another"}])");
    PXALog::sendVeskEventByRestAPI_withVeskHttpsDelegate_withHandler(gs_httpsDelegate()->log(),
                                                                     gs_httpsDelegate(), "0");
  };
  p_.urlLoader.answerAllWith(0);
  post();
  const BackgroundCall call = crashUnanswered();
  ASSERT_TRUE(p_.urlLoader.waitForRequests(2));
  post();
  p_.urlLoader.answer(0, 200);
  p_.urlLoader.answer(2, 500);
  EXPECT_TRUE(call.blocks());
  p_.urlLoader.fail(1, Error::withDescription("test", 1, "no route"));
  EXPECT_TRUE(call.returns());
  std::vector<std::string> bodies;
  for (const VeskEventRef& event : test::takeFailedEvents(p_)) bodies.push_back(text(event->body()));
  EXPECT_THAT(bodies, ElementsAre("another", "signal: SIGSEGV"));
}

TEST_F(CrashCapture, DoesNotWaitForARequestThatCouldNotStart) {
  p_.urlLoader.throws = true;
  crash();
  ASSERT_EQ(requestCount(), 1U);
  const std::shared_ptr<RunLoop> runLoop = p_.urlLoader.started()[0].runLoop;
  ASSERT_NE(runLoop, nullptr);
  EXPECT_TRUE(runLoop->run(std::chrono::milliseconds(0))) << "it would have waited for an answer";
  EXPECT_THAT(test::takeFailedEvents(p_), SizeIs(1));
}

TEST_F(CrashCapture, LeavesItsThreadWithoutARunLoop) {
  crash();
  EXPECT_EQ(RunLoop::current(), nullptr);
}

// Events that could not be delivered.

TEST_F(CrashCapture, PutsAnEventThatCouldNotBeDeliveredIntoTheFileQueue) {
  p_.clock.setSecondsSince1970(1'600'000'000.5);
  p_.urlLoader.answerAllWith(500);
  crash();
  const EventQueue events = test::takeFailedEvents(p_);
  ASSERT_THAT(events, SizeIs(1));
  EXPECT_EQ(events[0]->projectName(), Value(test::kAppKey));
  EXPECT_EQ(text(events[0]->body()), "signal: SIGSEGV");
  EXPECT_EQ(events[0]->sendTime(), 1'600'000'000'500);
  EXPECT_EQ(events[0]->handleId(), Value("0"));
  EXPECT_EQ(text(test::fieldOf(events[0], "DmpData")), "dGhlIHRleHQgb2YgdGhlIHJlcG9ydA==");
  EXPECT_EQ(text(test::fieldOf(events[0], "logLevel")), "FATAL");
}

TEST_F(CrashCapture, PutsADeliveredEventIntoNoQueue) {
  crash();
  EXPECT_THAT(test::takeFailedEvents(p_), IsEmpty());
}

/// The same in a process that has a log in its queue, and a failed event of an earlier request.
class UndeliveredCrash : public CrashCapture {
 protected:
  UndeliveredCrash() {
    PXALog::info_withMessage(nullptr, "waits");
    p_.clock.setSecondsSince1970(2);
  }
  void crashUndelivered() {
    p_.urlLoader.answerAllWith(500);
    crash();
  }
};

TEST_F(UndeliveredCrash, IsNotSavedUnlessTheHostAsksForIt) {
  crashUndelivered();
  Host::setKeepUndeliveredCrashes(true);
  Host::setKeepUndeliveredCrashes(false);
  crashUndelivered();
  EXPECT_FALSE(p_.files.contentOf(test::kFailedFile));
  EXPECT_FALSE(p_.files.contentOf(test::kLogFile));
}

TEST_F(UndeliveredCrash, IsSavedWithTheOtherFailedEventsIfTheHostAsksForIt) {
  Host::setKeepUndeliveredCrashes(true);
  test::enqueueAllAsFailed(*gs_blockQueue(), {1});
  crashUndelivered();
  EXPECT_EQ(test::timesInFailedFile(p_), (test::Times{1, 2000}));
}

TEST_F(UndeliveredCrash, IsSavedWithoutTheLogsThatWait) {
  Host::setKeepUndeliveredCrashes(true);
  crashUndelivered();
  EXPECT_FALSE(p_.files.contentOf(test::kLogFile));
  EXPECT_THAT(test::bodiesOf(test::takeEvents()), ElementsAre("waits"));
}

TEST_F(UndeliveredCrash, IsNotSavedOnceDelivered) {
  Host::setKeepUndeliveredCrashes(true);
  crash();
  EXPECT_FALSE(p_.files.contentOf(test::kFailedFile));
}

TEST_F(UndeliveredCrash, LeavesTheReportToTheSystemWhereTheFileCannotBeWritten) {
  Host::setKeepUndeliveredCrashes(true);
  p_.files.throws = true;
  EXPECT_NO_THROW(crashUndelivered());
}

// The books.

TEST_F(CrashCapture, IsCountedFromItsRequestToItsDelivery) {
  const BackgroundCall call = crashUnanswered();
  ASSERT_TRUE(p_.urlLoader.waitForRequests(1));
  Diagnostics::Events now = Diagnostics::snapshot().events;
  EXPECT_EQ(now.entered, before_.entered + 1);
  EXPECT_EQ(now.inFlight, before_.inFlight + 1);
  EXPECT_EQ(now.total(), now.entered);
  p_.urlLoader.answer(0, 200);
  EXPECT_TRUE(call.returns());
  now = Diagnostics::snapshot().events;
  EXPECT_EQ(now.entered, before_.entered + 1);
  EXPECT_EQ(now.inFlight, before_.inFlight);
  EXPECT_EQ(now.delivered, before_.delivered + 1);
  EXPECT_EQ(now.total(), now.entered);
  EXPECT_EQ(Diagnostics::snapshot().requests.delivered, 1U);
}

TEST_F(CrashCapture, IsCountedAsFailedAndAsSaved) {
  p_.urlLoader.answerAllWith(500);
  crash();
  p_.urlLoader.throws = true;
  crash();
  Diagnostics::Events now = Diagnostics::snapshot().events;
  EXPECT_EQ(now.failed, before_.failed + 2);
  EXPECT_EQ(now.inFlight, before_.inFlight);
  EXPECT_EQ(now.total(), now.entered);
  Host::setKeepUndeliveredCrashes(true);
  crash();
  now = Diagnostics::snapshot().events;
  EXPECT_EQ(now.failed, 0U);
  EXPECT_EQ(now.saved, before_.failed + 3);
  EXPECT_EQ(now.total(), now.entered);
}

// The global lock.

TEST_F(CrashCapture, GoesOnWithoutAGlobalLockThatIsNeverGivenBack) {
  auto& gate = test::keptForGood<test::Gate>();
  const BackgroundCall holding([&gate] {
    const GlobalGuard guard;
    gate.pass();
  });
  ASSERT_TRUE(gate.waitForArrival());
  PXALog::setCrashBlock([] { PXALog::info_withMessage(nullptr, "from the block"); });
  const BackgroundCall call = crashUnanswered();
  ASSERT_TRUE(p_.urlLoader.waitForRequests(1));
  p_.urlLoader.answer(0, 500);
  EXPECT_TRUE(call.returns());
  EXPECT_THAT(p_.log.lines(), Contains(kLockIsHeld));
  EXPECT_THAT(test::bodiesOf(test::takeEvents()), ElementsAre("from the block"));
  EXPECT_THAT(test::takeFailedEvents(p_), SizeIs(1));
  gate.open();
  EXPECT_TRUE(holding.returns());
}

TEST_F(CrashCapture, SaysNothingOfAGlobalLockThatIsFree) {
  crash();
  EXPECT_THAT(p_.log.lines(), ElementsAre("didReceiveResponse 200"));
}

}  // namespace
}  // namespace pxa
