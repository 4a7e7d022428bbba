/*
 * dispatch/object.h: the object types of dispatch and their reference
 * counting and suspension.
 *
 * Every dispatch object (queue, group, semaphore) is reference counted. A
 * creating call returns an object holding one reference, which the caller
 * gives back with dispatch_release. Work submitted to a queue keeps the queue
 * alive until it ran; a group keeps itself alive while it is entered. The
 * global queues and the main queue are never freed: retaining and releasing
 * them has no effect. All functions here are thread-safe.
 *
 * In C++ each object type is a pointer to its own incomplete struct, so the
 * compiler tells them apart; dispatch_retain, dispatch_release,
 * dispatch_suspend and dispatch_resume have an overload for each. In C they
 * take any object through a transparent union, as Apple's do.
 *
 * Differences from Apple's platform: misuse that Apple's implementation traps
 * on (over-release aside, which stays undefined) is tolerated instead. A null
 * object is ignored; resuming a queue that is not suspended is ignored;
 * suspending or resuming a group or a semaphore has no effect.
 */
#ifndef HARLUNE_COMPAT_DISPATCH_OBJECT_H
#define HARLUNE_COMPAT_DISPATCH_OBJECT_H

#include <dispatch/base.h>

#define DISPATCH_DECL(name) typedef struct name##_s *name##_t

DISPATCH_DECL(dispatch_queue);
DISPATCH_DECL(dispatch_group);
DISPATCH_DECL(dispatch_semaphore);

#ifdef __cplusplus
typedef struct dispatch_object_s *dispatch_object_t;
#else
typedef union {
  struct dispatch_object_s *_do;
  struct dispatch_queue_s *_dq;
  struct dispatch_group_s *_dg;
  struct dispatch_semaphore_s *_dsema;
} dispatch_object_t __attribute__((__transparent_union__));
#endif

DISPATCH_BEGIN_DECLS

/* Adds a reference. */
DISPATCH_EXPORT void dispatch_retain(dispatch_object_t object) DISPATCH_NOTHROW;

/* Gives back a reference; the object is freed when the last one goes. */
DISPATCH_EXPORT void dispatch_release(dispatch_object_t object) DISPATCH_NOTHROW;

/* Stops a queue from starting further work once the block now running (if
 * any) has finished. Suspensions are counted: the queue runs again after as
 * many dispatch_resume calls. The global queues cannot be suspended. */
DISPATCH_EXPORT void dispatch_suspend(dispatch_object_t object) DISPATCH_NOTHROW;

/* Undoes one dispatch_suspend. */
DISPATCH_EXPORT void dispatch_resume(dispatch_object_t object) DISPATCH_NOTHROW;

DISPATCH_END_DECLS

#ifdef __cplusplus
#define HARLUNE_DISPATCH_OBJECT_OVERLOADS(type)                                            \
  inline void dispatch_retain(type object) noexcept {                                      \
    dispatch_retain(reinterpret_cast<dispatch_object_t>(object));                          \
  }                                                                                        \
  inline void dispatch_release(type object) noexcept {                                     \
    dispatch_release(reinterpret_cast<dispatch_object_t>(object));                         \
  }                                                                                        \
  inline void dispatch_suspend(type object) noexcept {                                     \
    dispatch_suspend(reinterpret_cast<dispatch_object_t>(object));                         \
  }                                                                                        \
  inline void dispatch_resume(type object) noexcept {                                      \
    dispatch_resume(reinterpret_cast<dispatch_object_t>(object));                          \
  }

HARLUNE_DISPATCH_OBJECT_OVERLOADS(dispatch_queue_t)
HARLUNE_DISPATCH_OBJECT_OVERLOADS(dispatch_group_t)
HARLUNE_DISPATCH_OBJECT_OVERLOADS(dispatch_semaphore_t)
#undef HARLUNE_DISPATCH_OBJECT_OVERLOADS
#endif

#endif
