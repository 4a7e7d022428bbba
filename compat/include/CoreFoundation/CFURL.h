/*
 * CFURL.h: URLs naming files.
 *
 * Only file URLs exist here: "file:///absolute/path", percent-encoded, with a
 * trailing "/" when the URL names a directory. URLs are immutable and may be
 * used from any thread.
 *
 * Differences from Apple's behaviour on Linux:
 *  - Relative paths are resolved against the current directory when the URL
 *    is created, so every URL is absolute and CFURLGetBaseURL returns NULL.
 *  - Repeated slashes are collapsed; "." and ".." are kept as written.
 *  - Only kCFURLPOSIXPathStyle is supported; other styles give NULL.
 *  - CFURLCreateWithString accepts only "file://" URLs (with an empty or
 *    "localhost" host) and returns NULL for any other scheme.
 */
#ifndef HARLUNE_COMPAT_CFURL_H
#define HARLUNE_COMPAT_CFURL_H

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFError.h>

CF_EXTERN_C_BEGIN

typedef CF_ENUM(CFIndex, CFURLPathStyle) {
    kCFURLPOSIXPathStyle = 0,
    kCFURLHFSPathStyle = 1,
    kCFURLWindowsPathStyle = 2
};

typedef const struct __CFURL *CFURLRef;

CF_EXPORT CFTypeID CFURLGetTypeID(void);

CF_EXPORT CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef allocator, CFStringRef filePath,
                                                 CFURLPathStyle pathStyle, Boolean isDirectory);
CF_EXPORT CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8 *buffer,
                                                           CFIndex bufLen, Boolean isDirectory);
/* baseURL must be NULL: relative URL strings are not supported. */
CF_EXPORT CFURLRef CFURLCreateWithString(CFAllocatorRef allocator, CFStringRef URLString, CFURLRef baseURL);
CF_EXPORT CFURLRef CFURLCreateCopyAppendingPathComponent(CFAllocatorRef allocator, CFURLRef url,
                                                         CFStringRef pathComponent, Boolean isDirectory);
/* The parent directory; the root's parent is the root. */
CF_EXPORT CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef allocator, CFURLRef url);
/* The URL itself, retained: every URL here is already absolute. */
CF_EXPORT CFURLRef CFURLCopyAbsoluteURL(CFURLRef relativeURL);

/* The encoded URL text, owned by the URL. */
CF_EXPORT CFStringRef CFURLGetString(CFURLRef anURL);
CF_EXPORT CFURLRef CFURLGetBaseURL(CFURLRef anURL);
/* The decoded path, without a trailing "/" unless it is the root. */
CF_EXPORT CFStringRef CFURLCopyFileSystemPath(CFURLRef anURL, CFURLPathStyle pathStyle);
/* Writes the NUL-terminated path; false if it does not fit in maxBufLen bytes. */
CF_EXPORT Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8 *buffer,
                                                   CFIndex maxBufLen);
/* The decoded last component; "/" for the root. */
CF_EXPORT CFStringRef CFURLCopyLastPathComponent(CFURLRef url);
/* The text after the last "." of the last component; NULL if there is none. */
CF_EXPORT CFStringRef CFURLCopyPathExtension(CFURLRef url);
CF_EXPORT Boolean CFURLHasDirectoryPath(CFURLRef anURL);
/* True when the file the URL names exists now (stat succeeds; a dangling
 * symbolic link is not reachable). Otherwise false and, when error is not
 * NULL, *error receives a new POSIX-domain error with the errno of the
 * failure, which the caller releases. */
CF_EXPORT Boolean CFURLResourceIsReachable(CFURLRef url, CFErrorRef *error);

CF_EXTERN_C_END

#endif
