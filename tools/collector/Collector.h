#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "collector/Behaviour.h"
#include "collector/HttpServer.h"
#include "collector/body_reader.h"

namespace pxa::tools {

/// One post of events, as it came.
struct ReceivedRequest {
  std::string method;
  std::string path;  ///< as it stands in the request line, nothing decoded
  std::string contentType;
  std::string body;
  Headers headers;
  bool isHttps = false;
  int connectionPort = 0;  ///< the client's port: the same for all requests of one connection
  bool isArray = false;    ///< the body is one complete JSON array
  std::vector<Element> elements;
};

/// One GET that does not ask for settings, as it came.
struct ReceivedProbe {
  std::string path;  ///< as it stands in the request line, nothing decoded
  Headers headers;
  bool isHttps = false;
};

/// The switches that a settings request is answered with.
struct ProjectSettings {
  bool log = true;
  bool crash = true;
  bool session = true;
  bool networkInsights = false;
  std::vector<std::string> urls = {};  ///< what network insights probe
};

/// What has arrived so far, each list in the order of arrival.
struct Record {
  std::vector<ReceivedRequest> requests;   ///< posts of events
  std::vector<std::string> settingsPaths;  ///< paths of the settings requests
  std::vector<ReceivedProbe> probes;       ///< every other GET
  std::size_t acceptedElements = 0;        ///< elements of the posts that are answered with 200
};

struct Options {
  int httpPort = 0;   ///< 0 takes any free port
  int httpsPort = 0;  ///< 0 takes any free port
  Behaviour behaviour = {};
  ProjectSettings settings = {};
  bool keepsRequests = true;  ///< false for a long life: posts go to `onRequest` only
  /// Called with each post before it is recorded and answered, on threads of the collector, several at the
  /// same time. Must not throw.
  std::function<void(const ReceivedRequest&)> onRequest = {};
};

/// A log collector and settings service on 127.0.0.1, for development and tests, over HTTP and over HTTPS
/// with a certificate that it makes itself. It keeps connections alive and accepts bodies of up to 64 MiB.
///
///   POST …/v2/log     an array of events; answered as the behaviour says
///   GET …/logsconf    the project's settings
///   GET anything      "ok", a target for probes
///
/// It starts in the constructor; after the destructor no thread, port or file is left, even with clients
/// connected. Every operation is thread-safe.
class Collector {
 public:
  using RequestsTest = std::function<bool(const std::vector<ReceivedRequest>&)>;
  using RecordTest = std::function<bool(const Record&)>;

  /// Throws std::runtime_error when a port cannot be had.
  explicit Collector(Options options = {});
  Collector(const Collector&) = delete;
  Collector& operator=(const Collector&) = delete;
  ~Collector();

  int httpPort() const;
  int httpsPort() const;

  /// The certificate of HTTPS, in PEM; it names the host "localhost" and signs itself.
  std::string certificate() const;

  /// How the next posts are answered, until told otherwise.
  void setBehaviour(Behaviour behaviour);

  /// How the next posts are answered, one entry a post; after them the standing behaviour holds again.
  /// Replaces what is left of an earlier script.
  void setBehaviourForNext(std::vector<Behaviour> script);

  /// What settings requests are answered with: status 200 and these switches.
  void setSettings(ProjectSettings settings);

  /// Answers settings requests with this status and this body, whatever it is, until `setSettings`.
  void setSettingsAnswer(int status, std::string rawBody);

  /// Delay and fault of the answers to settings requests. Its status is not used.
  void setSettingsBehaviour(Behaviour behaviour);

  /// How every other GET is answered, until told otherwise.
  void setProbeBehaviour(Behaviour behaviour);

  /// A copy of everything that has arrived, respectively of a part of it.
  Record record() const;
  std::vector<ReceivedRequest> requests() const;
  std::vector<std::string> settingsPaths() const;
  std::vector<ReceivedProbe> probes() const;
  std::size_t acceptedElements() const;

  /// Waits until the test holds, which is asked again after every arrival, and returns whether it does; false
  /// once the patience has run out. The test must not call the collector.
  bool waitFor(const RequestsTest& test, std::chrono::milliseconds patience) const;
  bool waitFor(const RecordTest& test, std::chrono::milliseconds patience) const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace pxa::tools
