#pragma once

#include <atomic>
#include <functional>
#include <list>
#include <thread>

namespace pxa::tools {

/// Runs each task on a thread of its own, so that no task ever waits for another.
/// Not thread-safe: one thread uses it. The destructor waits for every task.
class Workers {
 public:
  Workers() = default;
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;
  ~Workers();

  /// Starts a task and forgets the ones that have ended. A task that cannot have a thread is dropped.
  void run(std::function<void()> task);

 private:
  struct Worker {
    std::atomic<bool> isDone = false;
    std::thread thread;
  };

  void forgetDone();

  std::list<Worker> workers_;
};

}  // namespace pxa::tools
