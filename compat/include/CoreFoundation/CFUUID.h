/*
 * CFUUID.h: 128-bit universally unique identifiers.
 *
 * UUIDs are immutable and may be used from any thread. Two UUIDs are
 * CFEqual when their bytes are equal. CFUUIDGetConstantUUIDWithBytes
 * returns an immortal object from a thread-safe process-wide table, so the
 * same bytes always give the same object; the caller must not release it.
 *
 * Differences from Apple's behaviour on Linux: CFUUIDCreateFromString
 * accepts only the canonical 36-character form
 * ("443ABAB8-E7B3-491A-B985-BEB9187030DB", either case) and returns NULL for
 * anything else, where Apple's parser is more lenient. UUIDs made by the
 * other creation functions are not interned.
 */
#ifndef HARLUNE_COMPAT_CFUUID_H
#define HARLUNE_COMPAT_CFUUID_H

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const struct __CFUUID *CFUUIDRef;

typedef struct {
    UInt8 byte0;
    UInt8 byte1;
    UInt8 byte2;
    UInt8 byte3;
    UInt8 byte4;
    UInt8 byte5;
    UInt8 byte6;
    UInt8 byte7;
    UInt8 byte8;
    UInt8 byte9;
    UInt8 byte10;
    UInt8 byte11;
    UInt8 byte12;
    UInt8 byte13;
    UInt8 byte14;
    UInt8 byte15;
} CFUUIDBytes;

CF_EXPORT CFTypeID CFUUIDGetTypeID(void);

/* A new random (version 4) UUID. */
CF_EXPORT CFUUIDRef CFUUIDCreate(CFAllocatorRef alloc);
CF_EXPORT CFUUIDRef CFUUIDCreateWithBytes(CFAllocatorRef alloc, UInt8 byte0, UInt8 byte1, UInt8 byte2, UInt8 byte3,
                                          UInt8 byte4, UInt8 byte5, UInt8 byte6, UInt8 byte7, UInt8 byte8,
                                          UInt8 byte9, UInt8 byte10, UInt8 byte11, UInt8 byte12, UInt8 byte13,
                                          UInt8 byte14, UInt8 byte15);
CF_EXPORT CFUUIDRef CFUUIDCreateFromUUIDBytes(CFAllocatorRef alloc, CFUUIDBytes bytes);
/* NULL for a malformed string. */
CF_EXPORT CFUUIDRef CFUUIDCreateFromString(CFAllocatorRef alloc, CFStringRef uuidStr);
/* The canonical upper-case form. */
CF_EXPORT CFStringRef CFUUIDCreateString(CFAllocatorRef alloc, CFUUIDRef uuid);
/* Immortal and interned; see above. NULL only if memory runs out. */
CF_EXPORT CFUUIDRef CFUUIDGetConstantUUIDWithBytes(CFAllocatorRef alloc, UInt8 byte0, UInt8 byte1, UInt8 byte2,
                                                   UInt8 byte3, UInt8 byte4, UInt8 byte5, UInt8 byte6, UInt8 byte7,
                                                   UInt8 byte8, UInt8 byte9, UInt8 byte10, UInt8 byte11,
                                                   UInt8 byte12, UInt8 byte13, UInt8 byte14, UInt8 byte15);
/* All zero for NULL or a non-UUID. */
CF_EXPORT CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef uuid);

CF_EXTERN_C_END

#endif
