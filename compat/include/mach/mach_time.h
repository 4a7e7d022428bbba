/*
 * mach/mach_time.h: the host clock.
 *
 * mach_absolute_time() reads CLOCK_MONOTONIC and returns nanoseconds, so the
 * timebase is always 1/1. On Apple's platform the tick is hardware-defined
 * and code must scale by the timebase; code that does so works unchanged
 * here. The clock does not advance while the machine sleeps, like Apple's.
 * The dispatch timers (dispatch_time, dispatch_after, the waits) use the
 * same clock, so a host time can be turned into a dispatch_time_t directly.
 *
 * Both functions are thread-safe, lock-free and allocate nothing.
 */
#ifndef HARLUNE_COMPAT_MACH_MACH_TIME_H
#define HARLUNE_COMPAT_MACH_MACH_TIME_H

#include <stdint.h>
#include <mach/kern_return.h>

#ifdef __cplusplus
extern "C" {
#endif

struct mach_timebase_info {
  uint32_t numer;
  uint32_t denom;
};
typedef struct mach_timebase_info *mach_timebase_info_t;
typedef struct mach_timebase_info mach_timebase_info_data_t;

/* Ticks since an arbitrary point before boot; here, nanoseconds. */
__attribute__((visibility("default"))) uint64_t mach_absolute_time(void);

/* Fills numer = denom = 1. Returns KERN_INVALID_ARGUMENT for a null pointer
 * (Apple's would fault). */
__attribute__((visibility("default"))) kern_return_t mach_timebase_info(mach_timebase_info_t info);

#ifdef __cplusplus
}
#endif

#endif
