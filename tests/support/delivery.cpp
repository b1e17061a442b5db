#include "support/delivery.h"

#include <memory>
#include <utility>

#include <pxalog/Array.h>
#include <pxalog/PXALog.h>

#include "api/handle/GlobalLock.h"
#include "api/handle/handle_table.h"
#include "api/handle/process_state.h"
#include "queue/event_archive.h"
#include "support/queued_events.h"
#include "support/wait.h"
#include "transport/send_loop.h"

namespace pxa::test {

VeskHandleRef openWithoutSessionLog(const String& handleId, HandleOptions with) {
  with.handleId = handleId;
  if (!openHandle(with)) return nullptr;
  takeEvents();
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

bool letSendLoopSpin(FakePlatform& platform) {
  const int yields = platform.threads.yields;
  return waitUntil([&] { return platform.threads.yields > yields + 3; });
}

VeskEventRef makeEvent(const EventSpec& spec) {
  Dictionary fields;
  const std::pair<const char*, const Value&> entries[] = {
      {"logLevel", spec.level}, {"DmpData", spec.dump}, {"errorRate", spec.errorRate}};
  for (const auto& [key, value] : entries)
    if (!value.isNull()) fields.set(key, value);
  return VeskEvent::initWithProjectName_projectVersion_logType_logSource_body_sendTime_host_fields_handleId(
      spec.projectName, kVersion, spec.logType, "source", spec.body, 1'500'000'000'123, "", fields,
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

EventQueue takeFailedEvents(FakePlatform& platform) {
  platform.files.removeFile(VeskBlockQueue::fileFilePath());
  gs_blockQueue()->saveToFile();
  const std::optional<std::string> archive = platform.files.contentOf(kFailedFile);
  if (!archive) return {};
  return eventsOfArchive(Data(*archive), "fileArray").value_or(EventQueue());
}

}  // namespace pxa::test
