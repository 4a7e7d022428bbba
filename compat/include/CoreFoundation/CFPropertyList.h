/*
 * CFPropertyList.h: reading and writing property lists.
 *
 * A property list is a tree of dictionaries (with string keys), arrays,
 * strings, numbers, booleans, data and dates. This implementation reads and
 * writes the XML format, version 1.0, in the same layout Apple writes (tab
 * indentation, dictionary keys in sorted order, base64 data in lines).
 *
 * The reader is strict: malformed XML, unknown elements, wrong nesting,
 * dictionary keys that are not <key> elements, bad base64, dates or numbers,
 * and nesting deeper than 512 levels make it return NULL (and an error when
 * one is asked for), never crash. All functions are thread-safe; the input
 * must not be changed during a call.
 *
 * Differences from Apple's behaviour on Linux:
 *  - The binary and OpenStep formats are not supported, for reading or
 *    writing; asking for them fails with an error.
 *  - Integers must fit in SInt64 (Apple also accepts values up to UInt64).
 *  - Dates are written in whole seconds, as Apple does, so a fraction of a
 *    second does not survive a round trip.
 *  - Errors are in kCFErrorDomainCocoa with code 3840 (reading) or 3851
 *    (writing) and a description naming the line of the fault.
 */
#ifndef HARLUNE_COMPAT_CFPROPERTYLIST_H
#define HARLUNE_COMPAT_CFPROPERTYLIST_H

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFError.h>

CF_EXTERN_C_BEGIN

typedef CF_OPTIONS(CFOptionFlags, CFPropertyListMutabilityOptions) {
    kCFPropertyListImmutable = 0,
    kCFPropertyListMutableContainers = 1 << 0,
    kCFPropertyListMutableContainersAndLeaves = 1 << 1
};

typedef CF_ENUM(CFIndex, CFPropertyListFormat) {
    kCFPropertyListOpenStepFormat = 1,
    kCFPropertyListXMLFormat_v1_0 = 100,
    kCFPropertyListBinaryFormat_v1_0 = 200
};

enum {
    kCFPropertyListReadCorruptError = 3840,
    kCFPropertyListReadUnknownVersionError = 3841,
    kCFPropertyListReadStreamError = 3842,
    kCFPropertyListWriteStreamError = 3851
};

/*
 * Parses XML property-list data. options is a CFPropertyListMutabilityOptions
 * value. format (may be NULL) receives the format read. On failure returns
 * NULL and, if error is not NULL, a CFError the caller must release.
 */
CF_EXPORT CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data,
                                                         CFOptionFlags options, CFPropertyListFormat *format,
                                                         CFErrorRef *error);
/* Serialises to XML; options must be 0. NULL (and an error) for an invalid list. */
CF_EXPORT CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef propertyList,
                                             CFPropertyListFormat format, CFOptionFlags options, CFErrorRef *error);
/* A copy of the whole tree with the requested mutability; NULL for an invalid list. */
CF_EXPORT CFPropertyListRef CFPropertyListCreateDeepCopy(CFAllocatorRef allocator, CFPropertyListRef propertyList,
                                                         CFOptionFlags mutabilityOption);
/* True if plist holds only property-list types, within the nesting limit. */
CF_EXPORT Boolean CFPropertyListIsValid(CFPropertyListRef plist, CFPropertyListFormat format);

CF_EXTERN_C_END

#endif
