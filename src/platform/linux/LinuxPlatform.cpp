#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <uuid/uuid.h>

#include "platform/HostSettings.h"
#include "platform/Platform.h"
#include "platform/SerialQueue.h"
#include "platform/linux/CurlUrlLoader.h"
#include "platform/linux/LinuxClock.h"
#include "platform/linux/LinuxDeviceFacts.h"
#include "platform/linux/LinuxFileSystem.h"
#include "platform/linux/LinuxNetworkInterfaces.h"
#include "platform/linux/LinuxReachability.h"
#include "platform/linux/LinuxThreads.h"
#include "platform/linux/NetworkWatcher.h"
#include "platform/linux/crash/LinuxCrashReporter.h"
#include "platform/linux/nlohmann_values.h"

namespace pxa {

namespace {

class LibuuidSource final : public UuidSource {
 public:
  String createUuid() override {
    uuid_t uuid;
    uuid_generate_random(uuid);
    char text[UUID_STR_LEN];
    uuid_unparse_upper(uuid, text);
    return text;
  }
};

/// The host's main thread, or a serial queue of the library's own where the host gave none.
class MainQueue final : public DispatchQueue {
 public:
  void async(std::function<void()> task) override {
    const Host::MainThreadExecutor execute = HostSettings::mainThreadExecutor();
    if (!execute) return queue_->async(std::move(task));
    try {
      execute([task = std::move(task)] { runAndDropFailures(task); });
    } catch (...) {
      // The host takes no work.
    }
  }

 private:
  static void runAndDropFailures(const std::function<void()>& task) {
    try {
      task();
    } catch (...) {
      // What a task throws is not the host's.
    }
  }

  const std::shared_ptr<SerialQueue> queue_ = std::make_shared<SerialQueue>("pxa-main");
};

class SerialQueues final : public DispatchQueues {
 public:
  std::shared_ptr<DispatchQueue> createSerialQueue(const char* label) override {
    return std::make_shared<SerialQueue>(label);
  }
  DispatchQueue& mainQueue() override { return mainQueue_; }

 private:
  MainQueue mainQueue_;
};

/// The host's sink, or standard error.
class HostLog final : public PlatformLog {
 public:
  void writeLine(const String& line) override {
    if (const Host::LogSink sink = HostSettings::logSink()) return sink(line);
    const std::string text = std::string(line.view()) + "\n";
    std::fwrite(text.data(), 1, text.size(), stderr);
  }
};

}  // namespace

const Platform& systemPlatform() {
  static auto& clock = *new LinuxClock;
  static auto& files = *new LinuxFileSystem;
  static auto& device = *new LinuxDeviceFacts;
  static auto& networkWatcher = *new NetworkWatcher;
  static auto& interfaces = *new LinuxNetworkInterfaces(networkWatcher);
  static auto& reachability = *new LinuxReachabilityTargets(networkWatcher);
  static auto& urlLoader = *new CurlUrlLoader;
  static auto& jsonParser = *new NlohmannJsonParser;
  static auto& keyedArchive = *new CborKeyedArchive;
  static auto& uuids = *new LibuuidSource;
  static auto& crashReporter = *new LinuxCrashReporter;
  static auto& log = *new HostLog;
  static auto& threads = *new LinuxThreads;
  static auto& queues = *new SerialQueues;
  static const auto& platform =
      *new Platform{clock,        files, device,        interfaces, reachability, urlLoader, jsonParser,
                    keyedArchive, uuids, crashReporter, log,        threads,      queues};
  return platform;
}

}  // namespace pxa
