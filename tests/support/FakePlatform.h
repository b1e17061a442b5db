#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/Platform.h"
#include "platform/RunLoop.h"
#include "support/wait.h"

namespace pxa::test {

/// A clock that a test sets. Sleepers go on at once, or one sleep for each call of letOneSleepEnd.
class FakeClock final : public Clock {
 public:
  double secondsSince1970() override;
  double monotonicSeconds() override;
  void sleepForSeconds(double seconds) override;

  void setSecondsSince1970(double seconds);
  void advanceMonotonic(double seconds);
  /// From now on every sleep waits for a call of letOneSleepEnd.
  void holdSleepers();
  void letOneSleepEnd();
  /// Waits until a thread sleeps that no call has released; false when none does in time.
  bool waitForSleeper();
  std::vector<double> sleeps() const;

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  double now_ = 1'700'000'000.25;
  double monotonic_ = 1000;
  bool isHolding_ = false;
  int releases_ = 0;
  int sleepers_ = 0;
  std::vector<double> sleeps_;
};

/// Files in memory.
class FakeFileSystem final : public FileSystem {
 public:
  String documentsDirectory() override { return "/documents"; }
  bool fileExists(const String& path) override;
  std::optional<Data> read(const String& path) override;
  bool write(const String& path, const Data& content) override;
  bool writeAtomically(const String& path, const Data& content) override { return write(path, content); }
  bool removeFile(const String& path) override;

  /// The content of a file of the documents directory; nothing when it is not there.
  std::optional<std::string> contentOf(const std::string& name);
  void put(const std::string& name, std::string_view content);

  std::atomic<bool> failsToWrite = false;
  std::atomic<bool> failsToRemove = false;
  std::atomic<bool> failsToRead = false;
  std::atomic<bool> throws = false;  ///< every operation but documentsDirectory throws std::runtime_error

 private:
  void throwIfAsked() const;
  std::mutex mutex_;
  std::map<std::string, std::string> files_;
};

class FakeDeviceFacts final : public DeviceFacts {
 public:
  std::optional<std::uint64_t> generation() override { return generationOfFacts; }
  String systemVersion() override { return version; }
  String machineModel() override { return model; }
  String vendorIdentifier() override { return vendor; }
  String carrierName() override { return carrier; }
  String carrierCountryCode() override { return country; }
  String localeDisplayName() override { return localeName; }
  String systemControl(const String& name) override { return controls[std::string(name.view())]; }
  std::vector<String> preferredLanguages() override { return languages; }
  double screenWidth() override { return width; }
  std::optional<FreeMemory> freeMemory() override;
  std::optional<std::uint64_t> freeBytesForDocuments() override { return freeBytes; }
  bool canStartShell() override {
    ++shellStarts;
    return startsShells;
  }

  std::optional<std::uint64_t> generationOfFacts;
  String version = "12.1";
  String model = "iPhone8,2";
  String vendor = "VENDOR-ID";
  String carrier;
  String country;
  String localeName = "English (United States)";
  std::map<std::string, String> controls;
  std::vector<String> languages;
  double width = 0;
  std::optional<FreeMemory> memory;
  bool throwsOnMemory = false;  ///< asking for the free memory throws std::runtime_error
  std::optional<std::uint64_t> freeBytes;
  bool startsShells = false;
  std::atomic<int> shellStarts = 0;
};

class FakeNetworkInterfaces final : public NetworkInterfaces {
 public:
  InterfaceList list() override {
    return interfaces ? std::make_shared<const std::vector<NetworkInterface>>(*interfaces) : nullptr;
  }

  std::optional<std::vector<NetworkInterface>> interfaces =
      std::vector<NetworkInterface>{{"en0", NetworkInterface::Family::IPv4, {192, 0, 2, 7}}};
};

/// A queue whose tasks run when a test says so.
class FakeQueue final : public DispatchQueue {
 public:
  void async(std::function<void()> task) override;
  /// Runs, on the calling thread, the tasks that wait and those that these add; how many there were.
  std::size_t run();

 private:
  std::mutex mutex_;
  std::vector<std::function<void()>> tasks_;
};

class FakeDispatchQueues final : public DispatchQueues {
 public:
  std::shared_ptr<DispatchQueue> createSerialQueue(const char* label) override;
  DispatchQueue& mainQueue() override { return main; }

  FakeQueue main;
  bool createsQueues = true;
  std::vector<std::string> labels;                 ///< of the serial queues asked for so far
  std::vector<std::shared_ptr<FakeQueue>> queues;  ///< the serial queues made so far
};

/// Targets that a test moves.
class FakeReachability final : public ReachabilityTargets {
 public:
  class Target;

  std::shared_ptr<ReachabilityTarget> createWithName(const String& host) override;
  std::shared_ptr<ReachabilityTarget> createWithAddress(const sockaddr* address) override;
  std::shared_ptr<ReachabilityTarget> createWithIPv4Address(std::uint32_t address) override;

  /// Sets the flags and puts a call with them on the queue of every target that has a callback and a queue.
  void change(std::uint32_t newFlags);

  bool createsTargets = true;
  bool startsNotifiers = true;  ///< false: no callback is taken
  bool attachesQueues = true;   ///< false: no queue is taken
  std::atomic<bool> readsFlags = true;
  std::atomic<std::uint32_t> flags = kReachabilityReachable;
  String error = "the system's words";
  std::vector<String> hosts;                   ///< asked for so far
  std::vector<const sockaddr*> addresses;      ///< asked for so far
  std::vector<std::uint32_t> numbers;          ///< IPv4 addresses asked for so far
  std::vector<std::weak_ptr<Target>> targets;  ///< made so far

