/*
 * dispatch/base.h: declaration macros and the work types shared by every
 * dispatch header. Header-only; no state.
 *
 * The headers are usable from C and from C++. The block-taking functions are
 * declared only when the compiler has blocks enabled (-fblocks), as with
 * Apple's; the _f variants taking a function and a context are always there.
 */
#ifndef HARLUNE_COMPAT_DISPATCH_BASE_H
#define HARLUNE_COMPAT_DISPATCH_BASE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define DISPATCH_BEGIN_DECLS extern "C" {
#define DISPATCH_END_DECLS }
#define DISPATCH_NOTHROW noexcept
#else
#define DISPATCH_BEGIN_DECLS
#define DISPATCH_END_DECLS
#define DISPATCH_NOTHROW __attribute__((__nothrow__))
#endif

/* Every entry point is exported from libharlune_compat even when the rest of
 * a build hides its symbols by default. */
#define DISPATCH_EXPORT extern __attribute__((visibility("default")))
#define DISPATCH_NORETURN __attribute__((__noreturn__))

DISPATCH_BEGIN_DECLS

/* A unit of work given as a function and the context it is called with. */
typedef void (*dispatch_function_t)(void *context);

#ifdef __BLOCKS__
/* A unit of work given as a block. Dispatch copies it with Block_copy when it
 * is submitted and releases the copy after it ran. */
typedef void (^dispatch_block_t)(void);
#endif

DISPATCH_END_DECLS

#endif
