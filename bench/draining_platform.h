#pragma once

#include <string_view>

#include "platform/Platform.h"

namespace pxa::bench {

/// Takes every request at once with status 200: what is left is the library's own work.
class InstantLoader final : public UrlLoader {
 public:
  void prepare() override {}
  void connectionWithRequest(const UrlRequest& request,
                             std::shared_ptr<UrlConnectionDelegate> delegate) override {
    class Connection final : public UrlConnection {
      void stopRunLoop() override {}
    } connection;
    lastBody_ = request.body;
    delegate->connection_didReceiveResponse(connection, {200});
  }
  UrlAnswer sendSynchronousRequest(const UrlRequest&) override {
    return {Error::withDescription("bench", 1, "no network"), {}, nullptr};
  }
  /// To be read while the send loop sleeps.
  [[nodiscard]] const Data& lastBody() const { return lastBody_; }

 private:
  Data lastBody_;
};

class SilentLog final : public PlatformLog {
 public:
  void writeLine(const String&) override {}
};

/// Installs the system's platform with a network that answers at once, a silent console, and the clock given.
inline const InstantLoader& installDrainingPlatform(Clock& clock = systemPlatform().clock) {
  static auto& loader = *new InstantLoader;
  static auto& log = *new SilentLog;
  const Platform& system = systemPlatform();
  Platform::install(*new Platform{clock, system.files, system.device, system.interfaces, system.reachability,
                                  loader, system.jsonParser, system.keyedArchive, system.uuids,
                                  system.crashReporter, log, system.threads, system.queues});
  return loader;
}

}  // namespace pxa::bench
