/*
 * CFString.h: immutable and mutable Unicode strings.
 *
 * A string's length and indices count UTF-16 code units, as on Apple's
 * platforms. Text is stored as UTF-8, so CFStringGetCStringPtr with
 * kCFStringEncodingUTF8 always succeeds and returns that storage.
 *
 * Thread safety: immutable strings may be read from any thread; a mutable
 * string must not be read while another thread changes it.
 *
 * CFSTR("text") yields an immortal string: retain and release do nothing,
 * and the same text always yields the same object in the whole process (the
 * constants are interned in a thread-safe table). In C++ each CFSTR site
 * caches its object after the first evaluation, so later evaluations take
 * no lock and are safe on real-time threads.
 *
 * Differences from Apple's behaviour on Linux:
 *  - Supported encodings: UTF-8, ASCII, MacRoman and ISO Latin-1 for C
 *    strings and bytes; UTF-16 (host order with an optional byte-order mark,
 *    or explicit BE/LE) for bytes only. Others make the call fail.
 *  - Unpaired UTF-16 surrogates are replaced by U+FFFD on the way in.
 *  - CFStringCompare honours kCFCompareCaseInsensitive and
 *    kCFCompareNumerically and ignores the other flags. Case folding covers
 *    ASCII, Latin-1, Latin Extended-A, basic Greek and basic Cyrillic one to
 *    one; there is no locale-aware or multi-character folding (so "ß" does
 *    not equal "SS"). Ordering is by UTF-16 code unit.
 *  - Formats accept the printf conversions (no %n) plus %@; positional
 *    arguments (%1$d) are not supported and make the call return NULL. %s
 *    and %c take UTF-8 bytes, falling back to MacRoman for bytes that are not
 *    valid UTF-8.
 *  - The capacity limit of CFStringCreateMutable is not enforced.
 *  - CFStringGetCharacterAtIndex takes linear time unless the string is
 *    ASCII-only.
 */
#ifndef HARLUNE_COMPAT_CFSTRING_H
#define HARLUNE_COMPAT_CFSTRING_H

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDictionary.h>
#include <stdarg.h>

CF_EXTERN_C_BEGIN

typedef UInt32 CFStringEncoding;

typedef CF_ENUM(CFStringEncoding, CFStringBuiltInEncodings) {
    kCFStringEncodingMacRoman = 0,
    kCFStringEncodingWindowsLatin1 = 0x0500,
    kCFStringEncodingISOLatin1 = 0x0201,
    kCFStringEncodingNextStepLatin = 0x0B01,
    kCFStringEncodingASCII = 0x0600,
    kCFStringEncodingUnicode = 0x0100,
    kCFStringEncodingUTF8 = 0x08000100,
    kCFStringEncodingNonLossyASCII = 0x0BFF,
    kCFStringEncodingUTF16 = 0x0100,
    kCFStringEncodingUTF16BE = 0x10000100,
    kCFStringEncodingUTF16LE = 0x14000100,
    kCFStringEncodingUTF32 = 0x0c000100,
    kCFStringEncodingUTF32BE = 0x18000100,
    kCFStringEncodingUTF32LE = 0x1c000100
};

#define kCFStringEncodingInvalidId (0xffffffffU)

typedef CF_OPTIONS(CFOptionFlags, CFStringCompareFlags) {
    kCFCompareCaseInsensitive = 1,
    kCFCompareBackwards = 4,
    kCFCompareAnchored = 8,
    kCFCompareNonliteral = 16,
    kCFCompareLocalized = 32,
    kCFCompareNumerically = 64,
    kCFCompareDiacriticInsensitive = 128,
    kCFCompareWidthInsensitive = 256,
    kCFCompareForcedOrdering = 512
};

CF_EXPORT CFTypeID CFStringGetTypeID(void);

/* Interns a constant string; used by CFSTR. NULL for invalid UTF-8. */
CF_EXPORT CFStringRef __CFStringMakeConstantString(const char *cStr);

#ifdef __cplusplus
#define CFSTR(cStr)                                                                   \
    ([]() -> CFStringRef {                                                            \
        static const CFStringRef harluneConstantString = __CFStringMakeConstantString("" cStr ""); \
        return harluneConstantString;                                                 \
    }())
