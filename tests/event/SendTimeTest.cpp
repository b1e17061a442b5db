#include <cstdint>
#include <gtest/gtest.h>

#include "event/send_time.h"
#include "support/FakePlatform.h"

namespace pxa {
namespace {

using test::FakePlatform;

TEST(SendTime, IsTheTimeInMilliseconds) {
  FakePlatform::install().clock.setSecondsSince1970(1'700'000'000.25);
  EXPECT_EQ(currentSendTime(), 1'700'000'000'250);
}

TEST(SendTime, IsCutToWholeMilliseconds) {
  FakePlatform& fakes = FakePlatform::install();
  for (const double seconds : {1.0009765625, 1.0, 0.0, 0.0009, -0.0009, -1.5, 1'700'000'000.999}) {
    fakes.clock.setSecondsSince1970(seconds);
    EXPECT_EQ(currentSendTime(), static_cast<std::int64_t>(seconds * 1000.0)) << seconds;
  }
}

}  // namespace
}  // namespace pxa
