#pragma once

#include <atomic>
#include <chrono>
#include <fstream>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <sys/syscall.h>
#include <thread>
#include <type_traits>
#include <unistd.h>
#include <utility>
#include <vector>

#include "support/wait.h"

namespace pxa::test {

/// A new object that is never destroyed, for threads that may use it after the end of the test.
template <class T, class... Arguments>
T& keptForGood(Arguments&&... arguments) {
  static auto& kept = *new std::vector<T*>;
  kept.push_back(new T(std::forward<Arguments>(arguments)...));
  return *kept.back();
}

/// A call that runs on a thread of its own, for good if it never returns: what it uses must live as long.
template <class Result>
class BackgroundCall {
 public:
  template <class Function>
  explicit BackgroundCall(Function function) {
    std::packaged_task<Result()> task([function = std::move(function), state = state_]() mutable {
      state->thread = ::syscall(SYS_gettid);
      try {
        return function();
      } catch (...) {
        state->hasThrown = true;
        throw;
      }
    });
    result_ = task.get_future();
    std::thread(std::move(task)).detach();
  }

  /// Whether the call has returned or thrown.
  [[nodiscard]] bool isDone() const { return isDoneWithin(std::chrono::seconds(0)); }
  /// Waits for the call to return; false when it did not in time, or threw.
  [[nodiscard]] bool returns() const { return isDoneWithin(kPatience) && !state_->hasThrown; }
  /// Waits until the call sleeps and goes on sleeping; false when it returned, or did not sleep in time.
  [[nodiscard]] bool blocks() const {
    std::string before;
    int rounds = 0;
    waitUntil([&] {
      const std::string now = sleepOf(state_->thread);
      rounds = !now.empty() && now == before ? rounds + 1 : 0;
      before = now;
      return isDone() || rounds == kSteadyRounds;
    });
    return rounds == kSteadyRounds && !isDone();
  }
  /// What the call gave; throws what it threw.
  Result result() {
    if (!isDoneWithin(kPatience)) throw std::runtime_error("the call did not return");
    return result_.get();
  }

 private:
  /// What the call's thread tells of itself.
  struct State {
    std::atomic<long> thread = 0;
    std::atomic<bool> hasThrown = false;
  };

  /// Looks, a millisecond apart, at which a thread must be in one and the same sleep.
  static constexpr int kSteadyRounds = 10;

  /// Which of its sleeps a thread is in; "" when it is in none.
  static std::string sleepOf(long thread) {
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
    bool isAsleep = false;
    for (std::string line; std::getline(status, line);) {
      if (line.rfind("State:", 0) == 0) isAsleep = line.find("S (sleeping)") != std::string::npos;
      if (line.rfind("voluntary_ctxt_switches:", 0) == 0) return isAsleep ? line : std::string();
    }
    return {};
  }

  [[nodiscard]] bool isDoneWithin(std::chrono::seconds patience) const {
    return result_.wait_for(patience) == std::future_status::ready;
  }

  std::shared_ptr<State> state_ = std::make_shared<State>();
  std::future<Result> result_;
};

template <class Function>
BackgroundCall(Function) -> BackgroundCall<std::invoke_result_t<Function>>;

}  // namespace pxa::test
