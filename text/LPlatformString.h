/*
 * LPlatformString.h: the bridge from the library's UTF-8 text to the
 * platform's string object (a CoreFoundation CFStringRef).
 *
 * Thread safety: reentrant.
 */
#ifndef HARLUNE_TEXT_LPLATFORMSTRING_H
#define HARLUNE_TEXT_LPLATFORMSTRING_H

#include <CoreFoundation/CoreFoundation.h>

/*
 * A platform string from UTF-8 text, never null. Text that is not valid UTF-8
 * usually comes from an old file or a cut buffer, so rather than failing the
 * function tries, in order: the text cut to at most 259 bytes with its
 * trailing non-ASCII bytes removed (a character cut at the end of a buffer),
 * read as UTF-8; the whole text read as Mac OS Roman; the cut copy read as
 * Mac OS Roman. The cut copy is skipped when nothing is left of it, since
 * text without any ASCII is far more likely a legacy encoding than a cut
 * UTF-8 character. A null text or a total failure gives an empty string.
 *
 * Ownership: the caller owns the returned string and releases it with
 * CFRelease.
 */
CFStringRef LMacNSStringFromString(const char *sz);

#endif
