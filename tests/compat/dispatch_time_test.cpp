// Deadlines: dispatch_time arithmetic and dispatch_after timing and order.

#include "dispatch_test_support.h"

#include <dispatch/dispatch.h>
#include <mach/mach_time.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace {

using harlune::test::PrintTo;

using harlune::test::after_ns;
using harlune::test::wait_bounded;

constexpr int64_t kInt64Max = std::numeric_limits<int64_t>::max();

TEST(DispatchTime, NowPlusDeltaIsOnTheHostClock) {
  const uint64_t before = mach_absolute_time();
  const dispatch_time_t when = dispatch_time(DISPATCH_TIME_NOW, 5 * NSEC_PER_MSEC);
  const uint64_t after = mach_absolute_time();
  EXPECT_GE(when, before + 5 * NSEC_PER_MSEC);
  EXPECT_LE(when, after + 5 * NSEC_PER_MSEC);
}

struct ArithmeticCase {
  const char* name;
  dispatch_time_t when;
  int64_t delta;
  dispatch_time_t expected;
};

class DispatchTimeArithmetic : public testing::TestWithParam<ArithmeticCase> {};

TEST_P(DispatchTimeArithmetic, SaturatesAtTheEnds) {
  EXPECT_EQ(dispatch_time(GetParam().when, GetParam().delta), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, DispatchTimeArithmetic,
    testing::Values(ArithmeticCase{"AbsolutePlusDelta", 1000, 234, 1234},
                    ArithmeticCase{"AbsoluteMinusDelta", 1000, -1, 999},
                    ArithmeticCase{"ForeverStaysForever", DISPATCH_TIME_FOREVER, -1000, DISPATCH_TIME_FOREVER},
                    ArithmeticCase{"OverflowBecomesForever", 1000, kInt64Max, DISPATCH_TIME_FOREVER},
                    // Never NOW (0), which would mean "whenever it is used".
                    ArithmeticCase{"UnderflowBecomesEarliest", 1000, -2000, 1},
                    ArithmeticCase{"ExactlyOriginBecomesEarliest", 1000, -1000, 1}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(DispatchWalltime, MovesLikeDispatchTimeAndIsNeitherNowNorForever) {
  const timespec epoch_plus_a_day = {86400, 5};
  const dispatch_time_t base = dispatch_walltime(&epoch_plus_a_day, 0);
  EXPECT_NE(base, DISPATCH_TIME_NOW);
  EXPECT_NE(base, DISPATCH_TIME_FOREVER);
  EXPECT_EQ(dispatch_time(base, NSEC_PER_SEC), dispatch_walltime(&epoch_plus_a_day, NSEC_PER_SEC));
  EXPECT_EQ(dispatch_walltime(&epoch_plus_a_day, kInt64Max), DISPATCH_TIME_FOREVER);
  // A wall-clock time long past is due at once.
  dispatch_semaphore_t never = dispatch_semaphore_create(0);
  EXPECT_NE(dispatch_semaphore_wait(never, base), 0);
  dispatch_release(never);
}

// Firing times are compared with the deadline on the same clock. The lower
// bound is exact; the upper bound allows 2 s of lateness, since the machine
// is shared and sanitizer builds are slow, while a timer that is never or
// far too late still fails.
constexpr uint64_t kLatenessTolerance = 2 * NSEC_PER_SEC;

struct DelayCase {
  const char* name;
  bool wall_clock;
  int64_t delay;
};

class DispatchAfter : public testing::TestWithParam<DelayCase> {};

TEST_P(DispatchAfter, FiresNoEarlierThanItsDeadline) {
  const DelayCase& c = GetParam();
  const uint64_t deadline = mach_absolute_time() + static_cast<uint64_t>(c.delay);
  const dispatch_time_t when = c.wall_clock ? dispatch_walltime(nullptr, c.delay) : dispatch_time(deadline, 0);
  __block uint64_t fired = 0;
  dispatch_semaphore_t done = dispatch_semaphore_create(0);
  dispatch_after(when, dispatch_get_global_queue(QOS_CLASS_DEFAULT, 0), ^{
    fired = mach_absolute_time();
    dispatch_semaphore_signal(done);
  });
  ASSERT_TRUE(wait_bounded(done));
  // A wall-clock deadline is taken from a slightly later reading, so it lies
  // after `deadline`, except that time adjustment (NTP slewing, at most
  // 500 ppm) may run the wall clock faster than the host clock: 1 ms covers
  // that over these delays. Host-clock deadlines get no slack at all.
  const uint64_t slack = c.wall_clock ? NSEC_PER_MSEC : 0;
  EXPECT_GE(fired + slack, deadline);
  EXPECT_LT(fired - deadline, kLatenessTolerance);
  dispatch_release(done);
}

constexpr int64_t kMillisecond = static_cast<int64_t>(NSEC_PER_MSEC);

INSTANTIATE_TEST_SUITE_P(Delays, DispatchAfter,
                         testing::Values(DelayCase{"Immediate", false, 0},
                                         DelayCase{"OneMillisecond", false, kMillisecond},
                                         DelayCase{"FiftyMilliseconds", false, 50 * kMillisecond},
                                         DelayCase{"WallClockFiftyMilliseconds", true, 50 * kMillisecond}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(DispatchAfter, FiresSeveralTimersInDeadlineOrder) {
  // Scheduled out of order; the two 30 ms timers share a deadline and must
  // keep their scheduling order. The serial queue runs them as submitted.
  struct Timer {
    int id;
    int64_t delay_ms;
  };
  const std::vector<Timer> timers = {{5, 60}, {1, 10}, {3, 30}, {4, 30}, {2, 20}, {6, 70}};
  const uint64_t start = mach_absolute_time();
  dispatch_queue_t queue = dispatch_queue_create("timers", nullptr);
  dispatch_group_t group = dispatch_group_create();
  std::vector<int> order;
  std::vector<int>* order_ptr = &order;
  for (const Timer& timer : timers) {
    const int id = timer.id;
    dispatch_group_enter(group);
    dispatch_after(start + static_cast<uint64_t>(timer.delay_ms) * NSEC_PER_MSEC, queue, ^{
      order_ptr->push_back(id);
      dispatch_group_leave(group);
    });
  }
  ASSERT_TRUE(wait_bounded(group));
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4, 5, 6}));
  dispatch_release(queue);
  dispatch_release(group);
}

}  // namespace
