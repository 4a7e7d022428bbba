// LFileAttributes.cpp: the text-encoding mark.
#include "files/LFileAttributes.h"

#include <cerrno>
#include <cstring>

#include <sys/xattr.h>

#ifdef __APPLE__
const char* const kLTextEncodingAttributeName = "com.apple.TextEncoding";
#else
const char* const kLTextEncodingAttributeName = "user.com.apple.TextEncoding";
#endif
const char* const kLTextEncodingUTF8Value = "utf-8;134217984";

int LFile::SetFileAttributeTextEncodingUTF8(const char* path) {
    if (path == nullptr || path[0] == '\0') {
        errno = EINVAL;
        return -1;
    }
#ifdef __APPLE__
    return setxattr(path, kLTextEncodingAttributeName, kLTextEncodingUTF8Value, std::strlen(kLTextEncodingUTF8Value), 0, 0);
#else
    return setxattr(path, kLTextEncodingAttributeName, kLTextEncodingUTF8Value, std::strlen(kLTextEncodingUTF8Value), 0);
#endif
}
