#include <text/LUTF8Helpers.h>

#include <cstring>

namespace {

/* The byte count of the character at p, cut short at a terminator inside
 * it: the walks never step over a NUL. */
unsigned long StepAt(const unsigned char *p) {
    const unsigned long nCount = LGetUTF8CharacterByteCount(*p);
    for (unsigned long i = 1; i < nCount; ++i) {
        if (p[i] == 0) {
            return i;
        }
    }
    return nCount;
}

}  // namespace

unsigned long LGetUTF8CharacterByteCount(unsigned char lead) {
    if (lead < 0xC0) {
        return 1;
    }
    if (lead < 0xE0) {
        return 2;
    }
    if (lead < 0xF0) {
        return 3;
    }
    if (lead < 0xF8) {
        return 4;
    }
    if (lead < 0xFC) {
        return 5;
    }
    return 6;
}

unsigned long utf8strlen(const char *s) {
    const auto *p = reinterpret_cast<const unsigned char *>(s ? s : "");
    unsigned long n = 0;
    while (*p) {
        p += StepAt(p);
        ++n;
    }
    return n;
}

unsigned long LCharsetsUTF8CharIndexToByteIndex(const char *s, unsigned long charIndex) {
    const auto *p = reinterpret_cast<const unsigned char *>(s ? s : "");
    unsigned long nBytes = 0;
    for (unsigned long i = 0; i < charIndex && p[nBytes]; ++i) {
        nBytes += StepAt(p + nBytes);
    }
    return nBytes;
}

unsigned long LCharsetsCharIndexToArrayIndex(const char *s, unsigned long charIndex) {
    return LCharsetsUTF8CharIndexToByteIndex(s, charIndex);
}

unsigned long LCharsetsUTF8ByteIndexToCharIndex(const char *s, unsigned long byteIndex) {
    const auto *p = reinterpret_cast<const unsigned char *>(s ? s : "");
    unsigned long nBytes = 0;
    unsigned long nChars = 0;
    while (nBytes < byteIndex && p[nBytes]) {
        nBytes += StepAt(p + nBytes);
        ++nChars;
    }
    return nChars;
}

uint32_t LGetUTF8CharacterByteIndex(const char *p) {
    if (!p) {
        return 0;
    }
    uint32_t n = 0;
    while ((static_cast<unsigned char>(p[-static_cast<long>(n)]) & 0xC0) == 0x80) {
        ++n;
    }
    return n;
}

unsigned long utf8strlcpy(char *dest, const char *src, unsigned long size) {
    if (!src) {
        src = "";
    }
    const unsigned long nSource = strlen(src);
    if (!dest || size == 0) {
        return 0;
    }
    if (nSource < size) {
        memcpy(dest, src, nSource + 1);
        return nSource;
    }
    // Cut: size - 1 bytes copied. Find where the last copied character starts.
    const auto *s = reinterpret_cast<const unsigned char *>(src);
    const long nLast = static_cast<long>(size) - 2;  // index of the last copied byte
    long i = nLast;
    while (i >= 0 && ((s[i] >= 0x80 && s[i] <= 0xBF) || s[i] >= 0xFE)) {
        --i;
    }
    if (i < 0) {
        dest[0] = 0;
        return 0;
    }
    unsigned long nKept;
    if (s[i] < 0x80) {
        nKept = static_cast<unsigned long>(i) + 1;  // an ASCII byte is whole (stray bytes after it go)
    } else if (static_cast<long>(i + LGetUTF8CharacterByteCount(s[i]) - 1) == nLast) {
        nKept = static_cast<unsigned long>(nLast) + 1;  // the last character is whole
    } else {
        nKept = static_cast<unsigned long>(i);  // drop the cut character
    }
    memcpy(dest, src, nKept);
    dest[nKept] = 0;
    return nKept + 1;
}
