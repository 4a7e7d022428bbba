/*
 * CFError.h: error objects carrying a domain, a code and a dictionary of
 * further information. Errors are immutable and may be used from any thread.
 *
 * CFErrorCopyDescription returns the kCFErrorLocalizedDescriptionKey entry
 * when there is one; otherwise it composes a sentence from the failure
 * reason or from the domain and code. Descriptions are in English only.
 */
#ifndef HARLUNE_COMPAT_CFERROR_H
#define HARLUNE_COMPAT_CFERROR_H

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDictionary.h>

CF_EXTERN_C_BEGIN

typedef struct __CFError *CFErrorRef;
typedef CFStringRef CFErrorDomain;

/*
 * The domain and key constants are immortal strings, set up when the
 * library loads, before any code that links against it runs.
 */
CF_EXPORT const CFErrorDomain kCFErrorDomainPOSIX;
CF_EXPORT const CFErrorDomain kCFErrorDomainOSStatus;
CF_EXPORT const CFErrorDomain kCFErrorDomainMach;
CF_EXPORT const CFErrorDomain kCFErrorDomainCocoa;

CF_EXPORT const CFStringRef kCFErrorLocalizedDescriptionKey;
CF_EXPORT const CFStringRef kCFErrorLocalizedFailureReasonKey;
CF_EXPORT const CFStringRef kCFErrorLocalizedRecoverySuggestionKey;
CF_EXPORT const CFStringRef kCFErrorDescriptionKey;
CF_EXPORT const CFStringRef kCFErrorUnderlyingErrorKey;
CF_EXPORT const CFStringRef kCFErrorFilePathKey;

CF_EXPORT CFTypeID CFErrorGetTypeID(void);
/* NULL if domain is NULL. userInfo may be NULL; it is copied. */
CF_EXPORT CFErrorRef CFErrorCreate(CFAllocatorRef allocator, CFErrorDomain domain, CFIndex code,
                                   CFDictionaryRef userInfo);
CF_EXPORT CFErrorDomain CFErrorGetDomain(CFErrorRef err);
CF_EXPORT CFIndex CFErrorGetCode(CFErrorRef err);
/* Never NULL for a valid error: an empty dictionary when there is no information. */
CF_EXPORT CFDictionaryRef CFErrorCopyUserInfo(CFErrorRef err);
CF_EXPORT CFStringRef CFErrorCopyDescription(CFErrorRef err);
CF_EXPORT CFStringRef CFErrorCopyFailureReason(CFErrorRef err);

CF_EXTERN_C_END

#endif