#else
#define CFSTR(cStr) __CFStringMakeConstantString("" cStr "")
#endif

/* Creation. All return NULL for text invalid in the given encoding. */
CF_EXPORT CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char *cStr, CFStringEncoding encoding);
/* Copies the text; frees cStr with contentsDeallocator unless it is kCFAllocatorNull. */
CF_EXPORT CFStringRef CFStringCreateWithCStringNoCopy(CFAllocatorRef alloc, const char *cStr, CFStringEncoding encoding,
                                                      CFAllocatorRef contentsDeallocator);
CF_EXPORT CFStringRef CFStringCreateWithBytes(CFAllocatorRef alloc, const UInt8 *bytes, CFIndex numBytes,
                                              CFStringEncoding encoding, Boolean isExternalRepresentation);
CF_EXPORT CFStringRef CFStringCreateWithCharacters(CFAllocatorRef alloc, const UniChar *chars, CFIndex numChars);
CF_EXPORT CFStringRef CFStringCreateWithFormat(CFAllocatorRef alloc, CFDictionaryRef formatOptions, CFStringRef format, ...);
CF_EXPORT CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef alloc, CFDictionaryRef formatOptions,
                                                           CFStringRef format, va_list arguments);
/* An immutable copy; returns the string itself retained if it is immutable. */
CF_EXPORT CFStringRef CFStringCreateCopy(CFAllocatorRef alloc, CFStringRef theString);
/* The characters in range (UTF-16 units); NULL if the range is out of bounds. */
CF_EXPORT CFStringRef CFStringCreateWithSubstring(CFAllocatorRef alloc, CFStringRef str, CFRange range);
CF_EXPORT CFMutableStringRef CFStringCreateMutable(CFAllocatorRef alloc, CFIndex maxLength);
CF_EXPORT CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef alloc, CFIndex maxLength, CFStringRef theString);

/* Access. */
CF_EXPORT CFIndex CFStringGetLength(CFStringRef theString);
/* 0 for an index out of bounds. */
CF_EXPORT UniChar CFStringGetCharacterAtIndex(CFStringRef theString, CFIndex idx);
/* Does nothing if the range is out of bounds. */
CF_EXPORT void CFStringGetCharacters(CFStringRef theString, CFRange range, UniChar *buffer);
/* False if the buffer is too small or the text is not representable. */
CF_EXPORT Boolean CFStringGetCString(CFStringRef theString, char *buffer, CFIndex bufferSize, CFStringEncoding encoding);
/*
 * The internal NUL-terminated UTF-8 text for kCFStringEncodingUTF8 (and for
 * kCFStringEncodingASCII when the text is ASCII), else NULL. Valid until the
 * string is changed or freed.
 */
CF_EXPORT const char *CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding);
/* Bytes needed for length UTF-16 units in the encoding; kCFNotFound if unsupported. */
CF_EXPORT CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);

/* Comparison. */
CF_EXPORT CFComparisonResult CFStringCompare(CFStringRef theString1, CFStringRef theString2,
                                             CFStringCompareFlags compareOptions);
/* Literal matches; an empty prefix or suffix never matches, as on Apple's platforms. */
CF_EXPORT Boolean CFStringHasPrefix(CFStringRef theString, CFStringRef prefix);
CF_EXPORT Boolean CFStringHasSuffix(CFStringRef theString, CFStringRef suffix);

/* Mutation; each does nothing if theString is not mutable. */
CF_EXPORT void CFStringAppend(CFMutableStringRef theString, CFStringRef appendedString);
CF_EXPORT void CFStringAppendCString(CFMutableStringRef theString, const char *cStr, CFStringEncoding encoding);
CF_EXPORT void CFStringAppendCharacters(CFMutableStringRef theString, const UniChar *chars, CFIndex numChars);
CF_EXPORT void CFStringAppendFormat(CFMutableStringRef theString, CFDictionaryRef formatOptions, CFStringRef format, ...);

/* Writes CFCopyDescription(obj) and a newline to stderr. */
CF_EXPORT void CFShow(CFTypeRef obj);

CF_EXTERN_C_END

#endif
