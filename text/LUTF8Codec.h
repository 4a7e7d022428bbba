/*
 * LUTF8Codec.h (internal, not in the umbrella header): the UTF-8 decoding and
 * encoding loops shared by every conversion, written once over an output
 * "sink" so that the UTF-32 and UTF-16 outputs run the same validated loop.
 *
 * Decoding follows Unicode's table of well-formed sequences. Each
 * continuation byte is checked before the next is read, so a terminator
 * inside a sequence ends it and nothing past a terminator is ever read.
 */
#ifndef HARLUNE_TEXT_LUTF8CODEC_H
#define HARLUNE_TEXT_LUTF8CODEC_H

#include <text/LUTFConversions.h>

#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace lutf8codec {

/* Decodes the sequence at p. Returns the byte after it, or null when the
 * sequence is invalid (lone continuation byte, overlong, surrogate, above
 * U+10FFFF, five- or six-byte form, cut short). */
inline const unsigned char *DecodeSequence(const unsigned char *p, char32_t &cp) {
    const unsigned int c = p[0];
    if (c < 0x80) {
        cp = c;
        return p + 1;
    }
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

/* True for the bytes 0x01 to 0x7F. */
inline bool IsAsciiText(unsigned char c) { return static_cast<unsigned char>(c - 1) < 0x7F; }

/* Widens the 8 bytes at p to 8 units of 2 or 4 bytes at pOut (one vector
 * store where the processor has SSE2, which every x86-64 has). */
inline void WidenWord(const unsigned char *p, char16_t *pOut) {
#if defined(__SSE2__)
    const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(p));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(pOut), _mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
#else
    for (int i = 0; i < 8; ++i) {
        pOut[i] = p[i];
    }
#endif
}

template <typename U>
inline void WidenWord(const unsigned char *p, U *pOut) {
    static_assert(sizeof(U) == 4, "UTF-32 units");
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128();
    const __m128i units16 = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(p)), zero);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(pOut), _mm_unpacklo_epi16(units16, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(pOut + 4), _mm_unpackhi_epi16(units16, zero));
#else
    for (int i = 0; i < 8; ++i) {
        pOut[i] = static_cast<U>(p[i]);
    }
#endif
}

/* Reads 8 bytes as a little-endian word (they must lie within the text). */
inline uint64_t LoadWord(const unsigned char *p) {
    uint64_t w;
    memcpy(&w, p, 8);
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    w = __builtin_bswap64(w);
#endif
    return w;
}

/* The code point of the three bytes in the low 24 bits of w (first byte
 * lowest), and whether they are a valid three-byte sequence: a lead E0 to
 * EF, two continuation bytes, neither overlong nor a surrogate. */
inline char32_t ThreeByteChar(uint32_t w) { return ((w & 0x0F) << 12) | ((w >> 2) & 0xFC0) | ((w >> 16) & 0x3F); }

/* A three-byte sequence's value is valid unless overlong or a surrogate. */
inline unsigned int IsPlainBMP(char32_t cp) {
    return static_cast<unsigned int>(cp >= 0x800) & static_cast<unsigned int>(cp - 0xD800 >= 0x800);
}

/* Two valid three-byte sequences in the low 48 bits of w: the shape of both
 * checked at once, then overlongs and surrogates. */
inline bool IsThreeByteCharPair(uint64_t w) {
    // Non-short-circuit: one branch for the pair rather than one per test.
    const auto nShape = static_cast<unsigned int>((w & 0xC0C0F0C0C0F0ull) == 0x8080E08080E0ull);
    return (nShape & IsPlainBMP(ThreeByteChar(static_cast<uint32_t>(w))) &
            IsPlainBMP(ThreeByteChar(static_cast<uint32_t>(w >> 24)))) != 0;
}

inline bool IsThreeByteChar(uint32_t w) { return (w & 0xC0C0F0) == 0x8080E0 && IsPlainBMP(ThreeByteChar(w)) != 0; }

