/*
 * dispatch/semaphore.h: counting semaphores.
 *
 * dispatch_semaphore_wait takes one unit, blocking until one is signalled or
 * the timeout passes; dispatch_semaphore_signal gives one back and wakes one
 * waiter (not necessarily the one waiting longest). A semaphore is a dispatch
 * object (see <dispatch/object.h>). All functions are thread-safe.
 *
 * Difference from Apple's platform: freeing a semaphore whose value is below
 * its initial value is allowed instead of trapping.
 */
#ifndef HARLUNE_COMPAT_DISPATCH_SEMAPHORE_H
#define HARLUNE_COMPAT_DISPATCH_SEMAPHORE_H

#include <dispatch/base.h>
#include <dispatch/object.h>
#include <dispatch/time.h>

DISPATCH_BEGIN_DECLS

/* Creates a semaphore holding `value` units; NULL when value is negative. */
DISPATCH_EXPORT dispatch_semaphore_t dispatch_semaphore_create(long value) DISPATCH_NOTHROW;

/* Returns 0 once a unit was taken, non-zero (KERN_OPERATION_TIMED_OUT) when
 * `timeout` passed first. */
DISPATCH_EXPORT long dispatch_semaphore_wait(dispatch_semaphore_t semaphore, dispatch_time_t timeout) DISPATCH_NOTHROW;

/* Returns non-zero when a waiting thread was woken, 0 otherwise. */
DISPATCH_EXPORT long dispatch_semaphore_signal(dispatch_semaphore_t semaphore) DISPATCH_NOTHROW;

DISPATCH_END_DECLS

#endif
