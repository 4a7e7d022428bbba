/*
 * LUTFConversions.h: conversions between UTF-8 (char), UTF-16 (char16_t,
 * "Unicode") and UTF-32 (char32_t or the 32-bit wchar_t).
 *
 * Buffer forms write into a caller's array whose capacity is counted in
 * output units, terminator included. The output is always terminated when
 * the capacity is at least 1; a capacity of 0 (or a null output) writes
 * nothing. A null input reads as "".
 *
 * Result codes (LUTFResult):
 *   kLUTFResultOK (0)          everything was converted;
 *   kLUTFResultOutputFull (1)  the output filled up before the input ended;
 *   kLUTFResultInvalid (2)     the UTF-8 decoder met an invalid sequence and
 *                              stopped there, or the UTF-8 encoder met a
 *                              code point above U+10FFFF and wrote U+FFFD.
 * The UTF-32 to UTF-8 encoder never reports 1: a character that does not fit
 * simply ends its output (callers that must know compare lengths).
 *
 * UTF-8 and UTF-16 are converted through a temporary UTF-32 array of the
 * output's capacity (on the stack up to 260 units): the UTF-16 side thereby
 * follows the same capacity rules as the UTF-32 side.
 *
 * Thread safety: all functions are reentrant. Nothing throws except
 * std::bad_alloc for temporaries and string buffers.
 */
#ifndef HARLUNE_TEXT_LUTFCONVERSIONS_H
#define HARLUNE_TEXT_LUTFCONVERSIONS_H

#include <text/LStringLongTemplate.h>

#include <cstdint>

typedef uint64_t LUTFResult;
constexpr LUTFResult kLUTFResultOK = 0;
constexpr LUTFResult kLUTFResultOutputFull = 1;
constexpr LUTFResult kLUTFResultInvalid = 2;

/* Capacity of the fixed-size forms, in output units. */
constexpr unsigned long kLTextFixedCapacity = 260;

/* True when the text is well-formed UTF-8 by the decoder's rules below. */
bool LCharsetsIsValidUTF8(const char *s);

/*
 * UTF-8 to UTF-32. Validates against Unicode's table of well-formed
 * sequences: overlongs, surrogates, values above U+10FFFF, lone continuation
 * bytes, five- and six-byte forms and sequences cut short by the terminator
 * are invalid. At most capacity - 1 characters are written.
 */
LUTFResult LCopyUTF32FromUTF8Native(char32_t *out, const char *in, unsigned long capacity);
LUTFResult LCopyUTF32FromUTF8(wchar_t *out, const char *in, unsigned long capacity);
LUTFResult LCopyToUTF32(char32_t *out, const char *in, unsigned long capacity);

/*
 * UTF-32 to UTF-8. Surrogate code points are encoded as three bytes like any
 * other; values above U+10FFFF become U+FFFD and give kLUTFResultInvalid. A
 * character is written only whole and only if the terminator still fits.
 */
LUTFResult LCopyUTF8FromUTF32Native(char *out, const char32_t *in, unsigned long capacity);
LUTFResult LCopyUTF8FromUTF32(char *out, const wchar_t *in, unsigned long capacity);
LUTFResult LCopyFromUTF32(char *out, const char32_t *in, unsigned long capacity);

/*
 * UTF-16 to UTF-32. A surrogate unit (high or low) is combined with the next
 * unit by the pair formula without checking that the pair is well formed,
 * because callers hand in text that came from the platform; a surrogate
 * followed by the terminator is dropped. Returns 0 or kLUTFResultOutputFull.
 */
LUTFResult LCopyUTF32FromUnicode(char32_t *out, const char16_t *in, unsigned long capacity);

/*
 * UTF-32 to UTF-16. Values above U+FFFF become a surrogate pair, written only
 * when both units and the terminator fit; other values are copied as one unit
 * unchecked. Returns 0 or kLUTFResultOutputFull.
 */
LUTFResult LCopyUnicodeFromUTF32(char16_t *out, const char32_t *in, unsigned long capacity);

/*
 * UTF-8 to UTF-16 and back through a UTF-32 temporary of the output's
 * capacity. The result is the first stage's, except that kLUTFResultOutputFull
 * is returned when the second stage ran out of room. UTF-16 to UTF-8 also
 * puts a terminator into the output's last byte.
 */
LUTFResult LCopyUnicodeFromUTF8(char16_t *out, const char *in, unsigned long capacity);
LUTFResult LCopyUTF8FromUnicode(char *out, const char16_t *in, unsigned long capacity);

/* The same with a capacity of kLTextFixedCapacity (260) units. */
LUTFResult LCopyUnicodeFromUTF8(char16_t *out, const char *in);
LUTFResult LCopyUTF8FromUnicode(char *out, const char16_t *in);

/* One UTF-16 unit to UTF-8 (capacity 260). A lone surrogate gives "". */
LUTFResult LCopyFromUnicode(char *out, char16_t ch);

/* String forms. LCopyUnicodeFromUTF8 converts with a capacity of
 * in.length + 1 units, LCopyToUnicode with utf8strlen(in) + 1 (so
 * characters above U+FFFF, which need two units, can make the text end
 * early: that capacity is kept because callers size other buffers by it),
 * LCopyUTF8FromUnicode with in.length * 6 + 1 bytes. */
LUTFResult LCopyUnicodeFromUTF8(LStringLongTemplate<char16_t> &out, const LStringLongTemplate<char> &in);
LUTFResult LCopyToUnicode(LStringLongTemplate<char16_t> &out, const char *in);
LUTFResult LCopyUTF8FromUnicode(LStringLongTemplate<char> &out, const LStringLongTemplate<char16_t> &in);

#endif
