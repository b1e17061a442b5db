#include <algorithm>
#include <cbor.h>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <tuple>
#include <unistd.h>
#include <utility>
#include <vector>

#include <pxalog/Diagnostics.h>
#include <pxalog/Dictionary.h>
#include <pxalog/Host.h>
#include <pxalog/PXALog.h>

#include "api/handle/process_state.h"
#include "collector/Collector.h"
#include "platform/linux/FileDescriptor.h"
#include "queue/VeskBlockQueue.h"
#include "queue/event_archive.h"
#include "support/OwnNetwork.h"
#include "support/TemporaryDirectory.h"
#include "support/queued_events.h"
#include "support/wait.h"

// What the library keeps in files, on the real file system and across processes.

namespace pxa {
namespace {

using namespace std::string_view_literals;
using Diagnostics::Snapshot;
using test::enqueueAll;
using test::enqueueAllAsFailed;
using test::kFailedFile;
using test::kLogFile;
using test::kPatience;
using test::takeTimes;
using test::Times;
using test::timesFrom;
using test::waitForSnapshot;
using test::waitUntil;
using tools::Collector;
using tools::Element;
using tools::Fault;
using Names = std::set<std::string>;

/// One end of a conversation, line by line, between two processes.
class Talk {
 public:
  explicit Talk(FileDescriptor socket) : socket_(std::move(socket)) {
    const timeval patience{kPatience.count(), 0};
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
  }

  void say(const std::string& line) {
    const std::string text = line + "\n";
    ::send(socket_.get(), text.data(), text.size(), MSG_NOSIGNAL);
  }
  /// The next line of the other end; "" when none comes in time.
  std::string hear() {
    std::string line;
    for (char character = 0; ::recv(socket_.get(), &character, 1, 0) == 1 && character != '\n';)
      line += character;
    return line;
  }

 private:
  FileDescriptor socket_;
};

/// A process that does some work and ends; at the latest it is killed with this object. Made before the test
/// has other threads: no library need work in a process that was forked off from several.
class Process : public Talk {
 public:
  using Work = std::function<void(Talk& parent)>;

  explicit Process(const Work& work) : Process(work, newSockets()) {}
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process() { kill(); }

  void kill() {
    if (!hasEnded() && ::kill(id_, SIGKILL) == 0) ::waitpid(id_, &status_, 0);
    id_ = 0;
  }
  bool hasEnded() {
    if (id_ > 0 && ::waitpid(id_, &status_, WNOHANG) == id_) id_ = 0;
    return id_ <= 0;
  }
  /// Waits for the end of the work; false when it does not come in time, or is a violent one.
  bool ends() {
    return waitUntil([this] { return hasEnded(); }) && WIFEXITED(status_) && WEXITSTATUS(status_) == 0;
  }

 private:
  using Sockets = std::pair<FileDescriptor, FileDescriptor>;

  static Sockets newSockets() {
    int sockets[2] = {-1, -1};
    ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets);
    return {FileDescriptor(sockets[0]), FileDescriptor(sockets[1])};
  }
  Process(const Work& work, Sockets sockets) : Talk(std::move(sockets.first)), id_(::fork()) {
    if (id_ != 0) return;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    Talk parent(std::move(sockets.second));
    work(parent);
    ::_exit(0);
  }

  int status_ = 0;
  pid_t id_;
};

/// The real file system, with a documents directory of the test's own.
class SavedEvents : public testing::Test {
 protected:
  SavedEvents() {
    Host::setDocumentsDirectory(documents().string());
    Host::setLogSink([this](const String& line) {
      const std::lock_guard lock(mutex_);
      lines_.emplace_back(line.view());
    });
  }
  ~SavedEvents() override { Host::setLogSink({}); }

  [[nodiscard]] std::filesystem::path documents() const { return directory_.path() / "documents"; }

  [[nodiscard]] Names filesInDocuments() const {
    Names names;
    for (const auto& entry : std::filesystem::directory_iterator(documents()))
      names.insert(entry.path().filename());
    return names;
  }

  [[nodiscard]] std::optional<std::string> contentOf(const std::string& name) const {
    std::ifstream file(documents() / name, std::ios::binary);
    if (!file) return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(file), {});
  }

  void put(const char* name, std::string_view content) const {
    std::filesystem::create_directories(documents());
    std::ofstream(documents() / name, std::ios::binary) << content;
  }

