#include <text/LUTFConversions.h>

#include <text/LCharacterHelpers.h>
#include <text/LTemporaryArray.h>
#include <text/LUTF8Helpers.h>

#include <algorithm>
#include <cstring>

namespace {

/*
 * Decodes the multi-byte sequence at p (whose lead is 0x80 or above) against
 * Unicode's table of well-formed sequences. Each continuation byte is checked
 * before the next is read, so a terminator inside the sequence ends it and
 * nothing past the terminator is read. Returns the byte after the sequence,
 * or null for an invalid one.
 */
inline const unsigned char *DecodeSequence(const unsigned char *p, char32_t &cp) {
    const unsigned int c = p[0];
    if (c < 0xC2) {
        return nullptr;  // a continuation byte as lead, or the overlong leads C0 and C1
    }
    if (c < 0xE0) {
        const unsigned int c1 = p[1];
        if ((c1 & 0xC0) != 0x80) {
            return nullptr;
        }
        cp = ((c & 0x1F) << 6) | (c1 & 0x3F);
        return p + 2;
    }
    if (c < 0xF0) {
        const unsigned int nLow = c == 0xE0 ? 0xA0 : 0x80;   // no overlongs
        const unsigned int nHigh = c == 0xED ? 0x9F : 0xBF;  // no surrogates
        const unsigned int c1 = p[1];
        if (c1 < nLow || c1 > nHigh) {
            return nullptr;
        }
        const unsigned int c2 = p[2];
        if ((c2 & 0xC0) != 0x80) {
            return nullptr;
        }
        cp = ((c & 0x0F) << 12) | ((c1 & 0x3F) << 6) | (c2 & 0x3F);
        return p + 3;
    }
    if (c < 0xF5) {
        const unsigned int nLow = c == 0xF0 ? 0x90 : 0x80;   // no overlongs
        const unsigned int nHigh = c == 0xF4 ? 0x8F : 0xBF;  // nothing above U+10FFFF
        const unsigned int c1 = p[1];
        if (c1 < nLow || c1 > nHigh) {
            return nullptr;
        }
        const unsigned int c2 = p[2];
        if ((c2 & 0xC0) != 0x80) {
            return nullptr;
        }
        const unsigned int c3 = p[3];
        if ((c3 & 0xC0) != 0x80) {
            return nullptr;
        }
        cp = ((c & 0x07) << 18) | ((c1 & 0x3F) << 12) | ((c2 & 0x3F) << 6) | (c3 & 0x3F);
        return p + 4;
    }
    return nullptr;  // leads above F4, including the five- and six-byte forms
}

/*
 * The UTF-8 decoder, shared by the char32_t and wchar_t forms. ASCII runs
 * take a tight inner loop: that is where most of the library's text lives.
 */
template <typename U>
LUTFResult DecodeUTF8(U *out, const char *in, unsigned long capacity) {
    const auto *p = reinterpret_cast<const unsigned char *>(in ? in : "");
    if (!out || capacity == 0) {
        // Nothing may be written, not even a terminator.
        return *p ? kLUTFResultOutputFull : kLUTFResultOK;
    }
    const unsigned long nLimit = capacity - 1;  // characters that fit
    unsigned long n = 0;
    for (;;) {
        // ASCII run: bytes 0x01 to 0x7F, bounded by the room left.
        while (n < nLimit && static_cast<unsigned char>(*p - 1) < 0x7F) {
            out[n++] = static_cast<U>(*p++);
        }
        if (*p == 0) {
            out[n] = 0;
            return kLUTFResultOK;
        }
        if (n >= nLimit) {
            out[n] = 0;
            return kLUTFResultOutputFull;
        }
        char32_t cp = 0;
        p = DecodeSequence(p, cp);
        if (!p) {
            out[n] = 0;
            return kLUTFResultInvalid;
        }
        out[n++] = static_cast<U>(cp);
    }
}

/* The UTF-8 encoder; *pbCut tells whether a character did not fit. */
template <typename U>
LUTFResult EncodeUTF8(char *out, const U *in, unsigned long capacity, bool *pbCut) {
    *pbCut = false;
    if (!out || capacity == 0) {
        *pbCut = in && *in;
        return kLUTFResultOK;
    }
    LUTFResult result = kLUTFResultOK;
    unsigned long n = 0;
    for (const U *p = in; p && *p; ++p) {
        char32_t cp = static_cast<char32_t>(*p);
        if (cp > 0x10FFFF) {
            cp = 0xFFFD;
            result = kLUTFResultInvalid;
        }
        const unsigned long nBytes = cp < 0x80 ? 1 : cp < 0x800 ? 2 : cp < 0x10000 ? 3 : 4;
        if (n + nBytes + 1 > capacity) {
            *pbCut = true;
            break;
        }
        char *q = out + n;
        switch (nBytes) {
        case 1:
            q[0] = static_cast<char>(cp);
            break;
        case 2:
            q[0] = static_cast<char>(0xC0 | (cp >> 6));
            q[1] = static_cast<char>(0x80 | (cp & 0x3F));
            break;
        case 3:
            q[0] = static_cast<char>(0xE0 | (cp >> 12));
            q[1] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            q[2] = static_cast<char>(0x80 | (cp & 0x3F));
            break;
        default:
            q[0] = static_cast<char>(0xF0 | (cp >> 18));
            q[1] = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
            q[2] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            q[3] = static_cast<char>(0x80 | (cp & 0x3F));
            break;
        }
        n += nBytes;
    }
    out[n] = 0;
    return result;
}

/*
 * The UTF-32 temporary of the chained conversions; fixed-size calls stay on
 * the stack. The array never needs more units than the input has plus one
 * (a UTF-8 byte or a UTF-16 unit yields at most one code point), so a caller's
 * generous capacity does not turn into a large allocation; the conversion's
 * result is the same as with the full capacity.
 */
class LUTF32Temporary : public LTemporaryArray<char32_t, kLTextFixedCapacity> {
public:
    LUTF32Temporary(unsigned long capacity, uint64_t nInputUnits)
        : LTemporaryArray(static_cast<size_t>(std::min<uint64_t>(capacity, nInputUnits + 1))) {}
};

}  // namespace

