#include "collector/Collector.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "collector/TlsContext.h"

namespace pxa::tools {
namespace {

constexpr const char* kJsonType = "application/json";
constexpr std::string_view kLogPath = "/v2/log";
constexpr std::string_view kSettingsPath = "/logsconf";

std::string settingsText(const ProjectSettings& settings) {
  using Json = nlohmann::ordered_json;
  const auto enable = [](bool isEnabled) { return Json{{"enable", isEnabled}}; };
  Json result;
  result["log"] = enable(settings.log);
  result["crash"] = enable(settings.crash);
  result["session"] = enable(settings.session);
  result["networkinsights"] = enable(settings.networkInsights);
  result["networkinsights"]["urls"] = settings.urls;
  return Json{{"status", 200}, {"result", result}}.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string firstOf(const Headers& headers, std::string_view name) {
  const auto found = headers.find(std::string(name));
  return found == headers.end() ? std::string() : found->second;
}

ReceivedRequest received(HttpRequest request) {
  Body body = readBody(request.body);
  ReceivedRequest result;
  result.method = std::move(request.method);
  result.path = std::move(request.target);
  result.contentType = firstOf(request.headers, "Content-Type");
  result.body = std::move(request.body);
  result.headers = std::move(request.headers);
  result.isHttps = request.isHttps;
  result.connectionPort = request.clientPort;
  result.isArray = body.isArray;
  result.elements = std::move(body.elements);
  return result;
}

HttpAnswer plainAnswer(int status, std::string text) {
  HttpAnswer answer;
  answer.behaviour.status = status;
  answer.body = std::move(text);
  return answer;
}

}  // namespace

class Collector::Impl {
 public:
  explicit Impl(Options options)
      : onRequest_(std::move(options.onRequest)),
        keepsRequests_(options.keepsRequests),
        standing_(options.behaviour),
        settings_(std::move(options.settings)),
        http_(
            options.httpPort, [this](HttpRequest request) { return answer(std::move(request)); }, nullptr),
        https_(
            options.httpsPort, [this](HttpRequest request) { return answer(std::move(request)); }, &tls_) {}

  int httpPort() const { return http_.port(); }
  int httpsPort() const { return https_.port(); }
  std::string certificate() const { return tls_.certificate(); }

  /// Gives the state, locked, to an operation that reads or changes it.
  template <class Operation>
  auto locked(Operation operation) const {
    const std::lock_guard lock(mutex_);
    return operation(*this);
  }
  template <class Operation>
  auto locked(Operation operation) {
    const std::lock_guard lock(mutex_);
    return operation(*this);
  }

  template <class Test>
  bool waitFor(const Test& test, std::chrono::milliseconds patience) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, patience, [&] { return test(record_); });
  }

 private:
  friend class Collector;

  HttpAnswer answer(HttpRequest request) {
    const std::string_view path = std::string_view(request.target).substr(0, request.target.find('?'));
    if (request.method == "POST") {
      return path.ends_with(kLogPath) ? answerPost(std::move(request)) : plainAnswer(404, "no such path");
    }
    return path.ends_with(kSettingsPath) ? answerSettings(request.target) : answerProbe(std::move(request));
  }

  HttpAnswer answerPost(HttpRequest request) {
    ReceivedRequest post = received(std::move(request));
    if (onRequest_) onRequest_(post);
    HttpAnswer answer;
    answer.contentType = kJsonType;
    answer.behaviour = note(std::move(post));
    answer.body = "{\"status\":" + std::to_string(answer.behaviour.status) + "}";
    return answer;
  }

  /// Records the post and says how to answer it: under one lock, so that a script goes by the order of the
  /// record.
  Behaviour note(ReceivedRequest post) {
    const std::lock_guard lock(mutex_);
    Behaviour behaviour = nextBehaviour();
    const bool isAccepted = behaviour.status == 200 && behaviour.fault == Fault::None;
    if (isAccepted) record_.acceptedElements += post.elements.size();
    if (keepsRequests_) record_.requests.push_back(std::move(post));
    changed_.notify_all();
    return behaviour;
  }

