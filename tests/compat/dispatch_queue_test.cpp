// Queues: order and exclusion, parallelism, synchronous submission,
// suspension, barriers, targets, labels and lifetime.

#include "dispatch_test_support.h"

#include <dispatch/dispatch.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using harlune::test::PrintTo;

using harlune::test::after_ns;
using harlune::test::wait_bounded;
using harlune::test::sync_serving_main;
using harlune::test::wait_bounded_serving_main;

// What a set of supposedly exclusive work items did. `entries` is written
// without a lock on purpose: only mutual exclusion (plus the queue's
// ordering) makes that safe, and ThreadSanitizer reports it otherwise.
struct RunLog {
  std::vector<std::pair<int, int>> entries;
  std::atomic<int> inside{0};
  std::atomic<bool> overlapped{false};

  void record(int producer, int sequence) {
    if (inside.fetch_add(1) != 0) {
      overlapped = true;
    }
    entries.emplace_back(producer, sequence);
    // Widens the window in which an overlapping item would be caught.
    std::this_thread::yield();
    inside.fetch_sub(1);
  }
};

enum class Target { none, global, serial };

struct SerialCase {
  const char* name;
  int queues;  // Producer p submits to queue p % queues.
  Target target;
};

class SerialQueueOrder : public testing::TestWithParam<SerialCase> {};

TEST_P(SerialQueueOrder, RunsEachProducersWorkInOrderAndNeverTwoAtOnce) {
  const SerialCase& c = GetParam();
  dispatch_queue_t shared_target = c.target == Target::serial ? dispatch_queue_create("target", nullptr) : nullptr;
  std::vector<dispatch_queue_t> queues;
  for (int i = 0; i < c.queues; ++i) {
    dispatch_queue_t queue = dispatch_queue_create("serial", DISPATCH_QUEUE_SERIAL);
    if (c.target == Target::global) {
      dispatch_set_target_queue(queue, dispatch_get_global_queue(QOS_CLASS_USER_INITIATED, 0));
    } else if (c.target == Target::serial) {
      dispatch_set_target_queue(queue, shared_target);
    }
    queues.push_back(queue);
  }

  constexpr int kProducers = 4;
  constexpr int kItems = 2000;
  RunLog log;
  RunLog* shared_log = &log;
  dispatch_group_t group = dispatch_group_create();
  std::vector<std::thread> producers;
  for (int p = 0; p < kProducers; ++p) {
    producers.emplace_back([&queues, group, shared_log, p] {
      dispatch_queue_t queue = queues[p % queues.size()];
      for (int i = 0; i < kItems; ++i) {
        dispatch_group_async(group, queue, ^{
          shared_log->record(p, i);
        });
      }
    });
  }
  for (std::thread& producer : producers) {
    producer.join();
  }
  ASSERT_TRUE(wait_bounded(group));

  EXPECT_FALSE(log.overlapped);
  ASSERT_EQ(log.entries.size(), static_cast<size_t>(kProducers * kItems));
  std::vector<int> next(kProducers, 0);
  for (const auto& [producer, sequence] : log.entries) {
    ASSERT_EQ(sequence, next[producer]) << "producer " << producer;
    ++next[producer];
  }
  for (dispatch_queue_t queue : queues) {
    dispatch_release(queue);
  }
  if (shared_target != nullptr) {
    dispatch_release(shared_target);
  }
  dispatch_release(group);
}

INSTANTIATE_TEST_SUITE_P(Topologies, SerialQueueOrder,
                         testing::Values(SerialCase{"DefaultTarget", 1, Target::none},
                                         SerialCase{"GlobalTarget", 1, Target::global},
                                         SerialCase{"SerialTarget", 1, Target::serial},
                                         SerialCase{"TwoQueuesSharingASerialTarget", 2, Target::serial}),
                         [](const auto& info) { return std::string(info.param.name); });

struct ConcurrentCase {
  const char* name;
  dispatch_queue_t (*make)();
};

dispatch_queue_t global_default() {
  return dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0);
}
dispatch_queue_t global_background() {
  return dispatch_get_global_queue(QOS_CLASS_BACKGROUND, 0);
}
dispatch_queue_t new_concurrent() {
  return dispatch_queue_create("concurrent", DISPATCH_QUEUE_CONCURRENT);
}

class ConcurrentQueues : public testing::TestWithParam<ConcurrentCase> {};

