// LSettingCipher.h: the text form of password fields in every settings
// store: the text and its terminating zero, padded with zero bytes to a
// multiple of 8, enciphered with Blowfish under the library's fixed pass
// phrase (each block's halves read little-endian), written as base64 with
// a CR LF after every 76 characters except at the very end.
//
// This hides passwords from casual reading; it is not protection against
// anyone who has the library, whose pass phrase is a build constant.
//
// Thread safety: none needed; the functions keep no state.
#ifndef HARLUNE_XML_LSETTINGCIPHER_H
#define HARLUNE_XML_LSETTINGCIPHER_H

#include "text/LStringLongTemplate.h"

// Enciphers `text` into `out` (emptied first; stays empty for a null or
// empty text).
void LSettingEncrypt(LStringLongTemplate<char>& out, const char* text);
// Deciphers base64 text in place: characters outside the base64 alphabet
// are skipped; the result is the text before the first zero byte. A null
// or empty text is left as it is. The result is never longer than the input.
void LSettingDecrypt(char* text);
void LSettingDecrypt(LStringLongTemplate<char>& text);

#endif
