/*
 * StringEncoding.h (private): conversions between CFString's UTF-8 storage
 * and the external encodings CFString supports. Pure functions.
 */
#ifndef HARLUNE_COMPAT_CF_STRING_ENCODING_H
#define HARLUNE_COMPAT_CF_STRING_ENCODING_H

#include <CoreFoundation/CFString.h>

#include <string>
#include <string_view>

namespace harlune::cf {

/* True for the encodings CFString can convert from and to. */
bool isSupportedEncoding(CFStringEncoding encoding);
/* True for encodings whose text is a NUL-terminated byte string. */
bool isEightBitEncoding(CFStringEncoding encoding);

/*
 * Decodes bytes in the encoding to UTF-8, appending to out. For UTF-16 a
 * leading byte-order mark is honoured (and dropped) when
 * isExternalRepresentation is set or the encoding has no explicit order.
 * False for invalid input or an unsupported encoding.
 */
bool decodeToUTF8(std::string &out, const unsigned char *bytes, size_t length, CFStringEncoding encoding,
                  bool isExternalRepresentation);

/*
 * Encodes UTF-8 text into an eight-bit encoding (UTF-8, ASCII, MacRoman,
 * Latin-1). False if a character cannot be represented.
 */
bool encodeFromUTF8(std::string &out, std::string_view utf8, CFStringEncoding encoding);

/* Decodes one MacRoman byte to its code point. */
char32_t macRomanToUnicode(unsigned char byte);

}  // namespace harlune::cf

#endif