// Each block waits for the other, so both finish only if they run at once.
TEST_P(ConcurrentQueues, RunWorkInParallel) {
  dispatch_queue_t queue = GetParam().make();
  dispatch_semaphore_t first_started = dispatch_semaphore_create(0);
  dispatch_semaphore_t second_started = dispatch_semaphore_create(0);
  std::atomic<int> met{0};
  std::atomic<int>* met_ptr = &met;
  dispatch_group_t group = dispatch_group_create();
  dispatch_group_async(group, queue, ^{
    dispatch_semaphore_signal(first_started);
    *met_ptr += wait_bounded(second_started) ? 1 : 0;
  });
  dispatch_group_async(group, queue, ^{
    dispatch_semaphore_signal(second_started);
    *met_ptr += wait_bounded(first_started) ? 1 : 0;
  });
  ASSERT_TRUE(wait_bounded(group));
  EXPECT_EQ(met, 2);
  dispatch_release(queue);  // No effect on the global queues.
  dispatch_release(group);
  dispatch_release(first_started);
  dispatch_release(second_started);
}

// More blocked items than cores: the pool must grow past them so that the
// item releasing them gets a thread.
TEST_P(ConcurrentQueues, BlockedWorkDoesNotStarveLaterWork) {
  constexpr int kBlocked = 16;
  dispatch_queue_t queue = GetParam().make();
  dispatch_semaphore_t gate = dispatch_semaphore_create(0);
  std::atomic<int> passed{0};
  std::atomic<int>* passed_ptr = &passed;
  dispatch_group_t group = dispatch_group_create();
  for (int i = 0; i < kBlocked; ++i) {
    dispatch_group_async(group, queue, ^{
      *passed_ptr += wait_bounded(gate) ? 1 : 0;
    });
  }
  dispatch_group_async(group, queue, ^{
    for (int i = 0; i < kBlocked; ++i) {
      dispatch_semaphore_signal(gate);
    }
  });
  ASSERT_TRUE(wait_bounded(group));
  EXPECT_EQ(passed, kBlocked);
  dispatch_release(queue);
  dispatch_release(group);
  dispatch_release(gate);
}

INSTANTIATE_TEST_SUITE_P(Kinds, ConcurrentQueues,
                         testing::Values(ConcurrentCase{"GlobalDefault", &global_default},
                                         ConcurrentCase{"GlobalBackground", &global_background},
                                         ConcurrentCase{"Created", &new_concurrent}),
                         [](const auto& info) { return std::string(info.param.name); });

struct SyncCase {
  const char* name;
  dispatch_queue_t (*make)();
  bool ordered;  // Serial: earlier asynchronous work has run by the time sync returns.
};

dispatch_queue_t new_serial() {
  return dispatch_queue_create("serial", nullptr);
}
dispatch_queue_t main_queue() {
  return dispatch_get_main_queue();
}

class SyncSubmission : public testing::TestWithParam<SyncCase> {};

TEST_P(SyncSubmission, ReturnsAfterTheBlockRanAndSeesItsEffects) {
  dispatch_queue_t queue = GetParam().make();
  int counter = 0;  // Plain int: the queue's ordering must publish it.
  int* counter_ptr = &counter;
  if (GetParam().ordered) {
    for (int i = 0; i < 100; ++i) {
      dispatch_async(queue, ^{
        ++*counter_ptr;
      });
    }
  }
  __block int seen = -1;
  sync_serving_main(queue, ^{
    seen = *counter_ptr;
    *counter_ptr = 1000;
  });
  EXPECT_EQ(seen, GetParam().ordered ? 100 : 0);
  EXPECT_EQ(counter, 1000);
  dispatch_release(queue);
}

INSTANTIATE_TEST_SUITE_P(Kinds, SyncSubmission,
                         testing::Values(SyncCase{"Serial", &new_serial, true}, SyncCase{"Main", &main_queue, true},
                                         SyncCase{"Concurrent", &new_concurrent, false},
                                         SyncCase{"Global", &global_default, false}),
                         [](const auto& info) { return std::string(info.param.name); });

