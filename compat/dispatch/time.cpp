// dispatch_time_t arithmetic and conversion to host-clock deadlines.
//
// Encoding: DISPATCH_TIME_NOW (0) and DISPATCH_TIME_FOREVER (all ones) are
// special; any other value with the top bit clear is a host-clock reading in
// nanoseconds, and a value with the top bit set is the negated number of
// nanoseconds since the Unix epoch on the wall clock.

#include "clock.h"

#include <mach/mach_time.h>

#include <ctime>
#include <limits>

namespace harlune::dispatch {
namespace {

constexpr int64_t kInt64Max = std::numeric_limits<int64_t>::max();

bool is_walltime(dispatch_time_t when) {
  return when != DISPATCH_TIME_FOREVER && static_cast<int64_t>(when) < 0;
}

uint64_t wall_now() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<uint64_t>(now.tv_sec) * NSEC_PER_SEC + static_cast<uint64_t>(now.tv_nsec);
}

// Adds a signed offset to a non-negative nanosecond count, saturating: the
// result is in [0, INT64_MAX], where INT64_MAX means "too late to represent".
int64_t offset(int64_t base, int64_t delta) {
  int64_t sum = 0;
  if (__builtin_add_overflow(base, delta, &sum)) {
    return delta > 0 ? kInt64Max : 0;
  }
  return sum < 0 ? 0 : sum;
}

// A wall-clock time in nanoseconds since the epoch, encoded. Two is the
// smallest encodable time, since -1 would read as DISPATCH_TIME_FOREVER and
// -0 as DISPATCH_TIME_NOW.
dispatch_time_t encode_walltime(int64_t nanoseconds) {
  if (nanoseconds >= kInt64Max) {
    return DISPATCH_TIME_FOREVER;
  }
  return static_cast<dispatch_time_t>(-(nanoseconds < 2 ? 2 : nanoseconds));
}

}  // namespace

uint64_t host_now() noexcept {
  return mach_absolute_time();
}

uint64_t host_deadline(dispatch_time_t when) noexcept {
  if (when == DISPATCH_TIME_FOREVER) {
    return kNoDeadline;
  }
  if (when == DISPATCH_TIME_NOW) {
    return host_now();
  }
  if (!is_walltime(when)) {
    return when;
  }
  const int64_t wall_deadline = -static_cast<int64_t>(when);
  const int64_t until = wall_deadline - static_cast<int64_t>(wall_now());
  const uint64_t now = host_now();
  if (until <= 0) {
    return now;
  }
  const uint64_t deadline = now + static_cast<uint64_t>(until);
  return deadline < now ? kNoDeadline : deadline;
}

}  // namespace harlune::dispatch

using harlune::dispatch::host_now;

extern "C" dispatch_time_t dispatch_time(dispatch_time_t when, int64_t delta) noexcept {
  using namespace harlune::dispatch;
  if (when == DISPATCH_TIME_FOREVER) {
    return DISPATCH_TIME_FOREVER;
  }
  if (is_walltime(when)) {
    return encode_walltime(offset(-static_cast<int64_t>(when), delta));
  }
  const uint64_t base = when == DISPATCH_TIME_NOW ? host_now() : when;
  const int64_t moved = offset(static_cast<int64_t>(base), delta);
  if (moved >= kInt64Max) {
    return DISPATCH_TIME_FOREVER;
  }
  // Zero would read as DISPATCH_TIME_NOW, which callers would take for "the
  // moment this value is used" instead of "the clock's origin".
  return moved == 0 ? 1 : static_cast<dispatch_time_t>(moved);
}

extern "C" dispatch_time_t dispatch_walltime(const struct timespec* when, int64_t delta) noexcept {
  using namespace harlune::dispatch;
  int64_t base = 0;
  if (when == nullptr) {
    base = static_cast<int64_t>(wall_now());
  } else if (__builtin_mul_overflow(static_cast<int64_t>(when->tv_sec), static_cast<int64_t>(NSEC_PER_SEC), &base) ||
             __builtin_add_overflow(base, static_cast<int64_t>(when->tv_nsec), &base)) {
    return DISPATCH_TIME_FOREVER;
  }
  return encode_walltime(offset(base < 0 ? 0 : base, delta));
}
