#include "platform/linux/crash/uncaught_exception.h"

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <cxxabi.h>
#include <exception>
#include <memory>
#include <string>
#include <typeinfo>
#include <unwind.h>

namespace pxa::crash {

namespace {

constinit UncaughtException gs_exception{};
std::atomic<pid_t> gs_claimant = 0;
std::atomic<pid_t> gs_thread = 0;  // set when the record is complete
std::terminate_handler gs_previousHandler = nullptr;

void recordName(const std::type_info& type) {
  int status = 0;
  const std::unique_ptr<char, void (*)(void*)> name(
      abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
  gs_exception.name.append(name != nullptr ? name.get() : type.name());
}

void recordReason() {
  try {
    std::rethrow_exception(std::current_exception());
  } catch (const std::exception& exception) {
    if (const char* reason = exception.what()) gs_exception.reason.append(reason);
  } catch (const std::string& text) {
    gs_exception.reason.append(text.c_str());
  } catch (const char* text) {
    if (text != nullptr) gs_exception.reason.append(text);
  } catch (...) {
    // It says nothing of itself.
  }
}

bool isThrowingFunction(std::uint64_t address) noexcept {
  void* const start = ::_Unwind_FindEnclosingFunction(reinterpret_cast<void*>(address - 1));
  return start != nullptr && (start == reinterpret_cast<void*>(&abi::__cxa_throw) ||
                              start == reinterpret_cast<void*>(&abi::__cxa_rethrow));
}

/// The stack still stands as it was when the exception was thrown: what lies below the function that throws is
/// where that was. A runtime that has unwound it leaves the frames of the call of std::terminate.
void recordFrames() noexcept {
  FrameList& frames = gs_exception.frames;
  unwindHere(frames);
  const auto addresses = frames.addresses();
  for (std::size_t i = 0; i < addresses.size(); ++i)
    if (isThrowingFunction(addresses[i])) return frames.removeFirst(i + 1);
}

/// A second exception that nothing catches lets the first one end the process.
void letFirstOneEnd() noexcept {
  constexpr timespec kHeadStart{1, 0};
  ::nanosleep(&kHeadStart, nullptr);
}

void recordCurrentException() noexcept {
  const std::type_info* type = abi::__cxa_current_exception_type();
  if (type == nullptr) return;
  pid_t nobody = 0;
  if (!gs_claimant.compare_exchange_strong(nobody, currentThreadId())) return letFirstOneEnd();
  recordFrames();
  recordName(*type);
  recordReason();
  gs_thread = currentThreadId();
}

[[noreturn]] void onTerminate() noexcept {
  recordCurrentException();
  gs_previousHandler();
  std::abort();
}

}  // namespace

void installTerminateHandler() noexcept {
  gs_previousHandler = std::get_terminate();
  std::set_terminate(&onTerminate);
}

const UncaughtException* uncaughtExceptionOf(pid_t thread) noexcept {
  return gs_thread == thread ? &gs_exception : nullptr;
}

}  // namespace pxa::crash
