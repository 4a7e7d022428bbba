// Semaphores: counting, timeouts and hand-over between threads.

#include "dispatch_test_support.h"

#include <dispatch/dispatch.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace {

using harlune::test::PrintTo;

using harlune::test::after_ns;
using harlune::test::wait_bounded;

struct TimeoutCase {
  const char* name;
  int64_t timeout;
  bool wall_clock;
};

class SemaphoreTimeout : public testing::TestWithParam<TimeoutCase> {};

TEST_P(SemaphoreTimeout, ReturnsNonZeroNoEarlierThanTheTimeout) {
  dispatch_semaphore_t semaphore = dispatch_semaphore_create(0);
  const TimeoutCase& c = GetParam();
  const uint64_t start = mach_absolute_time();
  const dispatch_time_t timeout = c.wall_clock ? dispatch_walltime(nullptr, c.timeout) : after_ns(c.timeout);
  EXPECT_NE(dispatch_semaphore_wait(semaphore, timeout), 0);
  // Wall-clock timeouts get 1 ms for slewing between the clocks, as in the
  // dispatch_after tests.
  const uint64_t slack = c.wall_clock ? NSEC_PER_MSEC : 0;
  EXPECT_GE(mach_absolute_time() - start + slack, static_cast<uint64_t>(c.timeout));
  dispatch_release(semaphore);
}

INSTANTIATE_TEST_SUITE_P(
    Timeouts, SemaphoreTimeout,
    testing::Values(TimeoutCase{"Now", 0, false},
                    TimeoutCase{"OneMillisecond", static_cast<int64_t>(NSEC_PER_MSEC), false},
                    TimeoutCase{"ThirtyMilliseconds", 30 * static_cast<int64_t>(NSEC_PER_MSEC), false},
                    TimeoutCase{"WallClockThirtyMilliseconds", 30 * static_cast<int64_t>(NSEC_PER_MSEC), true}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Semaphore, CountsItsUnits) {
  EXPECT_EQ(dispatch_semaphore_create(-1), nullptr);
  dispatch_semaphore_t semaphore = dispatch_semaphore_create(2);
  EXPECT_EQ(dispatch_semaphore_wait(semaphore, DISPATCH_TIME_NOW), 0);
  EXPECT_EQ(dispatch_semaphore_wait(semaphore, DISPATCH_TIME_NOW), 0);
  EXPECT_NE(dispatch_semaphore_wait(semaphore, DISPATCH_TIME_NOW), 0);
  EXPECT_EQ(dispatch_semaphore_signal(semaphore), 0);  // Nobody was waiting.
  EXPECT_EQ(dispatch_semaphore_wait(semaphore, DISPATCH_TIME_NOW), 0);
  dispatch_release(semaphore);
}

TEST(Semaphore, HandsUnitsBetweenThreadsWithoutLosingAny) {
  constexpr int kRounds = 5000;
  dispatch_semaphore_t ping = dispatch_semaphore_create(0);
  dispatch_semaphore_t pong = dispatch_semaphore_create(0);
  int bounced = 0;  // Plain int: each hand-over must order the accesses.
  std::thread partner([&] {
    for (int i = 0; i < kRounds; ++i) {
      if (!wait_bounded(ping)) {
        return;
      }
      ++bounced;
      dispatch_semaphore_signal(pong);
    }
  });
  int returned = 0;
  for (int i = 0; i < kRounds; ++i) {
    dispatch_semaphore_signal(ping);
    if (!wait_bounded(pong)) {
      break;
    }
    ++returned;
  }
  partner.join();
  EXPECT_EQ(returned, kRounds);
  EXPECT_EQ(bounced, kRounds);
  dispatch_release(ping);
  dispatch_release(pong);
}

}  // namespace
