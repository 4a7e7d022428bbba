/*
 * CFBase.h: the foundation of the CoreFoundation object model.
 *
 * Every CF object is reached through an opaque pointer (CFTypeRef and the
 * typed references derived from it) and carries an atomic reference count.
 * The "Create" and "Copy" functions return an object the caller owns and must
 * balance with CFRelease; the "Get" functions return a reference the caller
 * does not own, valid as long as the object it came from.
 *
 * Thread safety: CFRetain, CFRelease and CFGetRetainCount may be called on
 * any object from any thread. Immutable objects may be read from any number
 * of threads at once. Mutable objects must be synchronised by the caller,
 * exactly as on Apple's platforms.
 *
 * Differences from Apple's behaviour on Linux:
 *  - CFRetain(NULL) returns NULL and CFRelease(NULL) does nothing, where
 *    Apple's implementation crashes. CFEqual with a NULL argument returns
 *    false, CFHash(NULL) returns 0 and CFGetTypeID(NULL) returns 0.
 *  - Allocators are accepted everywhere but memory always comes from
 *    malloc; kCFAllocatorNull only matters where Apple gives it a meaning
 *    (for example "do not free these bytes").
 *  - Immortal objects (CFSTR constants, the booleans, constant UUIDs, the
 *    allocators) ignore retain and release and report a very large retain
 *    count (kCFRetainCountImmortal), as constant objects do on Apple.
 *  - Functions given an object of the wrong type return a failure value
 *    (NULL, 0 or false) instead of crashing, and mutators given an immutable
 *    object leave it unchanged.
 *  - When memory runs out, functions fail by result (NULL, false, or no
 *    change to a mutable object); no C++ exception leaves the library.
 */
#ifndef HARLUNE_COMPAT_CFBASE_H
#define HARLUNE_COMPAT_CFBASE_H

#include <MacTypes.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define CF_EXTERN_C_BEGIN extern "C" {
#define CF_EXTERN_C_END }
#else
#define CF_EXTERN_C_BEGIN
#define CF_EXTERN_C_END
#endif

#define CF_EXPORT extern __attribute__((visibility("default")))
#define CF_INLINE static inline

/* Ownership annotations used by product code; they carry no meaning here. */
#define CF_RETURNS_RETAINED
#define CF_RETURNS_NOT_RETAINED
#define CF_RELEASES_ARGUMENT
#define CF_CONSUMED
#define CF_IMPLICIT_BRIDGING_ENABLED
#define CF_IMPLICIT_BRIDGING_DISABLED
#define CF_ASSUME_NONNULL_BEGIN
#define CF_ASSUME_NONNULL_END
#define CF_BRIDGED_TYPE(T)
#define CF_BRIDGED_MUTABLE_TYPE(T)

/*
 * Enumerated types: the type is a plain integer typedef and the constants
 * an anonymous enumeration, so that constants convert to the type and flags
 * combine with | without casts, in C and C++ alike, and so the headers stay
 * free of warnings even when not included as system headers.
 */
#ifdef __cplusplus
#define CF_ENUM(_type, _name) _type _name; enum : _type
#else
#define CF_ENUM(_type, _name) _type _name; enum
#endif
#define CF_OPTIONS(_type, _name) CF_ENUM(_type, _name)

CF_EXTERN_C_BEGIN

typedef UInt16 UniChar;
typedef UInt32 UTF32Char;
typedef unsigned long UniCharCount;

typedef const void *CFTypeRef;
typedef unsigned long CFTypeID;
typedef unsigned long CFOptionFlags;
typedef unsigned long CFHashCode;
typedef signed long CFIndex;

/* The result of every index search that finds nothing. */
static const CFIndex kCFNotFound = -1;

/* The retain count reported for immortal objects. */
#define kCFRetainCountImmortal ((CFIndex)0x0FFFFFFFFFFFFFFFL)