/*
 * The decoding loop for an output that can hold any text of the input's
 * length (each input byte yields at most one output unit and one code
 * point), so no capacity is checked. The text's length is known, so it reads
 * 8 bytes at a time without passing the terminator: an all-ASCII word is
 * stored at once; otherwise the ASCII bytes before the first other byte are
 * stored (the sink may write all 8 units and keep only those, which the room
 * allows), and two- and three-byte sequences, the bulk of Latin and CJK
 * text, are checked and decoded from the word with masks. Anything else goes
 * through DecodeSequence.
 */
template <typename Sink>
LUTFResult DecodeWithRoom(Sink &sink, const unsigned char *p, const unsigned char *pEnd) {
    // Each step stores the ASCII run at p (up to 8 bytes) without a branch on
    // its length, then decodes the run of other characters after it; mixed
    // text thereby costs one step per change between ASCII and the rest,
    // whatever the lengths of the runs. 16 bytes must remain at each step:
    // the ASCII word, and after at most 7 ASCII bytes the word of the
    // character after them.
    while (pEnd - p >= 16) {
        const uint64_t nHighBits = LoadWord(p) & 0x8080808080808080ull;
        const unsigned int nAscii =
            nHighBits ? static_cast<unsigned int>(__builtin_ctzll(nHighBits)) >> 3 : 8u;
        sink.PutAsciiWord(p, nAscii);
        p += nAscii;
        if (nAscii == 8) {
            continue;
        }
        do {
            const uint64_t w = LoadWord(p);
            const auto w3 = static_cast<uint32_t>(w);
            if ((w3 & 0x80) == 0) {
                break;  // back to ASCII
            }
            if ((w3 & 0xC0E0) == 0x80C0 && (w3 & 0x1E) != 0) {
                sink.PutBMPWithRoom(((w3 & 0x1F) << 6) | ((w3 >> 8) & 0x3F));
                p += 2;
            } else if (IsThreeByteCharPair(w)) {
                // Three-byte characters, as CJK text runs: two from this word,
                // and two more from the next six bytes when they are too.
                sink.PutBMPWithRoom(ThreeByteChar(w3));
                sink.PutBMPWithRoom(ThreeByteChar(static_cast<uint32_t>(w >> 24)));
                // Only 9 bytes are sure to remain here (the ASCII step may have
                // taken 7 of the 16): the next word needs 14.
                const uint64_t wNext = pEnd - p >= 14 ? LoadWord(p + 6) : 0;
                if (IsThreeByteCharPair(wNext)) {
                    sink.PutBMPWithRoom(ThreeByteChar(static_cast<uint32_t>(wNext)));
                    sink.PutBMPWithRoom(ThreeByteChar(static_cast<uint32_t>(wNext >> 24)));
                    p += 12;
                } else {
                    p += 6;
                }
            } else if (IsThreeByteChar(w3)) {
                sink.PutBMPWithRoom(ThreeByteChar(w3));
                p += 3;
            } else {
                char32_t cp = 0;
                p = DecodeSequence(p, cp);
                if (!p) {
                    sink.Terminate();
                    return kLUTFResultInvalid;
                }
                sink.PutWithRoom(cp);
            }
        } while (pEnd - p >= 16);
    }
    // The last bytes, one character at a time.
    while (p < pEnd) {
        char32_t cp = 0;
        p = DecodeSequence(p, cp);
        if (!p) {
            sink.Terminate();
            return kLUTFResultInvalid;
        }
        sink.PutWithRoom(cp);
    }
    sink.Terminate();
    return kLUTFResultOK;
}

