/*
 * dispatch/time.h: points in time for dispatch deadlines.
 *
 * A dispatch_time_t is opaque apart from its two constants. Values made by
 * dispatch_time from DISPATCH_TIME_NOW are readings of the host clock
 * (mach_absolute_time, i.e. CLOCK_MONOTONIC in nanoseconds), so a host time
 * is itself a valid dispatch_time_t. Values made by dispatch_walltime count
 * from the Unix epoch on the wall clock and are encoded with the top bit
 * set, as Apple's classic encoding does.
 *
 * Difference from Apple's platform: a wall-clock deadline is turned into a
 * host-clock deadline when a wait or timer starts with it, so setting the
 * wall clock afterwards does not move the deadline.
 *
 * Both functions are thread-safe and allocate nothing.
 */
#ifndef HARLUNE_COMPAT_DISPATCH_TIME_H
#define HARLUNE_COMPAT_DISPATCH_TIME_H

#include <dispatch/base.h>
#include <time.h>

#ifndef NSEC_PER_SEC
#define NSEC_PER_SEC 1000000000ull
#endif
#ifndef NSEC_PER_MSEC
#define NSEC_PER_MSEC 1000000ull
#endif
#ifndef USEC_PER_SEC
#define USEC_PER_SEC 1000000ull
#endif
#ifndef NSEC_PER_USEC
#define NSEC_PER_USEC 1000ull
#endif

typedef uint64_t dispatch_time_t;

#define DISPATCH_TIME_NOW (0ull)
#define DISPATCH_TIME_FOREVER (~0ull)

DISPATCH_BEGIN_DECLS

/* Returns `when` moved by `delta` nanoseconds; DISPATCH_TIME_NOW stands for
 * the current host time. DISPATCH_TIME_FOREVER stays forever, a sum past the
 * representable range becomes DISPATCH_TIME_FOREVER, and a sum before the
 * clock's origin becomes the earliest representable time. */
DISPATCH_EXPORT dispatch_time_t dispatch_time(dispatch_time_t when, int64_t delta) DISPATCH_NOTHROW;

/* Returns the wall-clock time `when` (or now, for NULL) moved by `delta`
 * nanoseconds, saturating like dispatch_time. */
DISPATCH_EXPORT dispatch_time_t dispatch_walltime(const struct timespec *when, int64_t delta) DISPATCH_NOTHROW;

DISPATCH_END_DECLS

#endif
