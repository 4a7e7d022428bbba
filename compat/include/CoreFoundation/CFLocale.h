/*
 * CFLocale.h: the user's current locale, as far as the product asks for it:
 * its identifier.
 *
 * On Linux the current locale comes from the environment, read at each call
 * of CFLocaleCopyCurrent: LC_ALL when it is set and not empty, else LANG.
 * The identifier is that value without its codeset (".UTF-8") and modifier
 * ("@euro"), e.g. "en_US" for "en_US.UTF-8". The C library's own locales
 * "C" and "POSIX", a missing variable and an empty one give the empty
 * identifier (Apple's current locale always has a language; callers that
 * must have one fall back on their preferences). Locales are immutable and
 * may be used from any thread.
 */
#ifndef HARLUNE_COMPAT_CFLOCALE_H
#define HARLUNE_COMPAT_CFLOCALE_H

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const struct __CFLocale *CFLocaleRef;
typedef CFStringRef CFLocaleIdentifier;

CF_EXPORT CFTypeID CFLocaleGetTypeID(void);
/* A new reference (Copy rule); NULL only when memory runs out. */
CF_EXPORT CFLocaleRef CFLocaleCopyCurrent(void);
/* Owned by the locale (Get rule); NULL for NULL or a non-locale. */
CF_EXPORT CFLocaleIdentifier CFLocaleGetIdentifier(CFLocaleRef locale);

CF_EXTERN_C_END

#endif
