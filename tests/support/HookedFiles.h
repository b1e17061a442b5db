#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/Platform.h"
#include "support/FakePlatform.h"
#include "support/wait.h"

namespace pxa::test {

/// Holds a thread up at some point until a test lets it go on.
class Gate {
 public:
  /// Waits until the gate is opened.
  void pass() {
    std::unique_lock lock(mutex_);
    hasArrived_ = true;
    changed_.notify_all();
    changed_.wait(lock, [this] { return isOpen_; });
  }
  /// Waits until a thread stands at the gate; false when none does in time.
  bool waitForArrival() {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kPatience, [this] { return hasArrived_; });
  }
  void open() {
    const std::lock_guard lock(mutex_);
    isOpen_ = true;
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool hasArrived_ = false;
  bool isOpen_ = false;
};

/// Files that do something else first, and remember what was asked of them.
class HookedFiles final : public FileSystem {
 public:
  enum class Operation { Exists, Read, Write, WriteAtomically, Remove };
  struct Call {
    Operation operation;
    std::string fileName;
    friend bool operator==(const Call&, const Call&) = default;
  };

  explicit HookedFiles(FileSystem& files) : files_(files) {}

  /// Runs before each operation on a file. Set it while no thread uses the files.
  std::function<void(const Call&)> before = [](const Call&) {};

  /// What was done to files so far, questions whether they exist aside.
  std::vector<Call> calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
  }

  String documentsDirectory() override { return files_.documentsDirectory(); }
  bool fileExists(const String& path) override {
    note(Operation::Exists, path);
    return files_.fileExists(path);
  }
  std::optional<Data> read(const String& path) override {
    note(Operation::Read, path);
    return files_.read(path);
  }
  bool write(const String& path, const Data& content) override {
    note(Operation::Write, path);
    return files_.write(path, content);
  }
  bool writeAtomically(const String& path, const Data& content) override {
    note(Operation::WriteAtomically, path);
    return files_.writeAtomically(path, content);
  }
  bool removeFile(const String& path) override {
    note(Operation::Remove, path);
    return files_.removeFile(path);
  }

 private:
  void note(Operation operation, const String& path) {
    const std::string whole(path.view());
    const Call call{operation, whole.substr(whole.rfind('/') + 1)};
    before(call);
    if (operation == Operation::Exists) return;
    const std::lock_guard lock(mutex_);
    calls_.push_back(call);
  }

  FileSystem& files_;
  mutable std::mutex mutex_;
  std::vector<Call> calls_;
};

/// A platform of fakes whose files are hooked. Nothing of it is ever destroyed.
struct HookedPlatform {
  FakePlatform& fakes;
  HookedFiles& files;

  static HookedPlatform install() {
    FakePlatform& fakes = FakePlatform::install();
    const Platform& plain = Platform::current();
    auto& files = *new HookedFiles(plain.files);
    const auto* hooked = new Platform{plain.clock,        files,
                                      plain.device,       plain.interfaces,
                                      plain.reachability, plain.urlLoader,
                                      plain.jsonParser,   plain.keyedArchive,
                                      plain.uuids,        plain.crashReporter,
                                      plain.log,          plain.threads,
                                      plain.queues};
    static auto& installed = *new std::vector<const Platform*>;
    installed.push_back(hooked);
    Platform::install(*hooked);
    return {fakes, files};
  }
};

}  // namespace pxa::test
