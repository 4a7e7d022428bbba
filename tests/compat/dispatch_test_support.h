// Shared helpers for the dispatch tests. Every wait in these tests is bounded
// by kBound, so a broken implementation fails a test instead of hanging it;
// the bound is far above anything a correct run needs, even on a loaded
// two-core machine under a sanitizer.

#pragma once

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
// event to wait on, such as a block copy being released after its run.
template <class Done>
bool eventually(Done done) {
  const uint64_t deadline = mach_absolute_time() + static_cast<uint64_t>(kBound);
  while (!done()) {
    if (mach_absolute_time() > deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

// Names a table-driven case by its `name` in test output, instead of by its
// bytes. Test files bring it in with `using harlune::test::PrintTo;`.
template <class Case>
  requires requires(const Case& c) { c.name; }
void PrintTo(const Case& c, std::ostream* out) {
  *out << c.name;
}

}  // namespace harlune::test
