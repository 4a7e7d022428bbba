// UTF-16 to and from UTF-32, UTF-8 to and from UTF-16, and the string forms.
#include <text/LUTFConversions.h>

#include <text/LCharacterHelpers.h>
#include <text/LUTF8Codec.h>
#include <text/LUTF8Helpers.h>

#include <cstring>

/*
 * UTF-8 and UTF-16 are converted as if through a UTF-32 temporary of the
 * output's capacity: the UTF-32 stage may hold at most capacity - 1 code
 * points, and the UTF-16 or UTF-8 stage writes what fits of them. The two
 * stages run fused, one character at a time, so no temporary is allocated
 * and text of any length stays in the cache; the limits of both stages are
 * checked where the staged conversion would meet them, so outputs and
 * results are exactly those of the staged conversion (the tests compare the
 * two on generated text at every capacity).
 */

namespace {

/* Reads UTF-16 the way the UTF-16 to UTF-32 conversion does, counting the
 * code points it delivers against the UTF-32 stage's capacity. */
struct LUTF16Source {
    const char16_t *p;
    unsigned long nCapacity;   // capacity of the UTF-32 stage
    unsigned long nCount = 0;  // code points delivered
    bool bFull = false;        // stopped because the UTF-32 stage was full

    bool Next(char32_t &cp) {
        const char16_t ch = *p;
        if (ch == 0) {
            return false;
        }
        if (nCount + 1 >= nCapacity) {
            bFull = true;
            return false;
        }
        if (ch >= 0xD800 && ch <= 0xDFFF) {
            // Paired unchecked: the text comes from the platform. A surrogate
            // before the terminator has no partner and is dropped.
            if (p[1] == 0) {
                return false;
            }
            cp = LCharSetsSurrogatePairToCodePoint(ch, p[1]);
            p += 2;
        } else {
            cp = ch;
            ++p;
        }
        ++nCount;
        return true;
    }
};

/* Writes code points as UTF-16, counting them against the UTF-32 stage. */
struct LUTF16Sink {
    char16_t *pOut;
    unsigned long nCapacity;   // units, terminator included
    unsigned long nUnits = 0;  // units written
    unsigned long nCount = 0;  // code points written

    bool CanHoldAll(size_t nBytes) const { return nCapacity - 1 - nUnits >= nBytes; }
    unsigned long AsciiRoom() const { return nCapacity - 1 - nUnits; }
    void PutAscii(unsigned char c) {
        pOut[nUnits++] = c;
        ++nCount;
    }
    // The word and ...WithRoom stores serve only outputs that hold the whole
    // text, where the code-point count is never consulted, so they skip it.
    void PutAsciiWord(const unsigned char *p, unsigned int nKeep) {
        lutf8codec::WidenWord(p, pOut + nUnits);
        nUnits += nKeep;
    }
    void PutBMPWithRoom(char32_t cp) { pOut[nUnits++] = static_cast<char16_t>(cp); }
    void PutWithRoom(char32_t cp) {
        if (cp > 0xFFFF) {
            LCharSetsCodePointToSurrogatePair(cp, pOut[nUnits], pOut[nUnits + 1]);
            nUnits += 2;
        } else {
            pOut[nUnits++] = static_cast<char16_t>(cp);
        }
    }
    bool HasRoomForNext() const { return nCount + 1 < nCapacity; }
    bool Put(char32_t cp) {
        if (cp > 0xFFFF) {
            if (nUnits + 3 > nCapacity) {
                return false;  // both units and the terminator, or nothing
            }
            LCharSetsCodePointToSurrogatePair(cp, pOut[nUnits], pOut[nUnits + 1]);
            nUnits += 2;
        } else {
            if (nUnits + 2 > nCapacity) {
                return false;
            }
            pOut[nUnits++] = static_cast<char16_t>(cp);
        }
        ++nCount;
        return true;
    }
    void Terminate() { pOut[nUnits] = 0; }
};

}  // namespace

LUTFResult LCopyUTF32FromUnicode(char32_t *out, const char16_t *in, unsigned long capacity) {
    if (!out || capacity == 0) {
        return in && *in ? kLUTFResultOutputFull : kLUTFResultOK;
    }
    LUTF16Source source{in ? in : u"", capacity};
    unsigned long n = 0;
    char32_t cp;
    while (source.Next(cp)) {
        out[n++] = cp;
    }
    out[n] = 0;
    return source.bFull ? kLUTFResultOutputFull : kLUTFResultOK;
}

LUTFResult LCopyUnicodeFromUTF32(char16_t *out, const char32_t *in, unsigned long capacity) {
    if (!out || capacity == 0) {
        return in && *in ? kLUTFResultOutputFull : kLUTFResultOK;
    }
    // Values are copied unchecked: callers hand in what they decoded.
    LUTF16Sink sink{out, capacity};
    LUTFResult result = kLUTFResultOK;
    for (const char32_t *p = in ? in : U""; *p; ++p) {
        if (!sink.Put(*p)) {
            result = kLUTFResultOutputFull;
            break;
        }
    }
    sink.Terminate();
    return result;
}

LUTFResult LCopyUnicodeFromUTF8(char16_t *out, const char *in, unsigned long capacity) {
    if (!out || capacity == 0) {
        return in && *in ? kLUTFResultOutputFull : kLUTFResultOK;
    }
    LUTF16Sink sink{out, capacity};
    return lutf8codec::DecodeInto(sink, in);
}

LUTFResult LCopyUTF8FromUnicode(char *out, const char16_t *in, unsigned long capacity) {
    if (!out || capacity == 0) {
        return in && *in ? kLUTFResultOutputFull : kLUTFResultOK;
    }
    LUTF16Source source{in ? in : u"", capacity};
    bool bInvalid, bCut;
    lutf8codec::EncodeFrom(source, out, capacity, &bInvalid, &bCut);
    out[capacity - 1] = 0;
    if (bCut) {
        return kLUTFResultOutputFull;
    }
    if (bInvalid) {
        return kLUTFResultInvalid;
    }
    return source.bFull ? kLUTFResultOutputFull : kLUTFResultOK;
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
    out.SetLength(lstrlen(out.GetBuffer()));
    return result;
}

LUTFResult LCopyToUnicode(LStringLongTemplate<char16_t> &out, const char *in) {
    const uint64_t nCapacity = utf8strlen(in) + 1;
    out.Reserve(nCapacity);
    const LUTFResult result = LCopyUnicodeFromUTF8(out.GetBuffer(), in, nCapacity);
    out.SetLength(lstrlen(out.GetBuffer()));
    return result;
}

LUTFResult LCopyUTF8FromUnicode(LStringLongTemplate<char> &out, const LStringLongTemplate<char16_t> &in) {
    const uint64_t nCapacity = in.GetLength() * 6 + 1;
    out.Reserve(nCapacity);
    const LUTFResult result = LCopyUTF8FromUnicode(out.GetBuffer(), in.Get(), nCapacity);
    out.SetLength(strlen(out.GetBuffer()));
    return result;
}
