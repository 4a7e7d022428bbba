/*
 * mach/thread_status.h: thread-state flavours as exception messages name
 * them. No thread state is ever read or written on Linux: exception
 * messages carry THREAD_STATE_NONE and an empty state. Header-only.
 */
#ifndef HARLUNE_COMPAT_MACH_THREAD_STATUS_H
#define HARLUNE_COMPAT_MACH_THREAD_STATUS_H

#include <mach/port.h>

typedef int thread_state_flavor_t;
typedef natural_t *thread_state_t;
typedef const natural_t *thread_state_const_t; /* the MIG "const" form */

#define THREAD_STATE_NONE 13
/* Longest thread state, in 32-bit words, that a message may carry. */
#define THREAD_STATE_MAX 224

#endif