 private:
  std::shared_ptr<ReachabilityTarget> createTarget();
};

/// One target; what it was given last.
class FakeReachability::Target final : public ReachabilityTarget {
 public:
  explicit Target(FakeReachability& owner) : owner_(owner) {}
  std::optional<std::uint32_t> flags() override;
  bool setCallback(Callback newCallback) override;
  bool setDispatchQueue(std::shared_ptr<DispatchQueue> newQueue) override;
  String lastError() override { return owner_.error; }

  Callback callback;
  std::shared_ptr<DispatchQueue> queue;

 private:
  FakeReachability& owner_;
};

/// Records requests; a test, or a standing rule, decides how they end.
class FakeUrlLoader final : public UrlLoader {
 public:
  void prepare() override { ++preparedCount; }

  int preparedCount = 0;

  struct Started {
    UrlRequest request;
    std::shared_ptr<UrlConnectionDelegate> delegate;
    std::shared_ptr<RunLoop> runLoop;  ///< of the thread that started it; nullptr when it had none
  };
  using SynchronousAnswer = std::function<UrlAnswer(const UrlRequest&)>;

  void connectionWithRequest(const UrlRequest& request,
                             std::shared_ptr<UrlConnectionDelegate> delegate) override;
  UrlAnswer sendSynchronousRequest(const UrlRequest& request) override;

  /// Ends every later asynchronous request with this status, on the thread that starts it.
  void answerAllWith(int status);
  /// Tells the delegate of the request at the position how it ended, on the calling thread.
  void answer(std::size_t position, int status);
  void fail(std::size_t position, const Error& error);
  /// Waits until that many asynchronous, or synchronous, requests were made; false when they were not in
  /// time.
  bool waitForRequests(std::size_t count);
  bool waitForSynchronousRequests(std::size_t count);

  std::vector<Started> started() const;
  /// Bodies of the asynchronous requests, in order.
  std::vector<std::string> bodies() const;
  std::vector<UrlRequest> synchronousRequests() const;
  std::atomic<bool> throws = false;  ///< asynchronous requests, once recorded, throw std::runtime_error
  /// How synchronous requests are answered; at first every one fails with an error.
  void setSynchronousAnswer(SynchronousAnswer answer);

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Started> started_;
  std::vector<UrlRequest> synchronous_;
  SynchronousAnswer synchronousAnswer_;
  int standingStatus_ = 0;
};

class FakeUuids final : public UuidSource {
 public:
  String createUuid() override;
  std::atomic<bool> givesNone = false;

 private:
  std::atomic<int> count_ = 0;
};

/// Has the report that a test gives it, and crashes when a test says so.
class FakeCrashReporter final : public CrashReporter {
 public:
  void setCrashCallbacks(const CrashCallbacks& newCallbacks) override;
  void setApplication(const String& identifier, const String& version) override;
  bool enableCrashReporterAndReturnError(Error* error) override;
  /// On the calling thread, if at all.
  void performOnMainThreadAndWait(void (*operation)(void* object), void* object) override;
  bool hasPendingCrashReport() override { return !pendingReport.isNil(); }
  Data loadPendingCrashReportDataAndReturnError(Error*) override {
    return isReadable ? pendingReport : nullptr;
  }
  void purgePendingCrashReport() override;
  String stringValueForCrashReport_withTextFormat(const CrashReport& report,
                                                  std::uint32_t textFormat) override;

  /// Does what the system's reporter does once it has written a report.
  void crash();

  Data pendingReport;
  bool isReadable = true;
  String text = "the text of the report";
  CrashCallbacks callbacks;
  CrashCallbacks enabledCallbacks;  ///< those that were there when the reporter was enabled
  String applicationIdentifier;
  String applicationVersion;
  int enabledCount = 0;
  std::vector<void*> performedObjects;  ///< of the operations moved to the main thread so far
  bool performs = true;
  int purgedCount = 0;
  std::vector<std::uint32_t> textFormats;  ///< asked for so far
  bool throws = false;                     ///< enabling throws std::runtime_error
  bool throwsOnCallbacks = false;          ///< so does setting the callbacks
  bool isEnabled = true;                   ///< what enabling returns
};

class FakeLog final : public PlatformLog {
 public:
  void writeLine(const String& line) override;
  std::vector<std::string> lines() const;
  /// Called with each later line, on the thread that writes it.
  void setListener(std::function<void(const std::string&)> listener);

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
  std::function<void(const std::string&)> listener_;
};

/// Keeps threads that the library starts from running, unless told otherwise.
class FakeThreads final : public Threads {
 public:
  void start(const char* name, std::function<void()> body) override;
  bool prepareForCrash() override { return preparesForCrash; }
  void yield() override;

  std::vector<std::string> startedNames() const;
  bool preparesForCrash = true;
  bool hasThreads = true;          ///< false: starting one throws std::system_error
  std::atomic<bool> runs = false;  ///< true: later threads really run
  std::atomic<int> yields = 0;     ///< how often a thread of the library let another one run

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> names_;
};

/// A whole platform of fakes, with the system's own JSON parser and archive. It is never destroyed: threads
/// of the library may outlive the test.
struct FakePlatform {
  FakeClock clock;
  FakeFileSystem files;
  FakeDeviceFacts device;
  FakeNetworkInterfaces interfaces;
  FakeReachability reachability;
  FakeUrlLoader urlLoader;
  FakeUuids uuids;
  FakeCrashReporter crashReporter;
  FakeLog log;
  FakeThreads threads;
  FakeDispatchQueues queues;

  /// Makes one and installs it.
  static FakePlatform& install();
};

}  // namespace pxa::test
