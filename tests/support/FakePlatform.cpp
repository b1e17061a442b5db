#include "support/FakePlatform.h"

#include <cstdio>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace pxa::test {

double FakeClock::secondsSince1970() {
  const std::lock_guard lock(mutex_);
  return now_;
}

double FakeClock::monotonicSeconds() {
  const std::lock_guard lock(mutex_);
  return monotonic_;
}

void FakeClock::sleepForSeconds(double seconds) {
  std::unique_lock lock(mutex_);
  sleeps_.push_back(seconds);
  if (!isHolding_) return;
  ++sleepers_;
  changed_.notify_all();
  changed_.wait(lock, [this] { return releases_ > 0; });
  --releases_;
  --sleepers_;
}

void FakeClock::setSecondsSince1970(double seconds) {
  const std::lock_guard lock(mutex_);
  now_ = seconds;
}

void FakeClock::advanceMonotonic(double seconds) {
  const std::lock_guard lock(mutex_);
  monotonic_ += seconds;
}

void FakeClock::holdSleepers() {
  const std::lock_guard lock(mutex_);
  isHolding_ = true;
}

void FakeClock::letOneSleepEnd() {
  const std::lock_guard lock(mutex_);
  ++releases_;
  changed_.notify_all();
}

bool FakeClock::waitForSleeper() {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, kPatience, [this] { return sleepers_ > releases_; });
}

std::vector<double> FakeClock::sleeps() const {
  const std::lock_guard lock(mutex_);
  return sleeps_;
}

void FakeFileSystem::throwIfAsked() const {
  if (throws) throw std::runtime_error("the disk is on fire");
}

bool FakeFileSystem::fileExists(const String& path) {
  throwIfAsked();
  const std::lock_guard lock(mutex_);
  return files_.contains(std::string(path.view()));
}

std::optional<Data> FakeFileSystem::read(const String& path) {
  throwIfAsked();
  if (failsToRead) return std::nullopt;
  const std::lock_guard lock(mutex_);
  const auto file = files_.find(std::string(path.view()));
  if (file == files_.end()) return std::nullopt;
  return Data(file->second);
}

bool FakeFileSystem::write(const String& path, const Data& content) {
  throwIfAsked();
  if (failsToWrite) return false;
  const std::lock_guard lock(mutex_);
  files_[std::string(path.view())] = content.view();
  return true;
}

bool FakeFileSystem::removeFile(const String& path) {
  throwIfAsked();
  if (failsToRemove) return false;
  const std::lock_guard lock(mutex_);
  files_.erase(std::string(path.view()));
  return true;
}

std::optional<std::string> FakeFileSystem::contentOf(const std::string& name) {
  const std::lock_guard lock(mutex_);
  const auto file = files_.find("/documents/" + name);
  if (file == files_.end()) return std::nullopt;
  return file->second;
}

void FakeFileSystem::put(const std::string& name, std::string_view content) {
  const std::lock_guard lock(mutex_);
  files_["/documents/" + name] = content;
}

std::optional<FreeMemory> FakeDeviceFacts::freeMemory() {
  if (throwsOnMemory) throw std::runtime_error("no memory to tell of");
  return memory;
}

void FakeQueue::async(std::function<void()> task) {
  const std::lock_guard lock(mutex_);
  tasks_.push_back(std::move(task));
}

std::size_t FakeQueue::run() {
  for (std::size_t count = 0;; ++count) {
    std::function<void()> task;
    {
      const std::lock_guard lock(mutex_);
      if (tasks_.empty()) return count;
      task = std::move(tasks_.front());
      tasks_.erase(tasks_.begin());
    }
    task();
  }
}

std::shared_ptr<DispatchQueue> FakeDispatchQueues::createSerialQueue(const char* label) {
  labels.emplace_back(label);
  return createsQueues ? queues.emplace_back(std::make_shared<FakeQueue>()) : nullptr;
}

std::shared_ptr<ReachabilityTarget> FakeReachability::createWithName(const String& host) {
  hosts.push_back(host);
  return createTarget();
}

std::shared_ptr<ReachabilityTarget> FakeReachability::createWithAddress(const sockaddr* address) {
  addresses.push_back(address);
  return createTarget();
}

std::shared_ptr<ReachabilityTarget> FakeReachability::createWithIPv4Address(std::uint32_t address) {
  numbers.push_back(address);
  return createTarget();
}

std::shared_ptr<ReachabilityTarget> FakeReachability::createTarget() {
  if (!createsTargets) return nullptr;
  auto target = std::make_shared<Target>(*this);
  targets.push_back(target);
  return target;
}

void FakeReachability::change(std::uint32_t newFlags) {
  flags = newFlags;
  for (const auto& weak : targets)
    if (const auto target = weak.lock(); target != nullptr && target->queue != nullptr)
      target->queue->async([weak, newFlags] {
        const auto told = weak.lock();
        if (told != nullptr && told->callback) told->callback(newFlags);
      });
}

std::optional<std::uint32_t> FakeReachability::Target::flags() {
  return owner_.readsFlags ? std::optional(owner_.flags.load()) : std::nullopt;
}

bool FakeReachability::Target::setCallback(Callback newCallback) {
  if (newCallback && !owner_.startsNotifiers) return false;
  callback = std::move(newCallback);
  return true;
}

bool FakeReachability::Target::setDispatchQueue(std::shared_ptr<DispatchQueue> newQueue) {
  if (newQueue != nullptr && !owner_.attachesQueues) return false;
  queue = std::move(newQueue);
  return true;
}

namespace {

class Connection final : public UrlConnection {
 public:
  explicit Connection(const std::shared_ptr<RunLoop>& runLoop) : runLoop_(runLoop) {}
  void stopRunLoop() override {
    if (runLoop_ != nullptr) runLoop_->stop();
  }

