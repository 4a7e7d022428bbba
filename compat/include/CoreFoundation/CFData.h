/*
 * CFData.h: immutable and mutable byte buffers.
 *
 * Thread safety: immutable data may be read from any thread; mutable data
 * must not be read while another thread changes it. A pointer returned by
 * CFDataGetBytePtr or CFDataGetMutableBytePtr stays valid until the data is
 * changed in length or freed.
 *
 * Differences from Apple's behaviour on Linux: the "NoCopy" creation
 * function copies the bytes (and then frees the originals with the given
 * deallocator unless it is kCFAllocatorNull); out-of-range requests do
 * nothing instead of crashing; the capacity limit of CFDataCreateMutable is
 * not enforced. CFDataGetBytePtr never returns NULL for valid data, even
 * when it is empty.
 */
#ifndef HARLUNE_COMPAT_CFDATA_H
#define HARLUNE_COMPAT_CFDATA_H

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const struct __CFData *CFDataRef;
typedef struct __CFData *CFMutableDataRef;

CF_EXPORT CFTypeID CFDataGetTypeID(void);

CF_EXPORT CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8 *bytes, CFIndex length);
CF_EXPORT CFDataRef CFDataCreateWithBytesNoCopy(CFAllocatorRef allocator, const UInt8 *bytes, CFIndex length,
                                                CFAllocatorRef bytesDeallocator);
CF_EXPORT CFDataRef CFDataCreateCopy(CFAllocatorRef allocator, CFDataRef theData);
CF_EXPORT CFMutableDataRef CFDataCreateMutable(CFAllocatorRef allocator, CFIndex capacity);
CF_EXPORT CFMutableDataRef CFDataCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFDataRef theData);

CF_EXPORT CFIndex CFDataGetLength(CFDataRef theData);
CF_EXPORT const UInt8 *CFDataGetBytePtr(CFDataRef theData);
/* NULL if theData is not mutable. */
CF_EXPORT UInt8 *CFDataGetMutableBytePtr(CFMutableDataRef theData);
/* Copies the bytes in range; does nothing if the range is out of bounds. */
CF_EXPORT void CFDataGetBytes(CFDataRef theData, CFRange range, UInt8 *buffer);

/* New bytes from growing the length are zero. */
CF_EXPORT void CFDataSetLength(CFMutableDataRef theData, CFIndex length);
CF_EXPORT void CFDataIncreaseLength(CFMutableDataRef theData, CFIndex extraLength);
CF_EXPORT void CFDataAppendBytes(CFMutableDataRef theData, const UInt8 *bytes, CFIndex length);

CF_EXTERN_C_END

#endif
