/*
 * dispatch/group.h: groups, which track when a set of work items has
 * finished.
 *
 * A group counts outstanding work: dispatch_group_enter adds one,
 * dispatch_group_leave takes one away, and dispatch_group_async brackets the
 * submitted work with both. When the count drops to zero, every waiter wakes
 * and every registered notification is submitted to its queue. A group is a
 * dispatch object (see <dispatch/object.h>) and keeps itself alive while it
 * is entered. All functions are thread-safe.
 *
 * Difference from Apple's platform: a dispatch_group_leave without a
 * matching enter is ignored instead of trapping.
 */
#ifndef HARLUNE_COMPAT_DISPATCH_GROUP_H
#define HARLUNE_COMPAT_DISPATCH_GROUP_H

#include <dispatch/base.h>
#include <dispatch/object.h>
#include <dispatch/time.h>

DISPATCH_BEGIN_DECLS

DISPATCH_EXPORT dispatch_group_t dispatch_group_create(void) DISPATCH_NOTHROW;

DISPATCH_EXPORT void dispatch_group_enter(dispatch_group_t group) DISPATCH_NOTHROW;
DISPATCH_EXPORT void dispatch_group_leave(dispatch_group_t group) DISPATCH_NOTHROW;

/* Submits work to `queue` as a member of `group`. */
DISPATCH_EXPORT void dispatch_group_async_f(dispatch_group_t group, dispatch_queue_t queue, void *context,
                                            dispatch_function_t work) DISPATCH_NOTHROW;

/* Waits until the group is empty or `timeout` passes. Returns 0 when the
 * group emptied, non-zero (KERN_OPERATION_TIMED_OUT) on timeout. */
DISPATCH_EXPORT long dispatch_group_wait(dispatch_group_t group, dispatch_time_t timeout) DISPATCH_NOTHROW;

/* Submits work to `queue` once the group is empty: at once if it is empty
 * now, otherwise when the last member leaves. */
DISPATCH_EXPORT void dispatch_group_notify_f(dispatch_group_t group, dispatch_queue_t queue, void *context,
                                             dispatch_function_t work) DISPATCH_NOTHROW;

#ifdef __BLOCKS__
DISPATCH_EXPORT void dispatch_group_async(dispatch_group_t group, dispatch_queue_t queue,
                                          dispatch_block_t block) DISPATCH_NOTHROW;
DISPATCH_EXPORT void dispatch_group_notify(dispatch_group_t group, dispatch_queue_t queue,
                                           dispatch_block_t block) DISPATCH_NOTHROW;
#endif

DISPATCH_END_DECLS

#endif
