/*
 * CFDictionary.h: hashed collections of key-value pairs.
 *
 * The key callbacks decide how keys are owned, hashed and compared:
 * kCFTypeDictionaryKeyCallBacks retains keys and compares them with CFEqual
 * and CFHash, kCFCopyStringDictionaryKeyCallBacks stores immutable copies of
 * string keys. The value callbacks decide how values are owned. NULL
 * callbacks store raw pointers without retaining them and compare keys by
 * identity. Iteration order is unspecified, as on Apple's platforms.
 *
 * Thread safety: an immutable dictionary may be read from any thread; a
 * mutable dictionary must not be read while another thread changes it.
 *
 * Differences from Apple's behaviour on Linux: mutating an immutable
 * dictionary does nothing (Apple's crashes); the capacity limit of
 * CFDictionaryCreateMutable is not enforced.
 */
#ifndef HARLUNE_COMPAT_CFDICTIONARY_H
#define HARLUNE_COMPAT_CFDICTIONARY_H

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const void *(*CFDictionaryRetainCallBack)(CFAllocatorRef allocator, const void *value);
typedef void (*CFDictionaryReleaseCallBack)(CFAllocatorRef allocator, const void *value);
typedef CFStringRef (*CFDictionaryCopyDescriptionCallBack)(const void *value);
typedef Boolean (*CFDictionaryEqualCallBack)(const void *value1, const void *value2);
typedef CFHashCode (*CFDictionaryHashCallBack)(const void *value);

typedef struct {
    CFIndex version;
    CFDictionaryRetainCallBack retain;
    CFDictionaryReleaseCallBack release;
    CFDictionaryCopyDescriptionCallBack copyDescription;
    CFDictionaryEqualCallBack equal;
    CFDictionaryHashCallBack hash;
} CFDictionaryKeyCallBacks;

typedef struct {
    CFIndex version;
    CFDictionaryRetainCallBack retain;
    CFDictionaryReleaseCallBack release;
    CFDictionaryCopyDescriptionCallBack copyDescription;
    CFDictionaryEqualCallBack equal;
} CFDictionaryValueCallBacks;

CF_EXPORT const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
CF_EXPORT const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks;
CF_EXPORT const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;

typedef void (*CFDictionaryApplierFunction)(const void *key, const void *value, void *context);

typedef const struct __CFDictionary *CFDictionaryRef;
typedef struct __CFDictionary *CFMutableDictionaryRef;

CF_EXPORT CFTypeID CFDictionaryGetTypeID(void);

/* A later duplicate key replaces the value of an earlier one. */
CF_EXPORT CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void **keys, const void **values,
                                             CFIndex numValues, const CFDictionaryKeyCallBacks *keyCallBacks,
                                             const CFDictionaryValueCallBacks *valueCallBacks);
CF_EXPORT CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef allocator, CFDictionaryRef theDict);
CF_EXPORT CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                           const CFDictionaryKeyCallBacks *keyCallBacks,
                                                           const CFDictionaryValueCallBacks *valueCallBacks);
CF_EXPORT CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                               CFDictionaryRef theDict);

CF_EXPORT CFIndex CFDictionaryGetCount(CFDictionaryRef theDict);
CF_EXPORT CFIndex CFDictionaryGetCountOfKey(CFDictionaryRef theDict, const void *key);
CF_EXPORT Boolean CFDictionaryContainsKey(CFDictionaryRef theDict, const void *key);
CF_EXPORT Boolean CFDictionaryContainsValue(CFDictionaryRef theDict, const void *value);
/* NULL when absent; use CFDictionaryGetValueIfPresent if NULL is a stored value. */
CF_EXPORT const void *CFDictionaryGetValue(CFDictionaryRef theDict, const void *key);
CF_EXPORT Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef theDict, const void *key, const void **value);
/* Either buffer may be NULL; each must hold CFDictionaryGetCount entries. */
CF_EXPORT void CFDictionaryGetKeysAndValues(CFDictionaryRef theDict, const void **keys, const void **values);
CF_EXPORT void CFDictionaryApplyFunction(CFDictionaryRef theDict, CFDictionaryApplierFunction applier, void *context);

/* Adds only if the key is absent. */
CF_EXPORT void CFDictionaryAddValue(CFMutableDictionaryRef theDict, const void *key, const void *value);
/* Adds or replaces; a replaced pair keeps its original key object. */
CF_EXPORT void CFDictionarySetValue(CFMutableDictionaryRef theDict, const void *key, const void *value);
/* Replaces only if the key is present. */
CF_EXPORT void CFDictionaryReplaceValue(CFMutableDictionaryRef theDict, const void *key, const void *value);
CF_EXPORT void CFDictionaryRemoveValue(CFMutableDictionaryRef theDict, const void *key);
CF_EXPORT void CFDictionaryRemoveAllValues(CFMutableDictionaryRef theDict);

CF_EXTERN_C_END

#endif