 private:
  const std::shared_ptr<RunLoop> runLoop_;
};

}  // namespace

void FakeUrlLoader::connectionWithRequest(const UrlRequest& request,
                                          std::shared_ptr<UrlConnectionDelegate> delegate) {
  int status = 0;
  std::size_t position = 0;
  {
    const std::lock_guard lock(mutex_);
    started_.push_back({request, std::move(delegate), RunLoop::current()});
    position = started_.size() - 1;
    status = standingStatus_;
    changed_.notify_all();
  }
  if (throws) throw std::runtime_error("no request can be made");
  if (status != 0) answer(position, status);
}

UrlAnswer FakeUrlLoader::sendSynchronousRequest(const UrlRequest& request) {
  SynchronousAnswer answerTo;
  {
    const std::lock_guard lock(mutex_);
    synchronous_.push_back(request);
    answerTo = synchronousAnswer_;
    changed_.notify_all();
  }
  if (answerTo) return answerTo(request);
  return {Error::withDescription("test", 1, "no network"), {}, nullptr};
}

void FakeUrlLoader::answerAllWith(int status) {
  const std::lock_guard lock(mutex_);
  standingStatus_ = status;
}

void FakeUrlLoader::answer(std::size_t position, int status) {
  const Started request = started().at(position);
  Connection connection(request.runLoop);
  request.delegate->connection_didReceiveResponse(connection, {status});
}

void FakeUrlLoader::fail(std::size_t position, const Error& error) {
  const Started request = started().at(position);
  Connection connection(request.runLoop);
  request.delegate->connection_didFailWithError(connection, error);
}

bool FakeUrlLoader::waitForRequests(std::size_t count) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, kPatience, [&] { return started_.size() >= count; });
}

bool FakeUrlLoader::waitForSynchronousRequests(std::size_t count) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, kPatience, [&] { return synchronous_.size() >= count; });
}

std::vector<FakeUrlLoader::Started> FakeUrlLoader::started() const {
  const std::lock_guard lock(mutex_);
  return started_;
}

std::vector<std::string> FakeUrlLoader::bodies() const {
  std::vector<std::string> bodies;
  for (const Started& request : started()) bodies.emplace_back(request.request.body.view());
  return bodies;
}

std::vector<UrlRequest> FakeUrlLoader::synchronousRequests() const {
  const std::lock_guard lock(mutex_);
  return synchronous_;
}

void FakeUrlLoader::setSynchronousAnswer(SynchronousAnswer answer) {
  const std::lock_guard lock(mutex_);
  synchronousAnswer_ = std::move(answer);
}

String FakeUuids::createUuid() {
  if (givesNone) return nullptr;
  char text[40];
  std::snprintf(text, sizeof(text), "00000000-0000-4000-8000-%012d", ++count_);
  return text;
}

void FakeCrashReporter::setCrashCallbacks(const CrashCallbacks& newCallbacks) {
  if (throwsOnCallbacks) throw std::runtime_error("no callbacks");
  callbacks = newCallbacks;
}

void FakeCrashReporter::setApplication(const String& identifier, const String& version) {
  applicationIdentifier = identifier;
  applicationVersion = version;
}

bool FakeCrashReporter::enableCrashReporterAndReturnError(Error*) {
  ++enabledCount;
  enabledCallbacks = callbacks;
  if (throws) throw std::runtime_error("no crash reporter");
  return isEnabled;
}

void FakeCrashReporter::performOnMainThreadAndWait(void (*operation)(void* object), void* object) {
  performedObjects.push_back(object);
  if (performs) operation(object);
}

void FakeCrashReporter::purgePendingCrashReport() {
  ++purgedCount;
  pendingReport = nullptr;
}

String FakeCrashReporter::stringValueForCrashReport_withTextFormat(const CrashReport&,
                                                                   std::uint32_t textFormat) {
  textFormats.push_back(textFormat);
  return text;
}

void FakeCrashReporter::crash() {
  callbacks.handleSignal(nullptr, nullptr, callbacks.context);
}

void FakeLog::writeLine(const String& line) {
  std::function<void(const std::string&)> listener;
  {
    const std::lock_guard lock(mutex_);
    lines_.emplace_back(line.view());
    listener = listener_;
  }
  if (listener) listener(std::string(line.view()));
}

void FakeLog::setListener(std::function<void(const std::string&)> listener) {
  const std::lock_guard lock(mutex_);
  listener_ = std::move(listener);
}

std::vector<std::string> FakeLog::lines() const {
  const std::lock_guard lock(mutex_);
  return lines_;
}

void FakeThreads::start(const char* name, std::function<void()> body) {
  if (!hasThreads) throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
  {
    const std::lock_guard lock(mutex_);
    names_.emplace_back(name);
  }
  if (runs) std::thread(std::move(body)).detach();
}

void FakeThreads::yield() {
  ++yields;
  std::this_thread::yield();
}

std::vector<std::string> FakeThreads::startedNames() const {
  const std::lock_guard lock(mutex_);
  return names_;
}

FakePlatform& FakePlatform::install() {
  auto& fakes = *new FakePlatform;
  const Platform& system = systemPlatform();
  const auto* platform = new Platform{
      fakes.clock,     fakes.files,       fakes.device,        fakes.interfaces, fakes.reachability,
      fakes.urlLoader, system.jsonParser, system.keyedArchive, fakes.uuids,      fakes.crashReporter,
      fakes.log,       fakes.threads,     fakes.queues};
  static auto& installed = *new std::vector<const Platform*>;  // so that an earlier one counts as no leak
  installed.push_back(platform);
  Platform::install(*platform);
  return fakes;
}

}  // namespace pxa::test
