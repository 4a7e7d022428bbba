// UTF-8 to and from UTF-32, and UTF-8 validation.
#include <text/LUTFConversions.h>

#include <text/LUTF8Codec.h>

namespace {

/* Writes code points into a UTF-32 array: at most capacity - 1 of them. */
template <typename U>
struct LUTF32Sink {
    U *pOut;
    unsigned long nLimit;  // characters that fit before the terminator
    unsigned long n = 0;   // characters written

    bool CanHoldAll(size_t nBytes) const { return nLimit - n >= nBytes; }
    unsigned long AsciiRoom() const { return nLimit - n; }
    void PutAscii(unsigned char c) { pOut[n++] = static_cast<U>(c); }
    void PutAsciiWord(const unsigned char *p, unsigned int nKeep) {
        lutf8codec::WidenWord(p, pOut + n);
        n += nKeep;
    }
    void PutWithRoom(char32_t cp) { pOut[n++] = static_cast<U>(cp); }
    void PutBMPWithRoom(char32_t cp) { pOut[n++] = static_cast<U>(cp); }
    bool HasRoomForNext() const { return n < nLimit; }
    bool Put(char32_t cp) {
        pOut[n++] = static_cast<U>(cp);
        return true;
    }
    void Terminate() { pOut[n] = 0; }
};

template <typename U>
LUTFResult DecodeToUTF32(U *out, const char *in, unsigned long capacity) {
    if (!out || capacity == 0) {
        // Nothing may be written, not even a terminator.
        return in && *in ? kLUTFResultOutputFull : kLUTFResultOK;
    }
    LUTF32Sink<U> sink{out, capacity - 1};
    return lutf8codec::DecodeInto(sink, in);
}

/* Reads a NUL-terminated UTF-32 array. */
template <typename U>
struct LUTF32Source {
    const U *p;
    bool Next(char32_t &cp) {
        if (!p || *p == 0) {
            return false;
        }
        cp = static_cast<char32_t>(*p++);
        return true;
    }
};

template <typename U>
LUTFResult EncodeFromUTF32(char *out, const U *in, unsigned long capacity) {
    if (!out || capacity == 0) {
        return kLUTFResultOK;
    }
    LUTF32Source<U> source{in};
    bool bInvalid, bCut;
    lutf8codec::EncodeFrom(source, out, capacity, &bInvalid, &bCut);
    return bInvalid ? kLUTFResultInvalid : kLUTFResultOK;
}

}  // namespace

namespace {

/* Validation decodes into nothing. */
struct LNullSink {
    bool CanHoldAll(size_t) const { return true; }
    unsigned long AsciiRoom() const { return ~0ul; }
    void PutAscii(unsigned char) {}
    void PutAsciiWord(const unsigned char *, unsigned int) {}
    bool HasRoomForNext() const { return true; }
    bool Put(char32_t) { return true; }
    void PutWithRoom(char32_t) {}
    void PutBMPWithRoom(char32_t) {}
    void Terminate() {}
};

}  // namespace

bool LCharsetsIsValidUTF8(const char *s) {
    LNullSink sink;
    return lutf8codec::DecodeInto(sink, s) == kLUTFResultOK;
}

LUTFResult LCopyUTF32FromUTF8Native(char32_t *out, const char *in, unsigned long capacity) {
    return DecodeToUTF32(out, in, capacity);
}

LUTFResult LCopyUTF32FromUTF8(wchar_t *out, const char *in, unsigned long capacity) {
    return DecodeToUTF32(out, in, capacity);
}

LUTFResult LCopyToUTF32(char32_t *out, const char *in, unsigned long capacity) {
    return DecodeToUTF32(out, in, capacity);
}

LUTFResult LCopyUTF8FromUTF32Native(char *out, const char32_t *in, unsigned long capacity) {
    return EncodeFromUTF32(out, in, capacity);
}

LUTFResult LCopyUTF8FromUTF32(char *out, const wchar_t *in, unsigned long capacity) {
    return EncodeFromUTF32(out, in, capacity);
}

LUTFResult LCopyFromUTF32(char *out, const char32_t *in, unsigned long capacity) {
    return EncodeFromUTF32(out, in, capacity);
}
