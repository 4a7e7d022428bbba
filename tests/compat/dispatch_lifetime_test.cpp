// Lifetimes: submitted work keeps its queue alive, and every block copy made
// for a submission is released once it ran (or was dropped).

#include "dispatch_test_support.h"

#include <dispatch/dispatch.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

using harlune::test::PrintTo;

using harlune::test::after_ns;
using harlune::test::eventually;
using harlune::test::wait_bounded;

// Each case drops the test's own reference to a queue before its work runs.
// The work reads the queue's label, which lives in the queue: a queue freed
// too early shows up as a wrong label, or as a use-after-free under ASan.
struct KeepAliveCase {
  const char* name;
  void (*submit_then_release)(dispatch_semaphore_t done, std::string* seen);
};

void record_label(dispatch_semaphore_t done, std::string* seen) {
  *seen = dispatch_queue_get_label(DISPATCH_CURRENT_QUEUE_LABEL);
  dispatch_semaphore_signal(done);
}

void pending_async_work(dispatch_semaphore_t done, std::string* seen) {
  dispatch_queue_t queue = dispatch_queue_create("kept", nullptr);
  dispatch_semaphore_t gate = dispatch_semaphore_create(0);
  // The first item holds the queue busy until the queue has been released.
  // It owns the gate's only reference: the signaller may not free the gate
  // while the waiter is still waking up.
  dispatch_async(queue, ^{
    wait_bounded(gate);
    dispatch_release(gate);
  });
  dispatch_async(queue, ^{
    record_label(done, seen);
  });
  dispatch_release(queue);
  dispatch_semaphore_signal(gate);
}

void delayed_work(dispatch_semaphore_t done, std::string* seen) {
  dispatch_queue_t queue = dispatch_queue_create("kept", nullptr);
  dispatch_after(after_ns(20 * NSEC_PER_MSEC), queue, ^{
    record_label(done, seen);
  });
  dispatch_release(queue);
}

void work_behind_a_released_target(dispatch_semaphore_t done, std::string* seen) {
  dispatch_queue_t target = dispatch_queue_create("target", nullptr);
  dispatch_queue_t queue = dispatch_queue_create("kept", DISPATCH_QUEUE_CONCURRENT);
  dispatch_set_target_queue(queue, target);
  dispatch_release(target);
  dispatch_async(queue, ^{
    record_label(done, seen);
  });
  dispatch_release(queue);
}

void group_notification(dispatch_semaphore_t done, std::string* seen) {
  dispatch_queue_t queue = dispatch_queue_create("kept", nullptr);
  dispatch_group_t group = dispatch_group_create();
  dispatch_group_enter(group);
  dispatch_group_notify(group, queue, ^{
    record_label(done, seen);
  });
  dispatch_release(queue);
  dispatch_group_leave(group);  // The group, too, outlives the caller's release.
  dispatch_release(group);
}

class KeepAlive : public testing::TestWithParam<KeepAliveCase> {};

TEST_P(KeepAlive, QueueLivesUntilItsWorkRan) {
  dispatch_semaphore_t done = dispatch_semaphore_create(0);
  auto seen = std::make_shared<std::string>();
  GetParam().submit_then_release(done, seen.get());
  ASSERT_TRUE(wait_bounded(done));
  EXPECT_EQ(*seen, "kept");
  dispatch_release(done);
}

INSTANTIATE_TEST_SUITE_P(Submissions, KeepAlive,
                         testing::Values(KeepAliveCase{"PendingAsyncWork", &pending_async_work},
                                         KeepAliveCase{"DelayedWork", &delayed_work},
                                         KeepAliveCase{"WorkBehindAReleasedTarget", &work_behind_a_released_target},
                                         KeepAliveCase{"GroupNotification", &group_notification}),
                         [](const auto& info) { return std::string(info.param.name); });

// A block captures a shared_ptr; its copy holds a second reference until the
// dispatch machinery releases the copy.
struct BlockReleaseCase {
  const char* name;
  void (*submit)(dispatch_block_t block);
};

void via_async(dispatch_block_t block) {
  dispatch_async(dispatch_get_global_queue(QOS_CLASS_DEFAULT, 0), block);
}
void via_sync(dispatch_block_t block) {
  dispatch_queue_t queue = dispatch_queue_create("sync", nullptr);
  dispatch_sync(queue, block);
  dispatch_release(queue);
}
void via_group(dispatch_block_t block) {
  dispatch_group_t group = dispatch_group_create();
  dispatch_group_async(group, dispatch_get_main_queue(), block);
  dispatch_release(group);
}
void via_after(dispatch_block_t block) {
  dispatch_after(after_ns(5 * NSEC_PER_MSEC), dispatch_get_global_queue(QOS_CLASS_DEFAULT, 0), block);
}
void via_after_forever(dispatch_block_t block) {
  dispatch_after(DISPATCH_TIME_FOREVER, dispatch_get_global_queue(QOS_CLASS_DEFAULT, 0), block);
}

class BlockCopies : public testing::TestWithParam<BlockReleaseCase> {};

TEST_P(BlockCopies, AreReleasedAfterUse) {
  auto token = std::make_shared<int>(0);
  {
    std::shared_ptr<int> captured = token;
    GetParam().submit(^{
      (void)*captured;
    });
  }
  // The copy is released after the block returns, with no event to wait on.
  EXPECT_TRUE(eventually([&token] { return token.use_count() == 1; }));
}

INSTANTIATE_TEST_SUITE_P(Submissions, BlockCopies,
                         testing::Values(BlockReleaseCase{"Async", &via_async}, BlockReleaseCase{"Sync", &via_sync},
                                         BlockReleaseCase{"GroupAsync", &via_group},
                                         BlockReleaseCase{"After", &via_after},
                                         BlockReleaseCase{"AfterForever", &via_after_forever}),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
