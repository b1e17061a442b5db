#include "collector/Workers.h"

#include <system_error>
#include <utility>

namespace pxa::tools {

Workers::~Workers() {
  for (Worker& worker : workers_) worker.thread.join();
}

void Workers::run(std::function<void()> task) {
  forgetDone();
  Worker& worker = workers_.emplace_back();
  try {
    worker.thread = std::thread([&worker, task = std::move(task)]() mutable {
      task();
      task = nullptr;  // what the task holds ends before the worker counts as done
      worker.isDone = true;
    });
  } catch (const std::system_error&) {
    workers_.pop_back();
  }
}

void Workers::forgetDone() {
  workers_.remove_if([](Worker& worker) {
    if (!worker.isDone) return false;
    worker.thread.join();
    return true;
  });
}

}  // namespace pxa::tools
