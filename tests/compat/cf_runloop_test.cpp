// The main thread model: main-queue work runs on the process's main thread,
// only while it runs its run loop or dispatch_main(). Test bodies run on the
// main thread, so they drive the run loop themselves.

#include "dispatch_test_support.h"

#include <CoreFoundation/CFRunLoop.h>
#include <dispatch/dispatch.h>

#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace {

using harlune::test::PrintTo;
using harlune::test::wait_bounded_serving_main;

bool on_main_thread() {
  return static_cast<pid_t>(syscall(SYS_gettid)) == getpid();
}

TEST(MainQueue, WorkWaitsUntilTheMainThreadRunsItsLoop) {
  ASSERT_TRUE(on_main_thread());
  std::atomic<bool> ran{false};
  std::atomic<bool>* ran_ptr = &ran;
  dispatch_async(dispatch_get_main_queue(), ^{
    *ran_ptr = true;
  });
  // Tolerance: a correct run never runs the block here; a compat layer that
  // ran the main queue elsewhere would, well within 100 ms.
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_FALSE(ran);
  EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false), kCFRunLoopRunTimedOut);
  EXPECT_TRUE(ran);
}

TEST(MainQueue, RunsOnTheMainThreadAndKeepsEachPostersOrder) {
  constexpr int kThreads = 3;
  constexpr int kEach = 500;
  std::vector<int>* seen = new std::vector<int>[kThreads];
  std::atomic<int> delivered{0};
  std::atomic<int> off_main{0};
  std::atomic<int>* delivered_ptr = &delivered;
  std::atomic<int>* off_main_ptr = &off_main;
  std::vector<std::thread> posters;
  for (int t = 0; t < kThreads; ++t) {
    posters.emplace_back([=] {
      for (int i = 0; i < kEach; ++i) {
        dispatch_async(dispatch_get_main_queue(), ^{
          if (!on_main_thread()) ++*off_main_ptr;
          seen[t].push_back(i);  // Only the main thread touches these.
          ++*delivered_ptr;
        });
      }
    });
  }
  for (auto& poster : posters) poster.join();
  EXPECT_TRUE(harlune::test::eventually([&] { return delivered == kThreads * kEach; }));
  EXPECT_EQ(off_main, 0);
  for (int t = 0; t < kThreads; ++t) {
    ASSERT_EQ(seen[t].size(), static_cast<size_t>(kEach));
    for (int i = 0; i < kEach; ++i) EXPECT_EQ(seen[t][i], i) << "poster " << t;
  }
  delete[] seen;
}

// How one run of the main run loop ends, given what happens before or
// during it.
struct RunCase {
  const char* name;
  std::thread (*arrange)();  // on the main thread, before the run; a helper thread or none
  double seconds;
  bool return_after_work;
  CFRunLoopRunResult expected;
};

std::thread nothing() { return {}; }
std::thread post_work() {
  dispatch_async(dispatch_get_main_queue(), ^{
  });
  return {};
}
std::thread stop_before() {
  CFRunLoopStop(CFRunLoopGetMain());
  return {};
}
std::thread stop_from_main_queue_work() {
  dispatch_async(dispatch_get_main_queue(), ^{
    CFRunLoopStop(CFRunLoopGetCurrent());
  });
  return {};
}
std::thread stop_from_another_thread_soon() {
  return std::thread([] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    CFRunLoopStop(CFRunLoopGetMain());
  });
}
std::thread wake_from_another_thread_soon() {
  return std::thread([] {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    CFRunLoopWakeUp(CFRunLoopGetMain());
  });
}

class MainRunLoopRun : public testing::TestWithParam<RunCase> {};

TEST_P(MainRunLoopRun, EndsAsExpected) {
  std::thread helper = GetParam().arrange();
  EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, GetParam().seconds, GetParam().return_after_work),
            GetParam().expected);
  if (helper.joinable()) helper.join();
}

