#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include <pxalog/String.h>

/// What the host application tells the library that a phone's operating system would know. Everything is
/// optional. All operations are thread-safe; say things before the first initialisation unless noted
/// otherwise.
namespace pxa::Host {

/// Names the directory for the library's files, made when it is missing. Default: a folder named after the
/// program in the user's data directory ($XDG_DATA_HOME, else ~/.local/share). Two
/// processes must not share one: each takes what the other has saved. A nil or empty path restores the
/// default.
PXALOG_EXPORT void setDocumentsDirectory(const String& path);

/// Tells that the application went to the background: queued and failed events are written to files,
/// on the calling thread, before this returns; log calls of other threads wait meanwhile. At any time, and
/// before the process ends if nothing is to be lost.
PXALOG_EXPORT void didEnterBackground();

/// Tells that the application returns to the foreground: saved events are read back, on the calling thread,
/// before this returns. At any time.
PXALOG_EXPORT void willEnterForeground();

/// Where projects ask for their settings; plain HTTP.
struct PXALOG_EXPORT SettingsService {
  String defaultHost;            ///< host of the settings service, may carry ":port"
  String alternateHost;          ///< host, without a port, for one particular collector; asked on port 10092
  String alternateForCollector;  ///< that collector: its address without scheme
};
/// Replaces the deployment's settings service. Default: the values that the library was built with.
PXALOG_EXPORT void setSettingsService(const SettingsService& service);

/// Names a PEM file of the certificate authorities that servers are verified against where they are verified:
/// for the addresses that the network probe measures. At any time, for requests from then on; a file that
/// cannot be read makes them fail. Collectors are not verified. Default, and again with a nil or empty path:
/// the system's authorities.
PXALOG_EXPORT void setCertificateAuthorityFile(const String& path);

/// Facts about the device that replace what the system says; a member that is nil, empty or not set leaves
/// the system's answer.
struct PXALOG_EXPORT DeviceFacts {
  String systemVersion;
  String machineModel;
  String vendorIdentifier;  ///< becomes the device id when none is stored yet
  String carrierName;
  String carrierCountryCode;  ///< ISO code
  String localeDisplayName;
  std::vector<String> preferredLanguages;  ///< language tags, the user's best first
  std::optional<double> screenWidth;       ///< of the main screen, in points; the system says 0
  std::optional<std::uint64_t> freePages;
  std::optional<std::uint64_t> pageSize;   ///< bytes
  std::optional<std::uint64_t> freeBytes;  ///< of the file system that holds the documents directory
  std::optional<bool> canStartShell;
};
/// At any time; used for every event that is sent from then on.
PXALOG_EXPORT void setDeviceFacts(const DeviceFacts& facts);

/// The Unity engine's UnitySendMessage: object, method, message.
using UnitySendMessage = std::function<void(const char* object, const char* method, const char* message)>;
/// Called on a thread of the library while it holds the library's lock, after a request that carried a Unity
/// crash. It must return soon and must not wait for another thread that uses the library. Default: nothing is
/// called.
PXALOG_EXPORT void setUnitySendMessage(UnitySendMessage function);

/// Runs a task on the application's main thread, now or later.
using MainThreadExecutor = std::function<void(std::function<void()> task)>;
/// Whether the calling thread is the application's main thread.
using IsMainThread = std::function<bool()>;
/// Lets the library do on the application's main thread what belongs there: posting notifications, and the
/// handling of a crash, the crash block included. The executor is called on any thread and should return at
/// once. The test is also called in the signal handler of a crashed thread, where it may do no more than
/// compare ids of threads. Say it before the first initialisation. Default, and again unless both are given: a thread of the library's own.
PXALOG_EXPORT void setMainThread(MainThreadExecutor executor, IsMainThread isMainThread);

/// Gives the calling thread a small stack of its own for signals, freed with the thread, so that a crash by
/// stack overflow is reported too. A thread that has one already keeps it. The thread that switches crash
/// reporting on, the main thread that setMainThread names, and the library's own threads are prepared without
/// this call. False when there is no memory for one. At any time.
PXALOG_EXPORT bool prepareThread();

/// Whether a crash that could not be delivered is saved, together with the other events whose delivery
/// failed, so that the next start sends it. Default: it is lost with the process. At any time.
PXALOG_EXPORT void setKeepUndeliveredCrashes(bool keep);

/// Takes one console line, without line break.
using LogSink = std::function<void(const String& line)>;
/// Replaces standard error as the place of the library's few console lines. Called on any thread, one that
/// holds no lock of the library; what it throws is dropped. It must return soon: it may run on the thread
/// that does all network work. An empty function restores the default.
PXALOG_EXPORT void setLogSink(LogSink sink);

}  // namespace pxa::Host