// Waiting for a queue from work that holds it would wait forever; the block
// must run instead, both on the queue itself and on a queue targeting it.
TEST(SyncSubmission, FromWorkHoldingTheQueueRunsAtOnce) {
  dispatch_queue_t outer = dispatch_queue_create("outer", nullptr);
  dispatch_queue_t inner = dispatch_queue_create("inner", nullptr);
  dispatch_set_target_queue(inner, outer);
  std::atomic<int> ran{0};
  std::atomic<int>* ran_ptr = &ran;
  dispatch_semaphore_t done = dispatch_semaphore_create(0);
  dispatch_async(outer, ^{
    dispatch_sync(outer, ^{
      ++*ran_ptr;
    });
    dispatch_sync(inner, ^{
      ++*ran_ptr;
    });
    dispatch_semaphore_signal(done);
  });
  ASSERT_TRUE(wait_bounded(done));
  EXPECT_EQ(ran, 2);
  dispatch_release(inner);
  dispatch_release(outer);
  dispatch_release(done);
}

class Suspension : public testing::TestWithParam<ConcurrentCase> {};

TEST_P(Suspension, IsCountedAndIgnoresAnUnmatchedResume) {
  dispatch_queue_t queue = GetParam().make();
  dispatch_resume(queue);  // Unmatched: must not bank a resume for later.
  dispatch_suspend(queue);
  dispatch_suspend(queue);
  dispatch_semaphore_t ran = dispatch_semaphore_create(0);
  dispatch_async(queue, ^{
    dispatch_semaphore_signal(ran);
  });
  dispatch_resume(queue);
  // Still suspended once. 100 ms is ample for a wrongly resumed queue to run
  // the block; a correct queue can never fail this check.
  EXPECT_NE(dispatch_semaphore_wait(ran, after_ns(100 * NSEC_PER_MSEC)), 0);
  dispatch_resume(queue);
  EXPECT_TRUE(wait_bounded(ran));
  dispatch_release(queue);
  dispatch_release(ran);
}

INSTANTIATE_TEST_SUITE_P(Kinds, Suspension,
                         testing::Values(ConcurrentCase{"Serial", &new_serial},
                                         ConcurrentCase{"Concurrent", &new_concurrent}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(BarrierSubmission, WaitsForEarlierWorkAndRunsAlone) {
  constexpr int kItems = 8;
  dispatch_queue_t queue = dispatch_queue_create("concurrent", DISPATCH_QUEUE_CONCURRENT);
  struct State {
    std::atomic<int> running{0};
    std::atomic<int> finished_before{0};
    std::atomic<bool> barrier_done{false};
    std::atomic<bool> barrier_alone{false};
    std::atomic<int> started_after_barrier{0};
  } state;
  State* s = &state;
  dispatch_group_t group = dispatch_group_create();
  for (int i = 0; i < kItems; ++i) {
    dispatch_group_async(group, queue, ^{
      ++s->running;
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
      ++s->finished_before;
      --s->running;
    });
  }
  dispatch_barrier_async(queue, ^{
    s->barrier_alone = s->running == 0 && s->finished_before == kItems;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    s->barrier_done = true;
  });
  for (int i = 0; i < kItems; ++i) {
    dispatch_group_async(group, queue, ^{
      s->started_after_barrier += s->barrier_done ? 1 : 0;
    });
  }
  ASSERT_TRUE(wait_bounded(group));
  EXPECT_TRUE(state.barrier_alone);
  EXPECT_EQ(state.started_after_barrier, kItems);
  dispatch_release(queue);
  dispatch_release(group);
}

TEST(TargetQueue, RetargetingThatWouldFormACycleIsIgnored) {
  dispatch_queue_t first = dispatch_queue_create("first", nullptr);
  dispatch_queue_t second = dispatch_queue_create("second", nullptr);
  dispatch_set_target_queue(second, first);
  dispatch_set_target_queue(first, second);  // Would close a cycle.
  dispatch_set_target_queue(first, first);   // So would this.
  dispatch_semaphore_t ran = dispatch_semaphore_create(0);
  dispatch_async(second, ^{
    dispatch_semaphore_signal(ran);
  });
  EXPECT_TRUE(wait_bounded(ran));
  dispatch_release(second);
  dispatch_release(first);
  dispatch_release(ran);
}

TEST(TargetQueue, MainQueueCannotBeRetargeted) {
  dispatch_queue_t stuck = dispatch_queue_create("stuck", nullptr);
  dispatch_suspend(stuck);
  dispatch_set_target_queue(dispatch_get_main_queue(), stuck);
  dispatch_semaphore_t ran = dispatch_semaphore_create(0);
  dispatch_async(dispatch_get_main_queue(), ^{
    dispatch_semaphore_signal(ran);
  });
  EXPECT_TRUE(wait_bounded_serving_main(ran));
  dispatch_resume(stuck);
  dispatch_release(stuck);
  dispatch_release(ran);
}

}  // namespace
