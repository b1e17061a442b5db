#pragma once

#include <cstdint>
#include <functional>

#include <pxalog/String.h>

namespace pxa {

struct Notification;

/// The facade: everything an application does with the library, as operations that act on handles known by
/// their ids.
///
/// A handle is one log channel: a project (application key) with its version and its collector. Most
/// operations come in three forms: the plain one acts on handle "0", which the first handle opened without an
/// id gets; the _Keepcell one on handle "Keepcell"; the last one on the handle whose id it is given.
///
/// Every operation is thread-safe. Failures are silent: log calls, setters and delivery never report one,
/// never throw and do nothing for bad input, an unknown handle or before the first initialisation; what
/// became of the events is in <pxalog/Diagnostics.h>. Logging never waits for the network. The operations
/// keep their selectors' keywords and spelling, joined by underscores.
namespace PXALog {

// Opening a handle. Parameters of all forms:
//
//   url                    collector address with its scheme: "https://logs.example.com". What stands behind
//                          "://" is used literally, so that a path or a port in it gives a broken address;
//                          the last transport error in the diagnostics shows it.
//   port                   TCP port; the forms without one take 443 for https and 80 for http.
//   protocol               0 for HTTPS, 1 for HTTP; the forms without one take HTTP for port 80 and HTTPS
//                          otherwise, whatever the scheme of the url.
//   appKey                 the project: letters, digits, "-" and "_", beginning with a letter or digit.
//   version                the application's version: the same and ".", beginning with a letter or digit.
//   userId                 nil for no user.
//   handleId               nil for the next number as text: "0", "1", ...
//   enablePlcrashreporter  whether crashes are reported; the first handle that is not "Keepcell" decides for
//                          all. The forms without it say yes.
//   enableSyncStart        true holds all sending until startSendThread. Every initialisation sets this anew
//                          for the whole process, even one that is refused after its parameters were found
//                          valid.
//   unityVersion           version of the Unity engine, nil without one. Once one was given, every later
//                          handle needs one.
//
// All return true when the handle was opened. False, and no handle: a nil or invalid url, appKey, version or
// protocol (nothing has changed then), no reachability monitor for the host, or a handle id that is open
// already. Events of the same project that were being gathered for a request at that moment are given up,
// whether the handle is opened or its id refused.
//
// Two failures leave as exceptions: std::out_of_range when the url has no "://" (a form without a port
// returns false instead, unless the url begins with http), and std::invalid_argument when an earlier handle
// gave a Unity version and this one gives none; the handle is then in the table, but incomplete.
//
// The handle's settings are asked for in the background, and its events are sent after that. Open all
// handles before logging, and do not open more than ten faster than the settings service answers: the
// eleventh id that waits is dropped and locks the queue of waiting handles for good; from then on no handle
// gets settings, and the next initialisation, and with it every log call and all sending, waits for ever.

/// Opens a handle on the port of the url's scheme.
PXALOG_EXPORT bool init_ofAppKey_withVersion(const String& url, const String& appKey, const String& version);
PXALOG_EXPORT bool init_ofAppKey_withVersion_enableSyncStart(const String& url, const String& appKey,
                                                             const String& version, bool enableSyncStart);
PXALOG_EXPORT bool init_ofAppKey_withVersion_forUserId(const String& url, const String& appKey,
                                                       const String& version, const String& userId);
PXALOG_EXPORT bool init_ofAppKey_withVersion_forUserId_enableSyncStart(const String& url,
                                                                       const String& appKey,
                                                                       const String& version,
                                                                       const String& userId,
                                                                       bool enableSyncStart);
PXALOG_EXPORT bool init_ofAppKey_withVersion_forUserId_forHandleId(const String& url, const String& appKey,
                                                                   const String& version,
                                                                   const String& userId,
                                                                   const String& handleId);
PXALOG_EXPORT bool init_ofAppKey_withVersion_forUserId_forHandleId_enableSyncStart(
    const String& url, const String& appKey, const String& version, const String& userId,
    const String& handleId, bool enableSyncStart);

/// Opens a handle on a port.
PXALOG_EXPORT bool init_onPort_ofAppKey_withVersion(const String& url, std::int32_t port,
                                                    const String& appKey, const String& version);
PXALOG_EXPORT bool init_onPort_ofAppKey_withVersion_enableSyncStart(const String& url, std::int32_t port,
                                                                    const String& appKey,
                                                                    const String& version,
                                                                    bool enableSyncStart);
PXALOG_EXPORT bool init_onPort_ofAppKey_withVersion_forUserId(const String& url, std::int32_t port,
                                                              const String& appKey, const String& version,
                                                              const String& userId);
PXALOG_EXPORT bool init_onPort_ofAppKey_withVersion_forUserId_enableSyncStart(
    const String& url, std::int32_t port, const String& appKey, const String& version, const String& userId,
    bool enableSyncStart);
PXALOG_EXPORT bool init_onPort_ofAppKey_withVersion_forUserId_forHandleId(
    const String& url, std::int32_t port, const String& appKey, const String& version, const String& userId,
    const String& handleId);
PXALOG_EXPORT bool init_onPort_ofAppKey_withVersion_forUserId_forHandleId_enableSyncStart(
    const String& url, std::int32_t port, const String& appKey, const String& version, const String& userId,
    const String& handleId, bool enableSyncStart);

/// Opens a handle on a port, by a protocol.
PXALOG_EXPORT bool init_onPort_byProtocol_ofAppKey_withVersion_forUserId(const String& url, std::int32_t port,
                                                                         std::int32_t protocol,
                                                                         const String& appKey,
                                                                         const String& version,
                                                                         const String& userId);
PXALOG_EXPORT bool init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter(
    const String& url, std::int32_t port, std::int32_t protocol, const String& appKey, const String& version,
    const String& userId, bool enablePlcrashreporter);
PXALOG_EXPORT bool
init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart(
    const String& url, std::int32_t port, std::int32_t protocol, const String& appKey, const String& version,
    const String& userId, bool enablePlcrashreporter, bool enableSyncStart);
PXALOG_EXPORT bool
init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart_withUnityVersion(
    const String& url, std::int32_t port, std::int32_t protocol, const String& appKey, const String& version,
    const String& userId, bool enablePlcrashreporter, bool enableSyncStart, const String& unityVersion);
PXALOG_EXPORT bool
init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart_withUnityVersion_forHandleId(
    const String& url, std::int32_t port, std::int32_t protocol, const String& appKey, const String& version,
    const String& userId, bool enablePlcrashreporter, bool enableSyncStart, const String& unityVersion,
    const String& handleId);

/// Lets sending begin after an initialisation with enableSyncStart. Selector: startSendThread
PXALOG_EXPORT void startSendThread();

/// Sets the host switch, at first on: while off, every event's host is "-" instead of an address.
/// Selector: enableHost:
PXALOG_EXPORT void enableHost(bool isEnabled);

// Settings of a handle. Values are stored as they are, nil and "" included: with a nil user id events
// carry no "UserID", an empty log type is sent as such. Log type and source are those at the time of the log
// call; user and custom fields are those at the time of sending, about a second later.

/// Sets the user of a handle's events that are not yet on their way.
PXALOG_EXPORT void setUserId(const String& userId);
PXALOG_EXPORT void setUserId_Keepcell(const String& userId);
PXALOG_EXPORT void setUserId_forHandlerId(const String& userId, const String& handleId);

/// Sets the log type of later events.
PXALOG_EXPORT void setLogType(const String& logType);
PXALOG_EXPORT void setLogType_Keepcell(const String& logType);
PXALOG_EXPORT void setLogType_forHandlerId(const String& logType, const String& handleId);

/// Sets the log source of later events.
PXALOG_EXPORT void setLogSource(const String& logSource);
PXALOG_EXPORT void setLogSource_Keepcell(const String& logSource);
PXALOG_EXPORT void setLogSource_forHandlerId(const String& logSource, const String& handleId);

/// Whether repeats of a log that was sent are held back; at first they are. Without it, logs pass even while
/// the project's settings switch logs off.
PXALOG_EXPORT void setLogDeduplicate(bool isDeduplicate);
PXALOG_EXPORT void setLogDeduplicate_Keepcell(bool isDeduplicate);
PXALOG_EXPORT void setLogDeduplicate_forHandlerId(bool isDeduplicate, const String& handleId);

// Custom fields: texts under keys of the caller's own that travel with every event of the handle that is sent
// while they are set, unless the event has a field of that name already. A key begins with a letter and goes
// on with letters, digits, "-" and "_". The names of the event's own fields are refused ("logLevel",
// "UserID", "SessionID", ...). Take care with two names that are not refused: "errorRate" counts failed
// deliveries, so that a text above "3" keeps events from being sent, and "rdmBulkIndex" is overwritten in
// every event.

/// A nil value is stored as "-".
PXALOG_EXPORT void setCustomField_forKey(const String& value, const String& key);
PXALOG_EXPORT void setCustomField_Keepcell_forKey(const String& value, const String& key);
PXALOG_EXPORT void setCustomField_forKey_forHandleId(const String& value, const String& key,
                                                     const String& handleId);

/// Fields that the library wrote at initialisation stay.
PXALOG_EXPORT void removeCustomFieldForKey(const String& key);
PXALOG_EXPORT void removeCustomFieldForKey_Keepcell(const String& key);
PXALOG_EXPORT void removeCustomFieldForKey_forHandleId(const String& key, const String& handleId);
PXALOG_EXPORT void removeAllCustomFields();
PXALOG_EXPORT void removeAllCustomFields_Keepcell();
PXALOG_EXPORT void removeAllCustomFields(const String& handleId);

// Log calls. Each builds one event and queues it, or does nothing for an unknown handle. A queue that holds
// 2000 events loses its oldest. The error code is sent unless it is nil or ""; the location is accepted and
// not sent; the message has no limit, and is sent as log type "SESSION" when it is "SESSION". Control
// characters travel as they are, and a text ends at its first NUL character: a request whose body holds such
// raw characters cannot be read back when it fails, and all its events are then lost.
//
// What is still queued when the process ends is lost, unless Host::didEnterBackground was called before.

/// Logs a line at level DEBUG.
PXALOG_EXPORT void debug_withMessage(const String& errorCode, const String& message);
PXALOG_EXPORT void debug_withMessage_atLocation(const String& errorCode, const String& message,
                                                const String& location);
PXALOG_EXPORT void debug_Keepcell_withMessage(const String& errorCode, const String& message);
PXALOG_EXPORT void debug_Keepcell_withMessage_atLocation(const String& errorCode, const String& message,
                                                         const String& location);
PXALOG_EXPORT void debug_withMessage_atLocation_forHandleId(const String& errorCode, const String& message,
                                                            const String& location, const String& handleId);

/// Logs a line at level INFO.
PXALOG_EXPORT void info_withMessage(const String& errorCode, const String& message);
PXALOG_EXPORT void info_withMessage_atLocation(const String& errorCode, const String& message,
                                               const String& location);
PXALOG_EXPORT void info_Keepcell_withMessage(const String& errorCode, const String& message);
PXALOG_EXPORT void info_Keepcell_withMessage_atLocation(const String& errorCode, const String& message,
                                                        const String& location);
PXALOG_EXPORT void info_withMessage_atLocation_forHandleId(const String& errorCode, const String& message,
                                                           const String& location, const String& handleId);

/// Logs a line at level WARN.
PXALOG_EXPORT void warn_withMessage(const String& errorCode, const String& message);
PXALOG_EXPORT void warn_withMessage_atLocation(const String& errorCode, const String& message,
                                               const String& location);
PXALOG_EXPORT void warn_Keepcell_withMessage(const String& errorCode, const String& message);
PXALOG_EXPORT void warn_Keepcell_withMessage_atLocation(const String& errorCode, const String& message,
                                                        const String& location);
PXALOG_EXPORT void warn_withMessage_atLocation_forHandleId(const String& errorCode, const String& message,
                                                           const String& location, const String& handleId);

/// Logs a line at level ERROR.
PXALOG_EXPORT void error_withMessage(const String& errorCode, const String& message);
PXALOG_EXPORT void error_withMessage_atLocation(const String& errorCode, const String& message,
                                                const String& location);
PXALOG_EXPORT void error_Keepcell_withMessage(const String& errorCode, const String& message);
PXALOG_EXPORT void error_Keepcell_withMessage_atLocation(const String& errorCode, const String& message,
                                                         const String& location);
PXALOG_EXPORT void error_withMessage_atLocation_forHandleId(const String& errorCode, const String& message,
                                                            const String& location, const String& handleId);

/// Logs a line at level FATAL.
PXALOG_EXPORT void fatal_withMessage(const String& errorCode, const String& message);
PXALOG_EXPORT void fatal_withMessage_atLocation(const String& errorCode, const String& message,
                                                const String& location);
PXALOG_EXPORT void fatal_Keepcell_withMessage(const String& errorCode, const String& message);
PXALOG_EXPORT void fatal_Keepcell_withMessage_atLocation(const String& errorCode, const String& message,
                                                         const String& location);
PXALOG_EXPORT void fatal_withMessage_atLocation_forHandleId(const String& errorCode, const String& message,
                                                            const String& location, const String& handleId);

/// The same with a level of the caller's own; a nil level is "".
PXALOG_EXPORT void sendLog_errorCode_withMessage_atLocation(const String& level, const String& errorCode,
                                                            const String& message, const String& location);
PXALOG_EXPORT void sendLog_errorCode_withMessage_atLocation_forHandleId(const String& level,
                                                                        const String& errorCode,
                                                                        const String& message,
                                                                        const String& location,
                                                                        const String& handleId);

// Crashes and handled exceptions of a Unity application. Each becomes one "CRASH" event of handle "0" at
// level FATAL, whatever the level and type say, with the exception's text as its dump; it waits in the log
// queue with the rest. A nil message is "", a nil exception "unknown". In Unity mode the gate holds back
// repeats, the handle gets a new session after the first of each, and the engine is told once such an event
// was in a request (see Host::setUnitySendMessage).

/// Selector: sendUnityCrash:withType:withMessage:withException:
PXALOG_EXPORT void sendUnityCrash_withType_withMessage_withException(const String& level, const String& type,
                                                                     const String& message,
                                                                     const String& exception);
PXALOG_EXPORT void handledDebug_withException(const String& message, const String& exception);
PXALOG_EXPORT void handledInfo_withException(const String& message, const String& exception);
PXALOG_EXPORT void handledWarn_withException(const String& message, const String& exception);
PXALOG_EXPORT void handledError_withException(const String& message, const String& exception);
PXALOG_EXPORT void handledFatal_withException(const String& message, const String& exception);

/// Sets what runs first when the application crashes, before the report is sent; an empty function takes it
/// away. It runs once, on the main thread (see Host::setMainThread), in a process that is broken: it should
/// be short and touch little. What it throws is dropped; a crash in it ends the process. Only a crash of an
/// application that has opened handle "0" is sent, and by that handle, whatever handle it logs with. At any
/// time. Selector: setCrashBlock:
PXALOG_EXPORT void setCrashBlock(std::function<void()> block);

// Lifecycle hooks, which Host::didEnterBackground and Host::willEnterForeground call. The notification is not
// looked at. Before the first initialisation they do nothing.

/// Writes the queued events and the failed ones to two files, on the calling thread, and
/// empties the queues whether or not the write succeeds. Log calls wait until the files are on the disk. A
/// file from an earlier call without a return to the foreground between is replaced: its events are gone, and
/// the diagnostics count them. Events gathered or in flight at that moment are in neither file. Selector:
/// applicationDidEnterBackground:
PXALOG_EXPORT void applicationDidEnterBackground(const Notification* notification);

/// Reads both files back into the queues they came from, on the calling thread, and deletes them.
/// Selector: applicationWillEnterForeground:
PXALOG_EXPORT void applicationWillEnterForeground(const Notification* notification);

}  // namespace PXALog

}  // namespace pxa
