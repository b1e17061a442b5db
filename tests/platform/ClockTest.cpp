#include <ctime>
#include <gtest/gtest.h>

#include "platform/linux/LinuxClock.h"

namespace pxa {
namespace {

TEST(Clock, TellsTheSecondsSince1970) {
  LinuxClock clock;
  const auto before = static_cast<double>(std::time(nullptr)) - 1;
  const double now = clock.secondsSince1970();
  EXPECT_GE(now, before);
  EXPECT_LE(now, static_cast<double>(std::time(nullptr)) + 1);
}

TEST(Clock, NeverGoesBack) {
  LinuxClock clock;
  double last = clock.monotonicSeconds();
  for (int i = 0; i < 1000; ++i) {
    const double now = clock.monotonicSeconds();
    EXPECT_GE(now, last);
    last = now;
  }
}

TEST(Clock, SleepsNoLessThanItIsTold) {
  LinuxClock clock;
  const double before = clock.monotonicSeconds();
  clock.sleepForSeconds(0.01);
  EXPECT_GE(clock.monotonicSeconds() - before, 0.01);
}

TEST(Clock, DoesNotSleepForNoTimeOrLess) {
  LinuxClock clock;
  const double before = clock.monotonicSeconds();
  clock.sleepForSeconds(0);
  clock.sleepForSeconds(-1'000'000);
  EXPECT_LT(clock.monotonicSeconds() - before, 60);
}

}  // namespace
}  // namespace pxa