/*
 * Decodes NUL-terminated UTF-8 into a sink. A sink provides:
 *   CanHoldAll(n)      whether n more code points (and their units) surely fit;
 *   AsciiRoom()        how many ASCII characters it can still take at once;
 *   PutAscii(c)        stores one of them;
 *   PutAsciiWord(p, n) stores the first n of the 8 ASCII bytes at p (it may
 *                      write all 8 units: CanHoldAll promised the room);
 *   HasRoomForNext()   whether a further character may be decoded at all
 *                      (checked before each character, so a full output
 *                      wins over an invalid sequence behind it);
 *   Put(cp)            stores a decoded character, false when it does not fit;
 *   PutWithRoom(cp)    stores one known to fit; PutBMPWithRoom(cp) one of
 *                      at most U+FFFF;
 *   Terminate()        ends the output.
 * The text's length is measured first (strlen reads fast and safely), which
 * lets the common case, an output sized for the input, skip every capacity
 * check and take ASCII in blocks.
 */
template <typename Sink>
LUTFResult DecodeInto(Sink &sink, const char *in) {
    const auto *p = reinterpret_cast<const unsigned char *>(in ? in : "");
    const size_t nBytes = strlen(reinterpret_cast<const char *>(p));
    if (sink.CanHoldAll(nBytes)) {
        return DecodeWithRoom(sink, p, p + nBytes);
    }
    for (;;) {
        for (unsigned long nRoom = sink.AsciiRoom(); nRoom > 0 && IsAsciiText(*p); --nRoom) {
            sink.PutAscii(*p++);
        }
        if (*p == 0) {
            sink.Terminate();
            return kLUTFResultOK;
        }
        if (!sink.HasRoomForNext()) {
            sink.Terminate();
            return kLUTFResultOutputFull;
        }
        char32_t cp = 0;
        p = DecodeSequence(p, cp);
        if (!p) {
            sink.Terminate();
            return kLUTFResultInvalid;
        }
        if (!sink.Put(cp)) {
            sink.Terminate();
            return kLUTFResultOutputFull;
        }
    }
}

/* Encodes one code point (at most U+10FFFF) as UTF-8 into q; returns the
 * byte count. */
inline unsigned long EncodeOne(char32_t cp, char *q) {
    if (cp < 0x80) {
        q[0] = static_cast<char>(cp);
        return 1;
    }
    if (cp < 0x800) {
        q[0] = static_cast<char>(0xC0 | (cp >> 6));
        q[1] = static_cast<char>(0x80 | (cp & 0x3F));
        return 2;
    }
    if (cp < 0x10000) {
        q[0] = static_cast<char>(0xE0 | (cp >> 12));
        q[1] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        q[2] = static_cast<char>(0x80 | (cp & 0x3F));
        return 3;
    }
    q[0] = static_cast<char>(0xF0 | (cp >> 18));
    q[1] = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    q[2] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    q[3] = static_cast<char>(0x80 | (cp & 0x3F));
    return 4;
}

/* Bytes of a code point's UTF-8 form (values above U+10FFFF become U+FFFD). */
inline unsigned long EncodedLength(char32_t cp) { return cp < 0x80 ? 1 : cp < 0x800 ? 2 : cp < 0x10000 ? 3 : 4; }

/*
 * The UTF-8 encoder over code points delivered by Next(cp) (false at the
 * end). Values above U+10FFFF become U+FFFD and set *pbInvalid. A character
 * is written only whole and only if the terminator still fits; *pbCut tells
 * whether one did not fit. The output is always terminated.
 */
template <typename Source>
void EncodeFrom(Source &source, char *out, unsigned long capacity, bool *pbInvalid, bool *pbCut) {
    *pbInvalid = false;
    *pbCut = false;
    unsigned long n = 0;
    char32_t cp;
    while (source.Next(cp)) {
        if (cp > 0x10FFFF) {
            cp = 0xFFFD;
            *pbInvalid = true;
        }
        if (n + EncodedLength(cp) + 1 > capacity) {
            *pbCut = true;
            break;
        }
        n += EncodeOne(cp, out + n);
    }
    out[n] = 0;
}

}  // namespace lutf8codec

#endif
