#pragma once

#include <functional>

namespace pxa {

/// Starts the library's own threads: named, deaf to every signal but those that report a fault of their own,
/// never joined.
class Threads {
 public:
  virtual ~Threads() = default;
  /// The name is cut to what a debugger shows, 15 characters. Throws std::system_error when no thread can be
  /// made.
  virtual void start(const char* name, std::function<void()> body) = 0;
  /// Gives the calling thread what it takes to report a stack overflow of its own; false when there is no
  /// memory for that.
  virtual bool prepareForCrash() = 0;
  /// Lets another thread run.
  virtual void yield() = 0;
};

}  // namespace pxa
