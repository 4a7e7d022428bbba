// Groups: waiting, notification and membership counting.

#include "dispatch_test_support.h"

#include <dispatch/dispatch.h>

#include <gtest/gtest.h>

#include <atomic>
#include <string>

namespace {

using harlune::test::PrintTo;

using harlune::test::after_ns;
using harlune::test::wait_bounded;
using harlune::test::wait_bounded_serving_main;

struct TimeoutCase {
  const char* name;
  int64_t timeout;
};

class GroupWait : public testing::TestWithParam<TimeoutCase> {};

TEST_P(GroupWait, TimesOutWhileAMemberIsInside) {
  dispatch_group_t group = dispatch_group_create();
  dispatch_group_enter(group);
  const uint64_t start = mach_absolute_time();
  EXPECT_NE(dispatch_group_wait(group, after_ns(GetParam().timeout)), 0);
  EXPECT_GE(mach_absolute_time() - start, static_cast<uint64_t>(GetParam().timeout));
  dispatch_group_leave(group);
  EXPECT_EQ(dispatch_group_wait(group, DISPATCH_TIME_NOW), 0);
  dispatch_release(group);
}

INSTANTIATE_TEST_SUITE_P(Timeouts, GroupWait,
                         testing::Values(TimeoutCase{"Now", 0},
                                         TimeoutCase{"TwentyMilliseconds", 20 * static_cast<int64_t>(NSEC_PER_MSEC)}),
                         [](const auto& info) { return std::string(info.param.name); });

void count_up(void* counter) {
  ++*static_cast<std::atomic<int>*>(counter);
}

TEST(GroupWait, ReturnsOnceEveryMemberFinished) {
  constexpr int kItems = 200;
  dispatch_group_t group = dispatch_group_create();
  dispatch_queue_t global = dispatch_get_global_queue(QOS_CLASS_DEFAULT, 0);
  std::atomic<int> finished{0};
  std::atomic<int>* finished_ptr = &finished;
  for (int i = 0; i < kItems; ++i) {
    if (i % 2 == 0) {
      dispatch_group_async_f(group, global, &finished, &count_up);
    } else {
      dispatch_group_async(group, global, ^{
        ++*finished_ptr;
      });
    }
  }
  ASSERT_TRUE(wait_bounded(group));
  EXPECT_EQ(finished, kItems);
  dispatch_release(group);
}

TEST(GroupNotify, RunsOnceAfterTheLastMemberLeft) {
  dispatch_group_t group = dispatch_group_create();
  dispatch_queue_t queue = dispatch_queue_create("notified", nullptr);
  std::atomic<int> left{0};
  std::atomic<int> notified{0};
  std::atomic<int> left_when_notified{-1};
  std::atomic<int>* left_ptr = &left;
  std::atomic<int>* notified_ptr = &notified;
  std::atomic<int>* left_when_notified_ptr = &left_when_notified;
  dispatch_semaphore_t done = dispatch_semaphore_create(0);
  dispatch_group_enter(group);
  dispatch_group_enter(group);
  dispatch_group_notify(group, queue, ^{
    *left_when_notified_ptr = left_ptr->load();
    ++*notified_ptr;
    dispatch_semaphore_signal(done);
  });
  ++left;
  dispatch_group_leave(group);
  ++left;
  dispatch_group_leave(group);
  ASSERT_TRUE(wait_bounded(done));
  EXPECT_EQ(left_when_notified, 2);
  // Emptying the group again later must not repeat the notification.
  dispatch_group_enter(group);
  dispatch_group_leave(group);
  dispatch_sync(queue, ^{
  });
  EXPECT_EQ(notified, 1);
  dispatch_release(queue);
  dispatch_release(group);
  dispatch_release(done);
}

void signal_semaphore(void* semaphore) {
  dispatch_semaphore_signal(static_cast<dispatch_semaphore_t>(semaphore));
}

TEST(GroupNotify, OnAnEmptyGroupRunsAtOnce) {
  dispatch_group_t group = dispatch_group_create();
  dispatch_semaphore_t done = dispatch_semaphore_create(0);
  dispatch_group_notify_f(group, dispatch_get_main_queue(), done, &signal_semaphore);
  EXPECT_TRUE(wait_bounded_serving_main(done));
  dispatch_release(group);
  dispatch_release(done);
}

TEST(GroupMembership, AnUnmatchedLeaveIsIgnored) {
  dispatch_group_t group = dispatch_group_create();
  dispatch_group_leave(group);  // Must not drive the count below zero...
  dispatch_group_enter(group);  // ...or this member would not count.
  EXPECT_NE(dispatch_group_wait(group, DISPATCH_TIME_NOW), 0);
  dispatch_group_leave(group);
  EXPECT_EQ(dispatch_group_wait(group, DISPATCH_TIME_NOW), 0);
  dispatch_release(group);
}

}  // namespace
