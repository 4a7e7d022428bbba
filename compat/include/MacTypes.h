/*
 * MacTypes.h: the basic integer, floating-point and status types of Apple's
 * C APIs, with their platform sizes. Header-only; no state.
 */
#ifndef HARLUNE_COMPAT_MACTYPES_H
#define HARLUNE_COMPAT_MACTYPES_H

#include <stdint.h>
#include <sys/types.h>

typedef uint8_t UInt8;
typedef int8_t SInt8;
typedef uint16_t UInt16;
typedef int16_t SInt16;
typedef uint32_t UInt32;
typedef int32_t SInt32;
typedef uint64_t UInt64;
typedef int64_t SInt64;
typedef float Float32;
typedef double Float64;

/* Boolean is one byte, as on the platform; true and false are 1 and 0. */
typedef unsigned char Boolean;

/* Status results of the platform's C APIs: 0 is success. */
typedef SInt32 OSStatus;
typedef SInt16 OSErr;
typedef UInt32 FourCharCode;
typedef FourCharCode OSType;

enum { noErr = 0 };

#endif
