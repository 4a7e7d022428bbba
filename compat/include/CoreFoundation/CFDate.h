/*
 * CFDate.h: points in time.
 *
 * CFAbsoluteTime counts seconds since 2001-01-01 00:00:00 UTC. Dates are
 * immutable and may be used from any thread; CFAbsoluteTimeGetCurrent reads
 * the system's real-time clock, so it can jump when the clock is set.
 */
#ifndef HARLUNE_COMPAT_CFDATE_H
#define HARLUNE_COMPAT_CFDATE_H

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef double CFTimeInterval;
typedef CFTimeInterval CFAbsoluteTime;

/* Seconds from the Unix epoch (1970) and from 1904 to the reference date. */
#define kCFAbsoluteTimeIntervalSince1970 978307200.0
#define kCFAbsoluteTimeIntervalSince1904 3061152000.0

CF_EXPORT CFAbsoluteTime CFAbsoluteTimeGetCurrent(void);

typedef const struct __CFDate *CFDateRef;

CF_EXPORT CFTypeID CFDateGetTypeID(void);
CF_EXPORT CFDateRef CFDateCreate(CFAllocatorRef allocator, CFAbsoluteTime at);
/* 0 for NULL or a non-date. */
CF_EXPORT CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef theDate);
CF_EXPORT CFTimeInterval CFDateGetTimeIntervalSinceDate(CFDateRef theDate, CFDateRef otherDate);
CF_EXPORT CFComparisonResult CFDateCompare(CFDateRef theDate, CFDateRef otherDate, void *context);

CF_EXTERN_C_END

#endif
