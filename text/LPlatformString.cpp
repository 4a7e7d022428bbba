#include <text/LPlatformString.h>

#include <text/LUTFConversions.h>

#include <cstring>

namespace {

/* At most 259 bytes of sz (the library's short-text size) with trailing bytes
 * of 0x80 and above removed. */
void ShortenedCopy(char (&arOut)[260], const char *sz) {
    size_t n = strnlen(sz, sizeof(arOut) - 1);
    memcpy(arOut, sz, n);
    while (n > 0 && static_cast<unsigned char>(arOut[n - 1]) >= 0x80) {
        --n;
    }
    arOut[n] = 0;
}

}  // namespace

CFStringRef LMacNSStringFromString(const char *sz) {
    CFStringRef str = nullptr;
    if (sz) {
        if (LCharsetsIsValidUTF8(sz)) {
            str = CFStringCreateWithCString(kCFAllocatorDefault, sz, kCFStringEncodingUTF8);
        }
        char arShort[260];
        ShortenedCopy(arShort, sz);
        // A copy that lost every byte says nothing about the text: the text is
        // then more likely a legacy encoding, so the copy is not used.
        const bool bShortUseful = arShort[0] != 0;
        if (!str && bShortUseful && LCharsetsIsValidUTF8(arShort)) {
            str = CFStringCreateWithCString(kCFAllocatorDefault, arShort, kCFStringEncodingUTF8);
        }
        if (!str) {
            str = CFStringCreateWithCString(kCFAllocatorDefault, sz, kCFStringEncodingMacRoman);
        }
        if (!str && bShortUseful) {
            str = CFStringCreateWithCString(kCFAllocatorDefault, arShort, kCFStringEncodingMacRoman);
        }
    }
    if (!str) {
        str = CFStringCreateWithCString(kCFAllocatorDefault, "", kCFStringEncodingUTF8);
    }
    return str;
}