// The long runs (20 s) end early in a correct implementation; were the stop
// lost they would time out and fail rather than hang.
INSTANTIATE_TEST_SUITE_P(
    Runs, MainRunLoopRun,
    testing::Values(RunCase{"NothingQueuedTimesOut", &nothing, 0.02, false, kCFRunLoopRunTimedOut},
                    RunCase{"WorkThenReturn", &post_work, 20, true, kCFRunLoopRunHandledSource},
                    RunCase{"WorkWithoutReturnTimesOut", &post_work, 0.02, false, kCFRunLoopRunTimedOut},
                    RunCase{"StopBeforeTheRunIsKept", &stop_before, 20, false, kCFRunLoopRunStopped},
                    RunCase{"StopFromMainQueueWork", &stop_from_main_queue_work, 20, false, kCFRunLoopRunStopped},
                    RunCase{"StopFromAnotherThread", &stop_from_another_thread_soon, 20, false, kCFRunLoopRunStopped},
                    RunCase{"WakeAloneDoesNotEndIt", &wake_from_another_thread_soon, 0.1, false,
                            kCFRunLoopRunTimedOut}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(MainRunLoop, RunReturnsWhenStopped) {
  dispatch_after(dispatch_time(DISPATCH_TIME_NOW, 10 * NSEC_PER_MSEC), dispatch_get_main_queue(), ^{
    CFRunLoopStop(CFRunLoopGetMain());
  });
  CFRunLoopRun();
  SUCCEED();
}

TEST(MainRunLoop, IsTheCurrentOneOnlyOnTheMainThread) {
  EXPECT_EQ(CFRunLoopGetCurrent(), CFRunLoopGetMain());
  CFRunLoopRef other = nullptr;
  CFRunLoopRunResult result = 0;
  std::thread([&] {
    other = CFRunLoopGetCurrent();
    // Nothing to run on another thread: it returns at once, even for a
    // long run, and never runs main-queue work.
    result = CFRunLoopRunInMode(kCFRunLoopDefaultMode, 20, false);
    CFRunLoopRun();
  }).join();
  EXPECT_NE(other, CFRunLoopGetMain());
  EXPECT_EQ(result, kCFRunLoopRunFinished);
  EXPECT_EQ(CFGetTypeID(CFRunLoopGetMain()), CFRunLoopGetTypeID());
}

// The main queue is serial: a run loop run inside its work waits, and the
// work queued meanwhile runs only after the outer work returned.
TEST(MainRunLoop, NestedRunInsideMainQueueWorkRunsNoFurtherWork) {
  __block std::vector<std::string> order;
  dispatch_semaphore_t done = dispatch_semaphore_create(0);
  dispatch_async(dispatch_get_main_queue(), ^{
    order.push_back("outer");
    dispatch_async(dispatch_get_main_queue(), ^{
      order.push_back("inner");
      dispatch_semaphore_signal(done);
    });
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.05, true), kCFRunLoopRunTimedOut);
    order.push_back("outer done");
  });
  ASSERT_TRUE(wait_bounded_serving_main(done));
  EXPECT_EQ(order, (std::vector<std::string>{"outer", "outer done", "inner"}));
  dispatch_release(done);
}

TEST(MainQueue, SyncFromTheMainThreadRunsAtOnceInsteadOfDeadlocking) {
  bool ran = false;
  bool* ran_ptr = &ran;
  dispatch_sync(dispatch_get_main_queue(), ^{
    *ran_ptr = true;
  });
  EXPECT_TRUE(ran);
}

TEST(DispatchMain, DrainsTheMainQueueOnTheMainThreadForGood) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // In the child the forking thread is the main thread (its id is the
    // child's process id). The child starts no thread: a forked child of a
    // process with threads may not, under ThreadSanitizer.
    dispatch_async(dispatch_get_main_queue(), ^{
      _exit(on_main_thread() ? 7 : 8);
    });
    dispatch_main();
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 7);
}

}  // namespace
