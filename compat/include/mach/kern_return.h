/*
 * mach/kern_return.h: the result type of the Mach calls this layer provides,
 * and the few result codes they return. Header-only; no state.
 */
#ifndef HARLUNE_COMPAT_MACH_KERN_RETURN_H
#define HARLUNE_COMPAT_MACH_KERN_RETURN_H

typedef int kern_return_t;

#define KERN_SUCCESS 0
#define KERN_INVALID_ARGUMENT 4
#define KERN_FAILURE 5
/* Returned by the dispatch waits (group, semaphore) when their deadline passes. */
#define KERN_OPERATION_TIMED_OUT 49

#endif
