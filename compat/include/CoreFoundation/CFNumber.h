/*
 * CFNumber.h: boxed booleans and numbers.
 *
 * kCFBooleanTrue and kCFBooleanFalse are the only two booleans; they are
 * immortal. A number keeps the canonical form of the type it was created
 * with (SInt8, SInt16, SInt32, SInt64, Float32 or Float64; for example
 * kCFNumberIntType becomes kCFNumberSInt32Type) and converts on the way out.
 * Numbers and booleans are immutable and may be used from any thread.
 *
 * CFNumberGetValue always stores the converted value and returns false when
 * the conversion lost information: a fraction dropped, a value out of the
 * target's range (the result is then clamped to that range), or precision
 * lost converting to floating point.
 *
 * Numbers compare by value across types (1 equals 1.0). Where Apple leaves
 * NaN unspecified, here NaN equals NaN and orders below every other number.
 */
#ifndef HARLUNE_COMPAT_CFNUMBER_H
#define HARLUNE_COMPAT_CFNUMBER_H

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const struct __CFBoolean *CFBooleanRef;

CF_EXPORT const CFBooleanRef kCFBooleanTrue;
CF_EXPORT const CFBooleanRef kCFBooleanFalse;

CF_EXPORT CFTypeID CFBooleanGetTypeID(void);
/* false for NULL or a non-boolean. */
CF_EXPORT Boolean CFBooleanGetValue(CFBooleanRef boolean);

typedef CF_ENUM(CFIndex, CFNumberType) {
    kCFNumberSInt8Type = 1,
    kCFNumberSInt16Type = 2,
    kCFNumberSInt32Type = 3,
    kCFNumberSInt64Type = 4,
    kCFNumberFloat32Type = 5,
    kCFNumberFloat64Type = 6,
    kCFNumberCharType = 7,
    kCFNumberShortType = 8,
    kCFNumberIntType = 9,
    kCFNumberLongType = 10,
    kCFNumberLongLongType = 11,
    kCFNumberFloatType = 12,
    kCFNumberDoubleType = 13,
    kCFNumberCFIndexType = 14,
    kCFNumberNSIntegerType = 15,
    kCFNumberCGFloatType = 16,
    kCFNumberMaxType = 16
};

typedef const struct __CFNumber *CFNumberRef;

CF_EXPORT const CFNumberRef kCFNumberPositiveInfinity;
CF_EXPORT const CFNumberRef kCFNumberNegativeInfinity;
CF_EXPORT const CFNumberRef kCFNumberNaN;

CF_EXPORT CFTypeID CFNumberGetTypeID(void);
/* NULL for an unknown type or a NULL valuePtr. */
CF_EXPORT CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType theType, const void *valuePtr);
/* The canonical type; 0 for a non-number. */
CF_EXPORT CFNumberType CFNumberGetType(CFNumberRef number);
CF_EXPORT CFIndex CFNumberGetByteSize(CFNumberRef number);
CF_EXPORT Boolean CFNumberIsFloatType(CFNumberRef number);
/* Returns false if the conversion was lossy; see above. */
CF_EXPORT Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void *valuePtr);
CF_EXPORT CFComparisonResult CFNumberCompare(CFNumberRef number, CFNumberRef otherNumber, void *context);

CF_EXTERN_C_END

#endif
