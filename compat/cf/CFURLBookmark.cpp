/*
 * CFURLBookmark.cpp: the bookmark record of path, device and inode, and
 * security-scoped access that grants nothing (see CFURLBookmark.h).
 */
#include <CoreFoundation/CFURLBookmark.h>

#include "cf/ErrorSupport.h"

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <string>
#include <sys/stat.h>

namespace {

constexpr char kMagic[4] = {'H', 'B', 'K', '1'};
constexpr size_t kHeaderSize = 20;  // magic, device, inode

void putLittle(std::string &out, uint64_t n) {
    for (int i = 0; i < 8; ++i) {
        out += static_cast<char>((n >> (8 * i)) & 0xFF);
    }
}

uint64_t getLittle(const UInt8 *p) {
    uint64_t n = 0;
    for (int i = 7; i >= 0; --i) {
        n = (n << 8) | p[i];
    }
    return n;
}

// The URL's path, or false when it has none or it does not fit.
bool urlPath(CFURLRef url, std::string &path) {
    if (url == nullptr) {
        return false;
    }
    UInt8 buffer[PATH_MAX];
    if (!CFURLGetFileSystemRepresentation(url, true, buffer, sizeof buffer)) {
        return false;
    }
    path = reinterpret_cast<const char *>(buffer);
    return !path.empty();
}

}  // namespace

CFDataRef CFURLCreateBookmarkData(CFAllocatorRef allocator, CFURLRef url, CFURLBookmarkCreationOptions,
                                  CFArrayRef, CFURLRef, CFErrorRef *error) {
    std::string path;
    if (!urlPath(url, path)) {
        harlune::cf::reportError(error, kCFErrorDomainPOSIX, EINVAL, "The URL names no file.");
        return nullptr;
    }
    struct stat st {};
    if (stat(path.c_str(), &st) != 0) {
        const int code = errno;
        harlune::cf::reportError(error, kCFErrorDomainPOSIX, code, std::strerror(code), path);
        return nullptr;
    }
    std::string record(kMagic, sizeof kMagic);
    putLittle(record, static_cast<uint64_t>(st.st_dev));
    putLittle(record, static_cast<uint64_t>(st.st_ino));
    record += path;
    return CFDataCreate(allocator, reinterpret_cast<const UInt8 *>(record.data()),
                        static_cast<CFIndex>(record.size()));
}

CFURLRef CFURLCreateByResolvingBookmarkData(CFAllocatorRef allocator, CFDataRef bookmark,
                                            CFURLBookmarkResolutionOptions, CFURLRef, CFArrayRef,
                                            Boolean *isStale, CFErrorRef *error) {
    if (isStale != nullptr) {
        *isStale = false;
    }
    const CFIndex length = bookmark != nullptr ? CFDataGetLength(bookmark) : 0;
    const UInt8 *bytes = bookmark != nullptr ? CFDataGetBytePtr(bookmark) : nullptr;
    if (bytes == nullptr || length <= static_cast<CFIndex>(kHeaderSize) ||
        std::memcmp(bytes, kMagic, sizeof kMagic) != 0 || bytes[kHeaderSize] != '/' ||
        std::memchr(bytes + kHeaderSize, 0, static_cast<size_t>(length) - kHeaderSize) != nullptr) {
        harlune::cf::reportError(error, kCFErrorDomainPOSIX, EINVAL, "The bookmark data is not a bookmark.");
        return nullptr;
    }
    const std::string path(reinterpret_cast<const char *>(bytes + kHeaderSize),
                           static_cast<size_t>(length) - kHeaderSize);
    struct stat st {};
    if (stat(path.c_str(), &st) != 0) {
        const int code = errno;
        harlune::cf::reportError(error, kCFErrorDomainPOSIX, code, std::strerror(code), path);
        return nullptr;
    }
    if (isStale != nullptr) {
        *isStale = static_cast<uint64_t>(st.st_dev) != getLittle(bytes + 4) ||
                   static_cast<uint64_t>(st.st_ino) != getLittle(bytes + 12);
    }
    return CFURLCreateFromFileSystemRepresentation(allocator, reinterpret_cast<const UInt8 *>(path.data()),
                                                   static_cast<CFIndex>(path.size()), S_ISDIR(st.st_mode));
}

Boolean CFURLStartAccessingSecurityScopedResource(CFURLRef url) {
    std::string path;
    struct stat st {};
    return urlPath(url, path) && stat(path.c_str(), &st) == 0;
}

void CFURLStopAccessingSecurityScopedResource(CFURLRef) {
    // Nothing was granted, so there is nothing to give back.
}