  /// The console lines since the last call.
  std::vector<std::string> takeLines() {
    const std::lock_guard lock(mutex_);
    return std::exchange(lines_, {});
  }

  test::TemporaryDirectory directory_;

 private:
  std::mutex mutex_;
  std::vector<std::string> lines_;
};

/// The send times of the events in an archive; nothing when it is not one of events under that key.
std::optional<Times> timesIn(std::string_view archive, const char* key) {
  const auto events = eventsOfArchive(Data(archive), key);
  if (!events) return std::nullopt;
  return test::timesOf({events->begin(), events->end()});
}

// Writers that are killed, and writers that compete

/// As many events as a queue holds, told from those of other sets by their times.
struct EventSet {
  explicit EventSet(std::int64_t firstTime) : times(timesFrom(firstTime, VeskBlockQueue::kMostEvents)) {
    for (const std::int64_t time : times) {
      events.push_back(test::eventAt(time, Dictionary{{"logLevel", Data("INFO"sv)}}));
      events.back()->setBody(Data(std::string(400, static_cast<char>('a' + time % 26))));
    }
  }

  void save(VeskBlockQueue& queue) const {
    for (const VeskEventRef& event : events) queue.enqueue(event);
    queue.saveToFile();
  }

  Times times;
  std::vector<VeskEventRef> events;
};

class SavedEventSets : public SavedEvents {
 protected:
  /// Whether the file holds one of the two sets, whole.
  bool isWhole(const std::string& name = kLogFile) {
    const std::optional<std::string> content = contentOf(name);
    if (!content) return false;
    if (whole_.contains(*content)) return true;
    const std::optional<Times> times = timesIn(*content, "logArray");
    if (times != first_.times && times != second_.times) return false;
    whole_.insert(*content);
    return true;
  }

  const EventSet first_{1'000'000};
  const EventSet second_{2'000'000};

 private:
  std::set<std::string> whole_;  // contents seen; decoding takes long
};

TEST_F(SavedEventSets, AreOldOrNewOrNotThereWhereverTheWriterIsKilled) {
  using Clock = std::chrono::steady_clock;
  constexpr int kKills = 200;
  constexpr std::chrono::seconds kLongest(15);  // fewer kills where everything is slow
  VeskBlockQueue queue;
  first_.save(queue);
  const Clock::time_point start = Clock::now();
  second_.save(queue);
  std::uniform_int_distribution<Clock::rep> moment(0, (Clock::now() - start).count() * 5 / 4);
  std::mt19937 random(20240601);
  for (int killed = 0; killed < kKills && Clock::now() < start + kLongest; ++killed) {
    if (killed % 4 == 0) std::filesystem::remove(documents() / kLogFile);
    Process writer([&](Talk& parent) {
      parent.say("ready");
      for (int round = killed;; ++round) (round % 2 == 0 ? first_ : second_).save(queue);
    });
    ASSERT_EQ(writer.hear(), "ready");
    std::this_thread::sleep_for(Clock::duration(moment(random)));
    writer.kill();
    // One that was killed between giving a file a name and moving it into place leaves it there: whole.
    for (const std::string& name : filesInDocuments()) {
      EXPECT_TRUE(isWhole(name)) << name << " after " << killed << " kills";
      if (name != kLogFile) std::filesystem::remove(documents() / name);
    }
  }
}

TEST_F(SavedEventSets, AreWholeWhileTwoProcessesSaveIntoOneDirectory) {
  const auto saving = [](const EventSet& set) {
    return [&set](Talk& parent) {
      parent.hear();
      VeskBlockQueue queue;
      for (int round = 0; round < 15; ++round) set.save(queue);
    };
  };
  Process one(saving(first_));
  Process other(saving(second_));
  VeskBlockQueue queue;
  first_.save(queue);
  one.say("go");
  other.say("go");
  bool wasAlwaysWhole = true;
  ASSERT_TRUE(waitUntil([&] {
    wasAlwaysWhole = isWhole() && wasAlwaysWhole;
    return one.hasEnded() && other.hasEnded();
  }));
  EXPECT_TRUE(one.ends() && other.ends());
  EXPECT_TRUE(isWhole() && wasAlwaysWhole);
  EXPECT_EQ(filesInDocuments(), Names{kLogFile});
  second_.save(queue);
  EXPECT_EQ(timesIn(contentOf(kLogFile).value_or(""), "logArray"), second_.times);
}

