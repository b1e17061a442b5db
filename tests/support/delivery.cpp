#include "support/delivery.h"

#include <future>
#include <memory>
#include <thread>
#include <utility>

#include <pxalog/Array.h>
#include <pxalog/PXALog.h>

#include "api/handle/GlobalLock.h"
#include "api/handle/handle_table.h"
#include "api/handle/process_state.h"
#include "queue/event_archive.h"
#include "transport/send_loop.h"

namespace pxa::test {

Data bytesOf(std::string_view text) {
  return Data(text);
}

VeskHandleRef openHandle(const char* handleId, const HandleSpec& spec) {
  const bool isOpen = PXALog::
      init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart_withUnityVersion_forHandleId(
          spec.url, spec.port, spec.protocol, spec.appKey, "1.0", spec.userId, false, spec.enableSyncStart,
          spec.unityVersion, handleId);
  if (!isOpen) return nullptr;
  while (gs_blockQueue()->dequeueIfAny() != nullptr) {
  }
  return PXALog::rdm_getHandler(handleId);
}

void startSendLoop(FakePlatform& platform) {
  platform.clock.holdSleepers();
  platform.threads.runs = true;
  const GlobalGuard guard;
  PXALog::createLogSendThread();
  platform.threads.runs = false;
}

bool letOnePassHappen(FakePlatform& platform) {
  if (!platform.clock.waitForSleeper()) return false;
  platform.clock.letOneSleepEnd();
  return platform.clock.waitForSleeper();
}

VeskEventRef makeEvent(const EventSpec& spec) {
  Dictionary fields;
  const std::pair<const char*, const Value&> entries[] = {
      {"logLevel", spec.level}, {"DmpData", spec.dump}, {"errorRate", spec.errorRate}};
  for (const auto& [key, value] : entries)
    if (!value.isNull()) fields.set(key, value);
  return VeskEvent::initWithProjectName_projectVersion_logType_logSource_body_sendTime_host_fields_handleId(
      spec.projectName, "1.0", spec.logType, "source", spec.body, 1'500'000'000'123, "", fields,
      spec.handleId);
}

VeskEventRef enqueueEvent(const EventSpec& spec) {
  VeskEventRef event = makeEvent(spec);
  gs_blockQueue()->enqueue(event);
  return event;
}

Value fieldOf(const VeskEventRef& event, std::string_view key) {
  return event->fields().dictionary().value(key);
}

Value jsonProbe(std::function<void()> onJson) {
  class Probe final : public Object {
   public:
    explicit Probe(std::function<void()> listener) : onJson_(std::move(listener)) {}
    [[nodiscard]] String className() const override { return "Probe"; }
    [[nodiscard]] bool offersJSONDataRepresentation() const override { return true; }
    [[nodiscard]] Data JSONDataRepresentation() const override {
      onJson_();
      return Data("\"probe\"");
    }

   private:
    const std::function<void()> onJson_;
  };
  return Value(std::shared_ptr<Object>(std::make_shared<Probe>(std::move(onJson))));
}

std::vector<Dictionary> elementsOf(const std::string& body) {
  std::vector<Dictionary> elements;
  const std::optional<Value> parsed = Platform::current().jsonParser.parse(Data(body));
  if (!parsed) return elements;
  for (const Value& element : parsed->array()) elements.push_back(element.dictionary());
  return elements;
}

std::vector<std::string> textsOf(const std::string& body, std::string_view key) {
  std::vector<std::string> texts;
  for (const Dictionary& element : elementsOf(body)) {
    const Value* const value = element.find(key);
    texts.emplace_back(value == nullptr ? "(none)" : value->bytes());
  }
  return texts;
}

std::vector<std::string> textsOf(const FakePlatform& platform, std::size_t request, std::string_view key) {
  const std::vector<std::string> bodies = platform.urlLoader.bodies();
  return request < bodies.size() ? textsOf(bodies[request], key) : std::vector<std::string>{"(no request)"};
}

std::deque<VeskEventRef> takeFailedEvents(FakePlatform& platform) {
  platform.files.removeFile("/documents/fileVesk2SavedLog");
  gs_blockQueue()->saveToFile();
  const std::optional<std::string> archive = platform.files.contentOf("fileVesk2SavedLog");
  if (!archive) return {};
  return eventsOfArchive(Data(*archive), "fileArray").value_or(std::deque<VeskEventRef>());
}

std::vector<std::string> takeQueuedBodies() {
  std::vector<std::string> bodies;
  while (const VeskEventRef event = gs_blockQueue()->dequeueIfAny())
    bodies.emplace_back(event->body().bytes());
  return bodies;
}

bool globalLockIsFree() {
  const auto taken = std::make_shared<std::promise<void>>();
  std::future<void> isTaken = taken->get_future();
  std::thread([taken] {
    { const GlobalGuard guard; }
    taken->set_value();
  }).detach();
  return isTaken.wait_for(kPatience) == std::future_status::ready;
}

}  // namespace pxa::test