bool LCharsetsIsValidUTF8(const char *s) {
    const auto *p = reinterpret_cast<const unsigned char *>(s ? s : "");
    for (;;) {
        while (static_cast<unsigned char>(*p - 1) < 0x7F) {
            ++p;
        }
        if (*p == 0) {
            return true;
        }
        char32_t cp;
        p = DecodeSequence(p, cp);
        if (!p) {
            return false;
        }
    }
}

LUTFResult LCopyUTF32FromUTF8Native(char32_t *out, const char *in, unsigned long capacity) {
    return DecodeUTF8(out, in, capacity);
}

LUTFResult LCopyUTF32FromUTF8(wchar_t *out, const char *in, unsigned long capacity) {
    return DecodeUTF8(out, in, capacity);
}

LUTFResult LCopyToUTF32(char32_t *out, const char *in, unsigned long capacity) {
    return DecodeUTF8(out, in, capacity);
}

LUTFResult LCopyUTF8FromUTF32Native(char *out, const char32_t *in, unsigned long capacity) {
    bool bCut;
    return EncodeUTF8(out, in, capacity, &bCut);
}

LUTFResult LCopyUTF8FromUTF32(char *out, const wchar_t *in, unsigned long capacity) {
    bool bCut;
    return EncodeUTF8(out, in, capacity, &bCut);
}

LUTFResult LCopyFromUTF32(char *out, const char32_t *in, unsigned long capacity) {
    bool bCut;
    return EncodeUTF8(out, in, capacity, &bCut);
}

LUTFResult LCopyUTF32FromUnicode(char32_t *out, const char16_t *in, unsigned long capacity) {
    if (!out || capacity == 0) {
        return in && *in ? kLUTFResultOutputFull : kLUTFResultOK;
    }
    const char16_t *p = in ? in : u"";
    unsigned long n = 0;
    LUTFResult result = kLUTFResultOK;
    for (;;) {
        const char16_t ch = *p;
        if (ch == 0) {
            break;
        }
        if (n + 1 >= capacity) {
            result = kLUTFResultOutputFull;
            break;
        }
        if (ch >= 0xD800 && ch <= 0xDFFF) {
            if (p[1] == 0) {
                break;  // a surrogate without a partner is dropped
            }
            out[n++] = LCharSetsSurrogatePairToCodePoint(ch, p[1]);
            p += 2;
        } else {
            out[n++] = ch;
            ++p;
        }
    }
    out[n] = 0;
    return result;
}

