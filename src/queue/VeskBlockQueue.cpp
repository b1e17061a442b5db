#include "queue/VeskBlockQueue.h"

#include <utility>

#include "diagnostics/Ledger.h"
#include "foundation/Mutex.h"

namespace pxa {

using Events = Ledger::Events;
using Dropped = Ledger::Dropped;

namespace {

template <class Queue>
auto takeFirst(Queue& queue) {
  auto first = std::move(queue.front());
  queue.pop_front();
  return first;
}

}  // namespace

VeskBlockQueue::~VeskBlockQueue() {
  ledger().drop(&Events::waiting, &Dropped::listReplaced, logArray_.size());
  ledger().drop(&Events::failed, &Dropped::listReplaced, fileArray_.size());
  ledger().drop(&Events::saved, &Dropped::listReplaced, savedLogs_ + savedFailedEvents_);
}

VeskEventRef VeskBlockQueue::enqueue(VeskEventRef event) {
  if (event == nullptr) return nullptr;
  VeskEventRef oldest;
  const Guard guard(condition_);
  logArray_.push_back(std::move(event));
  if (logArray_.size() <= kMostEvents) {
    ledger().enter(&Events::waiting);
  } else {
    oldest = takeFirst(logArray_);
    ledger().enterInsteadOfAnother(&Dropped::queueFull);
  }
  condition_.signal();
  return oldest;
}

void VeskBlockQueue::frontEnqueue(const VeskEventRef& event) {
  if (event == nullptr) return;
  const Guard guard(condition_);
  while (logArray_.size() >= kMostEvents) {
    logArray_.pop_back();
    ledger().drop(&Events::waiting, &Dropped::queueFull);
  }
  logArray_.push_front(event);
  ledger().enter(&Events::waiting);
  condition_.signal();
}

VeskEventRef VeskBlockQueue::dequeue() {
  const Guard guard(condition_);
  while (logArray_.empty()) condition_.wait();
  ledger().move(&Events::waiting, &Events::gathered);
  return takeFirst(logArray_);
}

VeskEventRef VeskBlockQueue::dequeueIfAny() {
  const Guard guard(condition_);
  if (logArray_.empty()) return nullptr;
  ledger().move(&Events::waiting, &Events::gathered);
  return takeFirst(logArray_);
}

std::int32_t VeskBlockQueue::queueSize() {
  const Guard guard(condition_);
  while (logArray_.empty()) condition_.wait();
  return static_cast<std::int32_t>(logArray_.size());
}

void VeskBlockQueue::enqueueFile(const VeskEventRef& event) {
  if (event == nullptr) return;
  const Guard guard(filecondition_);
  while (fileArray_.size() >= kMostEvents) {
    fileArray_.pop_front();
    ledger().drop(&Events::failed, &Dropped::queueFull);
  }
  fileArray_.push_back(event);
  filecondition_.signal();
}

void VeskBlockQueue::enqueue_handler(const String& handleId) {
  if (handleId.isNil()) return;
  std::list<String> newcomer{
      handleId};  // allocated before the lock is taken: nothing may fail while it is held
  handlercondition_.lock();
  if (handlerArray_.size() >= kMostHandlers) return handlercondition_.keepForGood();
  handlerArray_.splice(handlerArray_.end(), newcomer);
  handlercondition_.signal();
  handlercondition_.unlock();
}

String VeskBlockQueue::dequeue_handler() {
  const Guard guard(handlercondition_);
  while (handlerArray_.empty()) handlercondition_.wait();
  return takeFirst(handlerArray_);
}

std::int32_t VeskBlockQueue::queueSize_handler() {
  const Guard guard(handlercondition_);
  return static_cast<std::int32_t>(handlerArray_.size());
}

void VeskBlockQueue::enqueue_network(const std::shared_ptr<NetworkData>& job) {
  if (job == nullptr) return;
  const Guard guard(networkcondition_);
  networkArray_.push_back(job);
  networkcondition_.signal();
}

std::shared_ptr<NetworkData> VeskBlockQueue::dequeue_network() {
  const Guard guard(networkcondition_);
  while (networkArray_.empty()) networkcondition_.wait();
  return takeFirst(networkArray_);
}

}  // namespace pxa
