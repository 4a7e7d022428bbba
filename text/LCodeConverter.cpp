#include <text/LCodeConverter.h>

#include <text/LUTFConversions.h>

#include <cerrno>
#include <cstring>
#include <strings.h>

namespace {

bool IsMacRomanName(const char *sz) {
    for (const char *szName : {"MACINTOSH", "MAC", "CSMACINTOSH", "MACROMAN", "MAC-ROMAN"}) {
        if (strcasecmp(sz, szName) == 0) {
            return true;
        }
    }
    return false;
}

/* Bytes of the UTF-8 sequence a lead byte starts, 0 for a byte that cannot
 * start one. */
size_t SequenceLength(unsigned char lead) {
    if (lead < 0x80) {
        return 1;
    }
    if (lead >= 0xC2 && lead <= 0xDF) {
        return 2;
    }
    if (lead >= 0xE0 && lead <= 0xEF) {
        return 3;
    }
    if (lead >= 0xF0 && lead <= 0xF4) {
        return 4;
    }
    return 0;
}

bool IsUTF8Name(const char *sz) { return strcasecmp(sz, "UTF-8") == 0 || strcasecmp(sz, "UTF8") == 0; }

/* Code points of Mac OS Roman bytes 0x80 to 0xFF: glibc's table, read once,
 * with the two entries the home platform defines differently. */
struct LMacRomanTable {
    char32_t arHigh[128];  // code point of byte 0x80 + index

    LMacRomanTable() {
        iconv_t h = iconv_open("UTF-32LE", "MACINTOSH");
        for (int i = 0; i < 128; ++i) {
            char chIn = static_cast<char>(0x80 + i);
            unsigned char arOut[4] = {0xFD, 0xFF, 0, 0};  // U+FFFD if glibc lacks the table
            char *pIn = &chIn;
            char *pOut = reinterpret_cast<char *>(arOut);
            size_t nIn = 1, nOut = 4;
            if (h != (iconv_t)-1) {
                iconv(h, &pIn, &nIn, &pOut, &nOut);
            }
            arHigh[i] = static_cast<char32_t>(arOut[0] | arOut[1] << 8 | arOut[2] << 16 | arOut[3] << 24);
        }
        if (h != (iconv_t)-1) {
            iconv_close(h);
        }
        arHigh[0xC6 - 0x80] = 0x2206;  // INCREMENT, not GREEK CAPITAL DELTA
        arHigh[0xF0 - 0x80] = 0xF8FF;  // the Apple logo
    }

    static const LMacRomanTable &Get() {
        static const LMacRomanTable table;  // thread-safe one-time initialisation
        return table;
    }

    /* The byte for a code point, or -1 when Mac OS Roman has none. */
    int ByteOf(char32_t cp) const {
        if (cp < 0x80) {
            return static_cast<int>(cp);
        }
        for (int i = 0; i < 128; ++i) {
            if (arHigh[i] == cp) {
                return 0x80 + i;
            }
        }
        return -1;
    }
};

}  // namespace

const char *LNativeUTF16Name() {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    return "UTF-16LE";
#else
    return "UTF-16BE";
#endif
}

LCodeConverter::~LCodeConverter() {
    if (hIconv != (iconv_t)-1) {
        iconv_close(hIconv);
    }
}

bool LCodeConverter::Open(const char *szToCode, const char *szFromCode) {
    if (eMode != eClosed || !szToCode || !szFromCode) {
        return false;
    }
    if (IsMacRomanName(szFromCode) && IsUTF8Name(szToCode)) {
        eMode = eMacRomanToUTF8;
        return true;
    }
    if (IsUTF8Name(szFromCode) && IsMacRomanName(szToCode)) {
        eMode = eUTF8ToMacRoman;
        return true;
    }
    hIconv = iconv_open(szToCode, szFromCode);
    if (hIconv == (iconv_t)-1) {
        return false;
    }
    eMode = eIconv;
    return true;
}

LCodeConverter::EStatus LCodeConverter::Convert(const char **ppIn, size_t *pnIn, char **ppOut, size_t *pnOut) {
    if (eMode == eClosed) {
        return eInvalid;
    }
    if (eMode != eIconv) {
        return ConvertMacRoman(ppIn, pnIn, ppOut, pnOut);
    }
    // glibc does not change the input through its pointer; the cast only
    // meets iconv's old-style prototype.
    char **ppInput = const_cast<char **>(ppIn);
    if (iconv(hIconv, ppInput, pnIn, ppOut, pnOut) == (size_t)-1) {
        return errno == E2BIG ? eFull : eInvalid;
    }
    // Return a stateful encoding (ISO-2022-JP) to its initial state.
    if (iconv(hIconv, nullptr, nullptr, ppOut, pnOut) == (size_t)-1) {
        return eFull;
    }
    return eDone;
}

LCodeConverter::EStatus LCodeConverter::ConvertMacRoman(const char **ppIn, size_t *pnIn, char **ppOut,
                                                        size_t *pnOut) {
    const LMacRomanTable &table = LMacRomanTable::Get();
    while (*pnIn > 0) {
        const auto *p = reinterpret_cast<const unsigned char *>(*ppIn);
        if (eMode == eMacRomanToUTF8) {
            const char32_t arCp[2] = {p[0] < 0x80 ? p[0] : table.arHigh[p[0] - 0x80], 0};
            char arUTF8[5];
            if (arCp[0] == 0) {
                arUTF8[0] = 0;
            } else {
                LCopyUTF8FromUTF32Native(arUTF8, arCp, sizeof(arUTF8));
            }
            const size_t nBytes = arCp[0] == 0 ? 1 : strlen(arUTF8);
            if (nBytes > *pnOut) {
                return eFull;
            }
            memcpy(*ppOut, arUTF8, nBytes);
            *ppOut += nBytes;
            *pnOut -= nBytes;
            ++*ppIn;
            --*pnIn;
            continue;
        }
        // UTF-8 to Mac OS Roman: decode one character (the input may hold
        // the terminator, which converts like any other character).
        size_t nLength = 1;
        char32_t cp = p[0];
        if (p[0] >= 0x80) {
            nLength = SequenceLength(p[0]);
            char arOne[5] = {0};
            if (nLength == 0 || nLength > *pnIn) {
                return eInvalid;
            }
            memcpy(arOne, p, nLength);
            char32_t arDecoded[2];
            if (LCopyUTF32FromUTF8Native(arDecoded, arOne, 2) != kLUTFResultOK || arDecoded[0] == 0) {
                return eInvalid;
            }
            cp = arDecoded[0];
        }
        const int nByte = table.ByteOf(cp);
        if (nByte < 0) {
            return eInvalid;
        }
        if (*pnOut == 0) {
            return eFull;
        }
        **ppOut = static_cast<char>(nByte);
        ++*ppOut;
        --*pnOut;
        *ppIn += nLength;
        *pnIn -= nLength;
    }
    return eDone;
}

bool LCodeConverter::ConvertWhole(const char *pIn, size_t nIn, std::string &sOut) {
    sOut.clear();
    size_t nWritten = 0;
    sOut.resize(nIn * 4 + 16);
    for (;;) {
        char *pOut = sOut.data() + nWritten;
        size_t nOut = sOut.size() - nWritten;
        const EStatus e = Convert(&pIn, &nIn, &pOut, &nOut);
        nWritten = sOut.size() - nOut;
        if (e == eDone) {
            sOut.resize(nWritten);
            return true;
        }
        if (e == eInvalid) {
            sOut.clear();
            return false;
        }
        sOut.resize(sOut.size() * 2);
    }
}