LUTFResult LCopyUnicodeFromUTF32(char16_t *out, const char32_t *in, unsigned long capacity) {
    if (!out || capacity == 0) {
        return in && *in ? kLUTFResultOutputFull : kLUTFResultOK;
    }
    const char32_t *p = in ? in : U"";
    unsigned long n = 0;
    LUTFResult result = kLUTFResultOK;
    for (; *p; ++p) {
        const char32_t cp = *p;
        if (cp > 0xFFFF) {
            if (n + 3 > capacity) {
                result = kLUTFResultOutputFull;
                break;
            }
            LCharSetsCodePointToSurrogatePair(cp, out[n], out[n + 1]);
            n += 2;
        } else {
            if (n + 2 > capacity) {
                result = kLUTFResultOutputFull;
                break;
            }
            out[n++] = static_cast<char16_t>(cp);
        }
    }
    out[n] = 0;
    return result;
}

LUTFResult LCopyUnicodeFromUTF8(char16_t *out, const char *in, unsigned long capacity) {
    if (!out || capacity == 0) {
        return in && *in ? kLUTFResultOutputFull : kLUTFResultOK;
    }
    LUTF32Temporary temp(capacity, in ? strlen(in) : 0);
    const LUTFResult first = DecodeUTF8(temp.Get(), in, temp.Size());
    temp.Get()[temp.Size() - 1] = 0;
    const LUTFResult second = LCopyUnicodeFromUTF32(out, temp.Get(), capacity);
    return second == kLUTFResultOutputFull ? second : first;
}

LUTFResult LCopyUTF8FromUnicode(char *out, const char16_t *in, unsigned long capacity) {
    if (!out || capacity == 0) {
        return in && *in ? kLUTFResultOutputFull : kLUTFResultOK;
    }
    LUTF32Temporary temp(capacity, lstrlen(in));
    const LUTFResult first = LCopyUTF32FromUnicode(temp.Get(), in, temp.Size());
    temp.Get()[temp.Size() - 1] = 0;
    bool bCut;
    const LUTFResult second = EncodeUTF8(out, temp.Get(), capacity, &bCut);
    out[capacity - 1] = 0;
    if (bCut) {
        return kLUTFResultOutputFull;
    }
    return second == kLUTFResultInvalid ? second : first;
}

LUTFResult LCopyUnicodeFromUTF8(char16_t *out, const char *in) {
    return LCopyUnicodeFromUTF8(out, in, kLTextFixedCapacity);
}

LUTFResult LCopyUTF8FromUnicode(char *out, const char16_t *in) {
    return LCopyUTF8FromUnicode(out, in, kLTextFixedCapacity);
}

LUTFResult LCopyFromUnicode(char *out, char16_t ch) {
    const char16_t arUnit[2] = {ch, 0};
    return LCopyUTF8FromUnicode(out, arUnit, kLTextFixedCapacity);
}

LUTFResult LCopyUnicodeFromUTF8(LStringLongTemplate<char16_t> &out, const LStringLongTemplate<char> &in) {
    const uint64_t nCapacity = in.GetLength() + 1;
    out.Reserve(nCapacity);
    const LUTFResult result = LCopyUnicodeFromUTF8(out.GetBuffer(), in.Get(), nCapacity);
    out.SetLength(LStringLongTemplate<char16_t>::Measure(out.GetBuffer()));
    return result;
}

LUTFResult LCopyToUnicode(LStringLongTemplate<char16_t> &out, const char *in) {
    const uint64_t nCapacity = utf8strlen(in) + 1;
    out.Reserve(nCapacity);
    const LUTFResult result = LCopyUnicodeFromUTF8(out.GetBuffer(), in, nCapacity);
    out.SetLength(LStringLongTemplate<char16_t>::Measure(out.GetBuffer()));
    return result;
}

LUTFResult LCopyUTF8FromUnicode(LStringLongTemplate<char> &out, const LStringLongTemplate<char16_t> &in) {
    const uint64_t nCapacity = in.GetLength() * 6 + 1;
    out.Reserve(nCapacity);
    const LUTFResult result = LCopyUTF8FromUnicode(out.GetBuffer(), in.Get(), nCapacity);
    out.SetLength(strlen(out.GetBuffer()));
    return result;
}
