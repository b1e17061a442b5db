#pragma once

#include "platform/Clock.h"
#include "platform/CrashReporter.h"
#include "platform/DeviceFacts.h"
#include "platform/DispatchQueues.h"
#include "platform/FileSystem.h"
#include "platform/JsonParser.h"
#include "platform/KeyedArchive.h"
#include "platform/NetworkInterfaces.h"
#include "platform/PlatformLog.h"
#include "platform/Reachability.h"
#include "platform/Threads.h"
#include "platform/UrlLoader.h"
#include "platform/UuidSource.h"

namespace pxa {

/// One implementation of each facility. The facilities live as long as the process.
struct Platform {
  Clock& clock;
  FileSystem& files;
  DeviceFacts& device;
  NetworkInterfaces& interfaces;
  ReachabilityTargets& reachability;
  UrlLoader& urlLoader;
  JsonParser& jsonParser;
  KeyedArchive& keyedArchive;
  UuidSource& uuids;
  CrashReporter& crashReporter;
  PlatformLog& log;
  Threads& threads;
  DispatchQueues& queues;

  /// The platform in use: the system's own until a test installs another one.
  static const Platform& current();
  /// Replaces the platform. For tests, before any other use of the library; the platform must outlive the
  /// process's threads.
  static void install(const Platform& platform);
};

/// The system's own platform; each folder beside this file brings one.
const Platform& systemPlatform();

}  // namespace pxa