  Behaviour nextBehaviour() {
    if (script_.empty()) return standing_;
    Behaviour behaviour = script_.front();
    script_.pop_front();
    return behaviour;
  }

  HttpAnswer answerSettings(const std::string& path) {
    const std::lock_guard lock(mutex_);
    record_.settingsPaths.push_back(path);
    changed_.notify_all();
    HttpAnswer answer;
    answer.contentType = kJsonType;
    answer.body = rawSettings_ ? *rawSettings_ : settingsText(settings_);
    answer.behaviour = settingsBehaviour_;
    answer.behaviour.status = settingsStatus_;
    return answer;
  }

  HttpAnswer answerProbe(HttpRequest request) {
    const std::lock_guard lock(mutex_);
    record_.probes.push_back({std::move(request.target), std::move(request.headers), request.isHttps});
    changed_.notify_all();
    HttpAnswer answer;
    answer.body = "ok";
    answer.behaviour = probeBehaviour_;
    return answer;
  }

  // Constant after construction.
  std::function<void(const ReceivedRequest&)> onRequest_;
  bool keepsRequests_;
  TlsContext tls_;

  // Own synchronization.
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;

  // Guarded by mutex_.
  Record record_;
  Behaviour standing_;
  std::deque<Behaviour> script_;
  ProjectSettings settings_;
  Behaviour settingsBehaviour_;
  int settingsStatus_ = 200;
  std::optional<std::string> rawSettings_;
  Behaviour probeBehaviour_;

  // Last, so that nothing is asked of the members above before they are there or after they have gone.
  HttpServer http_;
  HttpServer https_;
};

Collector::Collector(Options options) : impl_(std::make_unique<Impl>(std::move(options))) {}

Collector::~Collector() = default;

int Collector::httpPort() const {
  return impl_->httpPort();
}

int Collector::httpsPort() const {
  return impl_->httpsPort();
}

std::string Collector::certificate() const {
  return impl_->certificate();
}

void Collector::setBehaviour(Behaviour behaviour) {
  impl_->locked([&](Impl& state) { state.standing_ = std::move(behaviour); });
}

void Collector::setBehaviourForNext(std::vector<Behaviour> script) {
  impl_->locked([&](Impl& state) { state.script_.assign(script.begin(), script.end()); });
}

void Collector::setSettings(ProjectSettings settings) {
  impl_->locked([&](Impl& state) {
    state.settings_ = std::move(settings);
    state.settingsStatus_ = 200;
    state.rawSettings_.reset();
  });
}

void Collector::setSettingsAnswer(int status, std::string rawBody) {
  impl_->locked([&](Impl& state) {
    state.settingsStatus_ = status;
    state.rawSettings_ = std::move(rawBody);
  });
}

void Collector::setSettingsBehaviour(Behaviour behaviour) {
  impl_->locked([&](Impl& state) { state.settingsBehaviour_ = std::move(behaviour); });
}

void Collector::setProbeBehaviour(Behaviour behaviour) {
  impl_->locked([&](Impl& state) { state.probeBehaviour_ = std::move(behaviour); });
}

Record Collector::record() const {
  return std::as_const(*impl_).locked([](const Impl& state) { return state.record_; });
}

std::vector<ReceivedRequest> Collector::requests() const {
  return std::as_const(*impl_).locked([](const Impl& state) { return state.record_.requests; });
}

std::vector<std::string> Collector::settingsPaths() const {
  return std::as_const(*impl_).locked([](const Impl& state) { return state.record_.settingsPaths; });
}

std::vector<ReceivedProbe> Collector::probes() const {
  return std::as_const(*impl_).locked([](const Impl& state) { return state.record_.probes; });
}

std::size_t Collector::acceptedElements() const {
  return std::as_const(*impl_).locked([](const Impl& state) { return state.record_.acceptedElements; });
}

bool Collector::waitFor(const RequestsTest& test, std::chrono::milliseconds patience) const {
  return impl_->waitFor([&](const Record& record) { return test(record.requests); }, patience);
}

bool Collector::waitFor(const RecordTest& test, std::chrono::milliseconds patience) const {
  return impl_->waitFor(test, patience);
}

}  // namespace pxa::tools
