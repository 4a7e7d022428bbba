// The clock that every dispatch deadline is measured on, and bounded waits.
//
// Deadlines are host-clock readings (mach_absolute_time: CLOCK_MONOTONIC in
// nanoseconds). dispatch_time_t values are turned into such a deadline when a
// wait or timer starts. All functions are thread-safe.

#pragma once

#include <dispatch/time.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace harlune::dispatch {

// The deadline that never comes.
inline constexpr uint64_t kNoDeadline = UINT64_MAX;

uint64_t host_now() noexcept;

// The host-clock deadline `when` stands for: the present for
// DISPATCH_TIME_NOW, kNoDeadline for DISPATCH_TIME_FOREVER, and a wall-clock
// time moved onto the host clock by its current distance from now.
uint64_t host_deadline(dispatch_time_t when) noexcept;

// Waits on `condition` (with `lock` held) until `ready()` or the host clock
// reaches `deadline`, and returns ready(). The deadline is re-checked against
// the host clock after every wake-up, so a true early return is impossible
// even if the condition variable's own clock disagrees slightly.
template <class Ready>
bool wait_until(std::condition_variable& condition, std::unique_lock<std::mutex>& lock, uint64_t deadline,
                Ready ready) {
  while (!ready()) {
    if (deadline == kNoDeadline) {
      condition.wait(lock);
      continue;
    }
    const uint64_t now = host_now();
    if (now >= deadline) {
      return false;
    }
    condition.wait_for(lock, std::chrono::nanoseconds(deadline - now));
  }
  return true;
}

}  // namespace harlune::dispatch
