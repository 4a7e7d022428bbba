/*
 * dispatch/queue.h: queues, and submitting work to them.
 *
 * Queues run submitted work on a shared pool of worker threads:
 *   - A serial queue (dispatch_queue_create with DISPATCH_QUEUE_SERIAL, i.e.
 *     NULL) runs its work one item at a time in submission order, never two
 *     at once, though not always on the same thread.
 *   - A concurrent queue (DISPATCH_QUEUE_CONCURRENT) starts its work in
 *     submission order and lets items run at the same time; a barrier item
 *     waits for everything before it and runs alone.
 *   - The global queues are concurrent queues that feed the pool directly.
 *   - The main queue is a serial queue whose work runs on the process's main
 *     thread, only while that thread is in dispatch_main() or runs the main
 *     run loop (CFRunLoopRun, CFRunLoopRunInMode; see CFRunLoop.h). A
 *     program that does neither never runs main-queue work, as on Apple's
 *     platform.
 * Every function here is thread-safe. A queue made by dispatch_queue_create
 * is released by the caller with dispatch_release; work already submitted
 * keeps it alive until that work ran.
 *
 * The worker pool grows by a thread whenever work is waiting and no worker is
 * idle, up to 64 threads, so work that blocks (on a semaphore, in
 * dispatch_sync into another queue) cannot starve the rest even on a two-core
 * machine; beyond 64 blocked workers further work waits. A worker idle for
 * five seconds exits.
 *
 * Differences from Apple's platform:
 *   - All global queues, whatever their priority or QoS class, share one pool
 *     and run at the same scheduling priority.
 *   - The main thread is the thread whose kernel thread id is the process
 *     id. dispatch_main() drains the main queue on it for good; called on
 *     another thread it reports the mistake on stderr and parks that thread.
 *     dispatch_sync onto the main queue from the main thread would wait for
 *     itself; it is reported and runs the block at once (see below).
 *   - dispatch_sync always runs the block on a worker thread of the queue
 *     (except on a global queue, where it runs on the calling thread). Called
 *     from work that already holds the queue, or a serial queue it targets,
 *     which deadlocks on Apple's platform, it reports the mistake on stderr
 *     and runs the block at once on the calling thread.
 *   - dispatch_set_target_queue works for serial and concurrent queues made
 *     by dispatch_queue_create; it is ignored for the global and main queues
 *     and for a target that would close a cycle. Retarget a queue before
 *     submitting work to it: work already scheduled on the old target still
 *     runs there.
 *   - A null queue or null work is ignored rather than trapped.
 */
#ifndef HARLUNE_COMPAT_DISPATCH_QUEUE_H
#define HARLUNE_COMPAT_DISPATCH_QUEUE_H

#include <dispatch/base.h>
#include <dispatch/object.h>
#include <dispatch/time.h>
#include <sys/qos.h>

typedef struct dispatch_queue_attr_s *dispatch_queue_attr_t;
typedef long dispatch_queue_priority_t;
typedef qos_class_t dispatch_qos_class_t;

#define DISPATCH_QUEUE_PRIORITY_HIGH 2
#define DISPATCH_QUEUE_PRIORITY_DEFAULT 0
#define DISPATCH_QUEUE_PRIORITY_LOW (-2)
#define DISPATCH_QUEUE_PRIORITY_BACKGROUND INT16_MIN

#define DISPATCH_QUEUE_SERIAL NULL
#define DISPATCH_QUEUE_CONCURRENT (&harlune_dispatch_queue_attr_concurrent)
#define DISPATCH_TARGET_QUEUE_DEFAULT NULL
#define DISPATCH_CURRENT_QUEUE_LABEL NULL

DISPATCH_BEGIN_DECLS

/* The attribute object behind DISPATCH_QUEUE_CONCURRENT. */
DISPATCH_EXPORT struct dispatch_queue_attr_s harlune_dispatch_queue_attr_concurrent;

/* Returns the global concurrent queue for a DISPATCH_QUEUE_PRIORITY_* value
 * or a QOS_CLASS_* value, or NULL for any other identifier or for non-zero
 * flags. */
DISPATCH_EXPORT dispatch_queue_t dispatch_get_global_queue(long identifier, unsigned long flags) DISPATCH_NOTHROW;

/* Returns the main queue (see the header comment for where it runs). */
DISPATCH_EXPORT dispatch_queue_t dispatch_get_main_queue(void) DISPATCH_NOTHROW;

/* Creates a queue targeting the default-priority global queue. The label is
 * copied; NULL gives "". */
DISPATCH_EXPORT dispatch_queue_t dispatch_queue_create(const char *label, dispatch_queue_attr_t attr) DISPATCH_NOTHROW;

/* Returns the queue's label, or with DISPATCH_CURRENT_QUEUE_LABEL the label
 * of the queue whose work is running on the calling thread ("" outside any
 * queue). The string lives as long as the queue. */
DISPATCH_EXPORT const char *dispatch_queue_get_label(dispatch_queue_t queue) DISPATCH_NOTHROW;

/* Makes `queue` submit its work through `target` (NULL: the default global
 * queue). A serial queue targeting another serial queue never runs at the
 * same time as that queue's other work. */
DISPATCH_EXPORT void dispatch_set_target_queue(dispatch_queue_t queue, dispatch_queue_t target) DISPATCH_NOTHROW;

/* Submits work and returns at once. */
DISPATCH_EXPORT void dispatch_async_f(dispatch_queue_t queue, void *context, dispatch_function_t work) DISPATCH_NOTHROW;

/* Submits work and returns after it ran. */
DISPATCH_EXPORT void dispatch_sync_f(dispatch_queue_t queue, void *context, dispatch_function_t work) DISPATCH_NOTHROW;

/* As dispatch_async_f, but on a concurrent queue made by
 * dispatch_queue_create the work waits for all earlier work and runs alone.
 * On other queues it is plain dispatch_async_f. */
DISPATCH_EXPORT void dispatch_barrier_async_f(dispatch_queue_t queue, void *context,
                                              dispatch_function_t work) DISPATCH_NOTHROW;

/* As dispatch_barrier_async_f, returning after the work ran. */
DISPATCH_EXPORT void dispatch_barrier_sync_f(dispatch_queue_t queue, void *context,
                                             dispatch_function_t work) DISPATCH_NOTHROW;

/* Submits work to `queue` no earlier than `when`. Work due at
 * DISPATCH_TIME_FOREVER is never run and is dropped at once. */
DISPATCH_EXPORT void dispatch_after_f(dispatch_time_t when, dispatch_queue_t queue, void *context,
                                      dispatch_function_t work) DISPATCH_NOTHROW;

/* Never returns: the main thread runs the main queue's work for good. */
DISPATCH_EXPORT DISPATCH_NORETURN void dispatch_main(void);

#ifdef __BLOCKS__
DISPATCH_EXPORT void dispatch_async(dispatch_queue_t queue, dispatch_block_t block) DISPATCH_NOTHROW;
DISPATCH_EXPORT void dispatch_sync(dispatch_queue_t queue, dispatch_block_t block) DISPATCH_NOTHROW;
DISPATCH_EXPORT void dispatch_barrier_async(dispatch_queue_t queue, dispatch_block_t block) DISPATCH_NOTHROW;
DISPATCH_EXPORT void dispatch_barrier_sync(dispatch_queue_t queue, dispatch_block_t block) DISPATCH_NOTHROW;
DISPATCH_EXPORT void dispatch_after(dispatch_time_t when, dispatch_queue_t queue,
                                    dispatch_block_t block) DISPATCH_NOTHROW;
#endif

DISPATCH_END_DECLS

#endif
