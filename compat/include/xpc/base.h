/*
 * xpc/base.h: declaration macros and the basic types shared by every xpc
 * header. Header-only; no state.
 *
 * As with Apple's headers compiled without Objective-C, an xpc_object_t is an
 * untyped pointer, and the connection and endpoint handles are pointers to
 * distinct incomplete structs that convert to xpc_object_t implicitly (C++
 * code converts back with a cast). The block-taking functions are declared
 * only when the compiler has blocks enabled (-fblocks).
 */
#ifndef HARLUNE_COMPAT_XPC_BASE_H
#define HARLUNE_COMPAT_XPC_BASE_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#ifdef __cplusplus
#define XPC_BEGIN_DECLS extern "C" {
#define XPC_END_DECLS }
#define XPC_NOTHROW noexcept
#else
#define XPC_BEGIN_DECLS
#define XPC_END_DECLS
#define XPC_NOTHROW __attribute__((__nothrow__))
#endif

/* Every entry point and global object is exported from libharlune_compat
 * even when the rest of a build hides its symbols by default. */
#define XPC_EXPORT extern __attribute__((visibility("default")))

#define XPC_DECL(name) typedef struct _##name##_s *name##_t

/* The address of one of the library's immortal objects, as an object. */
#define XPC_GLOBAL_OBJECT(object) ((xpc_object_t) & (object))

/* 16 raw bytes, as <uuid/uuid.h> declares them (an identical typedef may
 * appear twice). */
typedef unsigned char uuid_t[16];

typedef void *xpc_object_t;
XPC_DECL(xpc_connection);
XPC_DECL(xpc_endpoint);

#ifdef __BLOCKS__
/* The handler of connection events and of replies. The object it is handed
 * belongs to the library and lives until the handler returns; retain it to
 * keep it longer. */
typedef void (^xpc_handler_t)(xpc_object_t object);
#endif

#endif
