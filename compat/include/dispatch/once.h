/*
 * dispatch/once.h: one-time initialisation.
 *
 * dispatch_once runs its work exactly once for a given predicate, which must
 * be a zero-initialised dispatch_once_t of static or otherwise long-lived
 * storage. Callers that arrive while the work runs wait until it finished,
 * and every caller sees its effects. Thread-safe. Work that calls
 * dispatch_once on its own predicate deadlocks, as on Apple's platform.
 */
#ifndef HARLUNE_COMPAT_DISPATCH_ONCE_H
#define HARLUNE_COMPAT_DISPATCH_ONCE_H

#include <dispatch/base.h>

typedef intptr_t dispatch_once_t;

DISPATCH_BEGIN_DECLS

DISPATCH_EXPORT void dispatch_once_f(dispatch_once_t *predicate, void *context,
                                     dispatch_function_t function) DISPATCH_NOTHROW;

#ifdef __BLOCKS__
DISPATCH_EXPORT void dispatch_once(dispatch_once_t *predicate, dispatch_block_t block) DISPATCH_NOTHROW;
#endif

DISPATCH_END_DECLS

#endif
