// The host clock: nanoseconds on CLOCK_MONOTONIC, timebase 1/1.

#include <mach/mach.h>
#include <mach/mach_time.h>

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <time.h>

namespace {

uint64_t monotonic_ns() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000000000ull + static_cast<uint64_t>(now.tv_nsec);
}

TEST(MachTime, TimebaseIsOneToOne) {
  mach_timebase_info_data_t timebase = {0, 0};
  EXPECT_EQ(mach_timebase_info(&timebase), KERN_SUCCESS);
  EXPECT_EQ(timebase.numer, 1u);
  EXPECT_EQ(timebase.denom, 1u);
  EXPECT_EQ(mach_timebase_info(nullptr), KERN_INVALID_ARGUMENT);
}

TEST(MachTime, ReadsTheMonotonicClockInNanoseconds) {
  const uint64_t before = monotonic_ns();
  const uint64_t reading = mach_absolute_time();
  const uint64_t after = monotonic_ns();
  EXPECT_LE(before, reading);
  EXPECT_LE(reading, after);

  // A 10 ms sleep must advance the clock by at least 10 ms worth of ticks,
  // which fails if the unit were anything coarser than nanoseconds. The upper
  // bound is generous (5 s) because the machine is shared and may stall us.
  const uint64_t start = mach_absolute_time();
  std::this_thread::sleep_for(std::chrono::milliseconds(10));
  const uint64_t elapsed = mach_absolute_time() - start;
  EXPECT_GE(elapsed, 10'000'000u);
  EXPECT_LT(elapsed, 5'000'000'000u);
}

TEST(MachTime, NeverGoesBackwards) {
  uint64_t previous = mach_absolute_time();
  for (int i = 0; i < 100000; ++i) {
    const uint64_t now = mach_absolute_time();
    ASSERT_GE(now, previous);
    previous = now;
  }
}

}  // namespace
