#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <pxalog/Array.h>
#include <pxalog/Diagnostics.h>
#include <pxalog/Dictionary.h>

#include "diagnostics/Ledger.h"
#include "queue/VeskBlockQueue.h"
#include "queue/event_archive.h"
#include "support/BackgroundCall.h"
#include "support/FakePlatform.h"
#include "support/HookedFiles.h"
#include "support/queued_events.h"

namespace pxa {
namespace {

using namespace std::string_view_literals;
using test::BackgroundCall;
using test::enqueueAll;
using test::enqueueAllAsFailed;
using test::eventAt;
using test::FakePlatform;
using test::HookedFiles;
using test::HookedPlatform;
using test::keptForGood;
using test::kFailedFile;
using test::kLogFile;
using test::takeEvents;
using test::takeTimes;
using test::Times;
using test::timesFrom;
using test::timesInFailedFile;
using test::timesInLogFile;
using Lines = std::vector<std::string>;
using Operation = HookedFiles::Operation;

class Opaque final : public Object {
 public:
  [[nodiscard]] String className() const override { return "Opaque"; }
};

/// An event that no archive takes.
VeskEventRef unarchivableEvent() {
  return eventAt(13, Dictionary{{"object", Value(std::make_shared<Opaque>())}});
}

VeskEventRef eventWithRate(std::int64_t time, Value errorRate) {
  return eventAt(time, Dictionary{{"errorRate", std::move(errorRate)}});
}

/// Puts a file of an earlier process there.
void putFile(FakePlatform& fakes, const char* name, const char* key, const EventQueue& events) {
  fakes.files.put(name, archiveOfEvents(events, key).view());
}

void putLogs(FakePlatform& fakes, const EventQueue& events) {
  putFile(fakes, kLogFile, "logArray", events);
}

void putFailedEvents(FakePlatform& fakes, const EventQueue& events) {
  putFile(fakes, kFailedFile, "fileArray", events);
}

EventQueue eventsAt(const Times& times) {
  EventQueue events;
  for (const std::int64_t time : times) events.push_back(eventAt(time));
  return events;
}

bool areFilesGone(FakePlatform& fakes) {
  return !fakes.files.contentOf(kLogFile) && !fakes.files.contentOf(kFailedFile);
}

Value errorRateOf(const VeskEvent& event) {
  return event.fields().dictionary().value("errorRate");
}

/// The "errorRate" of each event of the log queue, which is taken out.
std::vector<std::string> takeErrorRates(VeskBlockQueue& queue) {
  std::vector<std::string> rates;
  for (const VeskEventRef& event : takeEvents(queue)) {
    const Value rate = errorRateOf(*event);
    rates.emplace_back(rate.kind() == Value::Kind::String ? rate.bytes() : "(none)"sv);
  }
  return rates;
}

/// Whether all locks of the log queue, the file queue and the files are free.
bool isUsable(VeskBlockQueue& queue) {
  return BackgroundCall([&queue] {
           queue.enqueue(eventAt(90));
           queue.dequeue();
           queue.enqueueFile(nullptr);
           queue.enqueueFile(eventAt(91));
           queue.saveToFile();
         })
      .returns();
}

/// Whether the log has one line, which says something after that start.
bool toldOnce(const FakePlatform& fakes, std::string_view start) {
  const Lines lines = fakes.log.lines();
  return lines.size() == 1 && lines[0].size() > start.size() && lines[0].compare(0, start.size(), start) == 0;
}

// Paths

TEST(SavedLogStore, KeepsTwoFilesInTheDocumentsDirectory) {
  FakePlatform::install();
  EXPECT_EQ(VeskBlockQueue::dataFilePath(), "/documents/Vesk2SavedLog");
  EXPECT_EQ(VeskBlockQueue::fileFilePath(), "/documents/fileVesk2SavedLog");
}

// Saving

TEST(SavedLogStore, WritesAQueueAndEmptiesIt) {
  const struct {
    void (*fill)(VeskBlockQueue&, const Times&);
    const char* file;
    const char* key;
  } queues[] = {{enqueueAll, kLogFile, "logArray"}, {enqueueAllAsFailed, kFailedFile, "fileArray"}};
  for (const auto& [fill, file, key] : queues) {
    FakePlatform& fakes = FakePlatform::install();
    VeskBlockQueue queue;
    fill(queue, {5, 1, 4, 2, 3});
    queue.saveToFile();
    EXPECT_EQ(test::timesInFile(fakes, file, key), (Times{5, 1, 4, 2, 3}));
    EXPECT_EQ(queue.dequeueIfAny(), nullptr);
    fakes.files.put(file, "older");
    queue.saveToFile();
    EXPECT_EQ(fakes.files.contentOf(file), "older");
  }
}

TEST(SavedLogStore, WritesEachQueueToItsOwnFile) {
  FakePlatform& fakes = FakePlatform::install();
  VeskBlockQueue queue;
  enqueueAll(queue, {1, 2});
  enqueueAllAsFailed(queue, {3});
  queue.saveToFile();
  EXPECT_EQ(timesInLogFile(fakes), (Times{1, 2}));
  EXPECT_EQ(timesInFailedFile(fakes), Times{3});
}

TEST(SavedLogStore, WritesNothingForEmptyQueues) {
  FakePlatform& fakes = FakePlatform::install();
  VeskBlockQueue queue;
  queue.saveToFile();
  EXPECT_TRUE(areFilesGone(fakes));
}

TEST(SavedLogStore, LeavesAnOlderFileOfAnEmptyQueueAlone) {
  FakePlatform& fakes = FakePlatform::install();
  fakes.files.put(kLogFile, "older logs");
  fakes.files.put(kFailedFile, "older failures");
  VeskBlockQueue queue;
  enqueueAll(queue, {1});
  queue.saveToFile();
  EXPECT_EQ(timesInLogFile(fakes), Times{1});
  EXPECT_EQ(fakes.files.contentOf(kFailedFile), "older failures");
  fakes.files.put(kLogFile, "older logs");
  enqueueAllAsFailed(queue, {2});
  queue.saveToFile();
  EXPECT_EQ(fakes.files.contentOf(kLogFile), "older logs");
  EXPECT_EQ(timesInFailedFile(fakes), Times{2});
}

TEST(SavedLogStore, ReplacesAnOlderFileByANewOne) {
  FakePlatform& fakes = FakePlatform::install();
  VeskBlockQueue queue;
  enqueueAll(queue, {1, 2});
  queue.saveToFile();
  enqueueAll(queue, {3});
  queue.saveToFile();
  EXPECT_EQ(timesInLogFile(fakes), Times{3});
}

TEST(SavedLogStore, WritesTheLogsFirstAndBothFilesAtomically) {
  const auto [fakes, files] = HookedPlatform::install();
  VeskBlockQueue queue;
  enqueueAllAsFailed(queue, {1});
  enqueueAll(queue, {2});
  queue.saveToFile();
  EXPECT_EQ(files.calls(), (std::vector<HookedFiles::Call>{{Operation::WriteAtomically, kLogFile},
                                                           {Operation::WriteAtomically, kFailedFile}}));
}

TEST(SavedLogStore, EmptiesTheQueuesEvenWhenTheFilesCannotBeWritten) {
  FakePlatform& fakes = FakePlatform::install();
  fakes.files.failsToWrite = true;
  VeskBlockQueue queue;
  enqueueAll(queue, {1});
  enqueueAllAsFailed(queue, {2});
  queue.saveToFile();
  EXPECT_EQ(queue.dequeueIfAny(), nullptr);
  fakes.files.failsToWrite = false;
  queue.saveToFile();
  EXPECT_TRUE(areFilesGone(fakes));
  EXPECT_EQ(fakes.log.lines(), Lines{});
}

TEST(SavedLogStore, SavesAFullQueue) {
  FakePlatform& fakes = FakePlatform::install();
  VeskBlockQueue queue;
  enqueueAll(queue, timesFrom(0, 2000));
  queue.saveToFile();
  EXPECT_EQ(timesInLogFile(fakes), timesFrom(0, 2000));
}

TEST(SavedLogStore, MakesAThreadThatWaitsForAnEventWaitOn) {
  FakePlatform::install();
  VeskBlockQueue& queue = keptForGood<VeskBlockQueue>();
  enqueueAll(queue, {1});
  queue.saveToFile();
  BackgroundCall taking([&queue] { return queue.dequeue(); });
  EXPECT_TRUE(taking.blocks());
}

// Saving the failed events alone

TEST(SavedFailedEvents, AreWrittenWithoutTheLogs) {
  const auto [fakes, files] = HookedPlatform::install();
  VeskBlockQueue queue;
  enqueueAll(queue, {1, 2});
  enqueueAllAsFailed(queue, {3, 4});
  queue.saveFailedToFile();
  EXPECT_EQ(timesInFailedFile(fakes), (Times{3, 4}));
  EXPECT_EQ(files.calls(), (std::vector<HookedFiles::Call>{{Operation::WriteAtomically, kFailedFile}}));
  EXPECT_EQ(takeTimes(queue), (Times{1, 2}));
}

TEST(SavedFailedEvents, LeaveTheirQueueEvenWhenTheFileCannotBeWritten) {
  FakePlatform& fakes = FakePlatform::install();
  fakes.files.failsToWrite = true;
  VeskBlockQueue queue;
  enqueueAllAsFailed(queue, {1});
  queue.saveFailedToFile();
  fakes.files.failsToWrite = false;
  queue.saveFailedToFile();
  EXPECT_TRUE(areFilesGone(fakes));
}

TEST(SavedFailedEvents, ReplaceAnOlderFileUnlessThereAreNone) {
  FakePlatform& fakes = FakePlatform::install();
  fakes.files.put(kFailedFile, "older");
  VeskBlockQueue queue;
  enqueueAll(queue, {1});
  queue.saveFailedToFile();
  EXPECT_EQ(fakes.files.contentOf(kFailedFile), "older");
  enqueueAllAsFailed(queue, {2});
  queue.saveFailedToFile();
  EXPECT_EQ(timesInFailedFile(fakes), Times{2});
}

TEST(SavedFailedEvents, TellTheConsoleWhyTheyWereNotSaved) {
  FakePlatform& fakes = FakePlatform::install();
  VeskBlockQueue queue;
  queue.enqueueFile(unarchivableEvent());
  queue.saveFailedToFile();
  EXPECT_TRUE(toldOnce(fakes, "[saveToFile] fileArray : "));
  EXPECT_TRUE(areFilesGone(fakes));
}

TEST(SavedFailedEvents, AreReadBackLikeAllOthers) {
  FakePlatform& fakes = FakePlatform::install();
  VeskBlockQueue queue;
  enqueueAllAsFailed(queue, {1});
  queue.saveFailedToFile();
  queue.loadFromFile();
  EXPECT_EQ(takeTimes(queue), Times{1});
  EXPECT_TRUE(areFilesGone(fakes));
}

// Back to memory

TEST(SavedLogStore, ReadsLogsBackBehindThoseThatCameMeanwhile) {
  FakePlatform& fakes = FakePlatform::install();
  VeskBlockQueue queue;
  enqueueAll(queue, {1, 2, 3, 4, 5});
  queue.saveToFile();
  enqueueAll(queue, {6, 7});
  queue.FileToMemory();
  EXPECT_EQ(takeTimes(queue), (Times{6, 7, 1, 2, 3, 4, 5}));
  EXPECT_TRUE(areFilesGone(fakes));
}

TEST(SavedLogStore, ReadsEventsBackWhole) {
  FakePlatform::install();
  VeskBlockQueue queue;
  const VeskEventRef event =
      VeskEvent::initWithProjectName_projectVersion_logType_logSource_body_sendTime_host_fields_handleId(
          "name", nullptr, "type", "source", Data("body \xFF"sv), -7, "host",
          Dictionary{{"logLevel", Data("INFO"sv)},
                     {"errorCode", "E1"},
                     {"numbers", Array{true, 'c', short{-2}, 3, 4LL, 5ULL, 0.1F, 0.1,
                                       Value(Decimal::parse("1.10").value())}}},
          "0");
  queue.enqueue(event);
  queue.saveToFile();
  queue.FileToMemory();
  Dictionary before;
  Dictionary after;
  event->encodeWithCoder(before);
  queue.dequeue()->encodeWithCoder(after);
  EXPECT_TRUE(Value(before) == Value(after));
}

TEST(SavedLogStore, ReadsFailedEventsBackToTheirOwnQueue) {
  FakePlatform& fakes = FakePlatform::install();
  VeskBlockQueue queue;
  enqueueAllAsFailed(queue, {1, 2});
  queue.saveToFile();
  enqueueAllAsFailed(queue, {3});
  queue.FileToMemory();
  EXPECT_TRUE(areFilesGone(fakes));
  EXPECT_EQ(queue.dequeueIfAny(), nullptr);
  queue.saveToFile();
  EXPECT_EQ(timesInFailedFile(fakes), (Times{3, 1, 2}));
}

TEST(SavedLogStore, RaisesNoCounterOnTheWayBackToMemory) {
  FakePlatform& fakes = FakePlatform::install();
  putLogs(fakes, {eventAt(1), eventWithRate(2, "3")});
  putFailedEvents(fakes, {eventAt(3)});
  VeskBlockQueue queue;
  queue.FileToMemory();
  EXPECT_EQ(takeErrorRates(queue), (Lines{"(none)", "3"}));
}

TEST(SavedLogStore, DoesNothingWithoutFiles) {
  FakePlatform& fakes = FakePlatform::install();
  VeskBlockQueue queue;
  enqueueAll(queue, {1});
  queue.FileToMemory();
  queue.loadFromFile();
  EXPECT_EQ(takeErrorRates(queue), Lines{"(none)"});
  EXPECT_EQ(fakes.log.lines(), Lines{});
}

TEST(SavedLogStore, WakesAllWaitingThreadsWithTheLogsItReadsBack) {
  for (void (VeskBlockQueue::*const reload)() :
       {&VeskBlockQueue::FileToMemory, &VeskBlockQueue::loadFromFile}) {
    FakePlatform& fakes = FakePlatform::install();
    putLogs(fakes, eventsAt({1, 2, 3}));
    VeskBlockQueue& queue = keptForGood<VeskBlockQueue>();
    const BackgroundCall first([&queue] { return queue.dequeue(); });
    const BackgroundCall second([&queue] { return queue.dequeue(); });
    const BackgroundCall asking([&queue] { return queue.queueSize(); });
    ASSERT_TRUE(first.blocks());
    ASSERT_TRUE(second.blocks());
    ASSERT_TRUE(asking.blocks());
    (queue.*reload)();
    EXPECT_TRUE(first.returns());
    EXPECT_TRUE(second.returns());
    EXPECT_TRUE(asking.returns());
  }
}

TEST(SavedLogStore, WakesAllWaitingThreadsWithFailedEventsThatBecomeLogs) {
  FakePlatform& fakes = FakePlatform::install();
  putFailedEvents(fakes, eventsAt({1, 2}));
  VeskBlockQueue& queue = keptForGood<VeskBlockQueue>();
  const BackgroundCall first([&queue] { return queue.dequeue(); });
  const BackgroundCall second([&queue] { return queue.dequeue(); });
  ASSERT_TRUE(first.blocks());
  ASSERT_TRUE(second.blocks());
  queue.loadFromFile();
  EXPECT_TRUE(first.returns());
  EXPECT_TRUE(second.returns());
}

TEST(SavedLogStore, LeavesAThreadThatWaitsForLogsAsleepForFailedEvents) {
  FakePlatform& fakes = FakePlatform::install();
  putFailedEvents(fakes, eventsAt({1}));
  VeskBlockQueue& queue = keptForGood<VeskBlockQueue>();
  const BackgroundCall taking([&queue] { return queue.dequeue(); });
  ASSERT_TRUE(taking.blocks());
  queue.FileToMemory();
  EXPECT_TRUE(taking.blocks());
}

TEST(SavedLogStore, KeepsTheNewest1999OfLogsThatAreReadBack) {
  FakePlatform& fakes = FakePlatform::install();
  putLogs(fakes, eventsAt(timesFrom(1000, 1500)));
  VeskBlockQueue queue;
  enqueueAll(queue, timesFrom(0, 1000));
  queue.FileToMemory();
  EXPECT_EQ(takeTimes(queue), timesFrom(501, 1999));
  EXPECT_EQ(Diagnostics::snapshot().events.dropped.trimmedOnReload, 501U);
}

TEST(SavedLogStore, TrimsLogsOnlyFromTwoThousandOn) {
  for (const std::size_t queued : {0U, 999U, 1000U, 1001U, 2000U}) {
    FakePlatform& fakes = FakePlatform::install();
    putLogs(fakes, eventsAt(timesFrom(5000, 1000)));
    VeskBlockQueue queue;
    enqueueAll(queue, timesFrom(5000 - static_cast<std::int64_t>(queued), queued));
    queue.FileToMemory();
    const std::size_t left = std::min<std::size_t>(queued + 1000, 1999);
    EXPECT_EQ(takeTimes(queue), timesFrom(6000 - static_cast<std::int64_t>(left), left)) << queued;
  }
}

TEST(SavedLogStore, LosesTheOldestEventOfAFullQueueOnTheWayToAFileAndBack) {
  FakePlatform::install();
  VeskBlockQueue queue;
  enqueueAll(queue, timesFrom(0, 2000));
  queue.saveToFile();
  queue.FileToMemory();
  EXPECT_EQ(takeTimes(queue), timesFrom(1, 1999));
}

TEST(SavedLogStore, KeepsTheNewest1999OfMoreLogsThanAQueueHolds) {
  FakePlatform& fakes = FakePlatform::install();
  putLogs(fakes, eventsAt(timesFrom(0, 5000)));
  VeskBlockQueue queue;
  queue.FileToMemory();
  EXPECT_EQ(takeTimes(queue), timesFrom(3001, 1999));
}

TEST(SavedLogStore, KeepsTheNewest1999OfFailedEventsThatAreReadBack) {
  FakePlatform& fakes = FakePlatform::install();
  putFailedEvents(fakes, eventsAt(timesFrom(1000, 1500)));
  VeskBlockQueue queue;
  ledger().enter(&Ledger::Events::failed, 1000);
  enqueueAllAsFailed(queue, timesFrom(0, 1000));
  queue.FileToMemory();
  queue.saveToFile();
  EXPECT_EQ(timesInFailedFile(fakes), timesFrom(501, 1999));
  EXPECT_EQ(Diagnostics::snapshot().events.dropped.trimmedOnReload, 501U);
}

TEST(SavedLogStore, KeepsTheNewest1999OfFailedEventsThatBecomeLogs) {
  FakePlatform& fakes = FakePlatform::install();
  putFailedEvents(fakes, eventsAt(timesFrom(1000, 1500)));
  VeskBlockQueue queue;
  enqueueAll(queue, timesFrom(0, 1000));
  queue.loadFromFile();
  EXPECT_EQ(takeTimes(queue), timesFrom(501, 1999));
}

// At the start

TEST(SavedLogStore, LoadsLogsAndThenFailedEventsIntoTheLogQueue) {
  FakePlatform& fakes = FakePlatform::install();
  putLogs(fakes, eventsAt({1, 2}));
  putFailedEvents(fakes, eventsAt({3, 4}));
  VeskBlockQueue queue;
  enqueueAll(queue, {5});
  queue.loadFromFile();
  EXPECT_EQ(takeTimes(queue), (Times{5, 1, 2, 3, 4}));
  EXPECT_TRUE(areFilesGone(fakes));
}

TEST(SavedLogStore, LeavesNoFailedEventsBehindAtTheStart) {
  FakePlatform& fakes = FakePlatform::install();
  putFailedEvents(fakes, eventsAt({1}));
  VeskBlockQueue queue;
  queue.loadFromFile();
  takeEvents(queue);
  queue.saveToFile();
  EXPECT_TRUE(areFilesGone(fakes));
}

TEST(SavedLogStore, LeavesFailedEventsOfThisProcessInTheirQueueAtTheStart) {
  FakePlatform& fakes = FakePlatform::install();
  putFailedEvents(fakes, eventsAt({1}));
  VeskBlockQueue queue;
  enqueueAllAsFailed(queue, {2});
  queue.loadFromFile();
  EXPECT_EQ(takeTimes(queue), Times{1});
  queue.saveToFile();
  EXPECT_EQ(timesInFailedFile(fakes), Times{2});
}

TEST(SavedLogStore, RaisesNoCounterWithoutAFileOfFailedEvents) {
  FakePlatform& fakes = FakePlatform::install();
  putLogs(fakes, {eventAt(1), eventWithRate(2, "3")});
  VeskBlockQueue queue;
  enqueueAll(queue, {3});
  queue.loadFromFile();
  EXPECT_EQ(takeErrorRates(queue), (Lines{"(none)", "(none)", "3"}));
}

TEST(SavedLogStore, RaisesTheCounterOfFailedEvents) {
  FakePlatform& fakes = FakePlatform::install();
  putFailedEvents(fakes, {eventAt(1), eventWithRate(2, "3")});
  VeskBlockQueue queue;
  queue.loadFromFile();
  EXPECT_EQ(takeErrorRates(queue), (Lines{"1", "4"}));
}

TEST(SavedLogStore, RaisesTheCounterOfEveryEventInTheLogQueueOnce) {
  FakePlatform& fakes = FakePlatform::install();
  putLogs(fakes, {eventAt(1), eventWithRate(2, "1")});
  putFailedEvents(fakes, {eventAt(3), eventWithRate(4, "2")});
  VeskBlockQueue queue;
  queue.enqueue(eventAt(5));
  queue.enqueue(eventWithRate(6, "9"));
  queue.loadFromFile();
  EXPECT_EQ(takeErrorRates(queue), (Lines{"1", "10", "1", "2", "1", "3"}));
}

TEST(SavedLogStore, RaisesTheCountersOfTheLogQueueForAFileWithoutFailedEvents) {
  FakePlatform& fakes = FakePlatform::install();
  putFailedEvents(fakes, {});
  VeskBlockQueue queue;
  enqueueAll(queue, {1});
  queue.loadFromFile();
  EXPECT_EQ(takeErrorRates(queue), Lines{"1"});
}

TEST(SavedLogStore, RaisesTheCounterInTheVeryFieldsOfAQueuedEvent) {
  FakePlatform& fakes = FakePlatform::install();
  putFailedEvents(fakes, {});
  Dictionary fields{{"logLevel", "INFO"}};
  VeskBlockQueue queue;
  queue.enqueue(eventAt(1, fields));
  queue.loadFromFile();
  EXPECT_TRUE(Value(fields) == Value(Dictionary{{"logLevel", "INFO"}, {"errorRate", "1"}}));
}

TEST(SavedLogStore, ReadsACounterAsTheIntegerAtItsStart) {
  const std::pair<Value, const char*> rates[] = {
      {"", "1"},
      {"abc", "1"},
      {"0", "1"},
      {"9", "10"},
      {" \t 7x", "8"},
      {"+2", "3"},
      {"-1", "0"},
      {"-5", "-4"},
      {"2147483646", "2147483647"},
      {"2147483647", "2147483647"},
      {"99999999999999999999", "2147483647"},
      {"-99999999999999999999", "-2147483647"},
      {std::int64_t{3}, "4"},
      {2.9, "3"},
      {true, "2"},
      {1e300, "2147483647"},
  };
  for (const auto& [rate, raised] : rates) {
    FakePlatform& fakes = FakePlatform::install();
    putFailedEvents(fakes, {eventWithRate(1, rate)});
    VeskBlockQueue queue;
    queue.loadFromFile();
    EXPECT_EQ(takeErrorRates(queue), Lines{raised}) << rate.description().c_str();
  }
}

TEST(SavedLogStore, RaisesNothingOnAnEventWithoutFields) {
  FakePlatform& fakes = FakePlatform::install();
  putFailedEvents(fakes, {std::make_shared<VeskEvent>(), eventAt(1)});
  VeskBlockQueue queue;
  queue.loadFromFile();
  const std::vector<VeskEventRef> events = takeEvents(queue);
  ASSERT_EQ(events.size(), 2U);
  EXPECT_TRUE(events[0]->fields().isNull());
  EXPECT_TRUE(errorRateOf(*events[1]) == Value("1"));
  EXPECT_TRUE(areFilesGone(fakes));
}

TEST(SavedLogStore, TakesAnEventWhoseFieldsAreNoDictionary) {
  FakePlatform& fakes = FakePlatform::install();
  VeskEvent event;
  event.setFields("no dictionary");
  putFailedEvents(fakes, {std::make_shared<VeskEvent>(event)});
  VeskBlockQueue queue;
  EXPECT_NO_THROW(queue.loadFromFile());
  EXPECT_TRUE(queue.dequeue()->fields() == Value("no dictionary"));
  EXPECT_TRUE(isUsable(queue));
}

TEST(SavedLogStore, TakesUpACounterWhereTheLastProcessLeftIt) {
  FakePlatform& fakes = FakePlatform::install();
  putFailedEvents(fakes, eventsAt({1}));
  for (const char* rate : {"1", "2", "3"}) {
    VeskBlockQueue process;
    process.loadFromFile();
    const VeskEventRef event = process.dequeue();
    EXPECT_TRUE(errorRateOf(*event) == Value(rate));
    process.enqueueFile(event);
    process.saveToFile();
  }
}

// Failures

TEST(SavedLogStore, TellsOfBothFilesThatItCannotGetAt) {
  const struct {
    void (VeskBlockQueue::*operation)();
    Lines told;
  } rows[] = {
      {&VeskBlockQueue::saveToFile,
       {"[saveToFile] logArray : the disk is on fire", "[saveToFile] fileArray : the disk is on fire"}},
      {&VeskBlockQueue::FileToMemory,
       {"[FileToMemory] logArray : the disk is on fire", "[FileToMemory] fileArray: the disk is on fire"}},
      {&VeskBlockQueue::loadFromFile,
       {"[loadFromFile] logArray: the disk is on fire", "[loadFromFile] logArray: the disk is on fire"}},
  };
  for (const auto& [operation, told] : rows) {
    FakePlatform& fakes = FakePlatform::install();
    VeskBlockQueue queue;
    enqueueAll(queue, {1});
    enqueueAllAsFailed(queue, {2});
    fakes.files.throws = true;
    (queue.*operation)();
    EXPECT_EQ(fakes.log.lines(), told);
  }
}

TEST(SavedLogStore, KeepsTheEventsWhenSavingThemIsCutShort) {
  FakePlatform& fakes = FakePlatform::install();
  VeskBlockQueue queue;
  enqueueAll(queue, {1});
  enqueueAllAsFailed(queue, {2});
  fakes.files.throws = true;
  queue.saveToFile();
  fakes.files.throws = false;
  queue.saveToFile();
  EXPECT_EQ(timesInLogFile(fakes), Times{1});
  EXPECT_EQ(timesInFailedFile(fakes), Times{2});
}

TEST(SavedLogStore, SavesFailedEventsEvenWhenTheLogsCannotBeArchived) {
  FakePlatform& fakes = FakePlatform::install();
  VeskBlockQueue queue;
  queue.enqueue(unarchivableEvent());
  enqueueAllAsFailed(queue, {2});
  queue.saveToFile();
  EXPECT_EQ(timesInLogFile(fakes), std::nullopt);
  EXPECT_EQ(timesInFailedFile(fakes), Times{2});
  EXPECT_TRUE(toldOnce(fakes, "[saveToFile] logArray : "));
  EXPECT_EQ(takeTimes(queue), Times{13});
}

TEST(SavedLogStore, LeavesAnOlderFileWhenTheLogsCannotBeArchived) {
  FakePlatform& fakes = FakePlatform::install();
  fakes.files.put(kLogFile, "older logs");
  VeskBlockQueue queue;
  queue.enqueue(unarchivableEvent());
  queue.saveToFile();
  EXPECT_EQ(fakes.files.contentOf(kLogFile), "older logs");
}

TEST(SavedLogStore, TellsOfFailedEventsThatCannotBeArchived) {
  FakePlatform& fakes = FakePlatform::install();
  VeskBlockQueue queue;
  enqueueAll(queue, {1});
  queue.enqueueFile(unarchivableEvent());
  queue.saveToFile();
  EXPECT_EQ(timesInLogFile(fakes), Times{1});
  EXPECT_TRUE(toldOnce(fakes, "[saveToFile] fileArray : "));
}

TEST(SavedLogStore, ReadsFailedEventsBackEvenWhenTheLogsAreNoArchive) {
  FakePlatform& fakes = FakePlatform::install();
  fakes.files.put(kLogFile, "no archive");
  putFailedEvents(fakes, eventsAt({1}));
  VeskBlockQueue queue;
  queue.FileToMemory();
  EXPECT_TRUE(toldOnce(fakes, "[FileToMemory] logArray : "));
  queue.saveToFile();
  EXPECT_EQ(timesInFailedFile(fakes), Times{1});
}

TEST(SavedLogStore, TellsOfFailedEventsThatAreNoArchive) {
  FakePlatform& fakes = FakePlatform::install();
  putLogs(fakes, eventsAt({1}));
  fakes.files.put(kFailedFile, "no archive");
  VeskBlockQueue queue;
  queue.FileToMemory();
  EXPECT_TRUE(toldOnce(fakes, "[FileToMemory] fileArray: "));
  EXPECT_EQ(takeTimes(queue), Times{1});
}

TEST(SavedLogStore, LoadsFailedEventsEvenWhenTheLogsAreNoArchive) {
  FakePlatform& fakes = FakePlatform::install();
  fakes.files.put(kLogFile, "no archive");
  putFailedEvents(fakes, eventsAt({1}));
  VeskBlockQueue queue;
  queue.loadFromFile();
  EXPECT_TRUE(toldOnce(fakes, "[loadFromFile] logArray: "));
  EXPECT_EQ(takeErrorRates(queue), Lines{"1"});
}

TEST(SavedLogStore, RaisesNoCounterWhenTheFailedEventsAreNoArchive) {
  FakePlatform& fakes = FakePlatform::install();
  putLogs(fakes, eventsAt({1}));
  fakes.files.put(kFailedFile, "no archive");
  VeskBlockQueue queue;
  queue.loadFromFile();
  EXPECT_TRUE(toldOnce(fakes, "[loadFromFile] logArray: "));
  EXPECT_EQ(takeErrorRates(queue), Lines{"(none)"});
}

TEST(SavedLogStore, KeepsAFileThatIsNoArchive) {
  for (void (VeskBlockQueue::*const reload)() :
       {&VeskBlockQueue::FileToMemory, &VeskBlockQueue::loadFromFile}) {
    FakePlatform& fakes = FakePlatform::install();
    fakes.files.put(kLogFile, "no archive");
    fakes.files.put(kFailedFile, "no archive");
    VeskBlockQueue queue;
    (queue.*reload)();
    EXPECT_EQ(fakes.files.contentOf(kLogFile), "no archive");
    EXPECT_EQ(fakes.files.contentOf(kFailedFile), "no archive");
  }
}

TEST(SavedLogStore, KeepsAFileThatCannotBeRead) {
  for (void (VeskBlockQueue::*const reload)() :
       {&VeskBlockQueue::FileToMemory, &VeskBlockQueue::loadFromFile}) {
    FakePlatform& fakes = FakePlatform::install();
    putLogs(fakes, eventsAt({1}));
    putFailedEvents(fakes, eventsAt({2}));
    fakes.files.failsToRead = true;
    VeskBlockQueue queue;
    (queue.*reload)();
    EXPECT_EQ(fakes.log.lines().size(), 2U);
    EXPECT_EQ(queue.dequeueIfAny(), nullptr);
    EXPECT_EQ(timesInLogFile(fakes), Times{1});
    EXPECT_EQ(timesInFailedFile(fakes), Times{2});
  }
}

TEST(SavedLogStore, ReplacesAFileThatIsNoArchiveByALaterSave) {
  FakePlatform& fakes = FakePlatform::install();
  fakes.files.put(kLogFile, "no archive");
  fakes.files.put(kFailedFile, "no archive");
  VeskBlockQueue queue;
  queue.loadFromFile();
  enqueueAll(queue, {1});
  enqueueAllAsFailed(queue, {2});
  queue.saveToFile();
  EXPECT_EQ(timesInLogFile(fakes), Times{1});
  EXPECT_EQ(timesInFailedFile(fakes), Times{2});
}

TEST(SavedLogStore, TakesNothingFromAFileWhoseLastEventIsNone) {
  FakePlatform& fakes = FakePlatform::install();
  Dictionary event;
  eventAt(1)->encodeWithCoder(event);
  KeyedArchive& keyedArchive = Platform::current().keyedArchive;
  fakes.files.put(kLogFile, keyedArchive.archive({{"logArray", Array{event, "none"}}}).view());
  fakes.files.put(kFailedFile, keyedArchive.archive({{"fileArray", Array{event, "none"}}}).view());
  VeskBlockQueue queue;
  queue.loadFromFile();
  EXPECT_EQ(queue.dequeueIfAny(), nullptr);
  EXPECT_EQ(fakes.log.lines().size(), 2U);
}

TEST(SavedLogStore, IsUsableAfterFilesOfEveryKindThatItCannotRead) {
  for (const std::string_view content :
       {""sv, "no archive"sv, "\xFF\xFF"sv, "\xA1\x68logArray\x61x"sv, "\xA1\x68logArray\x81\x01"sv}) {
    for (void (VeskBlockQueue::*const reload)() :
         {&VeskBlockQueue::FileToMemory, &VeskBlockQueue::loadFromFile}) {
      FakePlatform& fakes = FakePlatform::install();
      fakes.files.put(kLogFile, content);
      fakes.files.put(kFailedFile, content);
      VeskBlockQueue& queue = keptForGood<VeskBlockQueue>();
      enqueueAll(queue, {1});
      EXPECT_NO_THROW((queue.*reload)());
      EXPECT_EQ(takeTimes(queue), Times{1});
      EXPECT_TRUE(isUsable(queue));
    }
  }
}

TEST(SavedLogStore, ReadsNothingFromAnArchiveWithoutItsKey) {
  FakePlatform& fakes = FakePlatform::install();
  putFile(fakes, kLogFile, "fileArray", eventsAt({1}));
  putFile(fakes, kFailedFile, "logArray", eventsAt({2}));
  VeskBlockQueue queue;
  queue.FileToMemory();
  EXPECT_EQ(queue.dequeueIfAny(), nullptr);
  EXPECT_TRUE(areFilesGone(fakes));
}

TEST(SavedLogStore, StopsRaisingCountersAtOneThatIsNoInteger) {
  for (const Value& rate : {Value(Data("3"sv)), Value(Array{"3"}), Value(Dictionary{{"a", "3"}}), Value()}) {
    FakePlatform& fakes = FakePlatform::install();
    putFailedEvents(fakes, {eventWithRate(1, "1"), eventWithRate(2, rate), eventWithRate(3, "1")});
    VeskBlockQueue& queue = keptForGood<VeskBlockQueue>();
    queue.loadFromFile();
    EXPECT_TRUE(toldOnce(fakes, "[loadFromFile] logArray: ")) << rate.description().c_str();
    const std::vector<VeskEventRef> events = takeEvents(queue);
    ASSERT_EQ(events.size(), 3U);
    EXPECT_TRUE(errorRateOf(*events[0]) == Value("2"));
    EXPECT_TRUE(errorRateOf(*events[1]) == rate);
    EXPECT_TRUE(errorRateOf(*events[2]) == Value("1"));
    EXPECT_TRUE(fakes.files.contentOf(kFailedFile).has_value());
    EXPECT_TRUE(isUsable(queue));
  }
}

TEST(SavedLogStore, IsUsableAfterEveryFailureOfTheFiles) {
  FakePlatform& fakes = FakePlatform::install();
  VeskBlockQueue& queue = keptForGood<VeskBlockQueue>();
  for (void (VeskBlockQueue::*const operation)() :
       {&VeskBlockQueue::saveToFile, &VeskBlockQueue::FileToMemory, &VeskBlockQueue::loadFromFile}) {
    enqueueAll(queue, {1});
    enqueueAllAsFailed(queue, {2});
    fakes.files.throws = true;
    EXPECT_NO_THROW((queue.*operation)());
    fakes.files.throws = false;
    EXPECT_TRUE(isUsable(queue));
  }
}

TEST(SavedLogStore, ReadsEventsTwiceWhenTheirFileCannotBeDeleted) {
  FakePlatform& fakes = FakePlatform::install();
  fakes.files.failsToRemove = true;
  VeskBlockQueue queue;
  enqueueAll(queue, {1});
  queue.saveToFile();
  queue.FileToMemory();
  queue.FileToMemory();
  EXPECT_EQ(takeTimes(queue), (Times{1, 1}));
  EXPECT_EQ(fakes.log.lines(), Lines{});
}

TEST(SavedLogStore, KeepsTheEventsInMemoryWhenDeletingTheirFileFails) {
  const auto [fakes, files] = HookedPlatform::install();
  putLogs(fakes, eventsAt({1}));
  putFailedEvents(fakes, eventsAt({2}));
  files.before = [](const HookedFiles::Call& call) {
    if (call.operation == Operation::Remove) throw std::runtime_error("stuck");
  };
  VeskBlockQueue queue;
  queue.loadFromFile();
  EXPECT_EQ(fakes.log.lines(), (Lines{"[loadFromFile] logArray: stuck", "[loadFromFile] logArray: stuck"}));
  EXPECT_EQ(takeErrorRates(queue), (Lines{"1", "1"}));
}

TEST(SavedLogStore, PassesAFailureOfAnUnknownKindOnWithAllLocksFree) {
  constexpr Operation kOperations[] = {Operation::Exists, Operation::Read, Operation::WriteAtomically,
                                       Operation::Remove};
  for (const Operation failing : kOperations)
    for (const char* fileName : {kLogFile, kFailedFile}) {
      const auto [fakes, files] = HookedPlatform::install();
      putLogs(fakes, eventsAt({1}));
      putFailedEvents(fakes, eventsAt({2}));
      VeskBlockQueue& queue = keptForGood<VeskBlockQueue>();
      enqueueAll(queue, {3});
      enqueueAllAsFailed(queue, {4});
      const auto nothing = files.before;
      files.before = [failed = HookedFiles::Call{failing, fileName}](const HookedFiles::Call& call) {
        if (call == failed) throw 7;
      };
      if (failing == Operation::WriteAtomically) {
        EXPECT_THROW(queue.saveToFile(), int);
      } else {
        EXPECT_THROW(queue.FileToMemory(), int);
      }
      files.before = nothing;
      EXPECT_TRUE(isUsable(queue));
    }
}

TEST(SavedLogStore, LeavesItsLocksBeforeItWritesToTheConsole) {
  /// Uses the queue whenever a line is written.
  class QueueingLog final : public PlatformLog {
   public:
    explicit QueueingLog(VeskBlockQueue& queue) : queue_(queue) {}
    void writeLine(const String&) override {
      queue_.enqueue(eventAt(1));
      queue_.enqueueFile(eventAt(2));
      queue_.queueSize_handler();
      queue_.saveToFile();
      ++lines;
    }
    int lines = 0;

   private:
    VeskBlockQueue& queue_;
  };
  FakePlatform& fakes = FakePlatform::install();
  VeskBlockQueue& queue = keptForGood<VeskBlockQueue>();
  QueueingLog& log = keptForGood<QueueingLog>(queue);
  const Platform& plain = Platform::current();
  const Platform& queueing = keptForGood<Platform>(
      Platform{plain.clock, plain.files, plain.device, plain.interfaces, plain.reachability, plain.urlLoader,
               plain.jsonParser, plain.keyedArchive, plain.uuids, plain.crashReporter, log, plain.threads,
               plain.queues});
  Platform::install(queueing);
  fakes.files.put(kLogFile, "no archive");
  fakes.files.put(kFailedFile, "no archive");
  EXPECT_TRUE(BackgroundCall([&queue] { queue.FileToMemory(); }).returns());
  EXPECT_EQ(log.lines, 2);
  Platform::install(plain);
}

// The books

TEST(SavedLogStore, CountsWhatItSaved) {
  FakePlatform::install();
  VeskBlockQueue queue;
  enqueueAll(queue, {1, 2, 3});
  ledger().enter(&Ledger::Events::failed, 2);
  enqueueAllAsFailed(queue, {4, 5});
  queue.saveToFile();
  const Diagnostics::Events events = Diagnostics::snapshot().events;
  EXPECT_EQ(events.entered, 5U);
  EXPECT_EQ(events.saved, 5U);
  EXPECT_EQ(events.waiting, 0U);
  EXPECT_EQ(events.failed, 0U);
  EXPECT_EQ(events.total(), 5U);
}

TEST(SavedLogStore, CountsEventsAsSavedEvenWhenTheyCannotBeWritten) {
  FakePlatform::install().files.failsToWrite = true;
  VeskBlockQueue queue;
  enqueueAll(queue, {1, 2});
  queue.saveToFile();
  EXPECT_EQ(Diagnostics::snapshot().events.saved, 2U);
}

TEST(SavedLogStore, CountsEventsAsWaitingWhenSavingThemIsCutShort) {
  FakePlatform& fakes = FakePlatform::install();
  VeskBlockQueue queue;
  enqueueAll(queue, {1, 2});
  fakes.files.throws = true;
  queue.saveToFile();
  const Diagnostics::Events events = Diagnostics::snapshot().events;
  EXPECT_EQ(events.waiting, 2U);
  EXPECT_EQ(events.saved, 0U);
}

TEST(SavedLogStore, CountsEventsWhoseFileWasReplaced) {
  FakePlatform::install();
  VeskBlockQueue queue;
  enqueueAll(queue, {1, 2, 3});
  queue.saveToFile();
  enqueueAll(queue, {4});
  queue.saveToFile();
  const Diagnostics::Events events = Diagnostics::snapshot().events;
  EXPECT_EQ(events.dropped.fileReplaced, 3U);
  EXPECT_EQ(events.saved, 1U);
  EXPECT_EQ(events.total(), 4U);
}

TEST(SavedLogStore, CountsNoEventOfAnEarlierProcessWhoseFileWasReplaced) {
  FakePlatform& fakes = FakePlatform::install();
  putLogs(fakes, eventsAt({1, 2, 3}));
  VeskBlockQueue queue;
  enqueueAll(queue, {4});
  queue.saveToFile();
  const Diagnostics::Events events = Diagnostics::snapshot().events;
  EXPECT_EQ(events.dropped.fileReplaced, 0U);
  EXPECT_EQ(events.entered, 1U);
  EXPECT_EQ(events.saved, 1U);
}

TEST(SavedLogStore, CountsTheTwoFilesApart) {
  FakePlatform::install();
  VeskBlockQueue queue;
  enqueueAll(queue, {1, 2, 3});
  queue.saveToFile();
  ledger().enter(&Ledger::Events::failed, 1);
  enqueueAllAsFailed(queue, {4});
  queue.saveToFile();
  const Diagnostics::Events events = Diagnostics::snapshot().events;
  EXPECT_EQ(events.dropped.fileReplaced, 0U);
  EXPECT_EQ(events.saved, 4U);
}

TEST(SavedLogStore, CountsEventsThatComeBackAsTheSameEvents) {
  FakePlatform::install();
  VeskBlockQueue queue;
  enqueueAll(queue, {1, 2, 3});
  ledger().enter(&Ledger::Events::failed, 2);
  enqueueAllAsFailed(queue, {4, 5});
  queue.saveToFile();
  queue.FileToMemory();
  const Diagnostics::Events events = Diagnostics::snapshot().events;
  EXPECT_EQ(events.entered, 5U);
  EXPECT_EQ(events.waiting, 3U);
  EXPECT_EQ(events.failed, 2U);
  EXPECT_EQ(events.saved, 0U);
}

TEST(SavedLogStore, CountsEventsOfAnEarlierProcessAsNewOnes) {
  FakePlatform& fakes = FakePlatform::install();
  putLogs(fakes, eventsAt({1, 2, 3}));
  putFailedEvents(fakes, eventsAt({4, 5}));
  VeskBlockQueue queue;
  queue.loadFromFile();
  const Diagnostics::Events events = Diagnostics::snapshot().events;
  EXPECT_EQ(events.entered, 5U);
  EXPECT_EQ(events.waiting, 5U);
  EXPECT_EQ(events.total(), 5U);
}

TEST(SavedLogStore, CountsFailedEventsOfAnEarlierProcessAsFailed) {
  FakePlatform& fakes = FakePlatform::install();
  putFailedEvents(fakes, eventsAt({4, 5}));
  VeskBlockQueue queue;
  queue.FileToMemory();
  const Diagnostics::Events events = Diagnostics::snapshot().events;
  EXPECT_EQ(events.entered, 2U);
  EXPECT_EQ(events.failed, 2U);
}

TEST(SavedLogStore, CountsEventsForWhichThereIsNoRoomOnTheWayBack) {
  FakePlatform::install();
  VeskBlockQueue queue;
  enqueueAll(queue, timesFrom(0, 1500));
  queue.saveToFile();
  enqueueAll(queue, timesFrom(0, 1000));
  queue.FileToMemory();
  const Diagnostics::Events events = Diagnostics::snapshot().events;
  EXPECT_EQ(events.entered, 2500U);
  EXPECT_EQ(events.waiting, 1999U);
  EXPECT_EQ(events.saved, 0U);
  EXPECT_EQ(events.dropped.trimmedOnReload, 501U);
  EXPECT_EQ(events.total(), 2500U);
}

TEST(SavedLogStore, CountsNothingTwiceWhenAFileCannotBeRead) {
  FakePlatform& fakes = FakePlatform::install();
  VeskBlockQueue queue;
  enqueueAll(queue, {1, 2});
  queue.saveToFile();
  fakes.files.put(kLogFile, "no archive");
  queue.FileToMemory();
  const Diagnostics::Events events = Diagnostics::snapshot().events;
  EXPECT_EQ(events.entered, 2U);
  EXPECT_EQ(events.saved, 2U);
  EXPECT_EQ(events.total(), 2U);
}

}  // namespace
}  // namespace pxa
