#pragma once

#include <string_view>

#include "platform/Platform.h"

namespace pxa::bench {

/// Takes every request at once with status 200: what is left is the library's own work.
class InstantLoader final : public UrlLoader {
 public:
  void prepare() override {}
  void connectionWithRequest(const UrlRequest&, std::shared_ptr<UrlConnectionDelegate> delegate) override {
    class Connection final : public UrlConnection {
      void stopRunLoop() override {}
    } connection;
    delegate->connection_didReceiveResponse(connection, {200});
  }
  UrlAnswer sendSynchronousRequest(const UrlRequest&) override {
    return {Error::withDescription("bench", 1, "no network"), {}, nullptr};
  }
};

class SilentLog final : public PlatformLog {
 public:
  void writeLine(const String&) override {}
};

/// Installs the system's platform with a network that answers at once, a silent console, and the clock given.
inline void installDrainingPlatform(Clock& clock = systemPlatform().clock) {
  static auto& loader = *new InstantLoader;
  static auto& log = *new SilentLog;
  const Platform& system = systemPlatform();
  Platform::install(*new Platform{clock, system.files, system.device, system.interfaces, system.reachability,
                                  loader, system.jsonParser, system.keyedArchive, system.uuids,
                                  system.crashReporter, log, system.threads, system.queues});
}

}  // namespace pxa::bench
