// Shared helpers for the dispatch tests. Every wait in these tests is bounded
// by kBound, so a broken implementation fails a test instead of hanging it;
// the bound is far above anything a correct run needs, even on a loaded
// two-core machine under a sanitizer.

#pragma once

#include <CoreFoundation/CFRunLoop.h>
#include <dispatch/dispatch.h>
#include <mach/mach_time.h>

#include <chrono>
#include <cstdint>
#include <ostream>
#include <thread>

namespace harlune::test {

inline constexpr int64_t kBound = 20 * static_cast<int64_t>(NSEC_PER_SEC);

inline dispatch_time_t after_ns(int64_t nanoseconds) {
  return dispatch_time(DISPATCH_TIME_NOW, nanoseconds);
}

inline bool wait_bounded(dispatch_semaphore_t semaphore) {
  return dispatch_semaphore_wait(semaphore, after_ns(kBound)) == 0;
}

inline bool wait_bounded(dispatch_group_t group) {
  return dispatch_group_wait(group, after_ns(kBound)) == 0;
}

// Polls `done` until it holds or kBound passes; for effects that have no
// event to wait on, such as a block copy being released after its run. On
// the main thread (where test bodies run) it runs the main run loop while it
// waits, because main-queue work runs only then.
template <class Done>
bool eventually(Done done) {
  const uint64_t deadline = mach_absolute_time() + static_cast<uint64_t>(kBound);
  while (!done()) {
    if (mach_absolute_time() > deadline) {
      return false;
    }
    if (CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.001, true) == kCFRunLoopRunFinished) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  return true;
}

// wait_bounded for work that may be on the main queue: the main thread runs
// its run loop while it waits.
inline bool wait_bounded_serving_main(dispatch_semaphore_t semaphore) {
  return eventually([semaphore] { return dispatch_semaphore_wait(semaphore, DISPATCH_TIME_NOW) == 0; });
}

// dispatch_sync that works for the main queue too: on the main thread a
// dispatch_sync onto the main queue would wait for itself, so another thread
// makes the call while the main thread runs its run loop.
inline void sync_serving_main(dispatch_queue_t queue, dispatch_block_t block) {
  if (queue != dispatch_get_main_queue()) {
    dispatch_sync(queue, block);
    return;
  }
  dispatch_semaphore_t done = dispatch_semaphore_create(0);
  std::thread caller([queue, block, done] {
    dispatch_sync(queue, block);
    dispatch_semaphore_signal(done);
  });
  wait_bounded_serving_main(done);
  caller.join();
  dispatch_release(done);
}

// Names a table-driven case by its `name` in test output, instead of by its
// bytes. Test files bring it in with `using harlune::test::PrintTo;`.
template <class Case>
  requires requires(const Case& c) { c.name; }
void PrintTo(const Case& c, std::ostream* out) {
  *out << c.name;
}

}  // namespace harlune::test
