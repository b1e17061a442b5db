#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <list>
#include <memory>
#include <memory_resource>

#include <pxalog/String.h>

#include "event/VeskEvent.h"
#include "queue/ConditionLock.h"
#include "queue/NetworkData.h"
#include "queue/event_archive.h"

namespace pxa {

/// Joins the callers' threads to the library's own: four first-in-first-out queues, each with a lock of its
/// own, and the files in which events survive the process. No operation holds two of the locks; every
/// operation is thread-safe. A consumer's wait ends only when something is put into its queue.
class VeskBlockQueue {
 public:
  VeskBlockQueue() = default;
  VeskBlockQueue(const VeskBlockQueue&) = delete;
  VeskBlockQueue& operator=(const VeskBlockQueue&) = delete;
  /// What a queue holds when it goes is given up, what its files hold too as far as this process is
  /// concerned.
  ~VeskBlockQueue();
  static constexpr std::size_t kMostEvents = 2000;
  static constexpr std::size_t kMostHandlers = 10;

  // The log queue: events on their way to the send loop.

  /// Puts the event at the tail and wakes one waiting consumer. Selector: enqueue:
  /// A full queue loses its oldest events first. A null event does nothing. Gives back the oldest event if it
  /// had to go: a caller that holds a lock lets go of it afterwards.
  VeskEventRef enqueue(VeskEventRef event);
  /// Puts the event at the head and wakes one waiting consumer. Selector: frontEnqueue:
  /// A full queue loses its newest events first. A null event does nothing.
  void frontEnqueue(const VeskEventRef& event);
  /// Takes the event at the head; waits while there is none.
  VeskEventRef dequeue();
  /// Takes the event at the head; nullptr when there is none.
  VeskEventRef dequeueIfAny();
  /// How many events are queued, at least 1; waits while there is none.
  std::int32_t queueSize();

  // The file queue: events whose delivery failed. Taken out by the saved-log store alone.

  /// A full queue loses its oldest events first. A null event does nothing. Selector: enqueueFile:
  void enqueueFile(const VeskEventRef& event);

  // The handler queue: handle ids on their way to the settings thread.

  /// Puts the id at the tail and wakes one waiting consumer. A nil id does nothing. Selector:
  /// enqueue_handler: With ten ids queued the id is dropped and the queue's lock is held for good: every
  /// later operation on the handler queue waits for ever.
  void enqueue_handler(const String& handleId);
  /// Takes the id at the head; waits while there is none.
  String dequeue_handler();
  /// How many ids are queued; does not wait for one.
  std::int32_t queueSize_handler();

  // The network queue: jobs on their way to the probe thread; any number of them.

  /// A null job does nothing. Selector: enqueue_network:
  void enqueue_network(const std::shared_ptr<NetworkData>& job);
  /// Takes the job at the head; waits while there is none.
  std::shared_ptr<NetworkData> dequeue_network();

  // The saved-log store (saved_log_store.cpp): the log queue and the file queue in two files. These
  // operations follow one another, whatever the thread, and do file work while they hold a queue's lock.

  static String dataFilePath();
  static String fileFilePath();
  /// Writes each queue that is not empty to its file, in place of an earlier file, and empties it, even when
  /// the write fails.
  void saveToFile();
  /// Writes the failed events, and those that their file holds already, to that file, and empties the queue.
  void saveFailedToFile();
  /// Reads both files back to the tails of the queues they came from and deletes them.
  void FileToMemory();
  /// Reads both files into the log queue and deletes them. If there was a file of failed events, every event
  /// then in the log queue counts one more failed delivery.
  void loadFromFile();

 private:
  using Section = void (VeskBlockQueue::*)();
  void runGuarded(Section section, const char* failureText);
  void saveLogs() REQUIRES(persistenceMonitor_);
  void saveFailedEvents() REQUIRES(persistenceMonitor_);
  void reloadLogs() REQUIRES(persistenceMonitor_);
  void reloadFailedEvents() REQUIRES(persistenceMonitor_);
  void reloadFailedEventsAsLogs() REQUIRES(persistenceMonitor_);
  void countFailedDelivery() REQUIRES(condition_);

  // One saveToFile, FileToMemory or loadFromFile at a time; taken before a queue's lock.
  ConditionLock persistenceMonitor_;
  // Events of this process that the files hold now.
  std::uint64_t savedLogs_ GUARDED_BY(persistenceMonitor_) = 0;
  std::uint64_t savedFailedEvents_ GUARDED_BY(persistenceMonitor_) = 0;

  ConditionLock filecondition_;
  EventQueue fileArray_ GUARDED_BY(filecondition_);

  ConditionLock condition_;
  // Keeps the memory that the queue gives back while it moves on.
  std::pmr::unsynchronized_pool_resource logMemory_ GUARDED_BY(condition_);
  EventQueue logArray_ GUARDED_BY(condition_){&logMemory_};

  ConditionLock handlercondition_;
  std::list<String> handlerArray_ GUARDED_BY(handlercondition_);

  ConditionLock networkcondition_;
  std::deque<std::shared_ptr<NetworkData>> networkArray_ GUARDED_BY(networkcondition_);
};

}  // namespace pxa
