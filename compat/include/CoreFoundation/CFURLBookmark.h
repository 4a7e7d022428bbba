/*
 * CFURLBookmark.h: bookmark data of file URLs and security-scoped access.
 *
 * Linux has no grant mechanism for sandboxed applications, so these calls
 * keep only the bookkeeping. A bookmark made here is this record (every
 * number little-endian):
 *
 *   bytes 0..3    "HBK1"
 *   bytes 4..11   device number of the file when the bookmark was made
 *   bytes 12..19  inode number of the file when the bookmark was made
 *   bytes 20..    the absolute path, UTF-8, no terminator
 *
 * What this does not do:
 *  - It grants nothing: starting access succeeds for any file URL whose file
 *    exists and changes no permission; stopping it does nothing.
 *  - A moved or renamed file does not follow its bookmark: resolving looks
 *    only at the recorded path, and fails when nothing is there.
 *  - Bookmarks made by Apple's platform (any other record) do not resolve.
 *
 * Resolving gives the URL of the recorded path and reports the bookmark
 * stale when the file now at that path has another device or inode (it was
 * replaced), so the caller makes and stores a fresh bookmark.
 *
 * Thread safety: every call may be made from any thread.
 */
#ifndef HARLUNE_COMPAT_CFURLBOOKMARK_H
#define HARLUNE_COMPAT_CFURLBOOKMARK_H

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFError.h>
#include <CoreFoundation/CFURL.h>

CF_EXTERN_C_BEGIN

typedef CF_OPTIONS(CFOptionFlags, CFURLBookmarkCreationOptions) {
    kCFURLBookmarkCreationMinimalBookmarkMask = (1UL << 9),
    kCFURLBookmarkCreationSuitableForBookmarkFile = (1UL << 10),
    kCFURLBookmarkCreationWithSecurityScope = (1UL << 11),
    kCFURLBookmarkCreationSecurityScopeAllowOnlyReadAccess = (1UL << 12)
};

typedef CF_OPTIONS(CFOptionFlags, CFURLBookmarkResolutionOptions) {
    kCFURLBookmarkResolutionWithoutUIMask = (1UL << 8),
    kCFURLBookmarkResolutionWithoutMountingMask = (1UL << 9),
    kCFURLBookmarkResolutionWithSecurityScope = (1UL << 10)
};

/* The bookmark record of url's file, which must exist (else NULL and a
 * POSIX-domain error with its errno in *error). Options, the resource
 * properties and relativeToURL are accepted and have no effect. */
CF_EXPORT CFDataRef CFURLCreateBookmarkData(CFAllocatorRef allocator, CFURLRef url,
                                            CFURLBookmarkCreationOptions options,
                                            CFArrayRef resourcePropertiesToInclude, CFURLRef relativeToURL,
                                            CFErrorRef *error);
/* The URL of the recorded path (a directory URL when it is a folder), or
 * NULL with an error when the record is not one of ours or nothing exists at
 * the path. *isStale (may be NULL) is set as described above. */
CF_EXPORT CFURLRef CFURLCreateByResolvingBookmarkData(CFAllocatorRef allocator, CFDataRef bookmark,
                                                      CFURLBookmarkResolutionOptions options,
                                                      CFURLRef relativeToURL,
                                                      CFArrayRef resourcePropertiesToInclude, Boolean *isStale,
                                                      CFErrorRef *error);
/* True when url is a file URL whose file exists; grants nothing. */
CF_EXPORT Boolean CFURLStartAccessingSecurityScopedResource(CFURLRef url);
CF_EXPORT void CFURLStopAccessingSecurityScopedResource(CFURLRef url);

CF_EXTERN_C_END

#endif