// Files that hold no archive of events

using Reload = void (VeskBlockQueue::*)();
constexpr Reload kReloads[] = {&VeskBlockQueue::FileToMemory, &VeskBlockQueue::loadFromFile};

/// Whether the queue can save events and bring them back.
bool isUsable(VeskBlockQueue& queue) {
  enqueueAll(queue, {901});
  queue.saveToFile();
  enqueueAll(queue, {902});
  queue.FileToMemory();
  return takeTimes(queue) == Times{902, 901};
}

std::string archiveOf(const Times& times) {
  EventQueue events;
  for (const std::int64_t time : times)
    events.push_back(test::eventAt(time, Dictionary{{"number", short{7}}, {"\0key"sv, Data("x"sv)}}));
  return std::string(archiveOfEvents(events, "logArray").view());
}

class UndecodableFile : public SavedEvents {
 protected:
  /// Whether it is told of and kept, and the queue goes on with what it has.
  bool isKept(const std::string& content, Reload reload) {
    put(kLogFile, content);
    VeskBlockQueue queue;
    enqueueAll(queue, {1});
    (queue.*reload)();
    return takeLines().size() == 1 && contentOf(kLogFile) == content && takeTimes(queue) == Times{1} &&
           isUsable(queue);
  }
};

TEST_F(UndecodableFile, IsToldOfAndKept) {
  const std::string contents[] = {"",
                                  std::string(4096, '\0'),
                                  std::string(100'000, '\x81'),
                                  std::string(100'000, '\xFF'),
                                  "[{\"body\": \"message\"}]",
                                  archiveOf({5}) + '\0',
                                  archiveOf({5}) + archiveOf({6})};
  for (const std::string& content : contents)
    for (const Reload reload : kReloads) EXPECT_TRUE(isKept(content, reload)) << content.size();
}

TEST_F(UndecodableFile, IsOneThatWasCutAnywhere) {
  const std::string whole = archiveOf({5, 6});
  for (std::size_t size = 0; size < whole.size(); ++size)
    EXPECT_TRUE(isKept(whole.substr(0, size), kReloads[size % 2])) << size;
}

/// The bytes with a few of them changed, taken out or repeated.
std::string mutated(std::string bytes, std::mt19937& random) {
  for (std::size_t changes = 1 + random() % 4; changes > 0; --changes) {
    const std::size_t position = random() % bytes.size();
    const auto byte = static_cast<char>(static_cast<unsigned char>(random()));
    switch (random() % 4) {
      case 0:
        bytes.erase(position, 1 + random() % 8);
        break;
      case 1:
        bytes.insert(position, bytes.substr(position, 1 + random() % 8));
        break;
      default:
        bytes[position] = byte;
    }
  }
  return bytes;
}

TEST_F(UndecodableFile, IsToldOfAndKeptOrReadAndGoneAfterRandomChanges) {
  const std::string whole = archiveOf(timesFrom(1, 5));
  std::mt19937 random(20240602);
  int read = 0;
  for (int i = 0; i < 300; ++i) {
    const std::string content = mutated(whole, random);
    put(kLogFile, content);
    VeskBlockQueue queue;
    (queue.*kReloads[i % 2])();
    const std::size_t events = test::takeEvents(queue).size();
    if (takeLines().empty()) {
      ++read;
      EXPECT_EQ(contentOf(kLogFile), std::nullopt) << i;
    } else {
      EXPECT_EQ(contentOf(kLogFile), content) << i;
      EXPECT_EQ(events, 0U) << i;
    }
    EXPECT_TRUE(isUsable(queue)) << i;
  }
  EXPECT_GT(read, 0);
  EXPECT_LT(read, 300);
}

// Directories that cannot be used

/// A directory in a mount namespace of the test's own, which goes with it.
class OwnMount {
 public:
  explicit OwnMount(const std::filesystem::path& path) : path_(path) {
    std::filesystem::create_directories(path);
    isMade_ = test::showInstead(path_, path_);
  }
  OwnMount(const OwnMount&) = delete;
  OwnMount& operator=(const OwnMount&) = delete;
  ~OwnMount() {
    while (isMade_ && ::umount2(path_.c_str(), MNT_DETACH) == 0) {
    }
  }

  /// Puts a file system of that size into its place.
  bool makeSmall(const char* size) const {
    return isMade_ && ::mount("tmpfs", path_.c_str(), "tmpfs", 0, size) == 0;
  }
  bool setReadOnly(bool isReadOnly) const {
    const unsigned long readOnly = isReadOnly ? unsigned{MS_RDONLY} : 0;
    return isMade_ && ::mount("none", path_.c_str(), nullptr, MS_REMOUNT | MS_BIND | readOnly, nullptr) == 0;
  }

 private:
  const std::string path_;
  bool isMade_;
};

using UnusableDirectory = SavedEvents;

TEST_F(UnusableDirectory, KeepsTheOldFilesOnAFullDisk) {
  const OwnMount mount(documents());
  if (!mount.makeSmall("size=65536")) GTEST_SKIP() << "mounts are forbidden here";
  VeskBlockQueue queue;
  enqueueAll(queue, {1});
  enqueueAllAsFailed(queue, {2});
  queue.saveToFile();
  enqueueAll(queue, timesFrom(1000, 2000));
  enqueueAllAsFailed(queue, timesFrom(3000, 2000));
  queue.saveToFile();
  EXPECT_EQ(queue.dequeueIfAny(), nullptr);
  EXPECT_EQ(filesInDocuments(), (Names{kLogFile, kFailedFile}));
  queue.loadFromFile();
  EXPECT_EQ(takeTimes(queue), (Times{1, 2}));
  EXPECT_TRUE(isUsable(queue));
  EXPECT_TRUE(takeLines().empty());
}

TEST_F(UnusableDirectory, KeepsFilesThatCannotBeReplacedOrDeleted) {
  const OwnMount mount(documents());
  VeskBlockQueue queue;
  enqueueAll(queue, {1});
  enqueueAllAsFailed(queue, {2});
  queue.saveToFile();
  if (!mount.setReadOnly(true)) GTEST_SKIP() << "mounts are forbidden here";
  enqueueAll(queue, {3});
  enqueueAllAsFailed(queue, {4});
  queue.saveToFile();
  EXPECT_EQ(queue.dequeueIfAny(), nullptr);
  queue.loadFromFile();
  EXPECT_EQ(takeTimes(queue), (Times{1, 2}));
  EXPECT_EQ(filesInDocuments(), (Names{kLogFile, kFailedFile}));
  ASSERT_TRUE(mount.setReadOnly(false));
  queue.loadFromFile();
  EXPECT_EQ(takeTimes(queue), (Times{1, 2}));
  EXPECT_TRUE(filesInDocuments().empty());
  EXPECT_TRUE(takeLines().empty());
}

TEST_F(UnusableDirectory, IsMadeForTheFilesWhenItIsMissing) {
  VeskBlockQueue queue;
  EXPECT_TRUE(isUsable(queue));
  std::filesystem::remove_all(documents());
  EXPECT_TRUE(isUsable(queue));
}

TEST_F(UnusableDirectory, CostsTheEventsWhenItCannotBeMade) {
  std::ofstream(directory_.path() / "file") << "content";
  Host::setDocumentsDirectory(directory_.path("file/documents"));
  VeskBlockQueue queue;
  enqueueAll(queue, {1});
  enqueueAllAsFailed(queue, {2});
  queue.saveToFile();
  queue.loadFromFile();
  EXPECT_EQ(queue.dequeueIfAny(), nullptr);
  Host::setDocumentsDirectory(documents().string());
  EXPECT_TRUE(isUsable(queue));
}

TEST_F(UnusableDirectory, IsNotDeletedInAFilesPlace) {
  for (const Reload reload : kReloads) {
    std::filesystem::create_directories(documents() / kLogFile);
    std::filesystem::create_directories(documents() / kFailedFile / "inside");
    VeskBlockQueue queue;
    enqueueAll(queue, {1});
    (queue.*reload)();
    EXPECT_EQ(takeTimes(queue), Times{1});
    enqueueAll(queue, {2});
    enqueueAllAsFailed(queue, {3});
    queue.saveToFile();
    EXPECT_EQ(queue.dequeueIfAny(), nullptr);
    EXPECT_EQ(filesInDocuments(), (Names{kLogFile, kFailedFile}));
    EXPECT_TRUE(std::filesystem::is_directory(documents() / kFailedFile / "inside"));
    std::filesystem::remove_all(documents());
    EXPECT_TRUE(isUsable(queue));
  }
}

// Lives of the library, each in a process of its own

void askForSettingsAt(int port) {
  Host::setSettingsService({"127.0.0.1:" + std::to_string(port), nullptr, nullptr});
}

/// Opens a handle for the collector on the port. Held, nothing is sent.
bool open(int port, const String& handleId, bool isHeld = false) {
  askForSettingsAt(port);
  return PXALog::
      init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart_withUnityVersion_forHandleId(
          "http://127.0.0.1", port, 1, "shop", "1.0", nullptr, false, isHeld, nullptr, handleId);
}

void log(const String& handleId, const String& message) {
  PXALog::info_withMessage_atLocation_forHandleId(nullptr, message, nullptr, handleId);
}

/// The books of this process, in words.
std::string books() {
  const Diagnostics::Events events = Diagnostics::snapshot().events;
  const auto count = [](std::uint64_t number, const char* what) { return std::to_string(number) + what; };
  return count(events.delivered, " delivered, ") + count(events.saved, " saved, ") +
         count(events.dropped.tooManyFailures, " failed too often, ") +
         count(events.dropped.unknownHandle, " of unknown handles");
}

/// Waits until that many requests were answered and no event is on its way.
bool waitForAnswers(std::uint64_t count) {
  return waitForSnapshot([&](const Snapshot& now) {
    return now.requests.delivered + now.requests.refused + now.requests.failed == count &&
           now.events.waiting + now.events.gathered + now.events.inFlight == 0;
  });
}

/// One key of every event that arrived, in order; "(none)" where there is none.
std::vector<std::string> arrived(const Collector& collector, const std::string& key) {
  std::vector<std::string> texts;
  for (const tools::ReceivedRequest& request : collector.requests())
    for (const Element& element : request.elements) {
      const auto member = element.members.find(key);
      texts.push_back(member == element.members.end() ? "(none)" : member->second);
    }
  return texts;
}

using LivesOfTheLibrary = SavedEvents;

TEST_F(LivesOfTheLibrary, SendAnEventFourTimesAndGiveItUpInTheFifth) {
  const auto live = [](bool isFirst) {
    return [isFirst](Talk& parent) {
      open(std::stoi(parent.hear()), "Keepcell");
      if (isFirst) log("Keepcell", "unlucky");
      waitForAnswers(1);
      Host::didEnterBackground();
      parent.say(books());
    };
  };
  std::deque<Process> lives;
  for (int life = 0; life < 5; ++life) lives.emplace_back(live(life == 0));

  Collector collector;
  collector.setBehaviourForNext(
      {{.status = 500}, {.fault = Fault::CutBeforeHead}, {.status = 404}, {.fault = Fault::CutBeforeHead}});
  std::vector<std::string> told;
  for (Process& life : lives) {
    life.say(std::to_string(collector.httpPort()));
    told.push_back(life.hear());
    EXPECT_TRUE(life.ends());
  }

  const std::string carriedOver = "0 delivered, 1 saved, 0 failed too often, 0 of unknown handles";
  EXPECT_EQ(told,
            (std::vector<std::string>{carriedOver, carriedOver, carriedOver, carriedOver,
                                      "0 delivered, 0 saved, 1 failed too often, 0 of unknown handles"}));
  EXPECT_EQ(arrived(collector, "body"), std::vector<std::string>(4, "unlucky"));
  EXPECT_EQ(arrived(collector, "errorRate"), (std::vector<std::string>{"(none)", "1", "2", "3"}));
  ASSERT_EQ(collector.requests().size(), 5U);
  EXPECT_EQ(collector.requests().back().body, "[]");
  EXPECT_EQ(contentOf(kFailedFile), std::nullopt);
}

TEST_F(LivesOfTheLibrary, LoseNothingThatWasQueuedWhenTheyAreKilledInTheBackground) {
  const auto waitToBeKilled = [](Talk& parent) {
    Host::didEnterBackground();
    parent.say(books());
    parent.hear();
  };
  Process refused([&](Talk& parent) {
    open(std::stoi(parent.hear()), "Keepcell");
    for (const char* message : {"one", "two", "three"}) log("Keepcell", message);
    waitForAnswers(1);
    waitToBeKilled(parent);
  });
  Process held([&](Talk& parent) {
    const int port = std::stoi(parent.hear());
    open(port, "Keepcell", true);
    open(port, "gone", true);
    for (const char* message : {"four", "five"}) log("Keepcell", message);
    log("gone", "six");
    waitToBeKilled(parent);
  });
  Process last([](Talk& parent) {
    open(std::stoi(parent.hear()), "Keepcell");
    waitForAnswers(1);
    parent.say(books());
  });

  Collector collector;
  const std::string port = std::to_string(collector.httpPort());
  collector.setBehaviour({.status = 500});
  refused.say(port);
  EXPECT_EQ(refused.hear(), "0 delivered, 3 saved, 0 failed too often, 0 of unknown handles");
  refused.kill();
  held.say(port);
  EXPECT_EQ(held.hear(), "0 delivered, 7 saved, 0 failed too often, 0 of unknown handles");
  held.kill();
  EXPECT_EQ(collector.acceptedElements(), 0U);

  collector.setBehaviour({});
  last.say(port);
  EXPECT_EQ(last.hear(), "5 delivered, 0 saved, 0 failed too often, 2 of unknown handles");
  EXPECT_TRUE(last.ends());
  const std::vector<tools::ReceivedRequest> requests = collector.requests();
  std::vector<std::string> bodies;
  for (const Element& element : requests.back().elements) bodies.push_back(element.members.at("body"));
  EXPECT_EQ(bodies, (std::vector<std::string>{"one", "two", "three", "four", "five"}));
}

// The hooks of the application's life

class LifecycleHooks : public SavedEvents {
 protected:
  /// An event in each queue of a library that sends nothing.
  void fillQueues() {
    ASSERT_TRUE(open(collector_.httpPort(), "Keepcell", true));
    log("Keepcell", "waiting");
    gs_blockQueue()->enqueueFile(test::eventAt(1));
  }

  Collector collector_;
};

mode_t permissionsOf(const std::filesystem::path& path) {
  return static_cast<mode_t>(std::filesystem::status(path).permissions());
}

TEST_F(LifecycleHooks, HaveWrittenFilesForTheirOwnerAloneWhenTheyReturn) {
  const mode_t before = ::umask(0);
  fillQueues();
  PXALog::applicationDidEnterBackground(nullptr);
  ::umask(before);
  EXPECT_EQ(timesIn(contentOf(kLogFile).value_or(""), "logArray").value_or(Times()).size(), 1U);
  EXPECT_EQ(timesIn(contentOf(kFailedFile).value_or(""), "fileArray"), Times{1});
  EXPECT_EQ(permissionsOf(documents()), 0700U);
  EXPECT_EQ(permissionsOf(documents() / kLogFile), 0600U);
  EXPECT_EQ(permissionsOf(documents() / kFailedFile), 0600U);
  EXPECT_TRUE(test::takeEvents().empty());
}

TEST_F(LifecycleHooks, HaveQueuedTheEventsAndDeletedTheFilesWhenTheyReturn) {
  fillQueues();
  PXALog::applicationDidEnterBackground(nullptr);
  PXALog::applicationWillEnterForeground(nullptr);
  EXPECT_EQ(contentOf(kLogFile), std::nullopt);
  EXPECT_EQ(contentOf(kFailedFile), std::nullopt);
  EXPECT_EQ(test::bodiesOf(test::takeEvents()), std::vector<std::string>{"waiting"});
  gs_blockQueue()->saveToFile();
  EXPECT_EQ(timesIn(contentOf(kFailedFile).value_or(""), "fileArray"), Times{1});
}

TEST_F(LifecycleHooks, LeaveEventsInFlightAlone) {
  collector_.setBehaviour({.fault = Fault::Silent});
  ASSERT_TRUE(open(collector_.httpPort(), "Keepcell"));
  log("Keepcell", "in flight");
  ASSERT_TRUE(waitForSnapshot([](const Snapshot& now) { return now.events.inFlight == 1; }));
  PXALog::applicationDidEnterBackground(nullptr);
  EXPECT_EQ(contentOf(kLogFile), std::nullopt);
  EXPECT_EQ(contentOf(kFailedFile), std::nullopt);
  EXPECT_EQ(Diagnostics::snapshot().events.inFlight, 1U);
}

// The files in the eyes of another decoder

using CborItem = std::unique_ptr<cbor_item_t, void (*)(cbor_item_t*)>;

/// Takes the bytes apart; empty when they are not exactly one item.
CborItem decoded(const std::string& bytes) {
  cbor_load_result result{};
  cbor_item_t* const item =
      cbor_load(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), &result);
  const bool isWhole = result.error.code == CBOR_ERR_NONE && result.read == bytes.size();
  EXPECT_TRUE(isWhole);
  return {item, [](cbor_item_t* root) { cbor_decref(&root); }};
}

std::string textOf(const cbor_item_t* item) {
  return {reinterpret_cast<const char*>(cbor_string_handle(item)), cbor_string_length(item)};
}

std::string bytesOf(const cbor_item_t* item) {
  return {reinterpret_cast<const char*>(cbor_bytestring_handle(item)), cbor_bytestring_length(item)};
}

using Members = std::map<std::string, const cbor_item_t*>;

Members membersOf(const cbor_item_t* dictionary) {
  Members members;
  const cbor_pair* const pairs = cbor_map_handle(dictionary);
  for (std::size_t i = 0; i < cbor_map_size(dictionary); ++i) members[textOf(pairs[i].key)] = pairs[i].value;
  return members;
}

std::string kindOf(const cbor_item_t* item) {
  if (cbor_isa_string(item)) return "text";
  if (cbor_isa_bytestring(item)) return "bytes";
  if (cbor_is_int(item)) return "integer";
  if (cbor_isa_map(item)) return "dictionary";
  return cbor_is_null(item) ? "null" : "something else";
}

std::map<std::string, std::string> kindsOf(const Members& members) {
  std::map<std::string, std::string> kinds;
  for (const auto& [key, item] : members) kinds[key] = kindOf(item);
  return kinds;
}

TEST_F(SavedEvents, CanBeReadByAnotherDecoder) {
  const VeskEventRef event =
      VeskEvent::initWithProjectName_projectVersion_logType_logSource_body_sendTime_host_fields_handleId(
          "shop", "1.0", "type", "source", Data("b\xFF"sv), 1'500'000'000'123, "192.0.2.1",
          Dictionary{{"logLevel", Data("INFO"sv)}, {"errorRate", "3"}}, "7");
  VeskBlockQueue queue;
  queue.enqueue(event);
  queue.enqueue(std::make_shared<VeskEvent>());
  queue.enqueueFile(event);
  queue.saveToFile();

  for (const auto& [file, key, count] :
       {std::tuple(kLogFile, "logArray", 2U), std::tuple(kFailedFile, "fileArray", 1U)}) {
    const CborItem root = decoded(contentOf(file).value_or(""));
    ASSERT_TRUE(root != nullptr && cbor_isa_map(root.get()));
    const Members top = membersOf(root.get());
    ASSERT_EQ(top.size(), 1U);
    ASSERT_TRUE(top.contains(key) && cbor_isa_array(top.at(key)));
    ASSERT_EQ(cbor_array_size(top.at(key)), count);
    cbor_item_t** const events = cbor_array_handle(top.at(key));

    const Members whole = membersOf(events[0]);
    EXPECT_EQ(kindsOf(whole), (std::map<std::string, std::string>{{"projectName", "text"},
                                                                  {"projectVersion", "text"},
                                                                  {"logType", "text"},
                                                                  {"logSource", "text"},
                                                                  {"body", "bytes"},
                                                                  {"sendTime", "integer"},
                                                                  {"host", "text"},
                                                                  {"fields", "dictionary"},
                                                                  {"handleId", "text"}}));
    EXPECT_EQ(textOf(whole.at("projectName")), "shop");
    EXPECT_EQ(bytesOf(whole.at("body")), "b\xFF");
    EXPECT_EQ(cbor_get_int(whole.at("sendTime")), 1'500'000'000'123U);
    EXPECT_EQ(kindsOf(membersOf(whole.at("fields"))),
              (std::map<std::string, std::string>{{"logLevel", "bytes"}, {"errorRate", "text"}}));

    if (count < 2) continue;
    std::map<std::string, std::string> nulls;
    for (const auto& [member, item] : whole) nulls[member] = member == "sendTime" ? "integer" : "null";
    EXPECT_EQ(kindsOf(membersOf(events[1])), nulls);
  }
}

}  // namespace
}  // namespace pxa
