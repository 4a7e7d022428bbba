/*
 * Unicode.h (private): UTF-8 and UTF-16 conversions for CFString, whose
 * text is stored as UTF-8 but measured and indexed in UTF-16 units as on
 * Apple's platforms. Pure functions; thread-safe.
 */
#ifndef HARLUNE_COMPAT_CF_UNICODE_H
#define HARLUNE_COMPAT_CF_UNICODE_H

#include <CoreFoundation/CFBase.h>

#include <string>
#include <string_view>

namespace harlune::cf {

/*
 * Checks that text is well-formed UTF-8 (no overlong forms, no surrogates,
 * nothing above U+10FFFF) and counts its UTF-16 units.
 */
bool validateUTF8(std::string_view text, CFIndex *utf16Length);

/* Appends the UTF-8 form of a code point (assumed valid). */
void appendUTF8(std::string &out, char32_t codePoint);

/*
 * Decodes the code point at text[pos] of well-formed UTF-8 and advances pos.
 */
char32_t nextCodePoint(std::string_view text, size_t &pos);

/* Converts well-formed UTF-8 to UTF-16. */
std::u16string toUTF16(std::string_view text);

/*
 * Converts UTF-16 to UTF-8. Unpaired surrogates, which a UTF-8 string cannot
 * hold, become U+FFFD.
 */
std::string fromUTF16(const UniChar *units, size_t count);

/* True if every byte is below 0x80. */
bool isASCII(std::string_view text);

}  // namespace harlune::cf

#endif