typedef struct {
    CFIndex location;
    CFIndex length;
} CFRange;

CF_INLINE CFRange CFRangeMake(CFIndex loc, CFIndex len) {
    CFRange range;
    range.location = loc;
    range.length = len;
    return range;
}

typedef CF_ENUM(CFIndex, CFComparisonResult) {
    kCFCompareLessThan = -1L,
    kCFCompareEqualTo = 0,
    kCFCompareGreaterThan = 1
};

typedef CFComparisonResult (*CFComparatorFunction)(const void *val1, const void *val2, void *context);

/* The string and property-list references every other header needs. */
typedef const struct __CFString *CFStringRef;
typedef struct __CFString *CFMutableStringRef;
typedef CFTypeRef CFPropertyListRef;

/*
 * Allocators. kCFAllocatorDefault is NULL, as on Apple's platforms, and
 * means the system default. All allocators other than kCFAllocatorNull
 * allocate with malloc; kCFAllocatorNull allocates nothing.
 */
typedef const struct __CFAllocator *CFAllocatorRef;

CF_EXPORT const CFAllocatorRef kCFAllocatorDefault;
CF_EXPORT const CFAllocatorRef kCFAllocatorSystemDefault;
CF_EXPORT const CFAllocatorRef kCFAllocatorMalloc;
CF_EXPORT const CFAllocatorRef kCFAllocatorMallocZone;
CF_EXPORT const CFAllocatorRef kCFAllocatorNull;
CF_EXPORT const CFAllocatorRef kCFAllocatorUseContext;

CF_EXPORT CFTypeID CFAllocatorGetTypeID(void);
/* Returns kCFAllocatorSystemDefault; the default cannot be changed here. */
CF_EXPORT CFAllocatorRef CFAllocatorGetDefault(void);
/* malloc, or NULL for kCFAllocatorNull and for a size of zero or less. */
CF_EXPORT void *CFAllocatorAllocate(CFAllocatorRef allocator, CFIndex size, CFOptionFlags hint);
CF_EXPORT void *CFAllocatorReallocate(CFAllocatorRef allocator, void *ptr, CFIndex newsize, CFOptionFlags hint);
CF_EXPORT void CFAllocatorDeallocate(CFAllocatorRef allocator, void *ptr);

/* The null object, used where a collection needs a value that means "none". */
typedef const struct __CFNull *CFNullRef;
CF_EXPORT const CFNullRef kCFNull;
CF_EXPORT CFTypeID CFNullGetTypeID(void);

/* Polymorphic functions, valid on every CF object. */
CF_EXPORT CFTypeID CFGetTypeID(CFTypeRef cf);
/* The type's name, for example "CFString"; NULL for an unknown type ID. */
CF_EXPORT CFStringRef CFCopyTypeIDDescription(CFTypeID type_id);
/* Returns cf. Thread-safe. NULL gives NULL. */
CF_EXPORT CFTypeRef CFRetain(CFTypeRef cf);
/* Frees the object when the count reaches zero. Thread-safe. NULL is ignored. */
CF_EXPORT void CFRelease(CFTypeRef cf);
/* A snapshot of the count; 0 for NULL, kCFRetainCountImmortal for constants. */
CF_EXPORT CFIndex CFGetRetainCount(CFTypeRef cf);
/* Value equality: two objects of the same type with equal contents. */
CF_EXPORT Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2);
/* Equal objects have equal hashes. */
CF_EXPORT CFHashCode CFHash(CFTypeRef cf);
/*
 * A readable description: the text of a string, the value of a number or
 * boolean, the nested contents of arrays and dictionaries. "(null)" for NULL.
 */
CF_EXPORT CFStringRef CFCopyDescription(CFTypeRef cf);
/* Always kCFAllocatorSystemDefault for a valid object. */
CF_EXPORT CFAllocatorRef CFGetAllocator(CFTypeRef cf);

CF_EXTERN_C_END

#endif
