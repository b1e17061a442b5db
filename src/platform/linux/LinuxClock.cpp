#include "platform/linux/LinuxClock.h"

#include <chrono>
#include <thread>

namespace pxa {

namespace {

template <class TimePoint>
double inSeconds(TimePoint time) {
  return std::chrono::duration<double>(time.time_since_epoch()).count();
}

}  // namespace

double LinuxClock::secondsSince1970() {
  return inSeconds(std::chrono::system_clock::now());
}

double LinuxClock::monotonicSeconds() {
  return inSeconds(std::chrono::steady_clock::now());
}

void LinuxClock::sleepForSeconds(double seconds) {
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

}  // namespace pxa
