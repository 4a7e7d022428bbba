/*
 * LCharacterHelpers.h: UTF-16 surrogate helpers, lengths and character
 * classes of the library's text.
 *
 * All functions are pure and reentrant. The surrogate formulas do no
 * validation: callers that need well-formed pairs test the units first with
 * LIsUTF16SurrogateHigh / LIsUTF16SurrogateLow.
 */
#ifndef HARLUNE_TEXT_LCHARACTERHELPERS_H
#define HARLUNE_TEXT_LCHARACTERHELPERS_H

#include <text/LStringLongTemplate.h>

#include <cstdint>

inline bool LIsUTF16SurrogateHigh(char16_t ch) { return (ch & 0xFC00) == 0xD800; }
inline bool LIsUTF16SurrogateLow(char16_t ch) { return (ch & 0xFC00) == 0xDC00; }

/* ((high - 0xD800) << 10) + (low - 0xDC00) + 0x10000, unchecked. */
inline char32_t LCharSetsSurrogatePairToCodePoint(char16_t high, char16_t low) {
    return (static_cast<char32_t>(high) << 10) + low - 0x35FDC00;
}

/* Above U+FFFF: the surrogate pair. Otherwise high = 0 and low = cp. */
inline void LCharSetsCodePointToSurrogatePair(char32_t cp, char16_t &high, char16_t &low) {
    if (cp > 0xFFFF) {
        high = static_cast<char16_t>((((cp - 0x10000) >> 10) & 0x3FF) | 0xD800);
        low = static_cast<char16_t>((cp & 0x3FF) | 0xDC00);
    } else {
        high = 0;
        low = static_cast<char16_t>(cp);
    }
}

/* Units before the terminator (0 for null). */
uint64_t lstrlen(const char16_t *s);

/* True when every byte before the terminator is below 0x80 (true for "" and
 * for null). */
bool LCharsetsIsValidASCII(const char *s);

/*
 * Writes the units of `in` byte-swapped (big-endian on this little-endian
 * platform) until its terminator or `count` units. With `terminate`, a 0 unit
 * follows (out holds count + 1 units) and the number converted is returned.
 * Without it, the rest of the `count` units are filled with a big-endian
 * space (bytes 00 20) and `count` is returned.
 */
unsigned long LCopyToBigEndianUnicode(char16_t *out, const char16_t *in, unsigned long count, bool terminate);

/* Rebuilds s without the variation selectors U+FE00 to U+FE0F. */
void LRemoveVarSelectorFromUnicode(LStringLongTemplate<char16_t> &s);

/* False for characters of right-to-left scripts (Hebrew, Arabic, Syriac,
 * Thaana, their presentation forms, and the right-to-left mark). */
bool LCharsetsIsLeftToRight(wchar_t ch);

#endif
